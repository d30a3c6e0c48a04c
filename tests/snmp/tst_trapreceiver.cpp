// The trap receiver against net-snmp's own tools: notifications sent with
// snmptrap and snmpinform to it and to snmptrapd over the MIB files the
// default database was built from, and what each shows compared; refused
// messages counted, reported and never fatal.

#include "core/globals.h"
#include "core/qxmiberror.h"
#include "snmp/trapreceiver.h"

#include "snmpagent.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QUdpSocket>

namespace {

const QString kEngineId = QStringLiteral("8000000001020304");
const QStringList kUser = {QStringLiteral("-u"), QStringLiteral("demo"), QStringLiteral("-l"), QStringLiteral("authPriv"),
                           QStringLiteral("-a"), QStringLiteral("SHA"),  QStringLiteral("-A"), QStringLiteral("demo-auth-pass"),
                           QStringLiteral("-x"), QStringLiteral("AES"),  QStringLiteral("-X"), QStringLiteral("demo-priv-pass")};

// One binding as snmptrapd -OQ logs it: "IF-MIB::ifIndex.2 = 2".
struct Logged
{
    QString name; // without the module
    QString value;
};

// The last notification in snmptrapd's log: its snmpTrapOID value and bindings.
QList<Logged> lastLogged(const QString &log, QString *notification)
{
    static const QRegularExpression start(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d "), QRegularExpression::MultilineOption);
    QRegularExpressionMatch last;
    for (auto it = start.globalMatch(log); it.hasNext();)
        last = it.next();
    QList<Logged> bindings;
    if (!last.hasMatch())
        return bindings;
    const QString block = log.mid(last.capturedStart());
    const QStringList items = block.mid(block.indexOf(u'\n') + 1).split(QRegularExpression(QStringLiteral("[\\t\\n]")),
                                                                        Qt::SkipEmptyParts);
    for (const QString &item : items) {
        const qsizetype equals = item.indexOf(QLatin1String(" = "));
        if (equals < 0)
            continue;
        const QString name = item.left(equals).section(QStringLiteral("::"), -1);
        const QString value = item.mid(equals + 3).trimmed();
        if (name == QLatin1String("sysUpTime.0") || name == QLatin1String("sysUpTimeInstance"))
            continue;
        if (name == QLatin1String("snmpTrapOID.0")) {
            *notification = value;
            continue;
        }
        bindings.append({name, value});
    }
    return bindings;
}

int notificationsLogged(const QString &log)
{
    static const QRegularExpression start(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d "), QRegularExpression::MultilineOption);
    int count = 0;
    for (auto it = start.globalMatch(log); it.hasNext(); it.next())
        ++count;
    return count;
}

// The hex digits of octets written as "a:b:c" (snmptrapd), "0A0B.0C0D" or "0A 0B"; empty for other text.
QString octets(const QString &text)
{
    static const QRegularExpression colons(QStringLiteral("^[0-9A-Fa-f]{1,2}(:[0-9A-Fa-f]{1,2})+$"));
    static const QRegularExpression grouped(QStringLiteral("^[0-9A-Fa-f]{2,}([.: ][0-9A-Fa-f]{2,})+$"));
    QString hex;
    if (colons.match(text).hasMatch()) {
        for (const QString &part : text.split(u':'))
            hex += part.rightJustified(2, u'0');
    } else if (grouped.match(text).hasMatch()) {
        hex = text;
        hex.remove(QRegularExpression(QStringLiteral("[.: ]")));
    }
    return hex.toUpper();
}

// Our rendering against snmptrapd's: the same text, or ours with the
// enumeration's number behind its label, or the same octets written otherwise.
bool sameValue(const QString &ours, const QString &theirs)
{
    if (ours.compare(theirs, Qt::CaseInsensitive) == 0 || ours.startsWith(theirs + QLatin1Char('(')))
        return true;
    const QString a = octets(ours);
    return !a.isEmpty() && a == octets(theirs);
}

} // namespace

class tst_TrapReceiver : public QObject
{
    Q_OBJECT

private:
    SnmpAgent m_trapd;
    TrapReceiver *m_receiver = nullptr;

    QString ours() const { return QStringLiteral("127.0.0.1:%1").arg(m_receiver->Port()); }

private Q_SLOTS:
    void initTestCase()
    {
        const QString lib = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/lib");
        if (!QFile::exists(lib + QStringLiteral("/MIBs.cfg")) || !QFile::exists(QStringLiteral("/usr/sbin/snmptrapd")))
            QSKIP("No default database or no snmptrapd");
        Globals::resetForTesting();
        Globals::setDatabasePath(lib + QStringLiteral("/MIBs.cfg"));
        QString error;
        const QByteArray config = "authCommunity log public\n"
                                  "createUser -e 0x" + kEngineId.toLatin1() + " demo SHA demo-auth-pass AES demo-priv-pass\n"
                                  "createUser demo SHA demo-auth-pass AES demo-priv-pass\n"
                                  "authUser log demo\n";
        QVERIFY2(m_trapd.startSnmptrapd(config, lib + QStringLiteral("/mibs"), &error), qPrintable(error));
        m_receiver = new TrapReceiver(this);
        m_receiver->setAddress(QStringLiteral("127.0.0.1"));
        m_receiver->setPort(SnmpAgent::freeUdpPort());
        m_receiver->setCommunities({QStringLiteral("public")});
        m_receiver->AddUser(QStringLiteral("demo"), 3, QStringLiteral("SHA"), QStringLiteral("demo-auth-pass"),
                            QStringLiteral("AES"), QStringLiteral("demo-priv-pass"), {kEngineId});
        m_receiver->Listen();
        QVERIFY(m_receiver->Listening());
    }

    void matchesSnmptrapd_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QStringList>("notification");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("bindings");
        const QStringList v2c = {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public")};
        const QStringList v3trap = QStringList{QStringLiteral("-v3"), QStringLiteral("-e"), QStringLiteral("0x") + kEngineId} + kUser;
        const QStringList linkDown = {QStringLiteral(""), QStringLiteral("1.3.6.1.6.3.1.1.5.3"),
                                      QStringLiteral("1.3.6.1.2.1.2.2.1.1.2"), QStringLiteral("i"), QStringLiteral("2"),
                                      QStringLiteral("1.3.6.1.2.1.2.2.1.7.2"), QStringLiteral("i"), QStringLiteral("2"),
                                      QStringLiteral("1.3.6.1.2.1.2.2.1.8.2"), QStringLiteral("i"), QStringLiteral("7")};
        const QStringList linkUp = {QStringLiteral(""), QStringLiteral("1.3.6.1.6.3.1.1.5.4"),
                                    QStringLiteral("1.3.6.1.2.1.1.5.0"), QStringLiteral("s"), QStringLiteral("core router")};
        QTest::newRow("v1 generic trap becomes linkDown")
            << "snmptrap" << QStringList{QStringLiteral("-v1"), QStringLiteral("-c"), QStringLiteral("public")}
            << QStringList{QStringLiteral("1.3.6.1.4.1.8072.3.2.10"), QStringLiteral("127.0.0.1"), QStringLiteral("2"),
                           QStringLiteral("0"), QStringLiteral(""), QStringLiteral("1.3.6.1.2.1.2.2.1.1.2"),
                           QStringLiteral("i"), QStringLiteral("2")}
            << "IF-MIB:linkDown" << 1;
        QTest::newRow("v1 enterprise-specific trap")
            << "snmptrap" << QStringList{QStringLiteral("-v1"), QStringLiteral("-c"), QStringLiteral("public")}
            << QStringList{QStringLiteral("1.3.6.1.4.1.8072.4"), QStringLiteral("127.0.0.1"), QStringLiteral("6"),
                           QStringLiteral("3"), QStringLiteral("")}
            << "NET-SNMP-AGENT-MIB:nsNotifyRestart" << 0;
        QTest::newRow("v2c trap with named values") << "snmptrap" << v2c << linkDown << "IF-MIB:linkDown" << 3;
        QTest::newRow("v2c trap with octets and an address")
            << "snmptrap" << v2c
            << QStringList{QStringLiteral(""), QStringLiteral("1.3.6.1.4.1.8072.2.3.0.1"),
                           QStringLiteral("1.3.6.1.4.1.8072.2.3.2.1"), QStringLiteral("i"), QStringLiteral("60"),
                           QStringLiteral("1.3.6.1.2.1.2.2.1.6.2"), QStringLiteral("x"), QStringLiteral("0A0B0C0D0E0F"),
                           QStringLiteral("1.3.6.1.2.1.4.20.1.1.10.0.0.1"), QStringLiteral("a"), QStringLiteral("10.0.0.1")}
            << "NET-SNMP-EXAMPLES-MIB:netSnmpExampleHeartbeatNotification" << 3;
        QTest::newRow("v2c inform acknowledged") << "snmpinform" << v2c << linkUp << "IF-MIB:linkUp" << 1;
        QTest::newRow("v3 authPriv trap") << "snmptrap" << v3trap << linkDown << "IF-MIB:linkDown" << 3;
        QTest::newRow("v3 authPriv inform acknowledged")
            << "snmpinform" << (QStringList{QStringLiteral("-v3")} + kUser) << linkUp << "IF-MIB:linkUp" << 1;
    }

    void matchesSnmptrapd()
    {
        QFETCH(QString, tool);
        QFETCH(QStringList, options);
        QFETCH(QStringList, notification);
        QFETCH(QString, name);
        QFETCH(int, bindings);
        QSignalSpy received(m_receiver, &TrapReceiver::Received);
        QVERIFY(received.isValid());
        const QStringList timing = {QStringLiteral("-t"), QStringLiteral("2"), QStringLiteral("-r"), QStringLiteral("1")};
        // An inform's exit status says whether it was acknowledged.
        QByteArray output;
        QCOMPARE(m_trapd.runTool(tool, options + timing + QStringList{ours()} + notification, &output), 0);
        QTRY_COMPARE(received.count(), 1);
        const int before = notificationsLogged(m_trapd.log());
        QCOMPARE(m_trapd.runTool(tool, options + timing + QStringList{m_trapd.target()} + notification, &output), 0);
        QTRY_COMPARE(notificationsLogged(m_trapd.log()), before + 1);

        const Notification n = received.first().first().value<Notification>();
        QCOMPARE(n.NotificationName, name);
        QCOMPARE(n.SourceAddress, QStringLiteral("127.0.0.1"));
        QCOMPARE(n.Inform, tool == QLatin1String("snmpinform"));
        QCOMPARE(n.principal(), n.Version == 3 ? QStringLiteral("demo") : QStringLiteral("public"));
        QString theirName;
        const QList<Logged> theirs = lastLogged(m_trapd.log(), &theirName);
        if (n.Version != 1)
            QCOMPARE(theirName.replace(QStringLiteral("::"), QStringLiteral(":")), name);
        QCOMPARE(n.Bindings.size(), bindings);
        QCOMPARE(theirs.size(), bindings);
        for (int i = 0; i < bindings; ++i) {
            QCOMPARE(n.Bindings[i].displayName(), theirs[i].name);
            QVERIFY2(sameValue(n.Bindings[i].Rendered, theirs[i].value),
                     qPrintable(n.Bindings[i].Rendered + QStringLiteral(" / ") + theirs[i].value));
        }
    }

    void rejected_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QByteArray>("datagram");
        QTest::addColumn<int>("reason");
        QStringList wrongPass = QStringList{QStringLiteral("-v3"), QStringLiteral("-e"), QStringLiteral("0x") + kEngineId} + kUser;
        wrongPass[wrongPass.indexOf(QStringLiteral("demo-auth-pass"))] = QStringLiteral("not-the-auth-pass");
        QStringList unknownUser = QStringList{QStringLiteral("-v3"), QStringLiteral("-e"), QStringLiteral("0x") + kEngineId} + kUser;
        unknownUser[unknownUser.indexOf(QStringLiteral("demo"))] = QStringLiteral("stranger");
        QTest::newRow("wrong community")
            << "snmptrap" << QStringList{QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("private")}
            << QByteArray() << int(TrapReceiver::CommunityRejected);
        QTest::newRow("wrong v3 pass phrase") << "snmptrap" << wrongPass << QByteArray() << int(TrapReceiver::WrongKey);
        QTest::newRow("unknown v3 user") << "snmptrap" << unknownUser << QByteArray() << int(TrapReceiver::UnknownUser);
        QTest::newRow("garbage datagram") << QString() << QStringList() << QByteArray("\x01\x02garbage\xff", 10)
                                          << int(TrapReceiver::Malformed);
        QTest::newRow("truncated message") << QString() << QStringList()
                                           << QByteArray::fromHex("302902010104067075626c6963a71c0204") << int(TrapReceiver::Malformed);
        QTest::newRow("get request, not a notification")
            << "snmpget" << QStringList{QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"),
                                        QStringLiteral("-t"), QStringLiteral("0.2"), QStringLiteral("-r"), QStringLiteral("0")}
            << QByteArray() << int(TrapReceiver::NotANotification);
    }

    void rejected()
    {
        QFETCH(QString, tool);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, datagram);
        QFETCH(int, reason);
        QSignalSpy received(m_receiver, &TrapReceiver::Received);
        QSignalSpy refused(m_receiver, &TrapReceiver::Rejected);
        const int rejectedBefore = m_receiver->RejectedCount();
        const QStringList payload = tool == QLatin1String("snmpget")
            ? QStringList{QStringLiteral("1.3.6.1.2.1.1.5.0")}
            : QStringList{QStringLiteral(""), QStringLiteral("1.3.6.1.6.3.1.1.5.1")};
        const int trapdBefore = notificationsLogged(m_trapd.log());
        if (tool.isEmpty()) {
            QUdpSocket socket;
            QCOMPARE(socket.writeDatagram(datagram, QHostAddress::LocalHost, quint16(m_receiver->Port())), datagram.size());
            QCOMPARE(socket.writeDatagram(datagram, QHostAddress::LocalHost, m_trapd.port()), datagram.size());
        } else {
            m_trapd.runTool(tool, options + QStringList{ours()} + payload);
            m_trapd.runTool(tool, options + QStringList{m_trapd.target()} + payload);
        }
        QTRY_COMPARE(refused.count(), 1);
        QCOMPARE(refused.first().at(0).toInt(), reason);
        QCOMPARE(refused.first().at(1).toString(), TrapReceiver::rejectionText(TrapReceiver::Rejection(reason)));
        QVERIFY(refused.first().at(2).toString().startsWith(QLatin1String("127.0.0.1:")));
        QCOMPARE(m_receiver->RejectedCount(), rejectedBefore + 1);

        // Both go on; neither showed the refused message.
        const QStringList good = {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"), QString(),
                                  QStringLiteral(""), QStringLiteral("1.3.6.1.6.3.1.1.5.2")};
        QStringList toUs = good;
        toUs[3] = ours();
        QStringList toTrapd = good;
        toTrapd[3] = m_trapd.target();
        QCOMPARE(m_trapd.runTool(QStringLiteral("snmptrap"), toUs), 0);
        QCOMPARE(m_trapd.runTool(QStringLiteral("snmptrap"), toTrapd), 0);
        QTRY_COMPARE(received.count(), 1);
        QCOMPARE(received.first().first().value<Notification>().NotificationName, QStringLiteral("SNMPv2-MIB:warmStart"));
        QTRY_COMPARE(notificationsLogged(m_trapd.log()), trapdBefore + 1);
        QVERIFY(m_receiver->Listening());
    }

