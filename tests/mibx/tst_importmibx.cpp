#include "fixturedatabase.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "mibx/importmibx.h"
#include "mibx/mibmodules.h"
#include "mibx/mibxclauses.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QByteArray head = "<?xml version=\"1.0\"?>\n<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION>"
                        "<COMPILED>2024-05-01T10:00:00</COMPILED><MODULE><NAME>TEST-MIB</NAME></MODULE>";

QByteArray mibx(const QByteArray &tree)
{
    return head + "<TREE>" + tree + "</TREE></MIBX>";
}

int count(const QString &from)
{
    return Globals::database()->select(QStringLiteral("Select Count(*) as n From ") + from).value(0).toMap()
        .value(QStringLiteral("n")).toInt();
}

// The named columns of the first row, as "a|b|c".
QString columns(const QString &select, const QStringList &names)
{
    const QVariantMap row = Globals::database()->select(select).value(0).toMap();
    QStringList values;
    for (const QString &name : names)
        values << row.value(name).toString();
    return values.join(u'|');
}

// The events pass their arguments by reference, which QSignalSpy cannot hold.
struct Recorder
{
    explicit Recorder(ImportMIBX *importer)
    {
        QObject::connect(importer, &ImportMIBX::Log, [this](QString &m) { logs.append(m); });
        // The count has gone up by the time the event is raised.
        QObject::connect(importer, &ImportMIBX::Error, [this, importer](QString &m) {
            errors.append(m);
            errorCounts.append(importer->Errors());
        });
        QObject::connect(importer, &ImportMIBX::OIDImported, [this](QString &name, QString &oid, bool &duplicate) {
            imported.append({name, oid, duplicate});
        });
    }
    struct Imported
    {
        QString name;
        QString oid;
        bool duplicate;
    };
    QStringList logs;
    QStringList errors;
    QList<int> errorCounts;
    QList<Imported> imported;
};

} // namespace

class tst_ImportMIBX : public QObject
{
    Q_OBJECT

    QString write(const QByteArray &content, const QString &name = QStringLiteral("test.mibx"))
    {
        const QString path = m_dir->filePath(name);
        QFile f(path);
        f.open(QIODevice::WriteOnly | QIODevice::Truncate);
        f.write(content);
        return path;
    }

    std::unique_ptr<FixtureDatabase> m_db;
    std::unique_ptr<QTemporaryDir> m_dir;

private Q_SLOTS:
    void init()
    {
        m_db = std::make_unique<FixtureDatabase>();
        m_db->addStandardObjects();
        m_db->activate();
        m_dir = std::make_unique<QTemporaryDir>();
    }
    void cleanup()
    {
        m_db.reset();
    }

