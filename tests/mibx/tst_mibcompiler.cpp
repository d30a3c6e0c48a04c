#include "fixturedatabase.h"

#include "databasebuilder.h"
#include "mibcompiler.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiboid.h"
#include "mibx/importmibx.h"
#include "mibx/mibxdocument.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &text)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly | QIODevice::Truncate);
    f.write(text);
    return path;
}

// A module of this test's own, in SMIv2, importing the base modules.
const QByteArray roundTripSource = R"(RT-TEST-MIB DEFINITIONS ::= BEGIN
IMPORTS MODULE-IDENTITY, OBJECT-TYPE, NOTIFICATION-TYPE, Integer32, Counter32, enterprises FROM SNMPv2-SMI
    DisplayString, TEXTUAL-CONVENTION, RowStatus FROM SNMPv2-TC;
rtTest MODULE-IDENTITY LAST-UPDATED "202401020304Z" ORGANIZATION "Round Trip" CONTACT-INFO "nobody"
    DESCRIPTION "Round trip module." REVISION "202401020304Z" DESCRIPTION "First." ::= { enterprises 424244 }
RtLevel ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "Levels." SYNTAX INTEGER { low(1), high(2) }
rtNotifications OBJECT IDENTIFIER ::= { rtTest 0 }
rtObjects OBJECT IDENTIFIER ::= { rtTest 1 }
rtName OBJECT-TYPE SYNTAX DisplayString (SIZE (0..32)) MAX-ACCESS read-write STATUS current
    DESCRIPTION "Name." ::= { rtObjects 1 }
rtTable OBJECT-TYPE SYNTAX SEQUENCE OF RtEntry MAX-ACCESS not-accessible STATUS current
    DESCRIPTION "Table." ::= { rtObjects 2 }
rtEntry OBJECT-TYPE SYNTAX RtEntry MAX-ACCESS not-accessible STATUS current
    DESCRIPTION "Row." INDEX { rtIndex } ::= { rtTable 1 }
RtEntry ::= SEQUENCE { rtIndex Integer32, rtLevel RtLevel, rtFlags BITS, rtStatus RowStatus, rtCount Counter32 }
rtIndex OBJECT-TYPE SYNTAX Integer32 (1..100) MAX-ACCESS not-accessible STATUS current
    DESCRIPTION "Index." ::= { rtEntry 1 }
rtLevel OBJECT-TYPE SYNTAX RtLevel MAX-ACCESS read-create STATUS current DESCRIPTION "Level." ::= { rtEntry 2 }
rtFlags OBJECT-TYPE SYNTAX BITS { alpha(0), beta(1) } MAX-ACCESS read-create STATUS current
    DESCRIPTION "Flags." ::= { rtEntry 3 }
rtStatus OBJECT-TYPE SYNTAX RowStatus MAX-ACCESS read-create STATUS current DESCRIPTION "Status." ::= { rtEntry 4 }
rtCount OBJECT-TYPE SYNTAX Counter32 MAX-ACCESS read-only STATUS deprecated DESCRIPTION "Count." ::= { rtEntry 10 }
rtEvent NOTIFICATION-TYPE OBJECTS { rtName } STATUS current DESCRIPTION "Event." ::= { rtNotifications 1 }
END
)";

// Needs no base modules: value assignments under iso only.
const QByteArray plainSource = "PLAIN-MIB DEFINITIONS ::= BEGIN\n"
                               "plainLeaf10 OBJECT IDENTIFIER ::= { plainRoot 10 }\n"
                               "plainLeaf9 OBJECT IDENTIFIER ::= { plainRoot 9 }\n"
                               "plainRoot OBJECT IDENTIFIER ::= { iso 3 6 1 4 1 424242 }\n"
                               "END\n";

struct Run
{
    int status;
    QString out;
    QString err;
};

Run runCli(const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral(QXMIB_CLI), args);
    if (!p.waitForFinished(120000)) {
        p.kill();
        return {-1, {}, {}};
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

} // namespace

