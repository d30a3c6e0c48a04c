#include "fixturedatabase.h"

#include "mibcompiler.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiboid.h"
#include "mibx/importmibx.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The modules pysnmp carries compiled, converted to MIB-X, against the same
// modules compiled from their text; and what they add to the default database.
class tst_Pysnmp2Mibx : public QObject
{
    Q_OBJECT

    struct Row
    {
        QString oid, typeS, access, status, enums;
        QString column(const QString &name) const
        {
            return name == QLatin1String("OID")      ? oid
                   : name == QLatin1String("TypeS")  ? typeS
                   : name == QLatin1String("Access") ? access
                   : name == QLatin1String("Status") ? status
                                                     : enums;
        }
    };
    using Rows = QHash<QString, QHash<QString, Row>>; // module -> name -> row

    static Rows import(const QStringList &files)
    {
        FixtureDatabase db;
        db.activate();
        ImportMIBX importer;
        for (const QString &f : files)
            importer.ImportMIBXFile(f);
        Rows rows;
        for (const QVariant &v : db.db().select(QStringLiteral("Select * From Tree Where MIB<>'SNMPv2-SMI'"))) {
            const QVariantMap t = v.toMap();
            QStringList enums;
            const QString set = t.value(QStringLiteral("Enum")).toString();
            if (!set.isEmpty()) {
                for (const QVariant &e : db.db().select(QStringLiteral("Select * From Enums Where Name='%1'").arg(set)))
                    enums << e.toMap().value(QStringLiteral("Value")).toString() + u'=' + e.toMap().value(QStringLiteral("Enum")).toString();
            }
            enums.sort();
            rows[t.value(QStringLiteral("MIB")).toString()][t.value(QStringLiteral("Name")).toString()] =
                Row{t.value(QStringLiteral("OID")).toString(), t.value(QStringLiteral("TypeS")).toString(),
                    t.value(QStringLiteral("Access")).toString(), t.value(QStringLiteral("Status")).toString(),
                    enums.join(u' ')};
        }
        return rows;
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString build = qEnvironmentVariable("QXMIB_BINARY_DIR");
        const QString python = build + QStringLiteral("/mib-sources/python");
        const QString text = build + QStringLiteral("/mib-sources/sources/npm");
        if (!QFile::exists(python + QStringLiteral("/pysnmp_mibs")) || !QFile::exists(text + QStringLiteral("/IF-MIB.mib")))
            QSKIP("The fetched MIB sources (QXMIB_BUILD_DEFAULT_DB) are not in the build folder");

        QProcess convert;
        convert.start(QStringLiteral(QXMIB_PYTHON3),
                      {qEnvironmentVariable("QXMIB_SOURCE_DIR") + QStringLiteral("/tools/pysnmpmibs/pysnmp2mibx.py"),
                       QStringLiteral("--pythonpath"), python, QStringLiteral("-o"), m_dir.filePath(QStringLiteral("pysnmp")),
                       QStringLiteral("--text"), m_dir.filePath(QStringLiteral("pysnmp-text")),
                       QStringLiteral("IF-MIB"), QStringLiteral("SNMPv2-MIB")});
        QVERIFY(convert.waitForFinished(60000));
        QVERIFY2(convert.exitCode() == 0, convert.readAllStandardError().constData());
        m_pysnmp = import({m_dir.filePath(QStringLiteral("pysnmp/IF-MIB.mibx")),
                           m_dir.filePath(QStringLiteral("pysnmp/SNMPv2-MIB.mibx"))});

        MibCompiler compiler;
        const MibCompiler::Result r = compiler.compile(
            {text + QStringLiteral("/IF-MIB.mib"), text + QStringLiteral("/SNMPv2-MIB.mib")}, m_dir.filePath(QStringLiteral("text")));
        QCOMPARE(r.outputFiles.size(), 2);
        m_text = import(r.outputFiles);
    }

