#include "core/oidtext.h"
#include "core/qxmiboid.h"
#include "fixturedatabase.h"
#include "snmp/agentaddress.h"
#include "snmp/snmpoptions.h"

#include <QtTest>

// What every host reads from its user the same way: agent addresses, net-snmp's
// options and the text of an object.
class tst_SnmpOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // address: host|port|ipv6 as read, or the error.
    void agentAddress_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("shown"); // text(161)
        QTest::newRow("host") << "localhost" << "localhost|0|0" << "localhost:161";
        QTest::newRow("host and port") << " 127.0.0.1:1161 " << "127.0.0.1|1161|0" << "127.0.0.1:1161";
        QTest::newRow("udp: prefix") << "udp:127.0.0.1:1161" << "127.0.0.1|1161|0" << "127.0.0.1:1161";
        QTest::newRow("udp6: prefix") << "udp6:[::1]:99" << "::1|99|1" << "[::1]:99";
        QTest::newRow("bare ipv6") << "fe80::1" << "fe80::1|0|1" << "[fe80::1]:161";
        QTest::newRow("bracketed ipv6") << "[::1]" << "::1|0|1" << "[::1]:161";
        QTest::newRow("port not a number") << "127.0.0.1:abc" << "Bad port number in agent address: 127.0.0.1:abc"
                                           << "";
        QTest::newRow("ipv6 port not a number") << "[::1]:x" << "Bad port number in agent address: [::1]:x" << "";
        QTest::newRow("empty port") << "host:" << "Bad port number in agent address: host:" << "";
        QTest::newRow("port too large") << "host:65536" << "Bad port number in agent address: host:65536" << "";
        QTest::newRow("signed port") << "host:+5" << "Bad port number in agent address: host:+5" << "";
        QTest::newRow("other transport") << "tcp:host:99" << "Bad agent address: tcp:host:99" << "";
        QTest::newRow("junk after bracket") << "[::1]x" << "Bad agent address: [::1]x" << "";
        QTest::newRow("empty") << "" << "Bad agent address: " << "";
    }
    void agentAddress()
    {
        QFETCH(QString, text);
        AgentAddress a;
        QString error;
        const bool ok = AgentAddress::parse(text, &a, &error);
        QTEST(ok ? QStringLiteral("%1|%2|%3").arg(a.host).arg(a.port).arg(int(a.ipv6)) : error, "address");
        QTEST(ok ? a.text(161) : QString(), "shown");
    }

    // parsed: version|community|target|rest|letters|own, or the error.
    void options_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("parsed");
        QTest::newRow("defaults") << QStringList{"host", "sysName.0"} << "2|public|host|sysName.0||";
        QTest::newRow("joined values") << QStringList{"-v1", "-cprivate", "host"} << "1|private|host||vc|";
        QTest::newRow("separate values") << QStringList{"-v", "3", "-u", "me", "-l", "authPriv", "host"}
                                         << "3|public|host||vul|";
        QTest::newRow("options after the target") << QStringList{"host", "-c", "x", "1.3"} << "2|x|host|1.3|c|";
        QTest::newRow("negative number is a value") << QStringList{"host", "o", "i", "-5"} << "2|public|host|o i -5||";
        QTest::newRow("double dash ends options") << QStringList{"--", "-c", "x"} << "2|public|-c|x||";
        QTest::newRow("repetitions joined") << QStringList{"-Cr25", "h"} << "2|public|h||C|";
        QTest::newRow("own options") << QStringList{"--csv", "h", "--rows", "3"} << "2|public|h|||--csv=,--rows=3";
        QTest::newRow("no target") << QStringList{"-v2c"} << "2|public|||v|";
        QTest::newRow("bad version") << QStringList{"-v", "5", "h"} << "Invalid version specified after -v flag: 5";
        QTest::newRow("bad level") << QStringList{"-l", "x", "h"}
                                   << "Invalid security level specified after -l flag: x";
        QTest::newRow("bad timeout") << QStringList{"-t", "0", "h"} << "Invalid timeout in seconds after -t flag.";
        QTest::newRow("missing value") << QStringList{"h", "-c"} << "Option -c needs a value";
        QTest::newRow("unknown option") << QStringList{"-Z", "h"} << "Unknown option: -Z";
        QTest::newRow("bad target port") << QStringList{"h:abc"} << "Bad port number in agent address: h:abc";
    }
    void options()
    {
        QFETCH(QStringList, args);
        SnmpOptions o;
        QString error;
        QString own;
        if (SnmpOptions::parse(args, &o, &error, {QStringLiteral("--csv")}, {QStringLiteral("--rows")})) {
            for (const auto &option : std::as_const(o.own))
                own += (own.isEmpty() ? QString() : QStringLiteral(",")) + option.first + u'=' + option.second;
            error = QStringList{QString::number(o.version), o.community, o.target, o.rest.join(u' '), o.given, own}
                        .join(u'|');
        }
        QTEST(error, "parsed");
    }

    // oid: what the text names, empty for nothing.
    void oidText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("oid");
        QTest::newRow("numeric") << "1.3.6.1.2.1.1.5" << "1.3.6.1.2.1.1.5";
        QTest::newRow("leading dot") << ".1.3.6.1.2.1.1.5.0" << "1.3.6.1.2.1.1.5.0";
        QTest::newRow("name") << "sysName" << "1.3.6.1.2.1.1.5";
        QTest::newRow("module:name") << "IF-MIB:ifTable" << "1.3.6.1.2.1.2.2";
        QTest::newRow("module::name") << "IF-MIB::ifTable" << "1.3.6.1.2.1.2.2";
        QTest::newRow("numeric index") << "IF-MIB::ifDescr.3" << "1.3.6.1.2.1.2.2.1.2.3";
        QTest::newRow("quoted index") << "ifDescr.\"ab\"" << "1.3.6.1.2.1.2.2.1.2.2.97.98";
        QTest::newRow("implied index") << "ifDescr.'x'" << "1.3.6.1.2.1.2.2.1.2.120";
        QTest::newRow("mixed index") << "ifDescr.1.\"a.b\"" << "1.3.6.1.2.1.2.2.1.2.1.3.97.46.98";
        QTest::newRow("open quote") << "ifDescr.\"ab" << "";
        QTest::newRow("unknown name") << "noSuchThing.1" << "";
        QTest::newRow("empty") << "" << "";
    }
    void oidText()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.activate();
        QFETCH(QString, text);
        QXMibOID record;
        QTEST(OidText::resolve(record, text) ? record.OID() : QString(), "oid");
    }
};

QTEST_GUILESS_MAIN(tst_SnmpOptions)
#include "tst_snmpoptions.moc"
