#include "snmp/peloruswrapper.h"
#include "snmp/snmpengine.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/snmpsession.h"
#include "snmp/varbindlist.h"
#include "snmpagent.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QtTest>

#include <stdexcept>

namespace {

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
    };
    void Reply(SnmpQuery *query) override
    {
        replies.append({query->NodeID(), query->ErrorNumber(), query->ErrorDescription(), query->VarBinds()->items(),
                        SnmpEngine::threadEngine()->OutstandingQueries()});
        if (throwInReply)
            throw std::runtime_error("handler failure");
    }
    bool throwInReply = false;
    QList<struct Reply> replies;
};

SnmpQuery *makeQuery(const QString &target, const QString &community, int kind, const QString &oid,
                     SNMPReply *callback, int version = 2)
{
    auto *query = new SnmpQuery;
    query->setIPAddress(target);
    query->setCommunity(community);
    query->setRequestType(kind);
    query->setSNMPVersion(version);
    query->setCallback(callback);
    query->setNodeID(oid);
    query->VarBinds()->Add(oid, QString(), 5);
    return query;
}

// Expected printable value of one .snmprec line.
QString expectedValue(const QByteArray &type, const QByteArray &value)
{
    if (type.endsWith('x'))
        return QString::fromLatin1(QByteArray::fromHex(value));
    return QString::fromLatin1(value);
}

} // namespace

class tst_SnmpEngine : public QObject
{
    Q_OBJECT

private:
    SnmpAgent m_snmpd;
    SnmpAgent m_snmpsim;
    SnmpEngine *m_engine = nullptr;

    // Sends one query and waits for its reply.
    struct Collector::Reply roundTrip(SnmpQuery *query, int waitMs = 5000)
    {
        Collector collector;
        query->setCallback(&collector);
        m_engine->Send(query);
        if (!QTest::qWaitFor([&] { return !collector.replies.isEmpty(); }, waitMs))
            return {};
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
        QFETCH(QString, peer);
        QCOMPARE(SnmpEngine::peerName(target), peer);
    }

