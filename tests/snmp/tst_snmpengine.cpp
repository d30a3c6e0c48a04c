#include "fakeagent.h"
#include "snmp/peloruswrapper.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"
#include "snmpagent.h"

#include <QElapsedTimer>
#include <QFile>
#include <QtTest>

#include <stdexcept>

namespace {

const QString sysUpTime = QStringLiteral("1.3.6.1.2.1.1.3.0");

// Collects replies as plain copies, so nothing depends on the query's lifetime.
class Collector : public SNMPReply
{
public:
    struct Reply
    {
        QString nodeId;
        int error = 0;
        QString description;
        QVector<VarBind> bindings;
        int outstandingInside = -1;
        QString address;
    };
    void Reply(SnmpQuery *query) override
    {
        replies.append({query->NodeID(), query->ErrorNumber(), query->ErrorDescription(), query->VarBinds()->items(),
                        SnmpEngine::threadEngine()->OutstandingQueries(), query->ResponseAddress()});
        if (throwInReply)
            throw std::runtime_error("handler failure");
    }
    bool throwInReply = false;
    QList<struct Reply> replies;
};

SnmpQuery *makeQuery(const QString &target, const QString &community, int kind = SnmpQuery::Get,
                     const QString &oid = sysUpTime, SNMPReply *callback = nullptr, int version = 2)
{
    auto *query = new SnmpQuery;
    query->setIPAddress(target);
    query->setCommunity(community);
    query->setRequestType(kind);
    query->setSNMPVersion(version);
    query->setCallback(callback);
    query->setNodeID(oid);
    if (!oid.isEmpty())
        query->VarBinds()->Add(oid, QString(), 5);
    return query;
}

} // namespace

class tst_SnmpEngine : public QObject
{
    Q_OBJECT

private:
    SnmpAgent m_snmpd;
    SnmpAgent m_snmpsim;
    SnmpEngine *m_engine = nullptr;

