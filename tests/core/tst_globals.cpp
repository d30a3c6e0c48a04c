#include "core/application.h"
#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "databasebuilder.h"
#include "fixturedatabase.h"
#include "mibx/importmibx.h"

#include <QProcess>
#include <QtTest>

#include <cstdio>
#include <functional>

#include <unistd.h>

class tst_globals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_messages.clear();
        MessageSink::setHandler([this](const QString &text, const QString &) { m_messages.append(text); });
    }
    void cleanup()
    {
        MessageSink::setHandler({});
        Globals::resetForTesting();
        Globals::setDatabasePath(QString());
        Globals::setComponentFolder(QString());
    }

    void collapseBlanks_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("tab and two blanks") << "a\t  b" << "a b";
        QTest::newRow("leading run kept as one") << "  x" << " x";
        QTest::newRow("trailing run kept as one") << "x \t " << "x ";
        QTest::newRow("no blanks") << "abc" << "abc";
        QTest::newRow("empty") << "" << "";
    }
    void collapseBlanks()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(Globals::CollapseBlanks(text), expected);
    }

    void databaseBesideTheLibrary()
    {
        QTemporaryDir dir;
        Globals::setComponentFolder(dir.path() + QStringLiteral("/"));
        QCOMPARE(Globals::databasePath(), dir.path() + QStringLiteral("/MIBs.cfg"));
        QCOMPARE(Globals::helpFile().endsWith(QStringLiteral("/Help/Tarnbrooke.chm")), true);
        // Without an override the folder is the library's own.
        Globals::setComponentFolder(QString());
        QVERIFY(QFileInfo::exists(Globals::componentFolder() + QStringLiteral("/libQXMIBTree.so")));
    }

    void openOnceAndShare()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.activate();
        QVERIFY(Globals::sharedConnection() == nullptr);
        QXMibOID record; // opens on creation
        Database *first = Globals::sharedConnection();
        QVERIFY(first != nullptr && first->isOpen());
        Globals::OpenDatabase();
        QCOMPARE(Globals::sharedConnection(), first);
        Application app;
        QCOMPARE(app.MIBDatabase(), first);
        QCOMPARE(app.property("MIBDatabase").value<Database *>(), first);
        QVERIFY(m_messages.isEmpty());
    }

    // A failed open is shown once, with two CRs before the error's text, and never retried.
    void failedOpenReportedOnce_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file at all
        QTest::newRow("missing file") << QByteArray();
        QTest::newRow("not a database") << QByteArray("This is a text file, not a MIB database.\n").repeated(40);
    }
    void failedOpenReportedOnce()
    {
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
        if (!content.isNull()) {
            QFile f(path);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(content);
        }
        Globals::resetForTesting();
        Globals::setDatabasePath(path);
        QXMibOID record;
        QCOMPARE(m_messages.size(), 1);
        const QString prefix = QStringLiteral("Cannot open MIB Database (") + path + QStringLiteral(")\r\r");
        QVERIFY2(m_messages.first().startsWith(prefix), qPrintable(m_messages.first()));
        QVERIFY(m_messages.first().size() > prefix.size());
        QCOMPARE(QFileInfo::exists(path), !content.isNull()); // never created by the component
        // Later users find the connection object and skip opening, even once the
        // file has become a good database: their statements fail.
        QFile::remove(path);
        DatabaseBuilder::create(path);
        QXMibOID second;
        QVERIFY_THROWS_EXCEPTION(QXMibError, second.setOID(QStringLiteral("1.3.6.1")));
        Application app;
        QVERIFY(app.MIBDatabase() != nullptr && !app.MIBDatabase()->isOpen());
        QCOMPARE(m_messages.size(), 1);
    }

    // A database that the user may read but not write, read for real as such a
    // user: look-ups answer, writes fail with DatabaseReadOnly and change nothing.
    void readOnlyDatabase_data()
    {
        QTest::addColumn<bool>("sealed");
        QTest::newRow("rollback journal, as installed") << true;
        QTest::newRow("WAL, as a writer left it") << false;
    }
    void readOnlyDatabase()
    {
        QFETCH(bool, sealed);
        const bool root = ::geteuid() == 0;
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (root && setpriv.isEmpty())
            QSKIP("no setpriv to drop root's privileges with");
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
        const QString mibx = dir.filePath(QStringLiteral("new.mibx"));
        {
            FixtureDatabase fixture;
            fixture.addStandardObjects();
            fixture.db().executeScript(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
            QVERIFY(QFile::copy(fixture.path(), path));
        }
        QFile file(mibx);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><MODULE><NAME>NEW-MIB</NAME></MODULE>"
                   "<TREE><newObject><OID>1.3.6.1.4.1.5</OID></newObject></TREE></MIBX>");
        file.close();
        if (sealed)
            DatabaseBuilder::seal(path);
        const auto readable = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
        const auto searchable = QFile::ExeOwner | QFile::ExeGroup | QFile::ExeOther;
        QVERIFY(QFile::setPermissions(path, readable) && QFile::setPermissions(dir.path(), readable | searchable));

        QStringList command = {QCoreApplication::applicationFilePath(), QStringLiteral("--probe"), path, mibx};
        if (root)
            command = QStringList({setpriv, "--reuid=nobody", "--regid=nogroup", "--clear-groups"}) + command;
        QProcess probe;
        probe.start(command.takeFirst(), command);
        QVERIFY(probe.waitForFinished(30000));
        QFile::setPermissions(dir.path(), readable | searchable | QFile::WriteOwner);
        QCOMPARE(probe.readAllStandardError(), QByteArray());
        QCOMPARE(QString::fromUtf8(probe.readAllStandardOutput()),
                 QStringLiteral("IF-MIB:ifAdminStatus.3 #1;up(1)|#2;down(2)|#3;testing(3)\n"
                                "3027 3027 3027 IF-MIB:ifAdminStatus units ''\n"));
    }

    // A damaged file gives a clear error on use, never a crash, and reading it changes nothing in it.
    void damagedDatabase_data()
    {
        QTest::addColumn<double>("keep");    // the part of the file left
        QTest::addColumn<double>("garbage"); // where a page of garbage goes, as a part of the file; -1: none
        QTest::addColumn<QString>("error");
        QTest::newRow("truncated to half") << 0.5 << -1.0 << "is damaged";
        QTest::newRow("a page of garbage") << 1.0 << 0.6 << "is damaged";
        QTest::newRow("garbage over the header") << 1.0 << 0.0 << "is damaged";
    }
    void damagedDatabase()
    {
        QFETCH(double, keep);
        QFETCH(double, garbage);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
        {
            FixtureDatabase fixture;
            fixture.addStandardObjects();
            fixture.db().executeScript(QStringLiteral("BEGIN"));
            for (int i = 1; i <= 1500; ++i)
                fixture.addObject(QStringLiteral("1.3.6.1.4.1.%1").arg(i), QStringLiteral("BULK-MIB"),
                                  QStringLiteral("bulkObject%1").arg(i), QStringLiteral("DisplayString"));
            fixture.db().executeScript(QStringLiteral("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)"));
            QVERIFY(QFile::copy(fixture.path(), path));
        }
        DatabaseBuilder::seal(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QByteArray bytes = file.readAll().left(qsizetype(file.size() * keep));
        if (garbage >= 0) {
            const qsizetype page = qsizetype(bytes.size() * garbage) / 4096 * 4096;
            for (qsizetype i = page; i < page + 4096; ++i)
                bytes[i] = char(i * 7919 % 251);
        }
        QVERIFY(file.resize(0) && file.write(bytes) == bytes.size());
        file.close();

        Globals::setDatabasePath(path);
        QString caught;
        try {
            QXMibOID record;
            record.setOID(QStringLiteral("1.3.6.1.2.1.1.5.0"));
            // Through the table and each of its indexes.
            for (const char *column : {"TypeS", "OID", "Name", "ParentOID", "MIB"})
                Application().MIBDatabase()->select(QStringLiteral("Select %1 From Tree Where %1 > ''").arg(QLatin1String(column)));
        } catch (const QXMibError &e) {
            caught = e.description();
        }
        QFETCH(QString, error);
        const QString said = m_messages.join(u'\n') + caught;
        QVERIFY2(said.contains(error), qPrintable(said));
        QVERIFY2(said.contains(path), qPrintable(said));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll() == bytes);
    }

    // Another program writes in the middle of an import: the import waits for it, or,
    // when it holds on too long, stops with a clear error. Nobody's rows are lost.
    void lockedDuringImport_data()
    {
        QTest::addColumn<int>("holdMs");
        QTest::addColumn<int>("importedFirst");
        QTest::newRow("released within the wait") << 1000 << 5;
        QTest::newRow("held beyond the wait") << 6500 << 1;
    }
    void lockedDuringImport()
    {
        QFETCH(int, holdMs);
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.activate();
        const QString mibx = fixture.folder() + QStringLiteral("/lock.mibx");
        QFile file(mibx);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-01-01</COMPILED>"
                   "<MODULE><NAME>LOCK-MIB</NAME></MODULE><TREE>");
        for (int i = 1; i <= 5; ++i)
            file.write(QStringLiteral("<lock%1><OID>1.3.6.1.4.1.77.%1</OID></lock%1>").arg(i).toUtf8());
        file.write("</TREE></MIBX>");
        file.close();

        QProcess locker;
        ImportMIBX import;
        int imported = 0;
        connect(&import, &ImportMIBX::OIDImported, this, [&](QString &, QString &, bool &) {
            if (++imported == 1) {
                locker.start(QCoreApplication::applicationFilePath(),
                             {QStringLiteral("--lock"), fixture.path(), QString::number(holdMs)});
                QVERIFY(locker.waitForReadyRead(10000));
            }
        });
        QString error;
        try {
            import.ImportMIBXFile(mibx);
        } catch (const QXMibError &e) {
            error = e.description();
        }
        QTEST(imported, "importedFirst");
        QVERIFY(locker.waitForFinished(15000) && locker.exitCode() == 0);
        if (imported < 5) {
            QVERIFY2(error.contains(QStringLiteral("locked by another process")) && error.contains(fixture.path()),
                     qPrintable(error));
            QVERIFY(import.ImportMIBXFile(mibx));
        }
        QCOMPARE(error.isEmpty(), imported == 5);
        const QVariantList counts = Globals::database()->select(QStringLiteral(
            "Select (Select Count(*) From Tree Where MIB='LOCK-MIB') AS t, Count(*) AS m From MIBs Where Name IN "
            "('LOCK-MIB', 'LOCKER-MIB')"));
        QCOMPARE(counts, QVariantList({QVariantMap{{QStringLiteral("t"), 5}, {QStringLiteral("m"), 2}}}));
    }

    // A database from before IndexBy and Calculation: look-ups, writes and imports work without them.
    void olderSchema()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.db().executeScript(
            QStringLiteral("ALTER TABLE Tree DROP COLUMN IndexBy; ALTER TABLE Tree DROP COLUMN Calculation"));
        fixture.activate();
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
        QCOMPARE(record.FullName(), QStringLiteral("IF-MIB:ifAdminStatus"));
        record.setUnits(QStringLiteral("states"));
        const QString mibx = fixture.folder() + QStringLiteral("/old.mibx");
        QFile file(mibx);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-01-01</COMPILED>"
                   "<MODULE><NAME>OLD-MIB</NAME></MODULE><TREE><old><OID>ifEntry.99</OID></old></TREE></MIBX>");
        file.close();
        ImportMIBX import;
        QVERIFY(import.ImportMIBXFile(mibx));
        QCOMPARE(import.Errors(), 0);
        QXMibOID again;
        again.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7.2"));
        QCOMPARE(again.Units(), QStringLiteral("states"));
        again.setName(QStringLiteral("old"));
        QCOMPARE(again.OID(), QStringLiteral("1.3.6.1.2.1.2.2.1.99"));
        QVERIFY(m_messages.isEmpty());
    }

    void factory_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("className");
        QTest::newRow("OID") << "QXMIBTree.OID" << QByteArray("QXMibOID");
        QTest::newRow("Application") << "QXMIBTree.Application" << QByteArray("Application");
        QTest::newRow("OIDTypes, other case") << "qxmibtree.oidtypes" << QByteArray("OIDTypes");
        QTest::newRow("OIDType") << "QXMIBTree.OIDType" << QByteArray("OIDType");
    }
    void factory()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, className);
        FixtureDatabase fixture;
        fixture.activate();
        std::unique_ptr<QObject> object(ObjectFactory::create(name));
        QVERIFY(object);
        QCOMPARE(QByteArray(object->metaObject()->className()), className);
        QVERIFY(ObjectFactory::create(QStringLiteral("QXMIBTree.Nothing")) == nullptr);
    }