    // An import runs in WAL and gives a file in a rollback journal its mode back
    // (readers without write access to the folder cannot read a log).
    void journalModeOfTheFile_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("WAL") << "wal";
        QTest::newRow("rollback journal") << "delete";
    }
    void journalModeOfTheFile()
    {
        QFETCH(QString, mode);
        m_db->db().executeScript(QStringLiteral("PRAGMA journal_mode=") + mode);
        ImportMIBX importer;
        QVERIFY(importer.ImportMIBXFile(write(mibx("<a1><OID>1.3.6.1.4.1.77</OID></a1>"))));
        const QVariantList journal = Globals::database()->select(QStringLiteral("PRAGMA journal_mode"));
        QCOMPARE(journal.value(0).toMap().value(QStringLiteral("journal_mode")).toString(), mode);
        QCOMPARE(count(QStringLiteral("Tree Where Name='a1'")), 1);
    }

    // Each file is checked in order; "%1" stands for the file's path.
    void validation_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("treeRows");
        QTest::addColumn<int>("moduleRows");

        const QString corrupt = QStringLiteral("%1 is not a Tarnbrooke MIBX file or is corrupt.");
        const QString load = QStringLiteral("Could not load %1\r\n");
        const QString format = QStringLiteral("%1 is '%2' format. This version of the MIB-Compiler/Browser only "
                                              "supports MIB-X Version 1.0. Visit Tarnbrookeware for an update.");
        const QByteArray v1 = "<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION>";
        const QByteArray module = v1 + "<MODULE><NAME>TEST-MIB</NAME></MODULE>";
        const QByteArray object = "<testObject><OID>1.3.6.1.4.1.99</OID></testObject>";
        QTest::newRow("missing file") << QByteArray() << false << load << 0 << 0;
        QTest::newRow("not XML") << QByteArray("<MIBX><VERSION>") << false << load << 0 << 0;
        QTest::newRow("no version, checked before the module") << QByteArray("<MIBX><TREE/></MIBX>") << false << corrupt
                                                               << 0 << 0;
        for (const char *version : {"tarnbrookeware MIB-X 1.0", "Tarnbrookeware MIB-X 2.0"})
            QTest::newRow(version) << "<MIBX><VERSION>" + QByteArray(version) + "</VERSION></MIBX>" << false
                                   << format.arg(QStringLiteral("%1"), QLatin1String(version)) << 0 << 0;
        QTest::newRow("no module name") << v1 + "<MODULE/><TREE>" + object + "</TREE></MIBX>" << true << corrupt << 0 << 0;
        QTest::newRow("no tree") << module + "</MIBX>" << true << corrupt << 0 << 0;
        QTest::newRow("no compiled date: tree kept, no module row") << module + "<TREE>" + object + "</TREE></MIBX>"
                                                                    << true << corrupt << 1 << 0;
        QTest::newRow("object without OID") << mibx("<noOid><SYNTAX>INTEGER</SYNTAX></noOid>" + object) << true
                                            << QStringLiteral("noOid has no OID.") << 1 << 1;
        QTest::newRow("unknown descriptor") << mibx("<lost><OID>nowhere.1</OID></lost>" + object) << true
                                            << QStringLiteral("Cannot determine OID value for 'nowhere' in { nowhere.1 }.")
                                            << 1 << 1;
        QTest::newRow("five-letter name in parentheses is looked up")
            << mibx("<odd><OID>abcde(7).1</OID></odd>") << true
            << QStringLiteral("Cannot determine OID value for 'abcde(7)' in { abcde(7).1 }.") << 0 << 1;
        QTest::newRow("clean file") << mibx(object) << true << QString() << 1 << 1;
    }
    void validation()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        const QString path = content.isEmpty() ? m_dir->filePath(QStringLiteral("absent.mibx")) : write(content);
        const int treeBefore = count(QStringLiteral("Tree"));
        const int modulesBefore = count(QStringLiteral("MIBs"));
        ImportMIBX importer;
        Recorder events(&importer);
        QTEST(importer.ImportMIBXFile(path), "result");
        QCOMPARE(importer.Errors(), int(events.errors.size()));
        QCOMPARE(events.errorCounts, message.isEmpty() ? QList<int>() : QList<int>({1}));
        const QString expected = message.contains(QLatin1String("%1")) ? message.arg(path) : message;
        // A load error goes on with the parser's own words.
        if (expected.endsWith(QLatin1String("\r\n")))
            QVERIFY2(events.errors.at(0).startsWith(expected) && events.errors.at(0).size() > expected.size(),
                     qPrintable(events.errors.at(0)));
        else if (!message.isEmpty())
            QCOMPARE(events.errors.at(0), expected);
        QTEST(count(QStringLiteral("Tree")) - treeBefore, "treeRows");
        QTEST(count(QStringLiteral("MIBs")) - modulesBefore, "moduleRows");
        QCOMPARE(importer.Warnings(), 0);
    }

    void moduleAndObjectColumns()
    {
        const QString path = write(
            "<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-05-01T10:00:00</COMPILED>"
            "<MODULE><NAME>TEST-MIB</NAME><DESCRIPTION>Module text</DESCRIPTION><CONTACT>Someone</CONTACT>"
            "<ORGANIZATION>Org</ORGANIZATION><LAST-UPDATED>200006140000Z</LAST-UPDATED><EXTRA>x</EXTRA></MODULE><TREE>"
            "<testStatus><DESCRIPTION>first</DESCRIPTION><OID>internet.4.1.9</OID><SYNTAX>DisplayString</SYNTAX>"
            "<ACCESS>read-create</ACCESS><STATUS>current</STATUS><VALUE>ignored</VALUE>"
            "<ENUMS><up>1</up><down>2 apples</down><none>x</none><huge>1e50</huge></ENUMS></testStatus>"
            "<testPlain><OID>1.3.6.1.4.1.9.2</OID><SYNTAX>NoSuchType</SYNTAX><ENUMS/></testPlain></TREE></MIBX>");
        ImportMIBX importer;
        Recorder events(&importer);
        QVERIFY(importer.ImportMIBXFile(path));
        QCOMPARE(importer.Errors(), 0);
        QCOMPARE(events.logs, QStringList({QStringLiteral("Importing %1 ...").arg(path),
                                           QStringLiteral("    File Format = 'Tarnbrookeware MIB-X 1.0'")}));
        QCOMPARE(importer.ModuleName(), QStringLiteral("TEST-MIB"));
        QCOMPARE(columns(QStringLiteral("Select * From MIBs Where Name='TEST-MIB'"),
                         {"Description", "Contact", "Organization", "Compiled", "LastUpdated"}),
                 QStringLiteral("Module text|Someone|Org|2024-05-01 10:00:00|2000-06-14 00:00:00"));
        QVERIFY(!columns(QStringLiteral("Select * From MIBs Where Name='TEST-MIB'"), {"Imported"}).isEmpty());
        QCOMPARE(events.imported.size(), 2);
        QCOMPARE(events.imported.at(0).name + events.imported.at(0).oid, QStringLiteral("testStatus1.3.6.1.4.1.9"));
        QCOMPARE(events.imported.at(0).duplicate, false);
        const QStringList names = {"ParentOID", "Index", "MIB", "TypeI", "Access", "Status", "Enum", "Description",
                                   "Primary"};
        QCOMPARE(columns(QStringLiteral("Select * From Tree Where Name='testStatus'"), names),
                 QStringLiteral("1.3.6.1.4.1|9|TEST-MIB|4|2|5|testStatus|first|-1"));
        QCOMPARE(columns(QStringLiteral("Select * From Tree Where Name='testPlain'"), {"TypeI", "Enum"}),
                 QStringLiteral("0|"));
        QStringList enums;
        for (const QVariant &v : m_db->db().select(QStringLiteral("Select * From Enums Where Name='testStatus' Order By Value")))
            enums << v.toMap().value(QStringLiteral("Enum")).toString() + v.toMap().value(QStringLiteral("Value")).toString();
        QCOMPARE(enums, QStringList({"none0", "up1", "down2", "huge1e+50"}));
    }

    // One object, used twice: the counters add up over both imports. Duplicates are
    // the same name in the same module: sysName of SNMPv2-MIB is no duplicate of
    // this module's and stays as it was.
    void duplicatesOverTwoImports()
    {
        const QString first = write(mibx("<a1><OID>1.3.6.1.4.1.77</OID><ENUMS><on>1</on></ENUMS></a1>"
                                         "<a2><OID>a1.1</OID></a2><sysName><OID>1.3.6.1.4.1.79</OID></sysName>"),
                                    QStringLiteral("first.mibx"));
        const QString second = write(mibx("<a1><OID>1.3.6.1.4.1.78</OID><ENUMS><enabled>1</enabled></ENUMS></a1>"),
                                     QStringLiteral("second.mibx"));
        ImportMIBX importer;
        Recorder events(&importer);
        QVERIFY(importer.ImportMIBXFile(first));
        QXMibOID seen; // a record's look-ups follow each import
        seen.setName(QStringLiteral("a2"));
        QCOMPARE(seen.OID(), QStringLiteral("1.3.6.1.4.1.77.1"));
        m_db->db().execute(QStringLiteral("Update Tree Set Primary=FALSE Where Name='a1'"));
        QVERIFY(importer.ImportMIBXFile(first));
        QVERIFY(importer.ImportMIBXFile(second));
        seen.setName(QStringLiteral("a1"));
        QCOMPARE(seen.OID(), QStringLiteral("1.3.6.1.4.1.78"));
        QCOMPARE(importer.OIDCount(), 7);
        QCOMPARE(importer.Duplicates(), 4);
        QCOMPARE(importer.Errors(), 0);
        QList<bool> duplicates;
        for (const auto &i : events.imported)
            duplicates << i.duplicate;
        QCOMPARE(duplicates, QList<bool>({false, false, false, true, true, true, true}));
        QCOMPARE(count(QStringLiteral("Tree Where MIB='TEST-MIB'")), 3);
        QCOMPARE(columns(QStringLiteral("Select * From Tree Where Name='sysName' AND MIB='SNMPv2-MIB'"), {"OID"}),
                 QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(columns(QStringLiteral("Select * From Tree Where Name='a1'"), {"OID", "Primary"}),
                 QStringLiteral("1.3.6.1.4.1.78|0"));
        // The same (name, value) pair has its label replaced, not a second row.
        QCOMPARE(count(QStringLiteral("Enums Where Name='a1'")), 1);
        QCOMPARE(columns(QStringLiteral("Select * From Enums Where Name='a1'"), {"Enum"}), QStringLiteral("enabled"));
    }

    // Two modules define the same objects (an old module and its successor): delete
    // either, import it again, delete the other; every OID a module still defines
    // resolves by number and name, and stays in the tree under its parent.
    void deleteAndReimport_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::newRow("old module first") << "OLD-MIB" << "NEW-MIB";
        QTest::newRow("new module first") << "NEW-MIB" << "OLD-MIB";
    }
    void deleteAndReimport()
    {
        const QByteArray shared = "<things><OID>1.3.6.1.4.1.88</OID></things><thingName><OID>things.1</OID></thingName>";
        const QByteArray oldFile = QByteArray(head).replace("TEST-MIB", "OLD-MIB") + "<TREE>" + shared
            + "<oldOnly><OID>things.2</OID></oldOnly></TREE></MIBX>";
        const QByteArray newFile = QByteArray(head).replace("TEST-MIB", "NEW-MIB") + "<TREE>" + shared
            + "<newOnly><OID>things.3</OID></newOnly></TREE></MIBX>";
        const QHash<QString, QString> files{{QStringLiteral("OLD-MIB"), write(oldFile, QStringLiteral("old.mibx"))},
                                            {QStringLiteral("NEW-MIB"), write(newFile, QStringLiteral("new.mibx"))}};
        for (const QString &file : files)
            QVERIFY(ImportMIBX().ImportMIBXFile(file));
        // As a database build leaves them: one primary row per OID.
        m_db->db().execute(QStringLiteral("Update Tree Set Primary=FALSE Where MIB='OLD-MIB' AND Name<>'oldOnly'"));

        auto allResolve = [](const QStringList &names) {
            for (const QString &name : names) {
                QXMibOID byName;
                byName.setName(name);
                QXMibOID byOid;
                byOid.setOID(byName.OID());
                QXMibOID parent;
                parent.setOID(byName.ParentOID());
                if (byName.OID().isEmpty() || byOid.Name() != name || parent.Name().isEmpty()
                    || count(QStringLiteral("Tree Where Primary<>0 AND OID='%1'").arg(byName.OID())) == 0)
                    return name;
            }
            return QString();
        };
        QFETCH(QString, first);
        QFETCH(QString, second);
        const QString firstOnly = first == QLatin1String("OLD-MIB") ? QStringLiteral("oldOnly") : QStringLiteral("newOnly");
        const QString secondOnly = firstOnly == QLatin1String("oldOnly") ? QStringLiteral("newOnly") : QStringLiteral("oldOnly");

        QCOMPARE(MIBModules::remove(first), QStringList{second});
        QCOMPARE(allResolve({"things", "thingName", secondOnly}), QString());
        QVERIFY(ImportMIBX().ImportMIBXFile(files.value(first)));
        QCOMPARE(MIBModules::remove(second), QStringList{first});
        QCOMPARE(allResolve({"things", "thingName", firstOnly}), QString());
        QCOMPARE(count(QStringLiteral("Tree Where Name='%1'").arg(secondOnly)), 0);
    }

    // Names that differ only in letter case are different names: each resolves to
    // its own object; another case finds one only where no exact spelling exists.
    void namesWithTheirCase_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("oid");
        QTest::newRow("object of one module") << "mdmMib" << "1.3.6.1.2.1.38.1";
        QTest::newRow("same name but for case") << "mdmMIB" << "1.3.6.1.2.1.38";
        QTest::newRow("in another module") << "freeRadius" << "1.3.6.1.4.1.11344.1";
        QTest::newRow("and in the first") << "freeradius" << "1.3.6.1.4.1.11344";
        QTest::newRow("module names with their case") << "MODEM-MIB:freeRadius" << "1.3.6.1.4.1.11344.1";
        QTest::newRow("module spelled otherwise") << "Modem-MIB:mdmMib" << "1.3.6.1.2.1.38.1";
        QTest::newRow("no exact spelling") << "MDMCOUNT" << "1.3.6.1.2.1.38.2";
    }
    void namesWithTheirCase()
    {
        const QByteArray modem = QByteArray(head).replace("TEST-MIB", "Modem-MIB")
            + "<TREE><mdmMIB><OID>1.3.6.1.2.1.38</OID></mdmMIB><mdmMib><OID>mdmMIB.1</OID></mdmMib>"
              "<mdmCount><OID>mdmMIB.2</OID></mdmCount><freeradius><OID>1.3.6.1.4.1.11344</OID></freeradius>"
              "</TREE></MIBX>";
        const QByteArray upper = QByteArray(head).replace("TEST-MIB", "MODEM-MIB")
            + "<TREE><freeRadius><OID>freeradius.1</OID></freeRadius></TREE></MIBX>";
        ImportMIBX importer;
        QVERIFY(importer.ImportMIBXFile(write(modem, QStringLiteral("modem.mibx"))));
        QVERIFY(importer.ImportMIBXFile(write(upper, QStringLiteral("upper.mibx"))));
        QCOMPARE(importer.Duplicates(), 0);
        QCOMPARE(MIBModules::objectCount(QStringLiteral("Modem-MIB")), 4);
        QCOMPARE(MIBModules::find(QStringLiteral("MODEM-MIB")), QStringLiteral("MODEM-MIB"));
        QCOMPARE(MIBModules::find(QStringLiteral("modem-mib")).toUpper(), QStringLiteral("MODEM-MIB"));

        QFETCH(QString, text);
        QXMibOID record;
        if (text.contains(u':'))
            record.setFullName(text);
        else
            record.setName(text);
        QTEST(record.OID(), "oid");

        // Imported again as it is, the module says nothing changed.
        ImportMIBX again;
        QVERIFY(again.ImportMIBXFile(write(modem, QStringLiteral("modem.mibx"))));
        QCOMPARE(again.Unchanged(), 4);
        QCOMPARE(again.OIDCount(), 4);
    }

    // UNITS, INDEX and DISPLAY-HINT, which the import passes over, reach the rows
    // after it, also where another module defines the same OID.
    void clauses_data()
    {
        QTest::addColumn<QByteArray>("object");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("row"); // Units|IndexBy|Parse
        QTest::newRow("units") << QByteArray("<memTotal><OID>1.3.6.1.4.1.90.1</OID><SYNTAX>Integer32</SYNTAX>"
                                             "<UNITS>kB</UNITS></memTotal>")
                               << "memTotal" << "kB||";
        QTest::newRow("index list of a row")
            << QByteArray("<xEntry><OID>1.3.6.1.4.1.90.2.1</OID><SYNTAX>XEntry</SYNTAX><INDEX>xIf, xAddr</INDEX></xEntry>")
            << "xEntry" << "|xIf, xAddr|";
        QTest::newRow("hint the renderer knows")
            << QByteArray("<xMac><OID>1.3.6.1.4.1.90.3</OID><SYNTAX>MyMac</SYNTAX><DISPLAY-HINT>1x:</DISPLAY-HINT></xMac>")
            << "xMac" << "||PhysAddress";
        QTest::newRow("hint it does not")
            << QByteArray("<xText><OID>1.3.6.1.4.1.90.4</OID><SYNTAX>T</SYNTAX><DISPLAY-HINT>255a</DISPLAY-HINT></xText>")
            << "xText" << "||";
        QTest::newRow("OID another module defines too")
            << QByteArray("<sysName><OID>1.3.6.1.2.1.1.5</OID><SYNTAX>DisplayString</SYNTAX><UNITS>names</UNITS></sysName>")
            << "sysName" << "names||";
    }
    void clauses()
    {
        QFETCH(QByteArray, object);
        QFETCH(QString, name);
        const QString file = write(mibx(object));
        QVERIFY(ImportMIBX().ImportMIBXFile(file));
        QCOMPARE(MibxClauses::apply(file), name == QLatin1String("xText") ? 0 : 1);
        QTEST(columns(QStringLiteral("Select * From Tree Where MIB='TEST-MIB' AND Name='%1'").arg(name),
                      {"Units", "IndexBy", "Parse"}),
              "row");
        // The other module's row of the same OID keeps what it had.
        QCOMPARE(columns(QStringLiteral("Select * From Tree Where MIB='SNMPv2-MIB' AND Name='sysName'"), {"Units"}),
                 QString());
    }

    void convertOID_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("result");
        QTest::newRow("numeric") << "1.3.6.1.2.1" << true << "1.3.6.1.2.1";
        QTest::newRow("internet prefix") << "internet.4.1.9" << true << "1.3.6.1.4.1.9";
        QTest::newRow("well-known names append their whole OID") << "iso.org.dod" << true << "1.1.3.1.3.6";
        QTest::newRow("name with number") << "iso(1).org(3).6" << true << "1.3.6";
        QTest::newRow("positions 12 and 14 pass the test") << "enterprises(1).4" << true << "1.4";
        QTest::newRow("descriptor from the database") << "sysName.0" << true << "1.3.6.1.2.1.1.5.0";
        QTest::newRow("descriptor in another case") << "SYSNAME" << true << "1.3.6.1.2.1.1.5";
        QTest::newRow("five-letter name fails the bitwise test") << "mgmtx(2).1" << false << "";
        QTest::newRow("unknown stops at once") << "1.3.nowhere.4" << false << "1.3";
        QTest::newRow("empty component") << "1..3" << false << "1";
        QTest::newRow("hex number stays as written") << "1.&H1F" << true << "1.&H1F";
        QTest::newRow("\")\" before \"(\" passing the test is an invalid call") << "1.ab)c(5" << false << "throws";
    }
    void convertOID()
    {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(QString, result);
        ImportMIBX importer;
        Recorder events(&importer);
        if (result == QLatin1String("throws")) {
            QString converted;
            QVERIFY_THROWS_EXCEPTION(QXMibError, importer.ConvertOID(text, converted));
            return;
        }
        // Twice with one object: the counter adds up and is current inside each event.
        for (int run = 1; run <= 2; ++run) {
            QString converted;
            QCOMPARE(importer.ConvertOID(text, converted), ok);
            QCOMPARE(converted, result);
        }
        QCOMPARE(events.errorCounts, ok ? QList<int>() : QList<int>({1, 2}));
    }

    void codes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("access");
        QTest::addColumn<int>("status");
        QTest::newRow("read-only") << "READ-ONLY" << 1 << 0;
        QTest::newRow("read-write") << "read-write" << 2 << 0;
        QTest::newRow("read-create shares 2") << "read-create" << 2 << 0;
        QTest::newRow("write-only") << "Write-Only" << 3 << 0;
        QTest::newRow("not-accessible") << "NOT-ACCESSIBLE" << 4 << 0;
        QTest::newRow("accessible-for-notify") << "ACCESSIBLE-FOR-NOTIFY" << 0 << 0;
        QTest::newRow("mandatory") << "mandatory" << 0 << 1;
        QTest::newRow("optional") << "OPTIONAL" << 0 << 2;
        QTest::newRow("obsolete") << "obsolete" << 0 << 3;
        QTest::newRow("deprecated") << "DEPRECATED" << 0 << 4;
        QTest::newRow("current is 5") << "current" << 0 << 5;
        QTest::newRow("empty") << "" << 0 << 0;
        QTest::newRow("padded text is unknown") << " current" << 0 << 0;
    }
    void codes()
    {
        QFETCH(QString, text);
        QTEST(ImportMIBX::accessCode(text), "access");
        QTEST(ImportMIBX::statusCode(text), "status");
    }

    void dates_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime noon(QDate(2024, 5, 1), QTime(12, 30));
        QTest::newRow("ISO") << "2024-05-01T12:30:00" << noon;
        QTest::newRow("ISO with zone keeps the clock") << "2024-05-01T12:30:00Z" << noon;
        QTest::newRow("ISO with blank") << "2024-05-01 12:30:00" << noon;
        QTest::newRow("SMI four-digit year") << "202405011230Z" << noon;
        QTest::newRow("SMI two-digit year") << "9905011230Z" << QDateTime(QDate(1999, 5, 1), QTime(12, 30));
        QTest::newRow("US") << "5/1/2024 12:30:00 PM" << noon;
        QTest::newRow("date only") << "2024-05-01" << QDateTime(QDate(2024, 5, 1), QTime(0, 0));
        QTest::newRow("RFC 2822") << "Wed, 01 May 2024 12:30:00 +0000" << noon;
        QTest::newRow("day month name") << "1 May 2024" << QDateTime(QDate(2024, 5, 1), QTime(0, 0));
        QTest::newRow("not a date") << "yesterday" << QDateTime();
        QTest::newRow("month 13") << "2024-13-01" << QDateTime();
    }
    void dates()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        if (expected.isValid())
            QCOMPARE(ImportMIBX::convertDate(text), expected);
        else
            QVERIFY_THROWS_EXCEPTION(QXMibError, ImportMIBX::convertDate(text));
    }

    // What a file holds never reaches the database as SQL: a quote fails the
    // call, rows written before stay whole and nothing that was there is lost.
    void hostileValues_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("thrown");
        QTest::addColumn<int>("rowsKept");
        QTest::newRow("quote in module name")
            << QByteArray(head).replace("TEST-MIB", "X' OR '1'='1") + "<TREE><q1><OID>1.3.6.1.4.1.5</OID></q1></TREE></MIBX>"
            << true << 0;
        QTest::newRow("quote in OID text") << mibx("<q1><OID>1.3.6.1.4.1.5</OID></q1><q2><OID>x';DROP TABLE Tree;--.1</OID></q2>")
                                           << true << 1;
        // The value is read as its leading number, 1: the quote never reaches a statement.
        QTest::newRow("quote in enumeration value text")
            << mibx("<q1><OID>1.3.6.1.4.1.5</OID></q1><q2><OID>1.3.6.1.4.1.6</OID><ENUMS><a>1'</a></ENUMS></q2>") << false
            << 2;
        QTest::newRow("OID without a dot") << mibx("<q1><OID>1.3.6.1.4.1.5</OID></q1><q2><OID>7</OID></q2>") << true << 1;
        QTest::newRow("index beyond 32 bits") << mibx("<q1><OID>1.3.6.1.4.1.5</OID></q1><q2><OID>1.99999999999</OID></q2>")
                                              << true << 1;
        QTest::newRow("bad compiled date, after the tree")
            << mibx("<q1><OID>1.3.6.1.4.1.5</OID></q1>").replace("2024-05-01T10:00:00", "someday") << true << 1;
    }
    void hostileValues()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, rowsKept);
        const int before = count(QStringLiteral("Tree"));
        ImportMIBX importer;
        bool thrown = false;
        try {
            importer.ImportMIBXFile(write(content));
        } catch (const QXMibError &) {
            thrown = true;
        }
        QTEST(thrown, "thrown");
        QCOMPARE(count(QStringLiteral("Tree")), before + rowsKept);
        QCOMPARE(count(QStringLiteral("MIBs Where Name='TEST-MIB'")), thrown ? 0 : 1);
        QCOMPARE(count(QStringLiteral("Tree Where Name='sysName'")), 1);
    }
};

QTEST_GUILESS_MAIN(tst_ImportMIBX)
#include "tst_importmibx.moc"
