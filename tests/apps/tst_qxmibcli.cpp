#include "fixturedatabase.h"
#include "snmpagent.h"

#include <QUdpSocket>
#include <QtTest>

namespace {

// An agent no real one imitates: every request gets the same binding back, so a
// walk that trusted its agent would never end. SNMPv1 only, enough BER for that.
class RepeatingAgent : public QObject
{
public:
    RepeatingAgent()
    {
        m_socket.bind(QHostAddress::LocalHost, 0);
        connect(&m_socket, &QUdpSocket::readyRead, this, [this] { answer(); });
    }
    quint16 port() const { return m_socket.localPort(); }

private:
    // The element at pos: its tag, and where its content starts and ends.
    static bool element(const QByteArray &b, int pos, int *contentStart, int *end)
    {
        if (pos + 2 > b.size())
            return false;
        int len = quint8(b.at(pos + 1));
        int start = pos + 2;
        if (len & 0x80) {
            const int n = len & 0x7f;
            len = 0;
            for (int i = 0; i < n && start < b.size(); ++i)
                len = (len << 8) | quint8(b.at(start++));
        }
        *contentStart = start;
        *end = start + len;
        return *end <= b.size();
    }
    static QByteArray tlv(char tag, const QByteArray &content)
    {
        QByteArray out(1, tag);
        if (content.size() < 128) {
            out += char(content.size());
        } else {
            out += char(0x82);
            out += char(content.size() >> 8);
            out += char(content.size() & 0xff);
        }
        return out + content;
    }
    void answer()
    {
        while (m_socket.hasPendingDatagrams()) {
            QHostAddress from;
            quint16 fromPort = 0;
            QByteArray request(int(m_socket.pendingDatagramSize()), '\0');
            m_socket.readDatagram(request.data(), request.size(), &from, &fromPort);
            int c = 0, e = 0;
            if (!element(request, 0, &c, &e)) // message
                continue;
            int vc = 0, ve = 0, cc = 0, ce = 0, pc = 0, pe = 0, rc = 0, re = 0;
            if (!element(request, c, &vc, &ve) || !element(request, ve, &cc, &ce) || !element(request, ce, &pc, &pe)
                || !element(request, pc, &rc, &re))
                continue;
            const QByteArray version = request.mid(c, ve - c);
            const QByteArray community = request.mid(ve, ce - ve);
            const QByteArray requestId = request.mid(pc, re - pc);
            const QByteArray oid = QByteArray::fromHex("2b06010201010500"); // 1.3.6.1.2.1.1.5.0
            const QByteArray binding = tlv(0x30, tlv(0x06, oid) + tlv(0x04, "x"));
            const QByteArray pdu = tlv(char(0xa2), requestId + QByteArray::fromHex("020100020100") + tlv(0x30, binding));
            m_socket.writeDatagram(tlv(0x30, version + community + pdu), from, fromPort);
        }
    }

    QUdpSocket m_socket;
};

} // namespace

// The qxmib command line host, run as a user runs it.
class tst_QxmibCli : public QObject
{
    Q_OBJECT

private:
    struct Result
    {
        int status;
        QString out;
        QString err;
    };
    Result run(const QStringList &args)
    {
        // The event loop runs while the command runs, for agents living in this process.
        QProcess p;
        QSignalSpy finished(&p, &QProcess::finished);
        p.start(QStringLiteral(QXMIB_CLI), args);
        if (!finished.wait(30000)) {
            p.kill();
            return {-1, {}, {}};
        }
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
    }

