#include "trees/widgets/singlemibtree.h"

#include "core/database.h"
#include "core/messagesink.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "fixturedatabase.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <QTreeView>

namespace {

const QString ifMtu = QStringLiteral("1.3.6.1.2.1.2.2.1.4");

int count(Database &db, const QString &where)
{
    return db.select(QStringLiteral("Select Count(*) as Total From Tree Where ") + where).at(0).toMap().value(QStringLiteral("Total")).toInt();
}

} // namespace

class tst_SingleMIBTree : public QObject
{
    Q_OBJECT

    std::unique_ptr<FixtureDatabase> m_fixture;
    std::unique_ptr<SingleMIBTree> m_tree;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QStringList m_messages;

    const MIBTreeModel::Node *row(const QString &key) const { return m_tree->model()->find(key); }

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        // IF-MIB's own branch below one of its tables, and a definition that another module repeats.
        m_fixture->addObject(QStringLiteral("1.3.6.1.2.1.2.3"), QStringLiteral("IF-MIB"), QStringLiteral("ifExtensions"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.2.1.2.3.1"), QStringLiteral("IF-MIB"), QStringLiteral("ifStackLastChange"),
                             QStringLiteral("TimeTicks"));
        m_fixture->activate();
        m_messages.clear();
        // "! " marks the exclamation icon.
        MessageSink::setHandler([this](const QString &text, const QString &) {
            m_messages.append((MessageSink::currentIcon() == MessageSink::Icon::Exclamation ? "! " : "") + text);
        });
        m_tree = std::make_unique<SingleMIBTree>();
        m_tester = std::make_unique<QAbstractItemModelTester>(m_tree->view()->model(),
                                                              QAbstractItemModelTester::FailureReportingMode::QtTest);
        m_tester->setUseFetchMore(true);
        m_tree->setMIB(QStringLiteral("IF-MIB"));
        m_tree->Refresh();
    }

    void cleanup()
    {
        m_tester.reset();
        m_tree.reset();
        MessageSink::setHandler({});
    }

