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

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "--probe") == 0)
        return probe(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    tst_globals test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_globals.moc"