    void resolve_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("line");
        QTest::newRow("instance OID") << "1.3.6.1.2.1.1.5.0" << "Name: sysName.0\n";
        QTest::newRow("descriptor") << "ifAdminStatus" << "EnumList: #1;up(1)|#2;down(2)|#3;testing(3)\n";
        QTest::newRow("module-qualified") << "IF-MIB:ifDescr" << "BaseOID: 1.3.6.1.2.1.2.2.1.2\n";
        QTest::newRow("descriptor with instance") << "ifDescr.3" << "OID: 1.3.6.1.2.1.2.2.1.2.3\n";
        QTest::newRow("address-indexed") << "1.3.6.1.2.1.4.20.1.1.10.0.0.1" << "Index: 10.0.0.1\n";
        QTest::newRow("long name") << "sysName.0"
                                   << "LongName: iso.org.dod.internet.mgmt.mib-2.system.sysName.0\n";
    }
    void resolve()
    {
        QFETCH(QString, text);
        QFETCH(QString, line);
        const Result r = run({QStringLiteral("--db"), m_fixture->path(), QStringLiteral("resolve"), text});
        QCOMPARE(r.status, 0);
        QVERIFY2(r.out.contains(line), qPrintable(r.out));
        // Every field, in order.
        const QStringList fields{"OID", "Name", "FullName", "LongName", "MIB", "Index", "BaseName", "BaseOID",
                                 "ParentOID", "TypeString", "TypeInteger", "AccessString", "StatusString", "Units",
                                 "Enumerated", "EnumList", "Description"};
        QStringList seen;
        for (const QString &l : r.out.split(u'\n')) {
            if (!l.startsWith(u' ') && l.contains(QStringLiteral(": ")))
                seen << l.section(QStringLiteral(": "), 0, 0);
        }
        QCOMPARE(seen, fields);
    }

    void notFound()
    {
        const Result r = run({QStringLiteral("resolve"), QStringLiteral("noSuchThing"), QStringLiteral("--db"),
                              m_fixture->path(), QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
        QVERIFY(r.err.contains(QStringLiteral("noSuchThing")));
        QVERIFY(r.out.contains(QStringLiteral("BaseName: sysName\n")));
    }

    void missingDatabase()
    {
        const Result r = run({QStringLiteral("--db"), QStringLiteral("/nonexistent/MIBs.cfg"), QStringLiteral("resolve"),
                              QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
        QVERIFY2(r.err.contains(QStringLiteral("Cannot open MIB Database (/nonexistent/MIBs.cfg)\n\n")), qPrintable(r.err));
    }

    void render_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("out");
        QTest::newRow("enumerated") << QStringList{"ifAdminStatus.1", "2"} << "down(2)\n";
        QTest::newRow("ticks") << QStringList{"sysUpTime.0", "8640123"} << "1 days, 1 seconds\n";
        QTest::newRow("mac from hex") << QStringList{"ifPhysAddress.1", "", "00A0C91E2B3C"} << "00A0.C91E.2B3C\n";
        QTest::newRow("speed") << QStringList{"ifSpeed.1", "100000000"} << "100 Mbps\n";
    }
    void render()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, out);
        const Result r = run(QStringList{QStringLiteral("--db"), m_fixture->path(), QStringLiteral("render")} + args);
        QCOMPARE(r.status, 0);
        QCOMPARE(r.out, out);
    }

    void createDatabase()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("new.cfg"));
        QCOMPARE(run({QStringLiteral("db"), QStringLiteral("create"), path}).status, 0);
        QVERIFY(QFileInfo::exists(path));
        QCOMPARE(run({QStringLiteral("db"), QStringLiteral("create"), path}).status, 1); // never overwritten
        const Result r = run({QStringLiteral("--db"), path, QStringLiteral("resolve"), QStringLiteral("sysName")});
        QCOMPARE(r.status, 1);
    }

    // Modules listed with their counts; a delete reports each module, and one it cannot do fails alone.
    void modulesAndDelete()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        const Result listed = run({QStringLiteral("--db"), fixture.path(), QStringLiteral("modules")});
        QCOMPARE(listed.status, 0);
        QVERIFY2(listed.out.contains(QRegularExpression(QStringLiteral("\nIF-MIB +11\n"))), qPrintable(listed.out));
        QVERIFY(listed.out.startsWith(QStringLiteral("MIB ")) && listed.out.endsWith(QStringLiteral("\n4 modules, 31 OIDs\n")));

        const Result deleted = run({QStringLiteral("--db"), fixture.path(), QStringLiteral("delete"), QStringLiteral("if-mib"),
                                    QStringLiteral("NO-SUCH-MIB"), QStringLiteral("X' OR ''='"), QStringLiteral("RFC1213-MIB")});
        QCOMPARE(deleted.status, 1);
        QCOMPARE(deleted.out, QStringLiteral("Deleted IF-MIB: 11 objects\nDeleted RFC1213-MIB: 4 objects\n"));
        QVERIFY2(deleted.err.contains(QStringLiteral("'NO-SUCH-MIB'")) && deleted.err.contains(QStringLiteral("error 3075")),
                 qPrintable(deleted.err));
        QVERIFY(run({QStringLiteral("--db"), fixture.path(), QStringLiteral("modules")}).out.endsWith(QStringLiteral("\n2 modules, 16 OIDs\n")));
    }

    void help()
    {
        const Result r = run({QStringLiteral("--help")});
        QCOMPARE(r.status, 0);
        for (const char *command : {"resolve", "render", "db"})
            QVERIFY(r.out.contains(QLatin1String(command)));
        QCOMPARE(run({QStringLiteral("resolve"), QStringLiteral("--help")}).status, 0);
        QCOMPARE(run({QStringLiteral("nonsense")}).status, 2);
    }

    // Walks print instance OID, name and rendered value, stop at the end of the subtree,
    // and end with a clear message on a dead port and on an agent that goes round in circles.
    void walkRealAgent()
    {
        SnmpAgent agent;
        QString error;
        QVERIFY2(agent.startSnmpd(&error), qPrintable(error));
        for (const char *command : {"walk", "bulkwalk"}) {
            const Result r = run({QLatin1String(command), QStringLiteral("--db"), m_fixture->path(), QStringLiteral("-v"),
                                  QStringLiteral("2c"), QStringLiteral("-c"), QStringLiteral("public"), agent.target(),
                                  QStringLiteral("1.3.6.1.2.1.1")});
            QCOMPARE(r.status, 0);
            QVERIFY2(r.out.contains(QStringLiteral("1.3.6.1.2.1.1.5.0\tsysName.0\t")), qPrintable(r.out));
            QVERIFY(r.out.contains(QStringLiteral("1.3.6.1.2.1.1.3.0\tsysUpTime.0\t")));
            for (const QString &line : r.out.split(u'\n', Qt::SkipEmptyParts))
                QVERIFY2(line.startsWith(QStringLiteral("1.3.6.1.2.1.1.")), qPrintable(line));
        }
    }

    void walkFailures()
    {
        RepeatingAgent circles;
        const Result looping = run({QStringLiteral("walk"), QStringLiteral("-v"), QStringLiteral("1"), QStringLiteral("-t"),
                                    QStringLiteral("500"), QStringLiteral("-r"), QStringLiteral("0"),
                                    QStringLiteral("127.0.0.1:%1").arg(circles.port()), QStringLiteral("1.3.6.1.2.1.1")});
        QCOMPARE(looping.status, 1);
        QVERIFY2(looping.err.contains(QStringLiteral("OID not increasing")), qPrintable(looping.err));
        QCOMPARE(looping.out.count(u'\n'), 1);

        const Result dead = run({QStringLiteral("get"), QStringLiteral("-t"), QStringLiteral("200"), QStringLiteral("-r"),
                                 QStringLiteral("0"), QStringLiteral("127.0.0.1:%1").arg(SnmpAgent::freeUdpPort()),
                                 QStringLiteral("1.3.6.1.2.1.1.5.0")});
        QCOMPARE(dead.status, 1);
        QVERIFY2(dead.err.contains(QStringLiteral("Timeout")), qPrintable(dead.err));
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_QxmibCli)
#include "tst_qxmibcli.moc"