    SnmpQuery *snmpd(int kind = SnmpQuery::Get, const QString &oid = sysUpTime, SNMPReply *callback = nullptr,
                     const QString &community = QStringLiteral("public"), int version = 2)
    {
        return makeQuery(m_snmpd.target(), community, kind, oid, callback, version);
    }
    QString silentTarget() { return QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort()); }

    // Sends one query and waits for its reply; the reply only ever comes from the event loop.
    struct Collector::Reply roundTrip(SnmpQuery *query)
    {
        Collector collector;
        query->setCallback(&collector);
        m_engine->Send(query);
        if (!collector.replies.isEmpty() || m_engine->OutstandingQueries() != 1)
            return {QString(), -999, QStringLiteral("replied inside Send"), {}, -1, QString()};
        if (!QTest::qWaitFor([&] { return !collector.replies.isEmpty(); }, 5000))
            return {QString(), -998, QStringLiteral("no reply"), {}, -1, QString()};
        return collector.replies.first();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QString error;
        QVERIFY2(m_snmpd.startSnmpd(&error), qPrintable(error));
        QVERIFY2(m_snmpsim.startSnmpsim({QStringLiteral("linux-full-walk")},
                                        {{QStringLiteral("iftable.snmprec"), SnmpAgent::ifTableRecording(150)}}, 0,
                                        &error),
                 qPrintable(error));
        m_engine = SnmpEngine::threadEngine();
        m_engine->setDefaultTimeout(1000);
        m_engine->setDefaultRetries(1);
    }
    void cleanup()
    {
        m_engine->CancelAll();
        QCOMPARE(m_engine->OutstandingQueries(), 0);
    }

    void peerName_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("peer");
        QTest::newRow("address") << "127.0.0.1" << "udp:127.0.0.1:161";
        QTest::newRow("address and port") << "127.0.0.1:1161" << "udp:127.0.0.1:1161";
        QTest::newRow("blanks around") << " 10.1.2.3 " << "udp:10.1.2.3:161";
        QTest::newRow("host name") << "localhost" << "udp:localhost:161";
        QTest::newRow("bare ipv6") << "::1" << "udp6:[::1]:161";
        QTest::newRow("bracketed ipv6") << "[::1]" << "udp6:[::1]:161";
        QTest::newRow("bracketed ipv6 and port") << "[fe80::1]:16100" << "udp6:[fe80::1]:16100";
        QTest::newRow("udp: prefix") << "udp:host:99" << "udp:host:99";
        QTest::newRow("udp6: prefix") << "UDP6:[::1]:99" << "udp6:[::1]:99";
        QTest::newRow("udp6: bare address") << "udp6:::1" << "udp6:[::1]:161";
        QTest::newRow("other transport") << "tcp:host:99" << "";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("port not a number") << "host:abc" << "";
        QTest::newRow("port zero") << "host:0" << "";
        QTest::newRow("port too large") << "host:65536" << "";
        QTest::newRow("missing bracket end") << "[::1:161" << "";
        QTest::newRow("junk after bracket") << "[::1]x" << "";
    }
    void peerName()
    {
        QFETCH(QString, target);
        QTEST(SnmpEngine::peerName(target), "peer");
    }

    // status: what the first binding tells a walk (0 go on); -1 any non-zero.
    void requests_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("firstOid");
        QTest::addColumn<int>("valueType");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("minBindings");
        const int get = SnmpQuery::Get, next = SnmpQuery::GetNext, bulk = SnmpQuery::GetBulk;
        QTest::newRow("v1 get") << 1 << get << sysUpTime << 0 << sysUpTime << 67 << 0 << 1;
        QTest::newRow("v2c get, leading dot") << 2 << get << "." + sysUpTime << 0 << sysUpTime << 67 << 0 << 1;
        QTest::newRow("v1 getnext") << 1 << next << "1.3.6.1.2.1.1.3" << 0 << sysUpTime << 67 << 0 << 1;
        QTest::newRow("v2c getnext") << 2 << next << "1.3.6.1.2.1.1" << 0 << "1.3.6.1.2.1.1.1.0" << 4 << 0 << 1;
        QTest::newRow("v2c getbulk") << 2 << bulk << "1.3.6.1.2.1.1" << 0 << "1.3.6.1.2.1.1.1.0" << 4 << 0 << 10;
        QTest::newRow("v1 missing object is noSuchName") << 1 << get << "1.3.6.1.2.1.1.99.0" << 2 << "" << 5 << -1
                                                         << 1;
        QTest::newRow("v2c missing object is an exception value")
            << 2 << get << "1.3.6.1.2.1.1.99.0" << 0 << "" << 128 << -1 << 1;
        QTest::newRow("v2c missing instance") << 2 << get << "1.3.6.1.2.1.1.3.7" << 0 << "" << 129 << -1 << 1;
        QTest::newRow("end of mib view") << 2 << next << "2.0" << 0 << "" << 130 << 130 << 1;
    }
    void requests()
    {
        QFETCH(int, version);
        QFETCH(int, kind);
        QFETCH(QString, oid);
        QFETCH(QString, firstOid);
        QFETCH(int, status);
        QFETCH(int, minBindings);
        const auto reply = roundTrip(snmpd(kind, oid, nullptr, QStringLiteral("public"), version));
        QTEST(reply.error, "error");
        QCOMPARE(reply.description.isEmpty(), reply.error == 0);
        QCOMPARE(reply.nodeId, oid);
        QCOMPARE(reply.outstandingInside, 0);
        QVERIFY(reply.bindings.size() >= minBindings);
        const VarBind &first = reply.bindings.first();
        if (!firstOid.isEmpty())
            QCOMPARE(first.OID, firstOid);
        QTEST(first.ValueType, "valueType");
        if (status >= 0)
            QCOMPARE(first.Status, status);
        else
            QVERIFY(first.Status != 0);
    }

    // error: 0 success, 1 the agent refuses, -1 the request never leaves.
    void set_data()
    {
        QTest::addColumn<QString>("community");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("error");
        QTest::newRow("write community") << "private" << "node-\u00e9-1" << 4 << 0;
        QTest::newRow("read-only community") << "public" << "refused" << 4 << 1;
        QTest::newRow("integer text") << "private" << "twelve" << 2 << -1;
        QTest::newRow("integer overflow") << "private" << "4294967296" << 2 << -1;
        QTest::newRow("ip address") << "private" << "1.2.3" << 64 << -1;
        QTest::newRow("unknown type") << "private" << "x" << 99 << -1;
        QTest::newRow("oid value") << "private" << "1..3" << 6 << -1;
    }
    void set()
    {
        QFETCH(QString, community);
        QFETCH(QString, value);
        QFETCH(int, type);
        QFETCH(int, error);
        const QString sysName = QStringLiteral("1.3.6.1.2.1.1.5.0");
        auto *set = snmpd(SnmpQuery::Set, QString(), nullptr, community);
        set->VarBinds()->Add(sysName, value, type);
        const auto reply = roundTrip(set);
        // An agent's refusal is noAccess (6) or authorizationError (16).
        QVERIFY2(error == 0 ? reply.error == 0 : (error > 0 ? reply.error > 0 : (reply.error < 0 && reply.error > -998)),
                 qPrintable(QString::number(reply.error) + u' ' + reply.description));
        QCOMPARE(reply.description.isEmpty(), error == 0);
        if (error == 0) {
            const auto read = roundTrip(snmpd(SnmpQuery::Get, sysName));
            QCOMPARE(read.bindings.first().Value, value);
            QCOMPARE(read.bindings.first().HexValue, QString::fromLatin1(value.toLatin1().toHex().toUpper()));
        }
    }

    // error: 0, or net-snmp's code, which must come from the agent's report, not a time-out.
    void v3_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("auth");
        QTest::addColumn<QString>("authPass");
        QTest::addColumn<QString>("priv");
        QTest::addColumn<QString>("privPass");
        QTest::addColumn<int>("error");
        for (const SnmpAgent::V3User &u : SnmpAgent::v3Users()) {
            const int level = u.authProtocol.isEmpty() ? 1 : (u.privProtocol.isEmpty() ? 2 : 3);
            QTest::newRow(qPrintable(u.name)) << u.name << level << u.authProtocol << u.authPassword << u.privProtocol
                                              << u.privPassword << 0;
        }
        const QString pass = QStringLiteral("authpass-SHA"), privPass = QStringLiteral("privpass-AES");
        QTest::newRow("unknown user") << "nobodyhere" << 3 << "SHA" << pass << "AES" << privPass << -33;
        QTest::newRow("wrong pass phrase") << "ushaaes" << 3 << "SHA" << "wrongpass-SHA" << "AES" << privPass << -35;
        QTest::newRow("wrong auth protocol") << "ushaaes" << 3 << "MD5" << pass << "AES" << privPass << -35;
        QTest::newRow("unknown auth protocol") << "ushaaes" << 3 << "SHA-999" << pass << "AES" << privPass << -34;
        QTest::newRow("unknown priv protocol") << "ushaaes" << 3 << "SHA" << pass << "ROT13" << privPass << -34;
        QTest::newRow("short pass phrase") << "ushaaes" << 3 << "SHA" << "short" << "AES" << privPass << -1;
    }
    void v3()
    {
        QFETCH(int, error);
        auto *query = snmpd(SnmpQuery::GetBulk, QStringLiteral("1.3.6.1.2.1.1"), nullptr, QString(), 3);
        SnmpSession *v3 = query->V3Settings();
        QFETCH(QString, user);
        QFETCH(int, level);
        QFETCH(QString, auth);
        QFETCH(QString, authPass);
        QFETCH(QString, priv);
        QFETCH(QString, privPass);
        v3->setUserName(user);
        v3->setSecurityLevel(level);
        v3->setAuthProtocol(auth);
        v3->setAuthPassword(authPass);
        v3->setPrivProtocol(priv);
        v3->setPrivPassword(privPass);
        query->setTimeout(3000);
        const auto reply = roundTrip(query);
        QVERIFY2(reply.error == error, qPrintable(QString::number(reply.error) + u' ' + reply.description));
        QCOMPARE(reply.description.isEmpty(), error == 0);
        if (error == 0)
            QCOMPARE(reply.bindings.first().OID, QStringLiteral("1.3.6.1.2.1.1.1.0"));
    }

    // One user at one agent, asked with one pass phrase pair after another (or all
    // at once): each answer follows the pair it was sent with, never an earlier one.
    // A step is "auth-pass priv-pass expected-error".
    void credentialsStayWithTheirRequest_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<bool>("together");
        const QString right = QStringLiteral("authpass-SHA privpass-AES 0");
        const QString wrongAuth = QStringLiteral("wrongpass-SHA privpass-AES -35");
        const QString wrongPriv = QStringLiteral("authpass-SHA wrongpass-AES -24");
        QTest::newRow("right, then wrong") << QStringList{right, wrongAuth, wrongPriv} << false;
        QTest::newRow("wrong, then right") << QStringList{wrongAuth, right} << false;
        QTest::newRow("wrong privacy, then right") << QStringList{wrongPriv, right} << false;
        QTest::newRow("two session objects at once") << QStringList{right, wrongAuth, right, wrongAuth} << true;
    }
    void credentialsStayWithTheirRequest()
    {
        QFETCH(QStringList, steps);
        QFETCH(bool, together);
        m_engine->setDefaultTimeout(400);
        m_engine->setDefaultRetries(1);
        std::vector<std::unique_ptr<SnmpSession>> sessions;
        Collector collector;
        QElapsedTimer clock;
        for (int i = 0; i < steps.size(); ++i) {
            // One session object changed between requests, or one object per request.
            if (sessions.empty() || together)
                sessions.push_back(std::make_unique<SnmpSession>());
            SnmpSession *session = sessions.back().get();
            session->setUserName(QStringLiteral("ushaaes"));
            session->setSecurityLevel(SnmpSession::AuthPriv);
            session->setAuthPassword(steps.at(i).section(u' ', 0, 0));
            session->setPrivPassword(steps.at(i).section(u' ', 1, 1));
            clock.start();
            PelorusWrapper::instance()->SNMPQueryGet(m_snmpd.target(), QString(), sysUpTime, 3, &collector, session,
                                                     true, QString::number(i));
            if (together)
                continue;
            QVERIFY(QTest::qWaitFor([&] { return collector.replies.size() == i + 1; }, 5000));
            const int expected = steps.at(i).section(u' ', 2, 2).toInt();
            QCOMPARE(collector.replies.last().error, expected);
            // Reports answer at once: well before the first retransmission.
            if (expected == -35)
                QVERIFY2(clock.elapsed() < 400, qPrintable(QString::number(clock.elapsed())));
        }
        QVERIFY(QTest::qWaitFor([&] { return collector.replies.size() == steps.size(); }, 5000));
        for (const auto &reply : std::as_const(collector.replies))
            QCOMPARE(reply.error, steps.at(reply.nodeId.toInt()).section(u' ', 2, 2).toInt());
        m_engine->setDefaultTimeout(1000);
    }

    // The send returns at once whatever the target: name look-ups and engine id
    // discovery happen on the event loop, and the columns of a table queued behind
    // one discovery end together. maxMs bounds the last of 22 replies.
    void sendNeverWaits_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("minMs");
        QTest::addColumn<int>("maxMs");
        const QString silent = silentTarget();
        QTest::newRow("dead v3 agent") << silent << 3 << -24 << "127.0.0.1" << 600 << 2000;
        QTest::newRow("dead v2c agent") << silent << 2 << -24 << "127.0.0.1" << 600 << 2000;
        QTest::newRow("unknown host") << "no-such-host.invalid" << 2 << -3 << "" << 0 << 10000;
        QTest::newRow("host name") << QStringLiteral("localhost:%1").arg(m_snmpd.port()) << 2 << 0 << "127.0.0.1"
                                   << 0 << 2000;
    }
    void sendNeverWaits()
    {
        QFETCH(QString, target);
        QFETCH(int, version);
        QFETCH(int, error);
        QFETCH(QString, address);
        SnmpSession session;
        session.setUserName(QStringLiteral("ushaaes"));
        session.setSecurityLevel(SnmpSession::AuthPriv);
        session.setAuthPassword(QStringLiteral("authpass-SHA"));
        session.setPrivPassword(QStringLiteral("privpass-AES"));
        Collector collector;
        QFETCH(int, minMs);
        QFETCH(int, maxMs);
        QElapsedTimer clock;
        clock.start();
        qint64 longestSend = 0;
        for (int column = 1; column <= 22; ++column) {
            auto *query = makeQuery(target, QStringLiteral("public"), SnmpQuery::Get, sysUpTime, &collector, version);
            query->V3Settings()->copyFrom(&session);
            query->setTimeout(300);
            query->setRetries(1);
            const qint64 before = clock.nsecsElapsed();
            m_engine->Send(query);
            longestSend = qMax(longestSend, clock.nsecsElapsed() - before);
        }
        QVERIFY2(longestSend < 50'000'000, qPrintable(QString::number(longestSend / 1000) + " us"));
        QVERIFY(collector.replies.isEmpty());
        QVERIFY(QTest::qWaitFor([&] { return collector.replies.size() == 22; }, 15000));
        QVERIFY2(clock.elapsed() >= minMs && clock.elapsed() < maxMs,
                 qPrintable(QString::number(clock.elapsed())));
        for (const auto &reply : std::as_const(collector.replies)) {
            QCOMPARE(reply.error, error);
            QCOMPARE(reply.address, address);
            // A failed request hands back its own binding.
            QCOMPARE(reply.bindings.first().OID, sysUpTime);
        }
    }

    // net-snmp sends the retries; the engine's own deadline for a request must not
    // cut off the answer to the last one, coming late in its time-out.
    void lastRetryAnsweredLate()
    {
        FakeAgent agent;
        agent.setData({{sysUpTime, 67, "42"}});
        agent.silentFor = 1;
        agent.answerDelayMs = 1500;
        Collector collector;
        SnmpQuery *query = makeQuery(agent.target(), QStringLiteral("public"), SnmpQuery::Get, sysUpTime, &collector);
        query->setTimeout(2000);
        query->setRetries(1);
        m_engine->Send(query);
        QTRY_COMPARE_WITH_TIMEOUT(collector.replies.size(), 1, 8000);
        QCOMPARE(collector.replies.first().error, 0);
        QCOMPARE(agent.pduTypes.size(), 2);
    }

    void cancelEndsEveryCallersQueries()
    {
        const QString silent = silentTarget();
        Collector first;
        Collector second;
        for (Collector *c : {&first, &second}) {
            m_engine->Send(makeQuery(silent, QStringLiteral("public"), SnmpQuery::GetNext, QStringLiteral("1.3"), c));
            m_engine->Send(snmpd(SnmpQuery::GetNext, QStringLiteral("1.3"), c));
        }
        QCOMPARE(m_engine->OutstandingQueries(), 4);
        m_engine->CancelAll();
        QCOMPARE(m_engine->OutstandingQueries(), 0);
        QTest::qWait(1500);
        QVERIFY(first.replies.isEmpty() && second.replies.isEmpty());
        // The engine works on afterwards.
        QCOMPARE(roundTrip(snmpd()).error, 0);
    }

    void throwingHandlerDoesNotStopDelivery()
    {
        Collector collector;
        collector.throwInReply = true;
        for (int i = 0; i < 3; ++i)
            m_engine->Send(snmpd(SnmpQuery::Get, sysUpTime, &collector));
        QTRY_COMPARE(collector.replies.size(), 3);
    }

    // A whole recorded host, walked with GetBulk, must come back binding for
    // binding as recorded: OIDs in order, types and printable values.
    void walkMatchesRecording()
    {
        QFile file(m_snmpsim.folder() + QStringLiteral("/data/linux-full-walk.snmprec"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QList<QByteArrayList> expected;
        for (const QByteArray &line : file.readAll().split('\n')) {
            const QByteArrayList parts = line.trimmed().split('|');
            if (parts.size() == 3)
                expected.append(parts);
        }
        QVERIFY(expected.size() > 100);

        QVector<VarBind> walked;
        for (bool done = false; !done;) {
            auto *query = makeQuery(m_snmpsim.target(), QStringLiteral("linux-full-walk"), SnmpQuery::GetBulk,
                                    walked.isEmpty() ? QStringLiteral("1.3.6") : walked.last().OID);
            query->setMaxRepetitions(25);
            const auto reply = roundTrip(query);
            QCOMPARE(reply.error, 0);
            for (const VarBind &b : reply.bindings) {
                if ((done = b.Status != 0))
                    break;
                walked.append(b);
            }
        }
        QCOMPARE(walked.size(), expected.size());
        for (int i = 0; i < walked.size(); ++i) {
            const QByteArray type = expected.at(i).at(1), value = expected.at(i).at(2);
            const bool hex = type.endsWith('x');
            QCOMPARE(walked.at(i).OID, QString::fromLatin1(expected.at(i).at(0)));
            QCOMPARE(walked.at(i).ValueType, hex ? type.chopped(1).toInt() : type.toInt());
            QCOMPARE(walked.at(i).Value, QString::fromLatin1(hex ? QByteArray::fromHex(value) : value));
            if (hex)
                QCOMPARE(walked.at(i).HexValue, QString::fromLatin1(value.toUpper()));
        }
    }

    void hexForms_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("hex");
        QTest::newRow("integer") << "1.3.6.1.2.1.2.2.1.4.1" << "05DC";
        QTest::newRow("gauge with high bit") << "1.3.6.1.2.1.2.2.1.5.1" << "3B9ACA00";
        QTest::newRow("octet string") << "1.3.6.1.2.1.2.2.1.2.1" << "65746830";
        QTest::newRow("object identifier") << "1.3.6.1.2.1.2.2.1.22.1" << "00";
        QTest::newRow("time ticks") << sysUpTime << "01E240";
    }
    void hexForms()
    {
        QFETCH(QString, oid);
        const auto reply = roundTrip(makeQuery(m_snmpsim.target(), QStringLiteral("iftable"), SnmpQuery::Get, oid));
        QCOMPARE(reply.error, 0);
        QTEST(reply.bindings.first().HexValue, "hex");
    }
};

QTEST_GUILESS_MAIN(tst_SnmpEngine)
#include "tst_snmpengine.moc"
