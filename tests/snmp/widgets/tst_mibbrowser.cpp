#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "fakeagent.h"
#include "fixturedatabase.h"
#include "livetables.h"
#include "snmp/widgets/mibbrowser.h"
#include "snmp/widgets/mibbrowsermodel.h"
#include "snmp/peloruswrapper.h"
#include "snmpagent.h"

#include <QAbstractItemModelTester>
#include <QSettings>
#include <QtTest>

#include <memory>

namespace {

std::unique_ptr<MIBBrowser> createBrowser(const QString &target, int version = 2)
{
    std::unique_ptr<MIBBrowser> browser(
        qobject_cast<MIBBrowser *>(ObjectFactory::create(QStringLiteral("QXMIBTree.MIBBrowser"))));
    browser->setProperty("IP", target);
    browser->setProperty("SNMPVersion", version);
    browser->setProperty("Fields", QStringLiteral("1,9,10,0"));
    return browser;
}

int walkLength(const SnmpAgent &agent, const QString &root)
{
    QProcess walk;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &line : agent.toolEnvironment())
        env.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
    walk.setProcessEnvironment(env);
    walk.start(QStringLiteral("snmpwalk"), {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"),
                                             QStringLiteral("-On"), agent.target(), root});
    walk.waitForFinished(30000);
    return int(walk.readAllStandardOutput().count("\n." + root.toLatin1() + '.')) + 1;
}

} // namespace

