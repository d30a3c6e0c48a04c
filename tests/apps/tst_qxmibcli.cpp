#include "fixturedatabase.h"

#include <QtTest>

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
        QProcess p;
        p.start(QStringLiteral(QXMIB_CLI), args);
        if (!p.waitForFinished(30000))
            return {-1, {}, {}};
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

    void help()
    {
        const Result r = run({QStringLiteral("--help")});
        QCOMPARE(r.status, 0);
        for (const char *command : {"resolve", "render", "db"})
            QVERIFY(r.out.contains(QLatin1String(command)));
        QCOMPARE(run({QStringLiteral("resolve"), QStringLiteral("--help")}).status, 0);
        QCOMPARE(run({QStringLiteral("nonsense")}).status, 2);
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_QxmibCli)
#include "tst_qxmibcli.moc"