    void requestKinds_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("firstOid");
        QTest::addColumn<int>("minBindings");
        QTest::newRow("v1 get") << 1 << int(SnmpQuery::Get) << "1.3.6.1.2.1.1.3.0" << "1.3.6.1.2.1.1.3.0" << 1;
        QTest::newRow("v2c get, leading dot") << 2 << int(SnmpQuery::Get) << ".1.3.6.1.2.1.1.3.0"
                                              << "1.3.6.1.2.1.1.3.0" << 1;
        QTest::newRow("v1 getnext") << 1 << int(SnmpQuery::GetNext) << "1.3.6.1.2.1.1.3" << "1.3.6.1.2.1.1.3.0" << 1;
        QTest::newRow("v2c getnext") << 2 << int(SnmpQuery::GetNext) << "1.3.6.1.2.1.1" << "1.3.6.1.2.1.1.1.0" << 1;
        QTest::newRow("v2c getbulk") << 2 << int(SnmpQuery::GetBulk) << "1.3.6.1.2.1.1" << "1.3.6.1.2.1.1.1.0" << 10;
    }
    void requestKinds()
    {
        QFETCH(int, version);
        QFETCH(int, kind);
        QFETCH(QString, oid);
        QFETCH(QString, firstOid);
        QFETCH(int, minBindings);
        const auto reply = roundTrip(makeQuery(m_snmpd.target(), QStringLiteral("public"), kind, oid, nullptr, version));
        QCOMPARE(reply.error, 0);
        QVERIFY(reply.bindings.size() >= minBindings);
        QCOMPARE(reply.bindings.first().OID, firstOid);
        QCOMPARE(reply.bindings.first().Status, 0);
        QCOMPARE(reply.nodeId, oid);
    }

    void agentErrors_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<int>("error");
        QTest::addColumn<int>("valueType");
        QTest::newRow("v1 missing object is noSuchName") << 1 << "1.3.6.1.2.1.1.99.0" << 2 << 5;
        QTest::newRow("v2c missing object is an exception value") << 2 << "1.3.6.1.2.1.1.99.0" << 0 << 128;
        QTest::newRow("v2c missing instance") << 2 << "1.3.6.1.2.1.1.3.7" << 0 << 129;
    }
    void agentErrors()
    {
        QFETCH(int, version);
        QFETCH(QString, oid);
        QFETCH(int, error);
        QFETCH(int, valueType);
        const auto reply = roundTrip(
            makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get, oid, nullptr, version));
        QCOMPARE(reply.error, error);
        QCOMPARE(reply.bindings.size(), 1);
        QCOMPARE(reply.bindings.first().ValueType, valueType);
        // Either way the binding says that a walk must not go on from it.
        QVERIFY(reply.bindings.first().Status != 0);
        if (error != 0)
            QVERIFY(!reply.description.isEmpty());
    }

    void endOfMibView()
    {
        const auto reply = roundTrip(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::GetNext,
                                               QStringLiteral("2.0"), nullptr));
        QCOMPARE(reply.error, 0);
        QCOMPARE(reply.bindings.first().ValueType, 130);
        QCOMPARE(reply.bindings.first().Status, 130);
    }

    void setRoundTrip_data()
    {
        QTest::addColumn<QString>("community");
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("error");
        QTest::newRow("write community") << "private" << "node-\u00e9-1" << 0;
        QTest::newRow("read-only community") << "public" << "refused" << -1;
    }
    void setRoundTrip()
    {
        QFETCH(QString, community);
        QFETCH(QString, value);
        QFETCH(int, error);
        const QString sysName = QStringLiteral("1.3.6.1.2.1.1.5.0");
        auto *set = makeQuery(m_snmpd.target(), community, SnmpQuery::Set, QString(), nullptr);
        set->VarBinds()->Clear();
        set->VarBinds()->Add(sysName, value, 4);
        const auto reply = roundTrip(set);
        if (error == 0) {
            QCOMPARE(reply.error, 0);
            const auto read = roundTrip(
                makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get, sysName, nullptr));
            QCOMPARE(read.bindings.first().Value, value);
            QCOMPARE(read.bindings.first().HexValue, QString::fromLatin1(value.toLatin1().toHex().toUpper()));
        } else {
            // noAccess (6) from v2c agents, or authorizationError (16)
            QVERIFY2(reply.error > 0, qPrintable(reply.description));
        }
    }

    void badSetValue_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<int>("type");
        QTest::newRow("integer text") << "twelve" << 2;
        QTest::newRow("integer overflow") << "4294967296" << 2;
        QTest::newRow("ip address") << "1.2.3" << 64;
        QTest::newRow("unknown type") << "x" << 99;
        QTest::newRow("oid value") << "1..3" << 6;
    }
    void badSetValue()
    {
        QFETCH(QString, value);
        QFETCH(int, type);
        Collector collector;
        auto *set = makeQuery(m_snmpd.target(), QStringLiteral("private"), SnmpQuery::Set, QString(), &collector);
        set->VarBinds()->Clear();
        set->VarBinds()->Add(QStringLiteral("1.3.6.1.2.1.1.5.0"), value, type);
        m_engine->Send(set);
        // Even a request that never leaves ends in a reply from the event loop.
        QVERIFY(collector.replies.isEmpty());
        QCOMPARE(m_engine->OutstandingQueries(), 1);
        QTRY_COMPARE(collector.replies.size(), 1);
        QVERIFY(collector.replies.first().error < 0);
        QVERIFY(!collector.replies.first().description.isEmpty());
    }

    void v3Users_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("auth");
        QTest::addColumn<QString>("authPass");
        QTest::addColumn<QString>("priv");
        QTest::addColumn<QString>("privPass");
        for (const SnmpAgent::V3User &u : SnmpAgent::v3Users()) {
            const int level = u.authProtocol.isEmpty() ? 1 : (u.privProtocol.isEmpty() ? 2 : 3);
            QTest::newRow(qPrintable(u.name)) << u.name << level << u.authProtocol << u.authPassword
                                              << u.privProtocol << u.privPassword;
        }
    }
    void v3Users()
    {
        QFETCH(QString, user);
        QFETCH(int, level);
        QFETCH(QString, auth);
        QFETCH(QString, authPass);
        QFETCH(QString, priv);
        QFETCH(QString, privPass);
        auto *query = makeQuery(m_snmpd.target(), QString(), SnmpQuery::GetBulk, QStringLiteral("1.3.6.1.2.1.1"),
                                nullptr, 3);
        query->V3Settings()->setUserName(user);
        query->V3Settings()->setSecurityLevel(level);
        query->V3Settings()->setAuthProtocol(auth);
        query->V3Settings()->setAuthPassword(authPass);
        query->V3Settings()->setPrivProtocol(priv);
        query->V3Settings()->setPrivPassword(privPass);
        const auto reply = roundTrip(query);
        QVERIFY2(reply.error == 0, qPrintable(reply.description));
        QCOMPARE(reply.bindings.first().OID, QStringLiteral("1.3.6.1.2.1.1.1.0"));
    }

    void v3Failures_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("auth");
        QTest::addColumn<QString>("priv");
        QTest::newRow("unknown user") << "nobodyhere" << "SHA" << "AES";
        QTest::newRow("unknown auth protocol") << "ushaaes" << "SHA-999" << "AES";
        QTest::newRow("unknown priv protocol") << "ushaaes" << "SHA" << "ROT13";
    }
    void v3Failures()
    {
        QFETCH(QString, user);
        QFETCH(QString, auth);
        QFETCH(QString, priv);
        auto *query = makeQuery(m_snmpd.target(), QString(), SnmpQuery::Get, QStringLiteral("1.3.6.1.2.1.1.3.0"),
                                nullptr, 3);
        query->V3Settings()->setUserName(user);
        query->V3Settings()->setSecurityLevel(SnmpSession::AuthPriv);
        query->V3Settings()->setAuthProtocol(auth);
        query->V3Settings()->setAuthPassword(QStringLiteral("authpass-SHA"));
        query->V3Settings()->setPrivProtocol(priv);
        query->V3Settings()->setPrivPassword(QStringLiteral("privpass-AES"));
        query->setTimeout(300);
        query->setRetries(0);
        const auto reply = roundTrip(query);
        QVERIFY2(reply.error != 0, qPrintable(reply.bindings.value(0).OID + QLatin1Char(' ') + reply.bindings.value(0).Value));
        QVERIFY(!reply.description.isEmpty());
    }

    void timeoutOnSilentPort()
    {
        const QString silent = QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort());
        auto *query = makeQuery(silent, QStringLiteral("public"), SnmpQuery::Get, QStringLiteral("1.3.6.1.2.1.1.3.0"),
                                nullptr);
        query->setTimeout(200);
        query->setRetries(1);
        QElapsedTimer clock;
        clock.start();
        const auto reply = roundTrip(query, 5000);
        QCOMPARE(reply.error, -24);
        QCOMPARE(reply.description, QStringLiteral("Timeout"));
        // The request's own binding comes back with the time-out.
        QCOMPARE(reply.bindings.first().OID, QStringLiteral("1.3.6.1.2.1.1.3.0"));
        QVERIFY2(clock.elapsed() >= 350 && clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    }

    void unresolvableTarget()
    {
        const auto reply = roundTrip(makeQuery(QStringLiteral("no-such-host.invalid"), QStringLiteral("public"),
                                               SnmpQuery::Get, QStringLiteral("1.3.6.1.2.1.1.3.0"), nullptr));
        QVERIFY(reply.error < 0);
        QVERIFY(!reply.description.isEmpty());
    }

    void repliesOnlyFromTheEventLoop()
    {
        Collector collector;
        m_engine->Send(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get,
                                 QStringLiteral("1.3.6.1.2.1.1.3.0"), &collector));
        QCOMPARE(m_engine->OutstandingQueries(), 1);
        QThread::msleep(200); // the answer is in the socket by now, but nobody has read it
        QVERIFY(collector.replies.isEmpty());
        QCOMPARE(m_engine->OutstandingQueries(), 1);
        QTRY_COMPARE(collector.replies.size(), 1);
        QCOMPARE(collector.replies.first().outstandingInside, 0);
        QCOMPARE(m_engine->OutstandingQueries(), 0);
    }

    void cancelEndsEveryCallersQueries()
    {
        const QString silent = QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort());
        Collector first;
        Collector second;
        for (Collector *c : {&first, &second}) {
            m_engine->Send(makeQuery(silent, QStringLiteral("public"), SnmpQuery::GetNext, QStringLiteral("1.3"), c));
            m_engine->Send(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::GetNext,
                                     QStringLiteral("1.3"), c));
        }
        QCOMPARE(m_engine->OutstandingQueries(), 4);
        m_engine->CancelAll();
        QCOMPARE(m_engine->OutstandingQueries(), 0);
        QTest::qWait(1500);
        QVERIFY(first.replies.isEmpty());
        QVERIFY(second.replies.isEmpty());
        // The engine works on afterwards.
        const auto reply = roundTrip(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get,
                                               QStringLiteral("1.3.6.1.2.1.1.3.0"), nullptr));
        QCOMPARE(reply.error, 0);
    }

    void destroyedCallbackGetsNothing()
    {
        auto *gone = new Collector;
        m_engine->Send(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get,
                                 QStringLiteral("1.3.6.1.2.1.1.3.0"), gone));
        delete gone;
        QTRY_COMPARE(m_engine->OutstandingQueries(), 0);
    }

    void throwingHandlerDoesNotStopDelivery()
    {
        Collector collector;
        collector.throwInReply = true;
        for (int i = 0; i < 3; ++i)
            m_engine->Send(makeQuery(m_snmpd.target(), QStringLiteral("public"), SnmpQuery::Get,
                                     QStringLiteral("1.3.6.1.2.1.1.3.0"), &collector));
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
        QString next = QStringLiteral("1.3.6");
        bool done = false;
        while (!done) {
            auto *query = makeQuery(m_snmpsim.target(), QStringLiteral("linux-full-walk"), SnmpQuery::GetBulk, next,
                                    nullptr);
            query->setMaxRepetitions(25);
            const auto reply = roundTrip(query);
            QCOMPARE(reply.error, 0);
            for (const VarBind &b : reply.bindings) {
                if (b.Status != 0) {
                    done = true;
                    break;
                }
                walked.append(b);
            }
            next = walked.last().OID;
        }
        QCOMPARE(walked.size(), expected.size());
        for (int i = 0; i < walked.size(); ++i) {
            const QByteArrayList &row = expected.at(i);
            const QByteArray type = row.at(1);
            QCOMPARE(walked.at(i).OID, QString::fromLatin1(row.at(0)));
            QCOMPARE(walked.at(i).ValueType, type.endsWith('x') ? type.chopped(1).toInt() : type.toInt());
            QCOMPARE(walked.at(i).Value, expectedValue(type, row.at(2)));
            if (type.endsWith('x'))
                QCOMPARE(walked.at(i).HexValue, QString::fromLatin1(row.at(2).toUpper()));
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
        QTest::newRow("time ticks") << "1.3.6.1.2.1.1.3.0" << "01E240";
    }
    void hexForms()
    {
        QFETCH(QString, oid);
        QFETCH(QString, hex);
        const auto reply =
            roundTrip(makeQuery(m_snmpsim.target(), QStringLiteral("iftable"), SnmpQuery::Get, oid, nullptr));
        QCOMPARE(reply.error, 0);
        QCOMPARE(reply.bindings.first().HexValue, hex);
    }

    // Several callers walking columns side by side, as the table view does.
    void parallelColumnWalks()
    {
        struct Walker : SNMPReply
        {
            QString column;
            QString target;
            int count = 0;
            bool finished = false;
            void Reply(SnmpQuery *query) override
            {
                QString last;
                for (const VarBind &b : query->VarBinds()->items()) {
                    if (!b.OID.startsWith(column + QLatin1Char('.')) || b.Status != 0) {
                        finished = true;
                        return;
                    }
                    ++count;
                    last = b.OID;
                }
                PelorusWrapper::instance()->SNMPQueryGetBulk(target, QStringLiteral("iftable"), last, 2, this, 10,
                                                             nullptr, 0, true, column);
            }
        };
        QList<Walker *> walkers;
        for (int column = 1; column <= 22; ++column) {
            auto *w = new Walker;
            w->column = QStringLiteral("1.3.6.1.2.1.2.2.1.%1").arg(column);
            w->target = m_snmpsim.target();
            walkers.append(w);
            PelorusWrapper::instance()->SNMPQueryGetNext(w->target, QStringLiteral("iftable"), w->column, 2, w,
                                                         nullptr, true, w->column);
        }
        QTRY_VERIFY_WITH_TIMEOUT(m_engine->OutstandingQueries() == 0, 20000);
        for (Walker *w : walkers) {
            QVERIFY(w->finished);
            QCOMPARE(w->count, 150);
        }
        qDeleteAll(walkers);
    }
};

QTEST_GUILESS_MAIN(tst_SnmpEngine)
#include "tst_snmpengine.moc"