private:
    QStringList m_messages;
};

// "--probe DATABASE MIBX": what readOnlyDatabase runs as the user who cannot write.
// Prints what a look-up finds, then the error number of each kind of write.
int probe(const QString &path, const QString &mibx)
{
    MessageSink::setHandler([](const QString &text, const QString &) { std::printf("%s\n", qPrintable(text)); });
    Globals::setDatabasePath(path);
    QXMibOID record;
    record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7.3"));
    std::printf("%s %s\n", qPrintable(record.FullName()), qPrintable(record.EnumList()));
    const std::function<void()> writes[] = {
        [&] { record.setUnits(QStringLiteral("changed")); },
        [&] { ImportMIBX().ImportMIBXFile(mibx); },
        [] { Globals::database()->execute(QStringLiteral("Delete From Tree Where MIB='IF-MIB'")); }};
    for (const auto &write : writes) {
        try {
            write();
            std::printf("written ");
        } catch (const QXMibError &e) {
            std::printf("%d ", e.number());
        }
    }
    record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
    std::printf("%s units '%s'\n", qPrintable(record.FullName()), qPrintable(record.Units()));
    return 0;
}

// "--lock DATABASE MS": what lockedDuringImport runs as the other program. Writes a
// row and holds the database's write lock for MS milliseconds before it commits.
int holdLock(const QString &path, int ms)
{
    Database db;
    db.open(path);
    db.executeScript(QStringLiteral("BEGIN IMMEDIATE; INSERT INTO MIBs (Name) VALUES ('LOCKER-MIB')"));
    std::printf("locked\n");
    std::fflush(stdout);
    QThread::msleep(ms);
    db.executeScript(QStringLiteral("COMMIT"));
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "--lock") == 0)
        return holdLock(QString::fromLocal8Bit(argv[2]), atoi(argv[3]));
    if (argc == 4 && qstrcmp(argv[1], "--probe") == 0)
        return probe(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    tst_globals test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_globals.moc"