class tst_MibCompiler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moduleName_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QString>("module");
        QTest::newRow("plain") << QByteArray("IF-MIB DEFINITIONS ::= BEGIN\nEND\n") << "IF-MIB";
        QTest::newRow("after comments naming another")
            << QByteArray("-- OLD-MIB DEFINITIONS ::= BEGIN\n-- x -- NEW-MIB\nNEW-MIB\n  DEFINITIONS\n ::= BEGIN\n")
            << "NEW-MIB";
        QTest::newRow("with tags") << QByteArray("A-MIB DEFINITIONS IMPLICIT TAGS ::= BEGIN") << "A-MIB";
        QTest::newRow("no module") << QByteArray("just text") << "";
    }
    void moduleName()
    {
        QFETCH(QByteArray, source);
        QTemporaryDir dir;
        QTEST(MibCompiler::moduleNameOf(writeFile(dir, QStringLiteral("x.txt"), source)), "module");
    }

    void problemsAndOrder()
    {
        QTemporaryDir dir;
        const QString plain = writeFile(dir, QStringLiteral("plain.txt"), plainSource);
        const QString broken = writeFile(dir, QStringLiteral("broken.txt"),
                                         "BROKEN-MIB DEFINITIONS ::= BEGIN\n"
                                         "brokenRoot OBJECT IDENTIFIER ::= { iso 3 6 1 4 1 424243 }\n"
                                         "brokenLeaf OBJECT IDENTIFIER ::= { brokenRoot\n"
                                         "END\n");
        const QString missing = writeFile(dir, QStringLiteral("missing.txt"),
                                          "MISSING-MIB DEFINITIONS ::= BEGIN\n"
                                          "IMPORTS nowhere FROM NO-SUCH-MIB;\n"
                                          "missingRoot OBJECT IDENTIFIER ::= { nowhere 1 }\n"
                                          "END\n");
        MibCompiler compiler;
        const MibCompiler::Result r =
            compiler.compile({broken, plain, missing, plain}, dir.filePath(QStringLiteral("out")));
        QCOMPARE(r.modules, QStringList({"PLAIN-MIB"}));
        QCOMPARE(r.failedFiles, QStringList({broken, missing}));
        QCOMPARE(r.unfinishedFiles(), QStringList({broken, missing}));

        auto problemAt = [&](const QString &file, int line, const QString &words) {
            for (const MibCompiler::Problem &p : r.problems) {
                if (p.file == file && p.line == line && p.message.contains(words))
                    return true;
            }
            return false;
        };
        QVERIFY(problemAt(broken, 4, QStringLiteral("syntax error")));
        QVERIFY(problemAt(missing, 2, QStringLiteral("NO-SUCH-MIB")));
        QVERIFY(problemAt(missing, 0, QStringLiteral("MISSING-MIB not compiled: its imports NO-SUCH-MIB were not found")));

        MibxDocument doc;
        QVERIFY(doc.load(r.outputFiles.at(0)));
        QStringList oids;
        for (const MibxNode &o : doc.selectSingleNode(QStringLiteral("MIBX/TREE")).childNodes())
            oids << o.selectSingleNode(QStringLiteral("OID")).text();
        QCOMPARE(oids, QStringList({"1.3.6.1.4.1.424242", "1.3.6.1.4.1.424242.9", "1.3.6.1.4.1.424242.10"}));
        // No empty module for the one whose import is missing.
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("out/MISSING-MIB.mibx"))));
    }

    // Slips in real vendors' modules that net-snmp reads: each look-alike
    // compiles complete (exit status 0) with the object named as written.
    void slips_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("object");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QString>("clause"); // PATH=TEXT under MIBX/TREE, or empty
        QTest::newRow("comma ending a SEQUENCE")
            << QByteArray("slTable OBJECT-TYPE SYNTAX SEQUENCE OF SlEntry MAX-ACCESS not-accessible STATUS current\n"
                          " DESCRIPTION \"t\" ::= { slRoot 1 }\n"
                          "slEntry OBJECT-TYPE SYNTAX SlEntry MAX-ACCESS not-accessible STATUS current\n"
                          " DESCRIPTION \"e\" INDEX { slIndex } ::= { slTable 1 }\n"
                          "SlEntry ::= SEQUENCE { slIndex Integer32, }\n"
                          "slIndex OBJECT-TYPE SYNTAX Integer32 MAX-ACCESS read-only STATUS current\n"
                          " DESCRIPTION \"i\" ::= { slEntry 1 }\n")
            << "slIndex" << "1.3.6.1.4.1.424250.1.1.1" << "comma before '}' removed" << "";
        QTest::newRow("comma ending an enumeration")
            << QByteArray("slMode OBJECT-TYPE SYNTAX INTEGER { on(1), off(2), } MAX-ACCESS read-only\n"
                          " STATUS current DESCRIPTION \"m\" ::= { slRoot 2 }\n")
            << "slMode" << "1.3.6.1.4.1.424250.2" << "comma before '}' removed" << "";
        QTest::newRow("DEFVAL before DESCRIPTION")
            << QByteArray("slOn OBJECT-TYPE\n SYNTAX TruthValue\n MAX-ACCESS read-only\n STATUS current\n"
                          " DEFVAL { false }\n DESCRIPTION\n \"o\"\n ::= { slRoot 3 }\n")
            << "slOn" << "1.3.6.1.4.1.424250.3" << "clauses of slOn put in order" << "";
        QTest::newRow("INDEX and UNITS out of place")
            << QByteArray("slT OBJECT-TYPE SYNTAX SEQUENCE OF SlE MAX-ACCESS not-accessible STATUS current\n"
                          " DESCRIPTION \"t\" ::= { slRoot 4 }\n"
                          "slE OBJECT-TYPE SYNTAX SlE MAX-ACCESS not-accessible INDEX { slI } STATUS current\n"
                          " DESCRIPTION \"e\" ::= { slT 1 }\n"
                          "SlE ::= SEQUENCE { slI Integer32 }\n"
                          "slI OBJECT-TYPE SYNTAX Integer32 MAX-ACCESS read-only STATUS current UNITS \"s\"\n"
                          " DESCRIPTION \"i\" ::= { slE 1 }\n")
            << "slI" << "1.3.6.1.4.1.424250.4.1.1" << "clauses of slE put in order"
            << "slE/INDEX=slI|slI/UNITS=s";
        QTest::newRow("SEQUENCE type spelled like its entry")
            << QByteArray("slT OBJECT-TYPE SYNTAX SEQUENCE OF SlE MAX-ACCESS not-accessible STATUS current\n"
                          " DESCRIPTION \"t\" ::= { slRoot 5 }\n"
                          "slE OBJECT-TYPE SYNTAX SlE MAX-ACCESS not-accessible STATUS current\n"
                          " DESCRIPTION \"e\" INDEX { slI } ::= { slT 1 }\n"
                          "slE ::= SEQUENCE { slI Integer32 }\n"
                          "slI OBJECT-TYPE SYNTAX Integer32 MAX-ACCESS read-only STATUS current\n"
                          " DESCRIPTION \"i\" ::= { slE 1 }\n")
            << "slI" << "1.3.6.1.4.1.424250.5.1.1" << "SEQUENCE type slE taken as SlE" << "";
        QTest::newRow("SMIv1 Gauge in SMIv2")
            << QByteArray("slConns OBJECT-TYPE SYNTAX Gauge MAX-ACCESS read-only STATUS current\n"
                          " DESCRIPTION \"g\" ::= { slRoot 7 }\n")
            << "slConns|Gauge32" << "1.3.6.1.4.1.424250.7" << "SMIv1 type Gauge taken as Gauge32" << "";
        QTest::newRow("import from a file named otherwise")
            << QByteArray("slOther OBJECT-TYPE SYNTAX Integer32 MAX-ACCESS read-only STATUS current\n"
                          " DESCRIPTION \"x\" ::= { slBase 6 }\n")
            << "slOther" << "1.3.6.1.4.1.424251.6" << "" << "";
    }
    void slips()
    {
        QFETCH(QByteArray, body);
        QTemporaryDir dir;
        QDir().mkpath(dir.filePath(QStringLiteral("elsewhere")));
        // The module imported lives in a file whose name is not the module's, in a search folder.
        writeFile(dir, QStringLiteral("elsewhere/BASE.txt"),
                  "SL-BASE-MIB DEFINITIONS ::= BEGIN\nIMPORTS enterprises FROM SNMPv2-SMI;\n"
                  "slBase OBJECT IDENTIFIER ::= { enterprises 424251 }\nEND\n");
        const QByteArray source = "SL-MIB DEFINITIONS ::= BEGIN\n"
                                  "IMPORTS MODULE-IDENTITY, OBJECT-TYPE, Integer32, enterprises FROM SNMPv2-SMI\n"
                                  "  TruthValue FROM SNMPv2-TC  slBase FROM SL-BASE-MIB;\n"
                                  "slRoot MODULE-IDENTITY LAST-UPDATED \"202401010000Z\" ORGANIZATION \"o\"\n"
                                  " CONTACT-INFO \"c\" DESCRIPTION \"d\" ::= { enterprises 424250 }\n"
                                  + body + "END\n";
        const Run r = runCli({QStringLiteral("--db"), dir.filePath(QStringLiteral("MIBs.cfg")), QStringLiteral("compile"),
                              QStringLiteral("-o"), dir.filePath(QStringLiteral("out")), QStringLiteral("-p"),
                              dir.filePath(QStringLiteral("elsewhere")), writeFile(dir, QStringLiteral("sl.txt"), source)});
        QVERIFY2(r.status == 0, qPrintable(r.out + r.err));
        QVERIFY2(r.out.contains(QStringLiteral("1 modules compiled, all complete")), qPrintable(r.out));
        QFETCH(QString, warning);
        if (!warning.isEmpty())
            QVERIFY2(r.err.contains(QStringLiteral("warning: ") + warning), qPrintable(r.err));
        MibxDocument doc;
        QVERIFY(doc.load(dir.filePath(QStringLiteral("out/SL-MIB.mibx"))));
        QFETCH(QString, object);
        const QString name = object.section(u'|', 0, 0);
        QTEST(doc.selectSingleNode(QStringLiteral("MIBX/TREE/") + name + QStringLiteral("/OID")).text(), "oid");
        if (object.contains(u'|'))
            QCOMPARE(doc.selectSingleNode(QStringLiteral("MIBX/TREE/") + name + QStringLiteral("/SYNTAX")).text(),
                     object.section(u'|', 1));
        QFETCH(QString, clause);
        for (const QString &c : clause.split(u'|', Qt::SkipEmptyParts))
            QCOMPARE(doc.selectSingleNode(QStringLiteral("MIBX/TREE/") + c.section(u'=', 0, 0)).text(), c.section(u'=', 1));
    }

    // Files that break libsmi or are no module at all, each given beside a good
    // one: a report naming the file, exit status 1, and the good module compiled.
    void badSources_data()
    {
        QTest::addColumn<QList<QByteArray>>("sources");
        QTest::addColumn<QStringList>("report");
        // net-snmp's UCD-SNMP-MIB without its imports, down to the definition libsmi crashes on.
        QTest::newRow("libsmi crashes")
            << QList<QByteArray>{"CRASH-MIB DEFINITIONS ::= BEGIN\nIMPORTS Opaque FROM NO-SMI-MIB;\n"
                                 "Float ::= Opaque (SIZE (7))\nEND\n",
                                 "NO-SMI-MIB DEFINITIONS ::= BEGIN\nEND\n"}
            << QStringList{"crash0.txt:2: identifier `Opaque' cannot be imported from module `NO-SMI-MIB'",
                           "crash0.txt:0: CRASH-MIB: the MIB compiler stopped on this file (it crashed: ",
                           "1 files not compiled complete: crash0.txt"};
        QTest::newRow("import missing")
            << QList<QByteArray>{"CRASH-MIB DEFINITIONS ::= BEGIN\nIMPORTS Opaque FROM NO-SMI-MIB;\n"
                                 "Float ::= Opaque (SIZE (7))\nEND\n"}
            << QStringList{"crash0.txt:2: CRASH-MIB imports NO-SMI-MIB, which was not found (searched: the files given, ",
                           "crash0.txt:0: CRASH-MIB not compiled: its imports NO-SMI-MIB were not found"};
        QTest::newRow("every import missing")
            << QList<QByteArray>{"GONE-MIB DEFINITIONS ::= BEGIN\nIMPORTS\n  a FROM NO-A-MIB -- comment FROM X\n"
                                 "  b, c FROM NO-B-MIB;\ngoneRoot OBJECT IDENTIFIER ::= { a 1 }\nEND\n"}
            << QStringList{"crash0.txt:3: GONE-MIB imports NO-A-MIB, which was not found",
                           "crash0.txt:4: GONE-MIB imports NO-B-MIB, which was not found"};
        QTest::newRow("not a MIB") << QList<QByteArray>{"just some text\n"}
                                   << QStringList{"crash0.txt:0: no module definition found"};
        QTest::newRow("truncated") << QList<QByteArray>{QByteArray(plainSource).replace("PLAIN", "TRUNC").left(plainSource.indexOf("plainLeaf9") + 30)}
                                   << QStringList{"syntax error"};
        QByteArray junk("JUNK-MIB DEFINITIONS ::= BEGIN\n");
        junk.reserve(20 << 20);
        quint32 x = 2463534242u;
        while (junk.size() < (20 << 20)) {
            x ^= x << 13, x ^= x >> 17, x ^= x << 5;
            junk.append(char(x));
        }
        QTest::newRow("20 MB of junk") << QList<QByteArray>{junk} << QStringList{"more problems not shown"};
        QTest::newRow("import each other")
            << QList<QByteArray>{"A-MIB DEFINITIONS ::= BEGIN\nIMPORTS bRoot FROM B-MIB;\n"
                                 "aRoot OBJECT IDENTIFIER ::= { iso 3 6 1 4 1 77 }\nEND\n",
                                 "B-MIB DEFINITIONS ::= BEGIN\nIMPORTS aRoot FROM A-MIB;\n"
                                 "bRoot OBJECT IDENTIFIER ::= { aRoot 2 }\nEND\n"}
            << QStringList{"crash0.txt:2: A-MIB imports B-MIB, which imports A-MIB: modules that import each other",
                           "crash1.txt:2: B-MIB imports A-MIB, which imports B-MIB: modules that import each other"};
    }
    void badSources()
    {
        QFETCH(QList<QByteArray>, sources);
        QFETCH(QStringList, report);
        QTemporaryDir dir;
        // A database of its own, so that no MIB source folder beside one resolves imports.
        QStringList args{QStringLiteral("--db"), dir.filePath(QStringLiteral("MIBs.cfg")), QStringLiteral("compile"),
                         QStringLiteral("-o"), dir.filePath(QStringLiteral("out"))};
        for (int i = 0; i < sources.size(); ++i)
            args << writeFile(dir, QStringLiteral("crash%1.txt").arg(i), sources.at(i));
        args << writeFile(dir, QStringLiteral("plain.txt"), plainSource);
        const Run r = runCli(args);
        QCOMPARE(r.status, 1);
        const QString said = r.err + r.out;
        for (const QString &line : report)
            QVERIFY2(said.contains(dir.filePath(line)) || said.contains(line), qPrintable(said.left(4000)));
        QVERIFY2(r.out.contains(QStringLiteral("PLAIN-MIB -> ")), qPrintable(r.out));
        QVERIFY(QFile::exists(dir.filePath(QStringLiteral("out/PLAIN-MIB.mibx"))));
    }

    // A worker that never answers is stopped at the time limit, one that gives up
    // is reported for its file, one that cannot start fails every file; none stops the call.
    void workerFailures_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("report");
        QTest::newRow("hangs") << QByteArray("#!/bin/sh\necho '{\"begin\": 0}'\nexec sleep 30\n")
                               << "PLAIN-MIB: the MIB compiler stopped on this file (no result after 0.3 s)";
        QTest::newRow("exits non-zero") << QByteArray("#!/bin/sh\necho '{\"begin\": 0}'\nexit 3\n")
                                        << "PLAIN-MIB: the MIB compiler stopped on this file (it ended with status 3)";
        QTest::newRow("missing") << QByteArray() << "PLAIN-MIB: the MIB compiler stopped on this file (its worker ";
    }
    void workerFailures()
    {
        QFETCH(QByteArray, script);
        QFETCH(QString, report);
        QTemporaryDir dir;
        const QString worker = dir.filePath(QStringLiteral("worker"));
        if (!script.isEmpty()) {
            writeFile(dir, QStringLiteral("worker"), script);
            QFile::setPermissions(worker, QFile::ReadOwner | QFile::ExeOwner);
        }
        MibCompiler compiler;
        compiler.setWorkerProgram(worker);
        compiler.setTimeLimit(300);
        const MibCompiler::Result r =
            compiler.compile({writeFile(dir, QStringLiteral("plain.txt"), plainSource)}, dir.filePath(QStringLiteral("out")));
        QVERIFY(r.modules.isEmpty());
        QCOMPARE(r.failedFiles.size(), 1);
        QCOMPARE(r.problems.size(), 1);
        QVERIFY2(r.problems.at(0).message.startsWith(report), qPrintable(r.problems.at(0).message));
    }

    // record: OID|TypeString|AccessString|TypeInteger|EnumList of the object, found by name.
    void roundTrip_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("record");
        const QString base = QStringLiteral("1.3.6.1.4.1.424244");
        QTest::newRow("plain node") << "rtObjects" << base + ".1||unknown|0|";
        QTest::newRow("convention refined inline") << "rtName" << base + ".1.1|DisplayString|read-write|4|";
        QTest::newRow("table") << "rtTable" << base + ".1.2|SEQUENCE|not-available|0|";
        QTest::newRow("row by its entry type") << "rtEntry" << base + ".1.2.1|RtEntry|not-available|0|";
        QTest::newRow("base type refined") << "rtIndex" << base + ".1.2.1.1|Integer32|not-available|2|";
        QTest::newRow("own convention with values") << "rtLevel" << base + ".1.2.1.2|RtLevel|read-write|2|#1;low(1)|#2;high(2)";
        QTest::newRow("bits") << "rtFlags" << base + ".1.2.1.3|BITS|read-write|4|#0;alpha(0)|#1;beta(1)";
        QTest::newRow("application type") << "rtCount" << base + ".1.2.1.10|Counter32|read-only|65|";
        QTest::newRow("notification") << "rtEvent" << base + ".0.1|TRAP|unknown|0|";
    }
    // Compile a module, import it, resolve its objects through the OID record.
    void roundTrip()
    {
        const QString bases = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/mib-sources/sources/npm");
        if (!QFile::exists(bases + QStringLiteral("/SNMPv2-SMI.mib")))
            QSKIP("The fetched MIB sources (QXMIB_BUILD_DEFAULT_DB) are not in the build folder");
        if (!m_roundTrip) {
            QTemporaryDir dir;
            const QString source = writeFile(dir, QStringLiteral("rt-test.my"), roundTripSource);
            MibCompiler compiler;
            compiler.setSearchPath({bases});
            const MibCompiler::Result r = compiler.compile({source}, dir.filePath(QStringLiteral("out")));
            QCOMPARE(r.modules, QStringList({"RT-TEST-MIB"}));
            for (const MibCompiler::Problem &p : r.problems)
                QVERIFY2(p.file != source, qPrintable(p.text()));
            auto db = std::make_unique<FixtureDatabase>();
            db->addStandardObjects();
            for (const MibCompiler::TypeInfo &t : r.types)
                DatabaseBuilder::addType(db->db(), t.name, t.root, t.code);
            db->activate();
            ImportMIBX importer;
            QVERIFY(importer.ImportMIBXFile(r.outputFiles.at(0)));
            QCOMPARE(importer.Errors(), 0);
            const QVariantMap module =
                db->db().select(QStringLiteral("Select * From MIBs Where Name='RT-TEST-MIB'")).value(0).toMap();
            QCOMPARE(module.value(QStringLiteral("LastUpdated")).toString(), QStringLiteral("2024-01-02 03:04:00"));
            QCOMPARE(module.value(QStringLiteral("Organization")).toString(), QStringLiteral("Round Trip"));
            m_roundTrip = std::move(db);
        }
        QFETCH(QString, name);
        QXMibOID o;
        o.setName(name);
        QCOMPARE(o.MIB(), QStringLiteral("RT-TEST-MIB"));
        QTEST(QStringList({o.OID(), o.TypeString(), o.AccessString(), QString::number(o.TypeInteger()), o.EnumList()})
                  .join(u'|'),
              "record");
    }

private:
    std::unique_ptr<FixtureDatabase> m_roundTrip;
};

QTEST_GUILESS_MAIN(tst_MibCompiler)
#include "tst_mibcompiler.moc"
