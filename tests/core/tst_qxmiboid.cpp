#include "core/application.h"
#include "core/database.h"
#include "core/definitioncache_p.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QtTest>

namespace {

// Every field a host reads of a record.
QString fields(QXMibOID &r)
{
    return QStringList({r.OID(), r.Name(), r.FullName(), r.Index(), r.BaseOID(), r.BaseName(), r.ParentOID(), r.MIB(),
                        r.TypeString(), QString::number(r.TypeInteger()), r.Description(), r.StatusString(),
                        r.AccessString(), r.Enumerated(), r.Parse(), r.Units(), r.IndexBy(), r.Calculation(),
                        r.LongName(), r.EnumList(), r.EnumString(1), r.EnumName(2)})
        .join(u'|');
}

// The test binary run as a second process that writes to a database: "--write FILE SQL".
int writeAndExit(const QString &file, const QString &script)
{
    Database db;
    db.open(file);
    db.executeScript(script);
    return 0;
}

int otherProcess(const QString &file, const QString &script)
{
    return QProcess::execute(QCoreApplication::applicationFilePath(), {QStringLiteral("--write"), file, script});
}

} // namespace

class tst_QXMibOID : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        // A non-primary row that the primary look-ups must skip.
        FixtureDatabase::Object shadow;
        shadow.oid = QStringLiteral("1.3.6.1.2.1.2.2.1.8");
        shadow.mib = QStringLiteral("OLD-MIB");
        shadow.name = QStringLiteral("ifOperStatus");
        shadow.primary = false;
        m_fixture->addObject(shadow);
        // An instance row as a synced record leaves it.
        m_fixture->addObject(QStringLiteral("1.3.6.1.2.1.1.4.0"), QStringLiteral("SNMPv2-MIB"),
                             QStringLiteral("sysContact.0"));
        m_fixture->activate();
    }
    void cleanup() { m_fixture.reset(); }

    void resolveOid_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("index");
        QTest::addColumn<QString>("fullName");

        QTest::newRow("scalar instance") << "1.3.6.1.2.1.1.5.0" << "1.3.6.1.2.1.1.5.0" << "sysName.0" << "0"
                                         << "SNMPv2-MIB:sysName.0";
        QTest::newRow("definition itself") << "1.3.6.1.2.1.1.5" << "1.3.6.1.2.1.1.5" << "sysName" << ""
                                           << "SNMPv2-MIB:sysName";
        QTest::newRow("column instance") << "1.3.6.1.2.1.2.2.1.2.3" << "1.3.6.1.2.1.2.2.1.2.3" << "ifDescr.3" << "3"
                                         << "IF-MIB:ifDescr.3";
        QTest::newRow("address-indexed") << "1.3.6.1.2.1.4.20.1.1.10.0.0.1" << "1.3.6.1.2.1.4.20.1.1.10.0.0.1"
                                         << "ipAdEntAddr.10.0.0.1" << "10.0.0.1"
                                         << "RFC1213-MIB:ipAdEntAddr.10.0.0.1";
        QTest::newRow("address ending in .0") << "1.3.6.1.2.1.4.20.1.1.10.0.0.0" << "1.3.6.1.2.1.4.20.1.1.10.0.0.0"
                                              << "ipAdEntAddr.10.0.0.0" << "10.0.0.0"
                                              << "RFC1213-MIB:ipAdEntAddr.10.0.0.0";
        QTest::newRow("quotes removed") << "\"1.3.6.1.2.1.1.5.0\"" << "1.3.6.1.2.1.1.5.0" << "sysName.0" << "0"
                                        << "SNMPv2-MIB:sysName.0";
        QTest::newRow("non-primary skipped for its parent") << "1.3.6.1.2.1.2.2.1.8.1" << "1.3.6.1.2.1.2.2.1.8.1"
                                                            << "ifEntry.8.1" << "8.1" << "IF-MIB:ifEntry.8.1";
        QTest::newRow("undefined column falls back to the entry") << "1.3.6.1.2.1.2.2.1.23.5" << "1.3.6.1.2.1.2.2.1.23.5"
                                                                 << "ifEntry.23.5" << "23.5" << "IF-MIB:ifEntry.23.5";
        QTest::newRow("instance row is not searched for .0") << "1.3.6.1.2.1.1.4.0" << "1.3.6.1.2.1.1.4.0"
                                                             << "sysContact.0" << "0" << "SNMPv2-MIB:sysContact.0";
        QTest::newRow("instance row below .0") << "1.3.6.1.2.1.1.4.0.1" << "1.3.6.1.2.1.1.4.0.1"
                                               << "sysContact.0.1" << "1" << "SNMPv2-MIB:sysContact.0.1";
        QTest::newRow("leading dot finds nothing") << ".1.3.6.1" << "" << "" << "" << "";
        QTest::newRow("unknown first arc") << "7.3.6" << "" << "" << "" << "";
        QTest::newRow("empty") << "" << "" << "" << "" << "";
    }
    void resolveOid()
    {
        QFETCH(QString, given);
        QFETCH(QString, oid);
        QFETCH(QString, name);
        QFETCH(QString, index);
        QFETCH(QString, fullName);
        QXMibOID record;
        record.setOID(given);
        QCOMPARE(record.OID(), oid);
        QCOMPARE(record.Name(), name);
        QCOMPARE(record.Index(), index);
        QCOMPARE(record.FullName(), fullName);
    }

    void resolveNames_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("mib");

        QTest::newRow("FullName descriptor") << "FullName" << "ifDescr" << "1.3.6.1.2.1.2.2.1.2" << "IF-MIB";
        QTest::newRow("FullName module-qualified") << "FullName" << "IF-MIB:ifAdminStatus" << "1.3.6.1.2.1.2.2.1.7"
                                                   << "IF-MIB";
        QTest::newRow("FullName wrong module") << "FullName" << "RFC1213-MIB:ifDescr" << "" << "";
        QTest::newRow("FullName as an OID") << "FullName" << "1.3.6.1.2.1.1.5.0" << "1.3.6.1.2.1.1.5.0"
                                            << "SNMPv2-MIB";
        QTest::newRow("FullName non-primary only by module") << "FullName" << "OLD-MIB:ifOperStatus"
                                                             << "1.3.6.1.2.1.2.2.1.8" << "OLD-MIB";
        QTest::newRow("FullName non-primary descriptor") << "FullName" << "ifOperStatus" << "" << "";
        QTest::newRow("Name takes non-primary rows") << "Name" << "ifOperStatus" << "1.3.6.1.2.1.2.2.1.8" << "OLD-MIB";
        QTest::newRow("Name with instance finds nothing") << "Name" << "ifDescr.3" << "" << "";
        QTest::newRow("Name any case") << "Name" << "SYSNAME" << "1.3.6.1.2.1.1.5" << "SNMPv2-MIB";
    }
    void resolveNames()
    {
        QFETCH(QString, property);
        QFETCH(QString, given);
        QFETCH(QString, oid);
        QFETCH(QString, mib);
        QXMibOID record;
        QVERIFY(record.setProperty(property.toLatin1().constData(), given));
        QCOMPARE(record.OID(), oid);
        QCOMPARE(record.MIB(), mib);
        if (!oid.isEmpty() && property == QLatin1String("Name"))
            QCOMPARE(record.Index(), QString());
    }

    // A failed look-up clears only part of the record; the rest still shows the last object.
    void failedLookupKeepsPartOfTheRecord()
    {
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.2.3"));
        record.setCalculation(QStringLiteral("x*8"));
        record.setLine(7);
        record.setKey(QStringLiteral("k"));
        record.setOID(QStringLiteral("9.9.9"));
        const QStringList fields = {record.OID(), record.Name(), record.FullName(), QString::number(record.TypeInteger()),
                                    record.StatusString(), record.AccessString(), record.BaseOID(), record.ParentOID(),
                                    record.Index(), record.Calculation(), QString::number(record.Line()), record.Key()};
        QCOMPARE(fields.join(u'|'), QStringLiteral("|||0|unknown|unknown|1.3.6.1.2.1.2.2.1.2|1.3.6.1.2.1.2.2.1|3|x*8|7|k"));
    }

    void longNameAndEnumList()
    {
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7.2"));
        QCOMPARE(record.LongName(), QStringLiteral("iso.org.dod.internet.mgmt.mib-2.interfaces.ifTable.ifEntry.ifAdminStatus.2"));
        QCOMPARE(record.EnumList(), QStringLiteral("#1;up(1)|#2;down(2)|#3;testing(3)"));
        record.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
        QCOMPARE(record.LongName(), QStringLiteral("iso.org.dod.internet.mgmt.mib-2.system.sysName.0"));
        QCOMPARE(record.EnumList(), QString());
    }

    // Both word tables, every code and the codes beside them.
    void words()
    {
        QStringList seen;
        for (int code = 0; code <= 5; ++code) {
            FixtureDatabase::Object o;
            o.oid = QStringLiteral("1.3.6.1.4.1.7.%1").arg(code);
            o.status = o.access = code;
            m_fixture->addObject(o);
            QXMibOID record;
            record.setOID(o.oid);
            seen << record.StatusString() + u'/' + record.AccessString();
        }
        QCOMPARE(seen.join(u' '), QStringLiteral("unknown/unknown mandatory/read-only optional/read-write "
                                                 "obsolete/write-only deprecated/not-available unknown/unknown"));
    }

    void enumTexts_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<int>("value");
        QTest::addColumn<QString>("defaultText");
        QTest::addColumn<QString>("enumString");
        QTest::addColumn<QString>("enumName");
        QTest::addColumn<QString>("enumWords");

        const QString admin = QStringLiteral("1.3.6.1.2.1.2.2.1.7");
        QTest::newRow("known") << admin << 1 << "" << "up(1)" << "up" << "Up";
        QTest::newRow("unknown, no default") << admin << 7 << "" << "unknown(7)" << "7" << "7";
        QTest::newRow("unknown, default") << admin << 7 << "gone" << "unknown(7)" << "gone" << "Gone";
        QTest::newRow("no enumeration") << "1.3.6.1.2.1.1.5" << 7 << "" << "unknown(7)" << "7" << "7";
    }
    void enumTexts()
    {
        QFETCH(QString, oid);
        QFETCH(int, value);
        QFETCH(QString, defaultText);
        QXMibOID record;
        record.setOID(oid);
        QTEST(record.EnumString(value), "enumString");
        QTEST(record.EnumName(value, defaultText), "enumName");
        QTEST(record.EnumWords(value, defaultText), "enumWords");
    }

    void enumWordsSplitting_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("words");
        QTest::newRow("runs of capitals split in pairs") << "ifHCInOctets" << "If HC In Octets";
        QTest::newRow("one hump") << "ethernetCsmacd" << "Ethernet Csmacd";
        QTest::newRow("digits count as lower case") << "iso88023Csmacd" << "Iso88023 Csmacd";
        QTest::newRow("all capitals") << "ABCD" << "AB CD";
        QTest::newRow("capitals from the start") << "ISDN" << "IS DN";
        QTest::newRow("two capitals first") << "IPv4" << "IPv4";
        QTest::newRow("non-ASCII capital") << "aÄb" << "AÄb";
    }
    void enumWordsSplitting()
    {
        QFETCH(QString, label);
        m_fixture->addEnum(QStringLiteral("words"), 9, label);
        m_fixture->addObject(QStringLiteral("1.3.6.1.4"), QStringLiteral("T"), QStringLiteral("w"), QString(),
                             QStringLiteral("words"));
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.4"));
        QTEST(record.EnumWords(9), "words");
    }

    void oidIndex_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("index");
        QTest::newRow("last arc") << "1.3.6.1.2.1.2.2.1.2.12" << 12;
        QTest::newRow("no number") << "abc" << 0;
        QTest::newRow("no dot") << "42" << 42;
        QTest::newRow("trailing dot") << "1.3." << 0;
    }
    void oidIndex()
    {
        QFETCH(QString, text);
        QXMibOID record;
        QTEST(record.OIDIndex(text), "index");
    }

    // Two modules define one OID, each row primary as an import writes it: look-ups
    // take the first row in the database's order, and a Units or Parse let rewrites
    // only the row that its Sync statement selects, with that row's own fields.
    void duplicateDefinitions_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::newRow("SNMPv2-MIB first") << "SNMPv2-MIB" << "RFC1213-MIB";
        QTest::newRow("RFC1213-MIB first") << "RFC1213-MIB" << "SNMPv2-MIB";
    }
    void duplicateDefinitions()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        const QString sysName = QStringLiteral("1.3.6.1.2.1.1.5");
        m_fixture->db().executeScript(QStringLiteral("DELETE FROM Tree WHERE Name = 'sysName'"));
        FixtureDatabase::Object o;
        o.oid = sysName;
        o.name = QStringLiteral("sysName");
        for (const QString &mib : {first, second}) {
            o.mib = mib;
            o.description = mib + QStringLiteral(" text");
            m_fixture->addObject(o);
        }
        Database *db = Globals::database();
        const QString everything = QStringLiteral("Select * From Tree");
        QVariantList expected = db->select(everything);
        for (QVariant &row : expected) {
            QVariantMap map = row.toMap();
            if (map.value(QStringLiteral("MIB")) == first && map.value(QStringLiteral("OID")) == sysName)
                map.insert({{QStringLiteral("Units"), QStringLiteral("octets")}, {QStringLiteral("Parse"), QStringLiteral("OCTET")}});
            row = map;
        }

        QXMibOID record;
        record.setOID(sysName + QStringLiteral(".0"));
        QCOMPARE(record.FullName(), first + QStringLiteral(":sysName.0"));
        record.setOID(sysName);
        record.setUnits(QStringLiteral("octets"));
        record.setParse(QStringLiteral("OCTET"));
        QCOMPARE(db->select(everything), expected);
        // Every later user sees the change. With an instance suffix the full OID
        // finds no row, so Sync adds a primary one.
        record.setOID(sysName + QStringLiteral(".0"));
        QCOMPARE(record.Description() + u' ' + record.Units(), first + QStringLiteral(" text octets"));
        record.Sync();
        const QVariantList added = db->select(QStringLiteral("Select Name From Tree Where OID = '1.3.6.1.2.1.1.5.0' AND Primary=TRUE"));
        QCOMPARE(added, QVariantList({QVariantMap({{QStringLiteral("Name"), QStringLiteral("sysName.0")}})}));
        QCOMPARE(db->select(everything).size(), expected.size() + 1);
    }

    // Older files without the Calculation column still resolve and sync.
    void olderFileWithoutCalculation()
    {
        m_fixture->db().executeScript(QStringLiteral("ALTER TABLE Tree DROP COLUMN Calculation"));
        Globals::resetForTesting();
        m_fixture->activate();
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
        QCOMPARE(record.Name(), QStringLiteral("sysName.0"));
        record.setOID(QStringLiteral("1.3.6.1.2.1.1.5"));
        record.setUnits(QStringLiteral("x"));
        QXMibOID again;
        again.setName(QStringLiteral("sysName"));
        QCOMPARE(again.Units(), QStringLiteral("x"));
    }

    // Lets of every kind in a row on one record (so each starts from what the
    // last left, partial Clear included), answered from memory and by the
    // statements: every field the same.
    void sameAsStatements()
    {
        m_fixture->db().executeScript(QStringLiteral(
            "UPDATE Tree SET Calculation = 'x*8' WHERE Name = 'ifSpeed';"
            "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeS, Enum, Calculation, \"Primary\") VALUES "
            "('1.3.6.1.4.1.9.1', 'X-MIB', 'shadowFirst', '1.3.6.1.4.1.9', 1, '', '', '', 0),"
            "('1.3.6.1.4.1.9.1', 'X-MIB', 'realSecond', '1.3.6.1.4.1.9', 1, '', '', '', -1),"
            "('1.3.6.1.4.1.9.2', 'X-MIB', 'dupA', '1.3.6.1.4.1.9', 2, '', '', '', -1),"
            "('1.3.6.1.4.1.9.2', 'Y-MIB', 'dupB', '1.3.6.1.4.1.9', 2, '', '', '', -1),"
            "('1.3.6.1.4.1.9.3', 'X-MIB', 'positive', '1.3.6.1.4.1.9', 3, '', '', '', 1),"
            "('1.3.6.1.4.1.9.05', 'X-MIB', 'leadingZero', '1.3.6.1.4.1.9', 5, '', '', '', -1),"
            "('1.3.6.1.4.1.9.4-x', 'X-MIB', 'dashed', '1.3.6.1.4.1.9', 0, '', '', '', -1),"
            "('1.3.6.1.4.1.9..7', 'X-MIB', 'emptyArc', '1.3.6.1.4.1.9.', 7, '', '', '', -1),"
            "('1.3.6.1.4.1.9.8.', 'X-MIB', 'trailingDot', '1.3.6.1.4.1.9.8', 0, '', '', '', -1),"
            "('.1.3', 'X-MIB', 'dotted', '.1', 3, '', '', '', -1),"
            "('', 'X-MIB', 'noOid', '', 0, '', '', '', -1),"
            "('1.3.6.1.4.1.9.9', 'X-MIB', 'CaseName', '1.3.6.1.4.1.9', 9, 'INTEGER', 'ifAdminStatus', NULL, -1),"
            "('1.3.6.1.4.1.9.10', 'X-MIB', 'casename', '1.3.6.1.4.1.9', 10, '', '', '', -1);"
            "INSERT INTO Enums (Name, Value, Enum) VALUES ('ifAdminStatus', 1, 'again'), ('ifadminstatus', 2, 'lower');"));
        const QStringList steps = {
            "OID:1.3.6.1.2.1.2.2.1.5.3", "OID:1.3.6.1.4.1.9.1.5", "OID:9.9", "OID:1.3.6.1.4.1.9.2.0", "OID:1.3.6.1.4.1.9.3.1",
            "OID:1.3.6.1.4.1.9.05.1", "OID:1.3.6.1.4.1.9.5.1", "OID:1.3.6.1.4.1.9.4-x.2", "OID:1.3.6.1.4.1.9.4-x",
            "OID:1.3.6.1.4.1.9..7.3", "OID:.1.3.6", "OID:.5.1", "OID:.1.3", "OID:1.3.6.1.4.1.9.8.", "OID:1.3.6.1.4.1.9.8..",
            "OID:\"1.3.6.1.2.1.1.5.0\"", "OID:1.3.6.1.2.1.2.2.1.7.3", "OID:", "OID:.0", "OID:0", "OID:1.3.6.1.2.1.1.4.0",
            "OID:1.3.6.1.4.1.4294967296.1", "OID:1.3.6.1.2.1.2.2.1.2.99999999999", "OID:1.3.6.1.4.1.9.9.1",
            "FullName:ifDescr", "FullName:IF-MIB:ifAdminStatus", "FullName:RFC1213-MIB:ifDescr", "FullName:OLD-MIB:ifOperStatus",
            "FullName:ifOperStatus", "FullName:CASENAME", "FullName:x-mib:dupB", "FullName:1.3.6.1.2.1.1.5.0", "FullName:a\"b",
            "Name:ifOperStatus", "Name:CASENAME", "Name:shadowFirst", "Name:ifDescr.3", "Name:noOid", "Name:q\"uote"};
        auto run = [&steps] {
            QStringList out;
            QXMibOID r;
            for (const QString &step : steps) {
                const QString value = step.section(u':', 1);
                try {
                    if (step.startsWith(QLatin1String("OID:")))
                        r.setOID(value);
                    else if (step.startsWith(QLatin1String("FullName:")))
                        r.setFullName(value);
                    else
                        r.setName(value);
                    out << step + QStringLiteral(" -> ") + fields(r);
                } catch (const QXMibError &e) {
                    out << step + QStringLiteral(" -> error ") + QString::number(e.number());
                }
            }
            return out;
        };
        QVERIFY(DefinitionCache::answering(Globals::database(), DefinitionCache::Question::Oids));
        QVERIFY(DefinitionCache::answering(Globals::database(), DefinitionCache::Question::Enums));
        const QStringList fromMemory = run();
        DefinitionCache::setEnabled(false);
        const QStringList fromStatements = run();
        DefinitionCache::setEnabled(true);
        for (int i = 0; i < steps.size(); ++i)
            QCOMPARE(fromMemory.at(i), fromStatements.at(i));
    }

    // A record resolved before a write sees it at its next look-up, whoever wrote.
    void seesEveryWrite_data()
    {
        QTest::addColumn<QString>("journal");
        QTest::addColumn<QString>("writer");
        QTest::addColumn<QString>("expected");
        const QString renamed = QStringLiteral("sysLabel.0|0|||iso.org.dod.internet.mgmt.mib-2.system.sysLabel.0");
        QTest::newRow("Units let") << "WAL" << "units" << "sysName.0|0|octets||iso.org.dod.internet.mgmt.mib-2.system.sysName.0";
        QTest::newRow("Parse let") << "WAL" << "parse" << "sysName.0|0||OCTET|iso.org.dod.internet.mgmt.mib-2.system.sysName.0";
        QTest::newRow("Sync of an instance") << "WAL" << "sync" << "sysName.0|0|||iso.org.dod.internet.mgmt.mib-2.system.sysName.sysName.0";
        QTest::newRow("host statement") << "WAL" << "host" << renamed;
        QTest::newRow("host transaction rolled back") << "WAL" << "rollback" << "sysName.0|0|||iso.org.dod.internet.mgmt.mib-2.system.sysName.0";
        QTest::newRow("other connection") << "WAL" << "connection" << renamed;
        QTest::newRow("other process") << "WAL" << "process" << renamed;
        QTest::newRow("other process, rollback journal") << "DELETE" << "process" << renamed;
        QTest::newRow("other process turning it to WAL") << "DELETE" << "to WAL" << "sysTag.0|0|||iso.org.dod.internet.mgmt.mib-2.system.sysTag.0";
    }
    void seesEveryWrite()
    {
        QFETCH(QString, journal);
        QFETCH(QString, writer);
        m_fixture->db().executeScript(QStringLiteral("PRAGMA journal_mode=") + journal);
        const QString sysName = QStringLiteral("1.3.6.1.2.1.1.5");
        auto state = [&sysName] {
            QXMibOID r;
            r.setOID(sysName + QStringLiteral(".0"));
            return QStringList({r.Name(), r.Index(), r.Units(), r.Parse(), r.LongName()}).join(u'|');
        };
        const QString before = state();
        QCOMPARE(before, QStringLiteral("sysName.0|0|||iso.org.dod.internet.mgmt.mib-2.system.sysName.0"));
        const QString rename = QStringLiteral("Update Tree Set Name='sysLabel' Where OID='1.3.6.1.2.1.1.5'");
        Database *db = Application().MIBDatabase();
        QXMibOID record;
        record.setOID(sysName);
        if (writer == QLatin1String("units")) {
            record.setUnits(QStringLiteral("octets"));
        } else if (writer == QLatin1String("parse")) {
            record.setParse(QStringLiteral("OCTET"));
        } else if (writer == QLatin1String("sync")) {
            record.setOID(sysName + QStringLiteral(".0"));
            record.Sync();
        } else if (writer == QLatin1String("host")) {
            db->execute(rename);
        } else if (writer == QLatin1String("rollback")) {
            db->executeScript(QStringLiteral("BEGIN"));
            db->execute(rename);
            QCOMPARE(state().left(9), QStringLiteral("sysLabel."));
            db->executeScript(QStringLiteral("ROLLBACK"));
        } else if (writer == QLatin1String("connection")) {
            m_fixture->db().execute(rename);
        } else if (writer == QLatin1String("process")) {
            QCOMPARE(otherProcess(m_fixture->path(), rename), 0);
        } else {
            QCOMPARE(otherProcess(m_fixture->path(), QStringLiteral("PRAGMA journal_mode=WAL; ") + rename), 0);
            QCOMPARE(state().left(9), QStringLiteral("sysLabel."));
            QCOMPARE(otherProcess(m_fixture->path(), QStringLiteral("Update Tree Set Name='sysTag' Where OID='1.3.6.1.2.1.1.5'")), 0);
        }
        QTEST(state(), "expected");
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

int main(int argc, char *argv[])
{
    if (argc == 4 && qstrcmp(argv[1], "--write") == 0)
        return writeAndExit(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    QCoreApplication app(argc, argv);
    tst_QXMibOID test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_qxmiboid.moc"