class tst_MIBBrowser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        m_db.addStandardObjects();
        LiveTables::add(m_db);
        m_db.activate();
        QString error;
        QVERIFY2(m_snmpd.startSnmpd(&error), qPrintable(error));
        // "(!) " marks a message shown with the exclamation icon.
        MessageSink::setHandler([this](const QString &text, const QString &) {
            const bool warning = MessageSink::currentIcon() == MessageSink::Icon::Exclamation;
            m_messages.append(warning ? QStringLiteral("(!) ") + text : text);
        });
    }

    void walk_data()
    {
        QTest::addColumn<QString>("root");  // a subtree walk by Activate
        QTest::addColumn<int>("count");     // else GetNextOID(count, start)
        QTest::addColumn<QString>("start");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("rows");      // -1: what snmpwalk lists
        QTest::addColumn<QString>("first"); // OID Name|Raw Value of row 1
        QTest::addColumn<bool>("cancel");   // at once, with the first request out
        QTest::newRow("subtree") << "system" << 0 << "" << 2 << -1 << "sysDescr.0|Linux" << false;
        QTest::newRow("subtree, v1") << "1.3.6.1.2.1.1" << 0 << "" << 1 << -1 << "sysDescr.0|Linux" << false;
        QTest::newRow("subtree the agent lacks") << "1.3.6.1.4.1.99999" << 0 << "" << 2 << 1
                                                 << "internet.4.1.99999|** unsupported OID **" << false;
        QTest::newRow("no further rows") << "" << 0 << "1.3.6.1.2.1.1" << 2 << 1 << "sysDescr.0|Linux" << false;
        QTest::newRow("four further rows") << "" << 4 << "1.3.6.1.2.1.1" << 1 << 5 << "sysDescr.0|Linux" << false;
        QTest::newRow("cancelled") << "system" << 0 << "" << 2 << 1 << "sysDescr.0|Linux" << true;
    }
    void walk()
    {
        QFETCH(QString, root);
        QFETCH(int, count);
        QFETCH(QString, start);
        QFETCH(int, version);
        QFETCH(int, rows);
        QFETCH(QString, first);
        QFETCH(bool, cancel);
        auto browser = createBrowser(m_snmpd.target(), version);
        QAbstractItemModelTester tester(browser->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy done(browser.get(), SIGNAL(Complete(bool)));
        browser->setProperty("CurrentOID", root);
        if (root.isEmpty())
            QMetaObject::invokeMethod(browser.get(), "GetNextOID", Q_ARG(int, count), Q_ARG(QString, start));
        else
            QMetaObject::invokeMethod(browser.get(), "Activate");
        if (cancel)
            QMetaObject::invokeMethod(browser.get(), "Cancel");
        QVERIFY(done.wait(30000));
        QCOMPARE(done.first().at(0).toBool(), cancel);
        QVERIFY(!browser->Busy());
        QCOMPARE(browser->model()->rows(), rows >= 0 ? rows : walkLength(m_snmpd, browser->CurrentOID()));
        const QString row1 = browser->model()->index(0, 0).data().toString() + u'|'
            + browser->model()->index(0, 1).data().toString();
        QVERIFY2(row1.startsWith(first), qPrintable(row1));
        // Read-only (sysDescr.0) or unknown to the agent: not to be edited.
        QVERIFY(!(browser->model()->flags(browser->model()->index(0, 1)) & Qt::ItemIsEditable));
    }

    // A Set and its read-back Get go out together; the change is reported only when it did not take.
    // Cancel while a Set is in flight has nothing to stop: both replies still count. Refreshed,
    // each row keeps its own object.
    void setAndReadBack_data()
    {
        QTest::addColumn<QString>("community");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("cancel");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("message");
        QTest::newRow("taken") << "private" << "renamed" << false << "renamed" << "";
        QTest::newRow("refused") << "public" << "other" << false << "renamed"
                                 << "(!) Could not change sysName.0 to \"other\".";
        QTest::newRow("cancelled in flight") << "private" << "again" << true << "again" << "";
    }
    void setAndReadBack()
    {
        QFETCH(QString, community);
        QFETCH(QString, typed);
        auto browser = createBrowser(m_snmpd.target());
        browser->setCommunity(community);
        QSignalSpy done(browser.get(), &MIBBrowser::Complete);
        browser->GetNextOID(1, QStringLiteral("sysContact.0"));
        QVERIFY(done.wait(10000));
        QCOMPARE(browser->model()->rows(), 2);
        m_messages.clear();
        const QModelIndex value = browser->model()->index(0, 2);
        QVERIFY(browser->model()->flags(value) & Qt::ItemIsEditable);
        QVERIFY(browser->model()->setData(value, typed));
        QFETCH(bool, cancel);
        if (cancel)
            browser->Cancel();
        QTRY_VERIFY(!browser->Busy());
        QTEST(value.data().toString(), "shown");
        QTEST(m_messages.join(u'|'), "message");
        browser->RefreshAll();
        QTRY_VERIFY(!browser->Busy());
        QTEST(value.data().toString(), "shown");
        QCOMPARE(browser->model()->index(1, 0).data().toString(), QStringLiteral("sysLocation.0"));
    }

    // Agents that misbehave: the walk ends with what came (a time-out as the last
    // row), and the browser walks the next agent as usual.
    void misbehavingAgents_data()
    {
        QTest::addColumn<int>("behaviour");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("rows"); // OID Name|Value of each row
        const QString all = QStringLiteral("sysContact.0|me,sysName.0|x,sysLocation.0|") + QString(65000, u'y');
        QTest::newRow("going round in circles") << int(FakeAgent::Repeat) << -1 << "sysContact.0|me";
        QTest::newRow("every other request, retried") << int(FakeAgent::EveryOther) << -1 << all;
        QTest::newRow("dies mid-walk") << int(FakeAgent::Normal) << 1 << "sysContact.0|me,sysContact.0|Error -24: Timeout";
    }
    void misbehavingAgents()
    {
        QFETCH(int, behaviour);
        QFETCH(int, limit);
        FakeAgent agent;
        agent.setData({{QStringLiteral("1.3.6.1.2.1.1.4.0"), 4, "me"},
                       {QStringLiteral("1.3.6.1.2.1.1.5.0"), 4, "x"},
                       {QStringLiteral("1.3.6.1.2.1.1.6.0"), 4, QByteArray(65000, 'y')},
                       {QStringLiteral("1.3.6.1.2.1.2.1.0"), 2, "1"}});
        agent.behaviour = FakeAgent::Behaviour(behaviour);
        agent.answerLimit = limit;
        auto browser = createBrowser(agent.target());
        browser->setFields(QStringLiteral("1,10"));
        PelorusWrapper::instance()->setSNMPTimeout(300);
        PelorusWrapper::instance()->setSNMPRetries(agent.behaviour == FakeAgent::EveryOther ? 1 : 0);
        QSignalSpy done(browser.get(), &MIBBrowser::Complete);
        browser->setCurrentOID(QStringLiteral("system"));
        browser->Activate();
        QVERIFY(done.wait(10000));
        QStringList rows;
        for (const QString &line : browser->TableText(false).split(u'\n', Qt::SkipEmptyParts).mid(1))
            rows.append(line.section(u'\t', 0, 0) + u'|' + line.section(u'\t', 1).left(65000));
        QTEST(rows.join(u','), "rows");

        browser->setIP(m_snmpd.target());
        browser->Activate();
        QVERIFY(done.wait(10000));
        QCOMPARE(done.last().at(0).toBool(), false);
        QCOMPARE(browser->model()->rows(), walkLength(m_snmpd, browser->CurrentOID()));
    }

private:
    QTemporaryDir m_settings;
    FixtureDatabase m_db;
    SnmpAgent m_snmpd;
    QStringList m_messages;
};

QTEST_MAIN(tst_MIBBrowser)
#include "tst_mibbrowser.moc"
