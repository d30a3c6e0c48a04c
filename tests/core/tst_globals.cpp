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

namespace {
// A MIB-X file of one module, written into folder.
QString mibxFile(const QString &folder, const QString &module, const QString &tree)
{
    const QString path = folder + u'/' + module + QStringLiteral(".mibx");
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QStringLiteral("<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-01-01</COMPILED>"
                                  "<MODULE><NAME>%1</NAME></MODULE><TREE>%2</TREE></MIBX>")
                       .arg(module, tree)
                       .toUtf8());
    return path;
}
// A copy of a database with the standard objects, in a file of its own in folder.
QString standardDatabaseIn(const QString &folder)
{
    const QString path = folder + QStringLiteral("/MIBs.cfg");
    FixtureDatabase fixture;
    fixture.addStandardObjects();
    fixture.db().executeScript(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    return QFile::copy(fixture.path(), path) ? path : QString();
}
} // namespace

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
        QVERIFY(QFileInfo::exists(Globals::componentFolder() + QStringLiteral("/libQXMIBTreeCore.so")));
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
        const QString path = standardDatabaseIn(dir.path());
        QVERIFY(!path.isEmpty());
        const QString mibx = mibxFile(dir.path(), QStringLiteral("NEW-MIB"),
                                      QStringLiteral("<newObject><OID>1.3.6.1.4.1.5</OID></newObject>"));
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

    // A database that cannot be used says so with its path, once, at the open or at
    // first use; the component never creates or changes the file. A failed open is
    // not retried, even once the file has turned good: later statements fail.
    void unusableDatabase_data()
    {
        QTest::addColumn<double>("keep");    // the part of a good file left; 0: no file
        QTest::addColumn<double>("garbage"); // where a page of garbage goes, as a part of the file; -1: none
        QTest::addColumn<QString>("error");
        QTest::newRow("missing file") << 0.0 << -1.0 << "Could not find file";
        QTest::newRow("truncated to half") << 0.5 << -1.0 << "is damaged";
        QTest::newRow("a page of garbage") << 1.0 << 0.6 << "is damaged";
        QTest::newRow("garbage over the header") << 1.0 << 0.0 << "is damaged";
    }
    void unusableDatabase()
    {
        QFETCH(double, keep);
        QFETCH(double, garbage);
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
        QByteArray bytes;
        if (keep > 0) {
            FixtureDatabase fixture;
            fixture.addStandardObjects();
            fixture.db().executeScript(QStringLiteral("BEGIN"));
            for (int i = 1; i <= 1500; ++i)
                fixture.addObject(QStringLiteral("1.3.6.1.4.1.%1").arg(i), QStringLiteral("BULK-MIB"),
                                  QStringLiteral("bulkObject%1").arg(i), QStringLiteral("DisplayString"));
            fixture.db().executeScript(QStringLiteral("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)"));
            QVERIFY(QFile::copy(fixture.path(), path));
            DatabaseBuilder::seal(path);
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            bytes = file.readAll().left(qsizetype(file.size() * keep));
            for (qsizetype i = qsizetype(bytes.size() * garbage) / 4096 * 4096, end = i + 4096; garbage >= 0 && i < end; ++i)
                bytes[i] = char(i * 7919 % 251);
            QVERIFY(file.resize(0) && file.write(bytes) == bytes.size());
        }
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
        QVERIFY2(said.contains(error) && said.contains(path), qPrintable(said));
        QFile file(path);
        QCOMPARE(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), bytes);
        if (m_messages.isEmpty())
            return;
        QVERIFY(m_messages.first().startsWith(QStringLiteral("Cannot open MIB Database (") + path + QStringLiteral(")\r\r")));
        QFile::remove(path);
        DatabaseBuilder::create(path);
        QXMibOID second;
        QVERIFY_THROWS_EXCEPTION(QXMibError, second.setOID(QStringLiteral("1.3.6.1")));
        QCOMPARE(m_messages.size(), 1);
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
        QString tree;
        for (int i = 1; i <= 5; ++i)
            tree += QStringLiteral("<lock%1><OID>1.3.6.1.4.1.77.%1</OID></lock%1>").arg(i);
        const QString mibx = mibxFile(fixture.folder(), QStringLiteral("LOCK-MIB"), tree);

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

    // Another program holds the whole file (a rollback journal's exclusive lock): a
    // look-up waits no longer than the time-out the user set, and whoever shows the
    // user that the database is busy is told from the start of the wait.
    void lockedWaitsTheUserTimeout_data()
    {
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<int>("holdMs");
        QTest::newRow("released within the wait") << 4000 << 400;
        QTest::newRow("held beyond the wait") << 300 << 4000;
    }
    void lockedWaitsTheUserTimeout()
    {
        QFETCH(int, timeoutMs);
        QFETCH(int, holdMs);
        QTemporaryDir dir;
        const QString path = standardDatabaseIn(dir.path());
        QVERIFY(!path.isEmpty());
        DatabaseBuilder::seal(path);
        Globals::setDatabasePath(path);
        Database::setDefaultBusyTimeout(timeoutMs);
        QList<QPair<int, int>> told;
        Database::setBusyWaitHandler([&](const Database &, int waited, int timeout) { told.append({waited, timeout}); });
        QVERIFY(Globals::database()->isOpen());
        QProcess locker;
        locker.start(QCoreApplication::applicationFilePath(),
                     {QStringLiteral("--lock"), path, QString::number(holdMs), QStringLiteral("exclusive")});
        QVERIFY(locker.waitForReadyRead(10000));
        QElapsedTimer waited;
        waited.start();
        QString error;
        try {
            Globals::database()->select(QStringLiteral("Select * from Tree WHERE OID = \"1.3.6.1.2.1.2.2.1.7\""));
        } catch (const QXMibError &e) {
            error = e.description();
        }
        const qint64 elapsed = waited.elapsed();
        Database::setBusyWaitHandler({});
        Database::setDefaultBusyTimeout(5000);
        QVERIFY(locker.waitForFinished(15000) && locker.exitCode() == 0);
        QVERIFY2(error.contains(QStringLiteral("locked by another process")) == (holdMs > timeoutMs), qPrintable(error));
        QVERIFY2(elapsed < qMin(timeoutMs, holdMs) + 1500, qPrintable(QString::number(elapsed)));
        QVERIFY(!told.isEmpty());
        QCOMPARE(told.first(), qMakePair(0, timeoutMs));
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
        const QString mibx = mibxFile(fixture.folder(), QStringLiteral("OLD-MIB"),
                                      QStringLiteral("<old><OID>ifEntry.99</OID></old>"));
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
        // A member hosts reach by name on the new object: a property or an invokable's signature.
        QTest::addColumn<QByteArray>("member");
        QTest::newRow("OID") << "QXMIBTree.OID" << QByteArray("QXMibOID") << QByteArray("BaseOID");
        QTest::newRow("Application") << "QXMIBTree.Application" << QByteArray("Application") << QByteArray("MIBDatabase");
        QTest::newRow("OIDTypes, other case") << "qxmibtree.oidtypes" << QByteArray("OIDTypes") << QByteArray("NewEnum()");
        QTest::newRow("OIDType") << "QXMIBTree.OIDType" << QByteArray("OIDType") << QByteArray("OIDType");
        QTest::newRow("ImportMIBX") << "QXMIBTree.ImportMIBX" << QByteArray("ImportMIBX")
                                    << QByteArray("AddEnums(QString,MibxNode)");
    }
    void factory()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, className);
        QFETCH(QByteArray, member);
        FixtureDatabase fixture;
        fixture.activate();
        std::unique_ptr<QObject> object(ObjectFactory::create(name));
        QVERIFY(object);
        const QMetaObject *meta = object->metaObject();
        QCOMPARE(QByteArray(meta->className()), className);
        QVERIFY2(meta->indexOfProperty(member.constData()) >= 0 || meta->indexOfMethod(member.constData()) >= 0,
                 member.constData());
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

// "--lock DATABASE MS [exclusive]": the other program of the locking tests. Writes a
// row and holds the database's write lock (with "exclusive", readers are shut out
// too) for MS milliseconds before it commits.
int holdLock(const QString &path, int ms, bool exclusive)
{
    Database db;
    db.open(path);
    db.executeScript(exclusive ? QStringLiteral("BEGIN EXCLUSIVE; INSERT INTO MIBs (Name) VALUES ('LOCKER-MIB')")
                               : QStringLiteral("BEGIN IMMEDIATE; INSERT INTO MIBs (Name) VALUES ('LOCKER-MIB')"));
    std::printf("locked\n");
    std::fflush(stdout);
    QThread::msleep(ms);
    db.executeScript(QStringLiteral("COMMIT"));
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if ((argc == 4 || argc == 5) && qstrcmp(argv[1], "--lock") == 0)
        return holdLock(QString::fromLocal8Bit(argv[2]), atoi(argv[3]), argc == 5);
    if (argc == 4 && qstrcmp(argv[1], "--probe") == 0)
        return probe(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    tst_globals test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_globals.moc"