    void moduleRows_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("icon"); // empty: no such row
        QTest::newRow("root") << "O:1" << "folder-gray";
        QTest::newRow("ancestor from another module") << "O:1.3.6.1.2.1" << "folder-gray";
        QTest::newRow("the module's branch") << "O:1.3.6.1.2.1.2" << "folder-closed";
        QTest::newRow("branch under the module's branch") << "O:1.3.6.1.2.1.2.3" << "folder-closed";
        QTest::newRow("table") << "O:1.3.6.1.2.1.2.2" << "table";
        QTest::newRow("entry named like its type") << "O:1.3.6.1.2.1.2.2.1" << "key";
        QTest::newRow("column") << "O:" + ifMtu << "leaf";
        QTest::newRow("another module's object") << "O:1.3.6.1.2.1.1" << "";
        QTest::newRow("no placeholders") << "X:O:1.3.6.1.2.1.2" << "";
    }

    void moduleRows()
    {
        QFETCH(QString, key);
        QFETCH(QString, icon);
        const MIBTreeModel::Node *node = row(key);
        QCOMPARE(node ? node->icon : QString(), icon);
    }

    void loadState()
    {
        // The roots, org .. mib-2, and the module's 13 definitions, children in Index order.
        QCOMPARE(m_tree->rowCountWithHeader(), 1 + 2 + 5 + 13);
        const MIBTreeModel::Node *entry = row(QStringLiteral("O:1.3.6.1.2.1.2.2.1"));
        QCOMPARE(entry->children.at(2)->caption, QStringLiteral("ifMtu (4)"));
        QCOMPARE(m_tree->currentRow(), 1);
        QCOMPARE(m_tree->GetOIDbyRow(1), QStringLiteral("0"));
        QCOMPARE(m_tree->findChild<QLabel *>(QStringLiteral("StatusMessage"))->text(), QString());
        QVERIFY(m_tree->OIDinMIB(ifMtu));
        QVERIFY(!m_tree->OIDinMIB(QStringLiteral("1.3.6.1.2.1.1.5")));
        m_tree->setMIB(QString());
        m_tree->Refresh();
        QCOMPARE(m_tree->rowCountWithHeader(), 3);
    }

    // A module too big for one slice lets the event loop run while it loads; the rows,
    // their order and icons, the current row and the caption come out as a load in one
    // piece gives them. Refreshed again from the event loop, the newer load wins whole.
    void slicedLoad_data()
    {
        QTest::addColumn<bool>("refreshedMeanwhile");
        QTest::newRow("left to finish") << false;
        QTest::newRow("refreshed again while loading") << true;
    }
    void slicedLoad()
    {
        QFETCH(bool, refreshedMeanwhile);
        m_fixture->db().executeScript(QStringLiteral(
            "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeS, \"Primary\") VALUES "
            "('1.3.6.1.4', 'BIG-MIB', 'private', '1.3.6.1', 4, '', -1), "
            "('1.3.6.1.4.1', 'BIG-MIB', 'enterprises', '1.3.6.1.4', 1, '', -1), "
            "('1.3.6.1.4.1.77', 'BIG-MIB', 'big', '1.3.6.1.4.1', 77, '', -1);"
            "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeS, \"Primary\") "
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300) "
            "SELECT '1.3.6.1.4.1.77.' || i, 'BIG-MIB', 'bigBranch' || i, '1.3.6.1.4.1.77', i, '', -1 FROM n;"
            "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeS, \"Primary\") "
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 40000) "
            "SELECT '1.3.6.1.4.1.77.' || (i % 300 + 1) || '.' || i, 'BIG-MIB', 'big' || i, "
            "'1.3.6.1.4.1.77.' || (i % 300 + 1), i, 'Integer32', -1 FROM n"));
        const auto outline = [](SingleMIBTree &tree) {
            QStringList rows;
            for (const MIBTreeModel::Node *node : tree.model()->rowsInOrder())
                rows.append(node->key + u' ' + node->caption + u' ' + node->icon);
            return rows;
        };
        SingleMIBTree whole;
        whole.setMIB(QStringLiteral("BIG-MIB"));
        whole.model()->beginBulkLoad(); // a caller's own bulk load keeps the load in one piece
        whole.Refresh();
        whole.model()->endBulkLoad();

        m_tree->show();
        m_tree->setMIB(QStringLiteral("BIG-MIB"));
        int turns = 0;
        QTimer turn;
        connect(&turn, &QTimer::timeout, this, [&] {
            if (++turns == 3 && refreshedMeanwhile)
                m_tree->Refresh();
        });
        turn.start(0);
        m_tree->Refresh();
        turn.stop();
        QVERIFY(turns >= 3);
        QCOMPARE(outline(*m_tree), outline(whole));
        QCOMPARE(m_tree->rowCountWithHeader(), 1 + 2 + 3 + 3 + 300 + 40000);
        QCOMPARE(m_tree->currentRow(), 1);
        QVERIFY(m_tree->view()->isVisible());
        QVERIFY(m_tree->findChild<QLabel *>(QStringLiteral("StatusMessage"))->isHidden());
    }

    void selectOID()
    {
        m_tree->SelectOID(ifMtu);
        QCOMPARE(m_tree->SelectedOID(), ifMtu);
        QCOMPARE(m_tree->GetOIDbyRow(m_tree->currentRow()), ifMtu);
        // Outside the module: the path to it is read one row per level.
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(m_tree->SelectedOID(), QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(row(QStringLiteral("O:1.3.6.1.2.1.1"))->icon, QStringLiteral("folder-gray"));
        QCOMPARE(row(QStringLiteral("O:1.3.6.1.2.1.1"))->children.size(), size_t(1));
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.1.77"));
        QCOMPARE(m_tree->SelectedOID(), QStringLiteral("1.3.6.1.2.1.1.5"));
    }

    void details()
    {
        m_tree->SelectOID(ifMtu);
        const QString pane = m_tree->findChild<QTextEdit *>(QStringLiteral("Details"))->toPlainText();
        QVERIFY2(pane.contains(QStringLiteral("Units \toctets")), qPrintable(pane));
        QXMibOID record;
        record.setOID(ifMtu);
        const QString text = m_tree->GetOIDDetails(&record);
        QVERIFY(text.startsWith(QStringLiteral("IF-MIB:ifMtu\r\n\r\nOID \t") + ifMtu) && !text.contains(QStringLiteral("Units")));
    }

    void directAdd()
    {
        QVERIFY(m_tree->AddDefinition(QStringLiteral("ifMine"), QStringLiteral("1.3.6.1.2.1.2.2.1.99"), QStringLiteral("Integer32"),
                                      QStringLiteral("99"),
                                      QStringLiteral("SYNTAX Integer32\nACCESS read-only\nDESCRIPTION Two\n  lines.")));
        QVERIFY(m_tree->AddDefinition(QStringLiteral("ifOwn"), QStringLiteral("1.3.6.1.2.1.2.2.1.99.1"), QString(), QStringLiteral("1")));
        QCOMPARE(row(QStringLiteral("F:1.3.6.1.2.1.2.2.1.99"))->icon, QStringLiteral("leaf"));
        QCOMPARE(row(QStringLiteral("F:1.3.6.1.2.1.2.2.1.99.1"))->icon, QStringLiteral("folder-closed"));
        QVERIFY(!m_tree->AddDefinition(QStringLiteral("ifMine"), QStringLiteral("1.3.6.1.2.1.2.2.1.99"), QString(), QStringLiteral("99")));
        QVERIFY(!m_tree->AddDefinition(QStringLiteral("lost"), QStringLiteral("7.7.7"), QString(), QStringLiteral("7")));
        QCOMPARE(m_messages, QStringList({QStringLiteral("! Cannot load tree for lost (7.7.7)")}));

        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.2.2.1.99"));
        QCOMPARE(m_tree->GetOIDbyRow(m_tree->currentRow()), QStringLiteral("1.3.6.1.2.1.2.2.1.99"));
        QCOMPARE(m_tree->GetOIDDetails_MIBX(),
                 QStringLiteral("ifMine\r\n\r\nOID \t1.3.6.1.2.1.2.2.1.99\r\nType \tInteger32\r\nAccess \tread-only\r\n"
                                "Status \t\r\nFrom \tIF-MIB\r\n\r\nTwo\r\nlines.\r\n"));
    }

    void deletions()
    {
        Database &db = m_fixture->db();
        m_tree->SelectOID(ifMtu);
        m_tree->DeleteSelectedMIBs();
        QCOMPARE(count(db, QStringLiteral("OID='") + ifMtu + QLatin1Char('\'')), 0);
        std::unique_ptr<QXMibOID> record(m_tree->LookupOID(m_tree->currentRow()));
        QCOMPARE(record->Name(), QStringLiteral("ifEntry.4")); // gone from the database, still in the tree until Refresh
        m_tree->DeleteOID(QStringLiteral("1.3.6.1.2.1.1.5")); // not the module's: stays
        QCOMPARE(count(db, QStringLiteral("OID='1.3.6.1.2.1.1.5'")), 1);
        // Everything selected, hidden rows included: the module's definitions go, nobody else's.
        m_tree->view()->collapseAll();
        m_tree->SelectAll();
        m_tree->DeleteSelectedMIBs();
        QCOMPARE(count(db, QStringLiteral("MIB='IF-MIB'")), 0);
        QCOMPARE(count(db, QStringLiteral("MIB='SNMPv2-SMI'")), 8);
        m_tree->Refresh();
        QCOMPARE(m_tree->rowCountWithHeader(), 3);
    }
};

QTEST_MAIN(tst_SingleMIBTree)
#include "tst_singlemibtree.moc"
