#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "fixturedatabase.h"
#include "trees/widgets/mibtree.h"

#include <QApplication>
#include <QMainWindow>
#include <QStatusBar>
#include <QTest>

// Another connection holds the whole file: while a look-up waits, the main
// window's status bar says the database is busy, under a busy cursor; the first
// turn of the event loop after the wait takes both away.
class tst_DatabaseBusy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void busyWaitShown()
    {
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.db().executeScript(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE); PRAGMA journal_mode=DELETE"));
        fixture.activate();
        Database::setDefaultBusyTimeout(300);
        Database *db = Globals::database();
        Database::setDefaultBusyTimeout(5000);
        QCOMPARE(db->busyTimeout(), 300);

        QMainWindow window;
        auto *tree = new MIBTree;
        window.setCentralWidget(tree);
        tree->Refresh();
        window.statusBar()->showMessage(QStringLiteral("Ready"));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        Database holder;
        holder.open(fixture.path());
        holder.executeScript(QStringLiteral("BEGIN EXCLUSIVE"));
        QString error;
        try {
            tree->SelectOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
        } catch (const QXMibError &e) {
            error = e.description();
        }
        holder.executeScript(QStringLiteral("ROLLBACK"));
        QVERIFY2(error.contains(QStringLiteral("locked by another process")), qPrintable(error));
        QVERIFY2(window.statusBar()->currentMessage().startsWith(QStringLiteral("The MIB database is busy")),
                 qPrintable(window.statusBar()->currentMessage()));
        QVERIFY(QApplication::overrideCursor() != nullptr);
        if (!qEnvironmentVariableIsEmpty("QXMIB_BUSY_PICTURE"))
            window.grab().save(qEnvironmentVariable("QXMIB_BUSY_PICTURE"));
        QTRY_VERIFY(QApplication::overrideCursor() == nullptr);
        QVERIFY(window.statusBar()->currentMessage().isEmpty());
        QCOMPARE(db->select(QStringLiteral("Select Count(*) as Total From Tree Where OID = '1.3.6.1.2.1.2.2.1.7'")).size(), 1);
    }
};

QTEST_MAIN(tst_DatabaseBusy)
#include "tst_databasebusy.moc"
