#include "fixturedatabase.h"
#include "livetables.h"
#include "controls.h"
#include "mainwindow.h"
#include "snmpagent.h"

#include "core/messagesink.h"
#include "snmp/localagent.h"
#include "core/qxmiboid.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QLabel>
#include <QSettings>
#include <QtTest>

#include <csignal>

namespace {

const QByteArray acme = "<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-05-01T10:00:00</COMPILED>"
                        "<MODULE><NAME>ACME-MIB</NAME></MODULE><TREE>"
                        "<acme><OID>1.3.6.1.2.1.99</OID><SYNTAX>OBJECT IDENTIFIER</SYNTAX></acme>"
                        "<acmeState><OID>1.3.6.1.2.1.99.1</OID><SYNTAX>INTEGER</SYNTAX></acmeState></TREE></MIBX>";

bool gridHas(const QAbstractItemView *grid, const QString &text)
{
    const QAbstractItemModel *model = grid->model();
    for (int r = 0; r < model->rowCount(); ++r) {
        for (int c = 0; c < model->columnCount(); ++c) {
            if (model->index(r, c).data().toString().startsWith(text))
                return true;
        }
    }
    return false;
}

} // namespace

// The browser window against its own private snmpd, offscreen.
class tst_QxmibBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        // Dead agents answer nothing: give up soon.
        QSettings store(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("WrenkitQXMIBTree8"),
                        QStringLiteral("WrenkitQXMIBTree8"));
        store.setValue(QStringLiteral("Settings/SNMP Timeout"), 300);
        store.setValue(QStringLiteral("Settings/SNMP Retries"), 1);
        m_db.addStandardObjects();
        LiveTables::add(m_db);
        m_db.activate();
        MessageSink::setHandler([this](const QString &text, const QString &) { m_messages << text; });
        m_window = std::make_unique<MainWindow>();
        QString error;
        QVERIFY2(m_window->startLocalAgent(&error), qPrintable(error));
        m_window->show();
    }

    void tableWalkAndImport()
    {
        MainWindow &w = *m_window;
        QSignalSpy table(w.table(), SIGNAL(Complete(bool)));
        w.openTable(QStringLiteral("ifTable"));
        QVERIFY(table.wait(20000));
        QCOMPARE(w.notice(), QString());
        QVERIFY(gridHas(Controls::view(w.table()), QStringLiteral("lo")));
        // The tree follows to the table's definition.
        QCOMPARE(w.tree()->property("SelectedOID").toString(), QStringLiteral("1.3.6.1.2.1.2.2"));

        QSignalSpy walk(w.browser(), SIGNAL(Complete(bool)));
        w.walk(QStringLiteral("system"));
        QVERIFY(walk.wait(20000));
        QVERIFY(gridHas(Controls::view(w.browser()), QStringLiteral("on this machine, started by qxmib-browser")));
        // An instance has nothing under it: it is fetched itself.
        w.walk(QStringLiteral("sysLocation.0"));
        QTRY_COMPARE_WITH_TIMEOUT(Controls::view(w.browser())->model()->index(0, 1).data().toString(),
                                  QStringLiteral("on this machine, started by qxmib-browser"), 20000);
        QTRY_VERIFY(!w.browser()->property("Busy").toBool());
        QCOMPARE(w.notice(), QString());
        QCOMPARE(w.targetBar()->recent().size(), 0); // the private agent is not remembered

        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("acme.mibx"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(acme) == acme.size());
        f.close();
        QWidget *viewer = w.openMibxFile(file);
        QVERIFY(viewer != nullptr);
        QCOMPARE(viewer->property("ModuleName").toString(), QStringLiteral("ACME-MIB"));
        QCOMPARE(w.importFiles({file}), QStringList{QStringLiteral("ACME-MIB")});
        QMetaObject::invokeMethod(w.tree(), "SelectOID", Q_ARG(QString, QStringLiteral("1.3.6.1.2.1.99.1")));
        QCOMPARE(w.tree()->property("MIBName").toString(), QStringLiteral("ACME-MIB"));
        QDialog *manager = w.showManager();
        QVERIFY(manager != nullptr);
        QTRY_VERIFY(gridHas(manager->findChild<QAbstractItemView *>(QStringLiteral("MIBList")),
                            QStringLiteral("ACME-MIB")));
        QCOMPARE(m_messages, QStringList());
    }

    // Sources compiled and imported with a database in a folder of its own: the
    // base modules come from the MIB text beside the library; a module whose
    // import is found nowhere is named in the banner, and no empty module lands.
    void compileAndImportBanner()
    {
        const QString libraryMibs = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/lib/mibs");
        if (!QFile::exists(libraryMibs + QStringLiteral("/SNMPv2-SMI.mib")))
            QSKIP("The default database's MIB text (QXMIB_BUILD_DEFAULT_DB) is not in the build folder");
        QTemporaryDir dir;
        auto source = [&](const QString &name, const QByteArray &text) {
            QFile f(dir.filePath(name));
            f.open(QIODevice::WriteOnly);
            f.write(text);
            return f.fileName();
        };
        const QString good = source(QStringLiteral("good.txt"),
                                    "GOOD-MIB DEFINITIONS ::= BEGIN\n"
                                    "IMPORTS OBJECT-TYPE, Counter32, enterprises FROM SNMPv2-SMI;\n"
                                    "goodRoot OBJECT IDENTIFIER ::= { enterprises 424260 }\n"
                                    "goodCount OBJECT-TYPE SYNTAX Counter32 MAX-ACCESS read-only STATUS current\n"
                                    " DESCRIPTION \"c\" ::= { goodRoot 1 }\nEND\n");
        const QString bad = source(QStringLiteral("bad.txt"), "BAD-MIB DEFINITIONS ::= BEGIN\n"
                                                              "IMPORTS nowhere FROM NO-SUCH-MIB;\n"
                                                              "badRoot OBJECT IDENTIFIER ::= { nowhere 1 }\nEND\n");
        MainWindow &w = *m_window;
        m_window->compileAndImport({good, bad});
        QTRY_VERIFY_WITH_TIMEOUT(w.notice().startsWith(QStringLiteral("Imported")), 60000);
        QVERIFY2(w.notice().startsWith(QStringLiteral("Imported 1 module(s): GOOD-MIB; not compiled complete: bad.txt")),
                 qPrintable(w.notice()));
        QXMibOID record;
        record.setName(QStringLiteral("goodCount"));
        QCOMPARE(record.TypeString(), QStringLiteral("Counter32"));
        record.setFullName(QStringLiteral("BAD-MIB:badRoot"));
        QCOMPARE(record.OID(), QString());
        m_messages.clear();

        // Deleted in the MIB manager, a module that shares OIDs with another says
        // that the other's definitions remain; its objects still resolve.
        QByteArray shared = acme;
        const QString copy = source(QStringLiteral("acme2.mibx"), shared.replace("ACME-MIB", "ACME2-MIB"));
        QCOMPARE(w.importFiles({copy}), QStringList{QStringLiteral("ACME2-MIB")});
        QDialog *manager = w.showManager();
        QVERIFY(manager != nullptr);
        auto *list = manager->findChild<QAbstractItemView *>(QStringLiteral("MIBList"));
        QTRY_VERIFY(gridHas(list, QStringLiteral("ACME2-MIB")));
        QObject *view = list->parent();
        while (view != nullptr && !view->property("SelectedMIB").isValid())
            view = view->parent();
        QVERIFY(view != nullptr);
        for (int row = 1; row <= view->property("MIBCount").toInt(); ++row) {
            view->setProperty("Row", row);
            if (view->property("SelectedMIB").toString() == QLatin1String("ACME2-MIB"))
                break;
        }
        QCOMPARE(view->property("SelectedMIB").toString(), QStringLiteral("ACME2-MIB"));
        QTimer::singleShot(0, this, [] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget()))
                box->button(QMessageBox::Yes)->click();
        });
        QMetaObject::invokeMethod(&w, "managerKeyDown", Q_ARG(qint16, 46));
        QCOMPARE(manager->findChild<QLabel *>(QStringLiteral("ManagerKept"))->text(),
                 QStringLiteral("Deleted ACME2-MIB. The definitions of ACME-MIB remain for the objects they define too."));
        record.setName(QStringLiteral("acmeState"));
        QCOMPARE(record.MIB(), QStringLiteral("ACME-MIB"));
        manager->close();
    }

    void failures_data()
    {
        QTest::addColumn<QString>("object");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("port"); // 0: the agent's
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("authPassword");
        QTest::addColumn<QString>("notice");
        QTest::newRow("unknown table") << "noSuchTable" << 2 << 0 << "" << "" << "is not a table or object the MIB database knows";
        QTest::newRow("dead agent") << "ifTable" << 2 << int(SnmpAgent::freeUdpPort()) << "" << "" << "No answer from";
        QTest::newRow("walk of a dead agent") << "system" << 2 << int(SnmpAgent::freeUdpPort()) << "" << "" << "No answer from";
        QTest::newRow("wrong pass phrase") << "ifTable" << 3 << 0 << "demo" << "wrong-pass-phrase" << "refused the SNMPv3 credentials";
        QTest::newRow("instance the agent lacks") << "ifDescr.99" << 1 << 0 << "" << "" << "has no objects under ifDescr.99";
        QTest::newRow("unknown user") << "system" << 3 << 0 << "nobody" << "demo-auth-pass" << "does not know the SNMPv3 user";
    }
    void failures()
    {
        QFETCH(QString, object);
        QFETCH(int, version);
        QFETCH(int, port);
        QFETCH(QString, user);
        QFETCH(QString, authPassword);
        QFETCH(QString, notice);
        MainWindow &w = *m_window;
        SnmpTarget target;
        target.host = QStringLiteral("127.0.0.1");
        target.port = port != 0 ? port : w.localAgent()->port();
        target.version = version;
        target.user = user;
        target.level = 3;
        target.authPassword = authPassword;
        target.privPassword = QStringLiteral("demo-priv-pass");
        w.targetBar()->setTarget(target);
        QSignalSpy table(w.table(), SIGNAL(Complete(bool)));
        QSignalSpy walk(w.browser(), SIGNAL(Complete(bool)));
        w.openObject(object);
        QTRY_VERIFY_WITH_TIMEOUT(w.notice().contains(notice), 20000);
        QTRY_VERIFY(!w.table()->property("Busy").toBool() && !w.browser()->property("Busy").toBool());
        QVERIFY(w.findChild<QLabel *>(QStringLiteral("BusyState"))->text().startsWith(object));
    }

    void cleanupTestCase()
    {
        const qint64 agent = m_window->localAgent()->processId();
        QVERIFY(agent > 0);
        m_window->close();
        m_window.reset();
        // The private agent went with the window.
        QCOMPARE(::kill(pid_t(agent), 0), -1);
    }

private:
    QTemporaryDir m_settings;
    FixtureDatabase m_db;
    QStringList m_messages;
    std::unique_ptr<MainWindow> m_window;
};

QTEST_MAIN(tst_QxmibBrowser)
#include "tst_qxmibbrowser.moc"
