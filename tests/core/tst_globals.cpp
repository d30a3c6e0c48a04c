#include "core/application.h"
#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QtTest>

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
        // Later users find the connection object, skip opening, and their statements fail.
        QXMibOID second;
        QVERIFY_THROWS_EXCEPTION(QXMibError, second.setOID(QStringLiteral("1.3.6.1")));
        Application app;
        QVERIFY(app.MIBDatabase() != nullptr);
        QCOMPARE(m_messages.size(), 1);
        QVERIFY(!QFileInfo::exists(path) || !content.isNull()); // never created by the component
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

QTEST_GUILESS_MAIN(tst_globals)
#include "tst_globals.moc"
