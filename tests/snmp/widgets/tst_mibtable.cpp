#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "fakeagent.h"
#include "fixturedatabase.h"
#include "livetables.h"
#include "snmp/widgets/mibbrowser.h"
#include "snmp/widgets/mibbrowsermodel.h"
#include "snmp/widgets/mibtable.h"
#include "snmp/widgets/mibtablemodel.h"
#include "snmp/peloruswrapper.h"
#include "snmpagent.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QSettings>
#include <QtTest>

#include <memory>

namespace {

const QString kHrSWRun = QStringLiteral("1.3.6.1.2.1.25.4.2.1");

// A host's way in: created by name, driven through properties and invokable methods.
std::unique_ptr<MIBTable> createTable(const QString &target, int version = 2, short mode = 1)
{
    std::unique_ptr<MIBTable> table(qobject_cast<MIBTable *>(ObjectFactory::create(QStringLiteral("QXMIBTree.MIBTable"))));
    table->setProperty("IP", target);
    table->setProperty("SNMPVersion", version);
    table->setProperty("DownloadMode", QVariant::fromValue(mode));
    return table;
}

bool retrieve(MIBTable *table, const QString &name, const QStringList &columns = {})
{
    QSignalSpy done(table, SIGNAL(Complete(bool)));
    QMetaObject::invokeMethod(table, "GetOIDList", Q_ARG(QStringList, columns));
    QMetaObject::invokeMethod(table, "GetTable", Q_ARG(QString, name));
    return table->Busy() && done.wait(90000);
}

bool settle(MIBTable *table)
{
    QSignalSpy done(table, &MIBTable::Complete);
    return done.wait(10000);
}

// The instance OIDs of the cells that hold a value.
QSet<QString> placed(const MIBTable &table)
{
    QSet<QString> oids;
    const MIBTableModel *m = table.model();
    for (int r = 0; r < m->tableRows(); ++r) {
        for (int c = 0; c < m->tableColumns(); ++c) {
            if (m->cell(r, c).type != 0)
                oids.insert(table.LookupOID(r + 1, c + 1));
        }
    }
    return oids;
}

QString messageOf(const MIBTable &table)
{
    return table.findChild<QLabel *>(QStringLiteral("Message"))->text();
}

QTableView *gridOf(const MIBTable &table)
{
    return table.findChild<QTableView *>(QStringLiteral("Table"));
}

// As a user types into a cell's editor or picks from its list.
void typeInto(QAbstractItemView *grid, const QModelIndex &cell, const QString &typed)
{
    const std::unique_ptr<QWidget> editor(grid->itemDelegate()->createEditor(grid->viewport(), {}, cell));
    grid->itemDelegate()->setEditorData(editor.get(), cell);
    if (auto *list = qobject_cast<QComboBox *>(editor.get()))
        list->setCurrentIndex(list->findText(typed));
    else
        qobject_cast<QLineEdit *>(editor.get())->setText(typed);
    grid->itemDelegate()->setModelData(editor.get(), grid->model(), cell);
}

QString withTarget(const QString &text, const QString &target)
{
    return text.contains(QStringLiteral("%1")) ? text.arg(target) : text;
}

// snmpbulkwalk's view of the same columns.
QSet<QString> reference(const SnmpAgent &agent, const QString &community, const QStringList &columnOids)
{
    QSet<QString> oids;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &line : agent.toolEnvironment())
        env.insert(line.section(u'=', 0, 0), line.section(u'=', 1));
    for (const QString &column : columnOids) {
        QProcess walk;
        walk.setProcessEnvironment(env);
        walk.start(QStringLiteral("snmpbulkwalk"), {QStringLiteral("-v2c"), QStringLiteral("-c"), community,
                                                     QStringLiteral("-On"), QStringLiteral("-Oq"), agent.target(), column});
        walk.waitForFinished(60000);
        for (const QByteArray &line : walk.readAllStandardOutput().split('\n')) {
            if (line.startsWith('.' + column.toLatin1() + '.'))
                oids.insert(QString::fromLatin1(line.mid(1, line.indexOf(' ') - 1)));
        }
    }
    return oids;
}