    void listensOnIpv6()
    {
        TrapReceiver receiver;
        receiver.setAddress(QStringLiteral("[::1]"));
        receiver.setPort(SnmpAgent::freeUdpPort());
        try {
            receiver.Listen();
        } catch (const QXMibError &e) {
            QSKIP(qPrintable(QStringLiteral("no IPv6 loopback here: ") + e.description()));
        }
        QSignalSpy received(&receiver, &TrapReceiver::Received);
        QCOMPARE(m_trapd.runTool(QStringLiteral("snmptrap"),
                                 {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("any"),
                                  QStringLiteral("udp6:[::1]:%1").arg(receiver.Port()), QStringLiteral(""),
                                  QStringLiteral("1.3.6.1.6.3.1.1.5.1")}),
                 0);
        QTRY_COMPARE(received.count(), 1);
        const Notification n = received.first().first().value<Notification>();
        QCOMPARE(n.SourceAddress, QStringLiteral("::1"));
        QCOMPARE(n.Community, QStringLiteral("any"));
        QVERIFY(n.line().contains(QLatin1String("SNMPv2-MIB:coldStart")));
    }

    void portInUseIsAnError()
    {
        TrapReceiver second;
        second.setAddress(QStringLiteral("127.0.0.1"));
        second.setPort(m_receiver->Port());
        QVERIFY_THROWS_EXCEPTION(QXMibError, second.Listen());
        QVERIFY(!second.Listening());
    }
};

QTEST_GUILESS_MAIN(tst_TrapReceiver)
#include "tst_trapreceiver.moc"