    // The module text written from pysnmp's compiled modules, compiled as any
    // module text is, gives what their own text gives: names, OIDs, types, access.
    void writtenText()
    {
        MibCompiler compiler;
        compiler.setSearchPath({qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/mib-sources/sources/npm")});
        const MibCompiler::Result r = compiler.compile({m_dir.filePath(QStringLiteral("pysnmp-text/IF-MIB.txt")),
                                                        m_dir.filePath(QStringLiteral("pysnmp-text/SNMPv2-MIB.txt"))},
                                                       m_dir.filePath(QStringLiteral("written")));
        QVERIFY2(r.unfinishedFiles().isEmpty(), qPrintable(r.summary()));
        const Rows written = import(r.outputFiles);
        QStringList differences;
        for (auto module = m_text.cbegin(); module != m_text.cend(); ++module) {
            for (auto it = module->cbegin(); it != module->cend(); ++it) {
                const Row other = written.value(module.key()).value(it.key());
                // Groups and compliances are written as plain identifiers: access for typed objects only.
                if (other.oid != it->oid || other.typeS != it->typeS
                    || (!it->typeS.isEmpty() && other.access != it->access))
                    differences << QStringLiteral("%1 %2|%3|%4 (written: %5|%6|%7)")
                                       .arg(it.key(), it->oid, it->typeS, it->access, other.oid, other.typeS, other.access);
            }
        }
        QVERIFY2(differences.isEmpty(), qPrintable(differences.join(QStringLiteral("; "))));
    }

    // differences: the objects whose column differs, "*" for every object the text states it for.
    void sameRowsAsText_data()
    {
        QTest::addColumn<QString>("module");
        QTest::addColumn<QString>("column");
        QTest::addColumn<QStringList>("differences");
        for (const char *module : {"IF-MIB", "SNMPv2-MIB"}) {
            for (const char *column : {"OID", "TypeS"})
                QTest::addRow("%s %s", module, column) << module << column << QStringList();
        }
        QTest::newRow("IF-MIB Access") << "IF-MIB" << "Access" << QStringList();
        QTest::newRow("IF-MIB enumerations: pysnmp's IANAifType-MIB is an older revision (and spells trasnpHdlc)")
            << "IF-MIB" << "Enums" << QStringList{"ifType"};
        QTest::newRow("IF-MIB Status: python3-pysnmp4-mibs states none")
            << "IF-MIB" << "Status" << QStringList{"*"};
        QTest::newRow("SNMPv2-MIB Access") << "SNMPv2-MIB" << "Access" << QStringList();
        QTest::newRow("SNMPv2-MIB enumerations") << "SNMPv2-MIB" << "Enums" << QStringList();
        QTest::newRow("SNMPv2-MIB Status: pysnmp states none for groups, compliances, the module identity")
            << "SNMPv2-MIB" << "Status"
            << QStringList{"snmpBasicCompliance", "snmpBasicComplianceRev2", "snmpBasicNotificationsGroup",
                           "snmpCommunityGroup", "snmpGroup", "snmpMIB", "snmpNotificationGroup", "snmpObsoleteGroup",
                           "snmpSetGroup", "snmpWarmStartNotificationGroup", "systemGroup"};
    }
    void sameRowsAsText()
    {
        QFETCH(QString, module);
        QFETCH(QString, column);
        QFETCH(QStringList, differences);
        const QHash<QString, Row> text = m_text.value(module);
        const QHash<QString, Row> pysnmp = m_pysnmp.value(module);
        QVERIFY(text.size() > 20);
        QStringList differ;
        bool allUnstated = true;
        for (auto t = text.cbegin(); t != text.cend(); ++t) {
            const QString theirs = pysnmp.contains(t.key()) ? pysnmp.value(t.key()).column(column) : QStringLiteral("(none)");
            if (t->column(column) != theirs)
                differ << t.key() + QStringLiteral(": ") + t->column(column) + QStringLiteral(" | ") + theirs;
            allUnstated = allUnstated && (theirs == QLatin1String("0"));
        }
        for (auto p = pysnmp.cbegin(); p != pysnmp.cend(); ++p) {
            if (!text.contains(p.key()))
                differ << p.key() + QStringLiteral(": (none) | ") + p->column(column);
        }
        if (differences == QStringList{QStringLiteral("*")}) {
            QVERIFY2(allUnstated, qPrintable(differ.join(u'\n')));
            return;
        }
        differ.sort();
        differences.sort();
        QStringList names;
        for (const QString &d : std::as_const(differ))
            names << d.section(u':', 0, 0);
        QVERIFY2(names == differences, qPrintable(differ.join(u'\n')));
    }

    // The share of a real Linux host's walk that the shipped database names and
    // types, and the objects a network engineer looks for first.
    void linuxWalkCoverage()
    {
        const QString shipped = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/lib/MIBs.cfg");
        const QString walk = QStringLiteral("/usr/share/doc/snmpsim/examples/data/recorded/linux-full-walk.snmprec.gz");
        if (!QFile::exists(shipped) || !QFile::exists(walk))
            QSKIP("No default database or no snmpsim recordings");
        Globals::resetForTesting();
        Globals::setDatabasePath(shipped);
        QProcess gzip;
        gzip.start(QStringLiteral("gzip"), {QStringLiteral("-dc"), walk});
        QVERIFY(gzip.waitForFinished(30000));
        int total = 0;
        int typed = 0;
        for (const QByteArray &line : gzip.readAllStandardOutput().split('\n')) {
            if (line.isEmpty())
                continue;
            QXMibOID o;
            o.setOID(QString::fromLatin1(line.left(line.indexOf('|'))));
            ++total;
            if (o.TypeInteger() != 0 && !o.TypeString().isEmpty())
                ++typed;
        }
        qInfo("linux-full-walk: %d of %d OIDs (%.1f%%) resolve to an object with a type", typed, total,
              100.0 * typed / qMax(total, 1));
        QVERIFY(total > 3000);
        QVERIFY(typed >= 0.95 * total);
        for (const char *name : {"hrSWRunTable", "hrSWInstalledName", "ipAddressTable", "tcpConnectionState", "entPhysicalDescr"}) {
            QXMibOID o;
            o.setName(QLatin1String(name));
            QVERIFY2(o.BaseName() == QLatin1String(name), name);
        }
        Globals::resetForTesting();
        Globals::setDatabasePath(QString());
    }

private:
    QTemporaryDir m_dir;
    Rows m_text;
    Rows m_pysnmp;
};

QTEST_GUILESS_MAIN(tst_Pysnmp2Mibx)
#include "tst_pysnmp2mibx.moc"