QList<FakeAgent::Binding> smallTable()
{
    QList<FakeAgent::Binding> data;
    // Sparse: row 6 has only its status, so it is found last. Names hold quotes, all but one a comma too.
    for (int r = 1; r <= 12; ++r) {
        if (r != 6) {
            data.append({kHrSWRun + QStringLiteral(".1.%1").arg(r), 2, QByteArray::number(r)});
            data.append({kHrSWRun + QStringLiteral(".2.%1").arg(r), 4,
                         (r == 3 ? "\"" : "proc, \"") + QByteArray::number(r) + '"'});
        }
        data.append({kHrSWRun + QStringLiteral(".7.%1").arg(r), 2, "1"});
    }
    data.append({QStringLiteral("1.3.6.1.2.1.25.5.1.1.1.1"), 2, "7"}); // the next table on
    return data;
}

const QStringList kSmallColumns = {QStringLiteral("hrSWRunIndex"), QStringLiteral("hrSWRunName"),
                                   QStringLiteral("hrSWRunStatus")};

} // namespace

class tst_MIBTable : public QObject
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
        QVERIFY2(m_recorded.startSnmpsim({QStringLiteral("linux-full-walk")},
                                         {{QStringLiteral("generated.snmprec"), SnmpAgent::ifTableRecording(10000)}},
                                         0, &error),
                 qPrintable(error));
        // "(!) " marks a message shown with the exclamation icon.
        MessageSink::setHandler([this](const QString &text, const QString &) {
            const bool warning = MessageSink::currentIcon() == MessageSink::Icon::Exclamation;
            m_messages.append(warning ? QStringLiteral("(!) ") + text : text);
        });
        m_fake.setData(smallTable());
    }

    void init() { m_messages.clear(); }

    // Every value the agent has in the shown columns lands once in its cell,
    // whatever the version and download mode.
    void retrieve_data()
    {
        QTest::addColumn<QString>("agent");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("version");
        QTest::addColumn<short>("mode");
        QTest::addColumn<QStringList>("columns");
        QTest::addColumn<QString>("check"); // row index|grid column|text
        QTest::newRow("ifTable v2c by columns") << "snmpd" << "ifTable" << 2 << short(1) << QStringList()
                                                << "1|3|softwareLoopback(24)";
        QTest::newRow("ifTable v1 in one walk") << "snmpd" << "IF-MIB:ifTable" << 1 << short(0) << QStringList() << "1|2|lo";
        QTest::newRow("hrSWInstalledTable in one walk") << "snmpd" << "1.3.6.1.2.1.25.6.3" << 2 << short(0)
                                                        << QStringList() << "1|1|1";
        QTest::newRow("laTable by its entry") << "snmpd" << "laEntry" << 2 << short(1) << QStringList() << "1|2|Load-1";
        QTest::newRow("address-indexed ipAddrTable") << "linux-full-walk" << "ipAddrTable" << 2 << short(1)
                                                     << QStringList() << "127.0.0.1|3|255.0.0.0";
        QTest::newRow("tcpConnTable v1 from a column") << "linux-full-walk" << "tcpConnState" << 1 << short(0)
                                                       << QStringList() << "0.0.0.0.22.0.0.0.0.0|1|listen(2)";
        QTest::newRow("10,000 rows, chosen columns")
            << "generated" << "ifTable" << 2 << short(1) << QStringList{"ifDescr", "ifOperStatus", "1.3.6.1.2.1.2.2.1.9"}
            << "10000|1|eth9999";
    }
    void retrieve()
    {
        QFETCH(QString, agent);
        QFETCH(QString, name);
        QFETCH(int, version);
        QFETCH(short, mode);
        QFETCH(QStringList, columns);
        QFETCH(QString, check);
        const SnmpAgent &server = agent == QLatin1String("snmpd") ? m_snmpd : m_recorded;
        const QString community = agent == QLatin1String("snmpd") ? QStringLiteral("public") : agent;
        auto table = createTable(server.target(), version, mode);
        table->setProperty("Community", community);
        QAbstractItemModelTester tester(table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(::retrieve(table.get(), name, columns));
        QCOMPARE(messageOf(*table), QString());
        QCOMPARE(placed(*table), reference(server, community, table->GetOIDList(columns)));
        const QStringList c = check.split(u'|');
        int row = 1;
        while (row < table->property("Rows").toInt() && table->Cell(row, 0) != c.at(0))
            ++row;
        QCOMPARE(table->Cell(row, c.at(1).toInt()), c.at(2));
    }

    void refused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown name") << "noSuchTable" << "noSuchTable is not a valid MIB specification.";
        QTest::newRow("unknown module") << "NO-SUCH-MIB:ifTable" << "NO-SUCH-MIB:ifTable is not a valid MIB specification.";
        QTest::newRow("a scalar") << "sysName" << "sysName is not a table.";
        QTest::newRow("a table the agent lacks") << "dskTable" << "dskTable is not supported on %1";
    }
    void refused()
    {
        QFETCH(QString, name);
        QFETCH(QString, message);
        auto table = createTable(m_snmpd.target());
        QSignalSpy unsupported(table.get(), &MIBTable::UnSupportedTable);
        const bool walked = ::retrieve(table.get(), name);
        QCOMPARE(messageOf(*table), withTarget(message, m_snmpd.target()));
        QCOMPARE(walked, message.contains(QStringLiteral("supported on")));
        QCOMPARE(unsupported.count(), walked ? 1 : 0);
        QCOMPARE(table->UnSupported(), walked);
    }

    // What no real agent does: the walks end, the request kinds are the right ones,
    // and the view is ready for the next retrieval. A name of 64 KB makes GetBulk
    // answers shrink to fit a datagram.
    void misbehavingAgents_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("behaviour");
        QTest::addColumn<int>("tooBig");
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("rows"); // -1: some, not all
        QTest::addColumn<QString>("requests");
        QTest::addColumn<QString>("message");
        QTest::newRow("v1 walks by GetNext") << 1 << int(FakeAgent::Normal) << 0 << -1 << 12 << "^n+$" << "";
        QTest::newRow("v2c: GetNext, then GetBulk") << 2 << int(FakeAgent::Normal) << 0 << -1 << 12 << "^nnnb+$" << "";
        QTest::newRow("tooBig halves repetitions") << 2 << int(FakeAgent::Normal) << 3 << -1 << 12 << "^nnnb+$" << "";
        QTest::newRow("OIDs that do not increase") << 2 << int(FakeAgent::Repeat) << 0 << -1 << 1 << "" << "";
        QTest::newRow("replies without bindings") << 2 << int(FakeAgent::Empty) << 0 << -1 << 0 << "^nnn$"
                                                  << "hrSWRunTable is not supported on %1";
        QTest::newRow("agent dies mid-walk") << 2 << int(FakeAgent::Normal) << 0 << 5 << -1 << "" << "Timeout";
        QTest::newRow("every other request, retried") << 2 << int(FakeAgent::EveryOther) << 0 << -1 << 12
                                                      << "^n(bb)+$" << "";
    }
    void misbehavingAgents()
    {
        QFETCH(int, version);
        QFETCH(int, behaviour);
        QFETCH(int, limit);
        QFETCH(int, rows);
        QFETCH(QString, requests);
        QFETCH(QString, message);
        FakeAgent agent;
        QList<FakeAgent::Binding> data = smallTable();
        data[7].value = QByteArray(65000, 'x'); // hrSWRunName.3
        agent.setData(data);
        agent.behaviour = FakeAgent::Behaviour(behaviour);
        QFETCH(int, tooBig);
        agent.tooBigAbove = tooBig;
        agent.answerLimit = limit;
        // Every other request lost: one retry each, on one walk so that each retry follows its loss.
        const bool lossy = agent.behaviour == FakeAgent::EveryOther;
        auto table = createTable(agent.target(), version, lossy ? 0 : 1);
        PelorusWrapper::instance()->setSNMPTimeout(300);
        PelorusWrapper::instance()->setSNMPRetries(lossy ? 1 : 0);
        QAbstractItemModelTester tester(table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        if (rows >= 0)
            QCOMPARE(table->model()->tableRows(), rows);
        else
            QVERIFY(table->model()->tableRows() > 0 && placed(*table).size() < 34);
        if (rows == 12) {
            QCOMPARE(placed(*table).size(), 34);
            QCOMPARE(table->Cell(6, 0), QStringLiteral("6")); // in index order at the end
            QCOMPARE(table->Cell(3, 2), QString(65000, u'x'));
        }
        QString kinds;
        for (const int pdu : std::as_const(agent.pduTypes))
            kinds += pdu == 0xA1 ? u'n' : pdu == 0xA5 ? u'b' : u'?';
        QVERIFY2(QRegularExpression(requests).match(kinds).hasMatch(), qPrintable(kinds));
        QCOMPARE(messageOf(*table), withTarget(message, agent.target()));

        table->setIP(m_fake.target());
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        QCOMPARE(placed(*table).size(), 34);
        QCOMPARE(messageOf(*table), QString());
    }

    // Destroyed with its requests in flight, a view gets none of the replies (the
    // sanitizer build catches one that would reach it) and sends no more requests.
    void destroyedInFlight_data()
    {
        QTest::addColumn<bool>("browser");
        QTest::addColumn<int>("requests");
        QTest::newRow("table") << false << 7;
        QTest::newRow("browser") << true << 1;
    }
    void destroyedInFlight()
    {
        QFETCH(bool, browser);
        FakeAgent agent;
        agent.setData(smallTable());
        // A view takes the engine's time-out and retries from the settings when it is made.
        auto b = browser ? std::make_unique<MIBBrowser>() : nullptr;
        auto t = browser ? nullptr : createTable(agent.target());
        PelorusWrapper::instance()->setSNMPRetries(0);
        if (b) {
            b->setIP(agent.target());
            b->GetNextOID(5, kHrSWRun);
        } else {
            t->GetTable(QStringLiteral("hrSWRunTable"));
        }
        QVERIFY(PelorusWrapper::instance()->SNMPOutstandingQueries() > 0);
        b.reset();
        t.reset();
        QTRY_COMPARE(PelorusWrapper::instance()->SNMPOutstandingQueries(), 0);
        QTEST(int(agent.pduTypes.size()), "requests");
    }

    void cancel()
    {
        auto table = createTable(m_recorded.target());
        table->setCommunity(QStringLiteral("generated"));
        int steps = 0;
        connect(table.get(), &MIBTable::Progress, this, [&steps](bool &cancel) { cancel = ++steps == 3; });
        QSignalSpy done(table.get(), &MIBTable::Complete);
        QVERIFY(::retrieve(table.get(), QStringLiteral("ifTable"), {QStringLiteral("ifDescr")}));
        QCOMPARE(done.takeFirst().at(0).toBool(), true);
        QCOMPARE(steps, 3);
        QVERIFY(table->model()->tableRows() < 100);
        QVERIFY(!table->Busy());
    }

    // Replies arriving while others are being placed (a Progress handler that yields)
    // steer only their own walk; two tables and a browser walk one agent at once.
    void twoViewsAtOnce()
    {
        auto installed = createTable(m_snmpd.target());
        auto interfaces = createTable(m_snmpd.target(), 2, 0);
        MIBBrowser browser;
        browser.setIP(m_snmpd.target());
        browser.setCurrentOID(QStringLiteral("hrSWInstalledTable"));
        for (MIBTable *t : {installed.get(), interfaces.get()})
            connect(t, &MIBTable::Progress, this, [](bool &) { QCoreApplication::processEvents(); });
        QSignalSpy first(installed.get(), &MIBTable::Complete);
        QSignalSpy second(interfaces.get(), &MIBTable::Complete);
        QSignalSpy walked(&browser, &MIBBrowser::Complete);
        installed->GetTable(QStringLiteral("hrSWInstalledTable"));
        browser.Activate();
        interfaces->GetTable(QStringLiteral("ifTable"));
        QVERIFY(first.wait(60000));
        QTRY_COMPARE(second.count() + walked.count(), 2);
        QCOMPARE(placed(*installed), reference(m_snmpd, QStringLiteral("public"), installed->GetOIDList()));
        QCOMPARE(placed(*interfaces), reference(m_snmpd, QStringLiteral("public"), interfaces->GetOIDList()));
        QSet<QString> listed;
        for (int row = 1; row <= browser.model()->rows(); ++row)
            listed.insert(browser.LookupOID(row));
        QCOMPARE(listed, reference(m_snmpd, QStringLiteral("public"), {browser.CurrentOID()}));
    }

    void pivot()
    {
        auto table = createTable(m_fake.target());
        QAbstractItemModelTester tester(table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        const QString cell = table->Cell(5, 2);
        QCOMPARE(table->Rows(), 13);
        QCOMPARE(table->Cols(), 4);
        QMetaObject::invokeMethod(table.get(), "PivotTable");
        QCOMPARE(table->property("Orientation").toInt(), int(MIBTable::TABLE_ORIENTATION_PIVOTED));
        QCOMPARE(table->Rows(), 4);
        QCOMPARE(table->Cols(), 13);
        QCOMPARE(table->Cell(2, 5), cell);
        QCOMPARE(table->Cell(0, 5), QStringLiteral("5"));
        QCOMPARE(table->Cell(2, 0), QStringLiteral("hrSWRunName"));
        QCOMPARE(table->LookupOID(5, 2), kHrSWRun + QStringLiteral(".2.5"));
        // Pivoted, the grid's columns are the instances: Cols keeps the first ones.
        QVERIFY(table->setProperty("Cols", 6));
        QCOMPARE(table->Cols(), 6);
        QCOMPARE(table->Rows(), 4);
        QCOMPARE(table->Cell(2, 5), cell);
        table->setRow(2);
        table->setCol(5);
        QCOMPARE(table->SelectedOID(), kHrSWRun + QStringLiteral(".2.5"));
    }

    // An edit goes out as a Set of the agent's own type and is read back; an item
    // picked from the list goes out as its number. Cancel
    // before the Set keeps it from going out (the cell shows the agent's value
    // again); after it, the Set is read back as usual. The Cancel ends with the edit.
    void edit_data()
    {
        QTest::addColumn<QString>("agent");
        QTest::addColumn<QString>("community");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("cancel"); // 1 before the Set, 2 after it
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("message");
        const QString picked = QStringLiteral("notRunnable(3)");
        QTest::newRow("picked from the list") << "fake" << "private" << "hrSWRunTable" << picked << 0 << picked << "";
        QTest::newRow("cancelled before the Set") << "fake" << "private" << "hrSWRunTable" << picked << 1 << "running(1)" << "";
        QTest::newRow("cancelled after the Set") << "fake" << "private" << "hrSWRunTable" << picked << 2 << picked << "";
        QTest::newRow("taken by snmpd") << "snmpd" << "private" << "laTable" << "13.50" << 0 << "13.50" << "";
        QTest::newRow("refused by snmpd") << "snmpd" << "public" << "laTable" << "14.00" << 0 << "13.50"
                                          << "(!) Could not change laConfig.1\n\nnoAccess";
    }
    void edit()
    {
        QFETCH(QString, agent);
        QFETCH(QString, community);
        QFETCH(QString, name);
        QFETCH(QString, typed);
        QFETCH(int, cancel);
        FakeAgent fake;
        fake.setData(smallTable());
        auto table = createTable(agent == QLatin1String("fake") ? fake.target() : m_snmpd.target());
        table->setCommunity(community);
        QVERIFY(::retrieve(table.get(), name, {QStringLiteral("hrSWRunStatus"), QStringLiteral("laConfig")}));
        const QModelIndex cell = table->model()->index(0, 0);
        QVERIFY(table->model()->flags(cell) & Qt::ItemIsEditable);
        QCOMPARE(table->model()->data(cell, Qt::BackgroundRole), QVariant());
        QSignalSpy done(table.get(), &MIBTable::Complete);
        typeInto(gridOf(*table), cell, typed);
        if (cancel == 2)
            QTRY_VERIFY(fake.pduTypes.contains(0xA3));
        if (cancel != 0)
            table->Cancel();
        QVERIFY(done.wait(10000));
        QCOMPARE(done.takeFirst().at(0).toBool(), cancel != 0);
        QTEST(table->Cell(1, 1), "shown");
        QTEST(m_messages.join(u'|'), "message");
        QCOMPARE(fake.pduTypes.contains(0xA3), agent == QLatin1String("fake") && cancel != 1);
        table->RefreshCell(1, 1);
        QVERIFY(done.wait(10000));
        QCOMPARE(done.takeFirst().at(0).toBool(), false);
        QTEST(table->Cell(1, 1), "shown");
    }

    void text()
    {
        auto table = createTable(m_fake.target());
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        const QStringList csv = table->TableText(true).split(QStringLiteral("\r\n"));
        QCOMPARE(csv.at(0), QStringLiteral("Index,hrSWRunIndex,hrSWRunName,hrSWRunStatus"));
        QCOMPARE(csv.at(2), QStringLiteral("2,2,\"proc, \"\"2\"\"\",running(1)"));
        QCOMPARE(csv.at(3), QStringLiteral("3,3,\"\"\"3\"\"\",running(1)"));
        QCOMPARE(table->TableText(false).section(u'\n', 2, 2), QStringLiteral("2\t2\tproc, \"2\"\trunning(1)"));
        table->setRow(2);
        table->setCol(2);
        table->setRowSel(3);
        table->setColSel(3);
        QCOMPARE(table->Clip(), QStringLiteral("proc, \"2\"\trunning(1)\n\"3\"\trunning(1)\n"));
        QCOMPARE(table->Selection().size(), 4);
    }

    // Sorted at the end of the sparse walk (index 6 has only its status, so it comes
    // last) or by a user's clicks on a caption (one ascending, two descending), rows
    // keep their index: a refresh or a read-back lands in the row of its own index,
    // and the empty name stays last.
    void afterSort_data()
    {
        QTest::addColumn<int>("clicks"); // on hrSWRunName
        QTest::addColumn<bool>("edit");  // else a refresh
        QTest::addColumn<QString>("last");
        QTest::newRow("index order, refreshed") << 0 << false << "12";
        QTest::newRow("names ascending, edited") << 1 << true << "6";
        QTest::newRow("names descending, refreshed") << 2 << false << "6";
    }
    void afterSort()
    {
        FakeAgent agent;
        agent.setData(smallTable());
        auto table = createTable(agent.target());
        table->setCommunity(QStringLiteral("private"));
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        QFETCH(int, clicks);
        for (int i = 0; i < clicks; ++i)
            Q_EMIT gridOf(*table)->horizontalHeader()->sectionClicked(1);
        QTEST(table->Cell(12, 0), "last");
        int row = 1;
        while (row < 12 && table->Cell(row, 0) != QLatin1String("9"))
            ++row;
        QFETCH(bool, edit);
        if (edit) {
            typeInto(gridOf(*table), table->model()->index(row - 1, 2), QStringLiteral("invalid(4)"));
        } else {
            QList<FakeAgent::Binding> data = smallTable();
            for (FakeAgent::Binding &b : data) {
                if (b.oid == kHrSWRun + QStringLiteral(".7.9"))
                    b.value = "4";
            }
            agent.setData(data);
            table->RefreshRow(row);
        }
        QVERIFY(settle(table.get()));
        QStringList statuses;
        for (int r = 1; r <= 12; ++r)
            statuses.append(table->Cell(r, 3));
        QCOMPARE(statuses.count(QStringLiteral("invalid(4)")), 1);
        QCOMPARE(table->Cell(row, 3), QStringLiteral("invalid(4)"));
    }

    // The host colours cells and captions before they are drawn; read-only cells start grey.
    void formatting()
    {
        auto table = createTable(m_fake.target());
        QVERIFY(::retrieve(table.get(), QStringLiteral("hrSWRunTable"), kSmallColumns));
        QSet<QString> seen;
        QColor readOnly;
        connect(table.get(), &MIBTable::CustomCellFormating, this,
                [&](int row, int col, QString &text, QColor &, QColor &back, QFont &) {
                    seen.insert(QStringLiteral("cell"));
                    if (row == 1 && col == 1)
                        readOnly = back;
                    if (col == 2)
                        text = text.toUpper();
                });
        connect(table.get(), &MIBTable::CustomHeaderFormating, this,
                [&](int row, int col, QString &, QColor &, QColor &, QFont &) {
                    seen.insert(row == 0 ? QStringLiteral("caption") : col == 0 ? QStringLiteral("index") : QString());
                });
        table->resize(600, 400);
        table->show();
        table->grab();
        QCOMPARE(seen, QSet<QString>({"cell", "caption", "index"}));
        QCOMPARE(readOnly, QColor(240, 240, 240));
        // Under a dark palette the shade stays dark beneath light text.
        const QPalette light = QApplication::palette();
        QPalette dark = light;
        dark.setColor(QPalette::Base, QColor(35, 35, 35));
        dark.setColor(QPalette::Text, Qt::white);
        QApplication::setPalette(dark);
        table->grab();
        QApplication::setPalette(light);
        QCOMPARE(readOnly, QColor(48, 48, 48));
        QCOMPARE(table->Cell(1, 2), QStringLiteral("proc, \"1\"")); // the model keeps its own text
    }

private:
    QTemporaryDir m_settings;
    FixtureDatabase m_db;
    SnmpAgent m_snmpd;
    SnmpAgent m_recorded;
    FakeAgent m_fake;
    QStringList m_messages;
};

QTEST_MAIN(tst_MIBTable)
#include "tst_mibtable.moc"
