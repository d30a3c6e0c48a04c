#include "trees/widgets/mibtree.h"
#include "trees/widgets/mibtreecommon.h"
#include "trees/widgets/singlemibtree.h"

#include "core/database.h"
#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QSignalSpy>
#include <QSplitter>
#include <QTest>
#include <QTextEdit>
#include <QTreeView>

namespace {

const QString ifDescr = QStringLiteral("1.3.6.1.2.1.2.2.1.2");
const QString ifLastChange = QStringLiteral("1.3.6.1.2.1.2.2.1.9");
const QString ipAddrTable = QStringLiteral("1.3.6.1.2.1.4.20");
const QString ipRouteTable = QStringLiteral("1.3.6.1.2.1.4.21");
const QString ipAdEntAddr = QStringLiteral("1.3.6.1.2.1.4.20.1.1");
const QString privateOid = QStringLiteral("1.3.6.1.4");

QString lines(const QStringList &rows)
{
    QString text;
    for (const QString &row : rows)
        text += row + QStringLiteral("\r\n");
    return text;
}

QByteArray png()
{
    QImage image(16, 16, QImage::Format_ARGB32);
    image.fill(Qt::red);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

} // namespace

class tst_MIBTree : public QObject
{
    Q_OBJECT

    std::unique_ptr<FixtureDatabase> m_fixture;
    std::unique_ptr<MIBTree> m_tree;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QStringList m_messages;

    MIBTreeModel::Node *row(const QString &oid) { return m_tree->model()->find(QStringLiteral("O:") + oid); }
    QModelIndex index(const QString &oid) { return m_tree->model()->indexOf(row(oid)); }

    QStringList rowKeys() const
    {
        QStringList all;
        for (const MIBTreeModel::Node *node : m_tree->model()->rowsInOrder())
            all.append(node->key);
        return all;
    }

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        m_fixture->addObject(ipRouteTable, QStringLiteral("RFC1213-MIB"), QStringLiteral("ipRouteTable"), QStringLiteral("SEQUENCE"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.2.1.2.0"), QStringLiteral("IF-MIB"), QStringLiteral("ifTraps"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.2.1.2.0.3"), QStringLiteral("IF-MIB"), QStringLiteral("linkDown"), QStringLiteral("TRAP"));
        m_fixture->addObject(privateOid, QStringLiteral("SNMPv2-SMI"), QStringLiteral("private"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.4.1"), QStringLiteral("SNMPv2-SMI"), QStringLiteral("enterprises"));
        m_fixture->addIcon(privateOid, png());
        m_fixture->activate();
        m_messages.clear();
        MessageSink::setHandler([this](const QString &text, const QString &) { m_messages.append(text); });
        m_tree.reset(qobject_cast<MIBTree *>(ObjectFactory::create(QStringLiteral("QXMIBTree.MIBTree"))));
        QVERIFY(m_tree);
        m_tester = std::make_unique<QAbstractItemModelTester>(m_tree->view()->model(),
                                                              QAbstractItemModelTester::FailureReportingMode::QtTest);
        m_tester->setUseFetchMore(true);
        m_tree->Refresh();
    }

    void cleanup()
    {
        m_tester.reset();
        m_tree.reset();
        MessageSink::setHandler({});
        QVERIFY(m_messages.isEmpty());
    }

    void refreshBuildsTheChains()
    {
        QTreeView *view = m_tree->view();
        QCOMPARE(view->objectName(), QStringLiteral("Tree"));
        QCOMPARE(view->model()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Name"));
        QCOMPARE(view->model()->headerData(1, Qt::Horizontal).toString(), QStringLiteral("OID"));
        QCOMPARE(rowKeys(), QStringList({"O:0", "O:1", "O:1.3", "O:1.3.6", "O:1.3.6.1", "O:1.3.6.1.2", "X:O:1.3.6.1.2",
                                      "O:1.3.6.1.4", "X:O:1.3.6.1.4"}));
        for (const char *open : {"1", "1.3", "1.3.6", "1.3.6.1"})
            QVERIFY2(view->isExpanded(index(QLatin1String(open))), open);
        QCOMPARE(row(QStringLiteral("1.3.6.1"))->caption, QStringLiteral("internet (1)"));
        QCOMPARE(row(QStringLiteral("1.3.6.1.2"))->level, 4);
        QCOMPARE(m_tree->model()->find(QStringLiteral("X:O:1.3.6.1.2"))->caption, QStringLiteral("Loading ..."));
        QVERIFY(m_tree->findChild<QTextEdit *>(QStringLiteral("DetailsPreload")));
        QVERIFY(m_tree->findChild<QSplitter *>(QStringLiteral("Splitter")));
        for (const char *name : {"DetailsPopup", "PrintPopup", "CopyDetailsPopup"})
            QVERIFY2(m_tree->findChild<QObject *>(QLatin1String(name)), name);
        // A refresh leaves no row current, and says so.
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(m_tree->SelectedOID(), QStringLiteral("1.3.6.1.2.1.1.5"));
        m_tree->Refresh();
        QCOMPARE(m_tree->SelectedOID() + m_tree->MIBName(), QString());
    }

    void icons_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("icon");
        QTest::addColumn<QString>("placeholder"); // "-" for none
        QTest::newRow("branch") << "1.3.6.1.2.1.1" << "folder-closed" << "Loading ...";
        QTest::newRow("table") << "1.3.6.1.2.1.2.2" << "table" << "";
        QTest::newRow("entry: parent is a table") << "1.3.6.1.2.1.2.2.1" << "key" << "";
        QTest::newRow("column") << ifDescr << "leaf" << "-";
        QTest::newRow("trap") << "1.3.6.1.2.1.2.0.3" << "trap" << "-";
        QTest::newRow("database icon") << privateOid << privateOid << "";
    }

    void icons()
    {
        QFETCH(QString, oid);
        QFETCH(QString, icon);
        QFETCH(QString, placeholder);
        m_tree->loadChildren(oid.left(oid.lastIndexOf(u'.')));
        const MIBTreeModel::Node *node = row(oid);
        QVERIFY(node);
        QCOMPARE(node->icon, icon);
        QVERIFY(!m_tree->model()->data(m_tree->model()->indexOf(node), Qt::DecorationRole).value<QIcon>().isNull());
        const MIBTreeModel::Node *child = m_tree->model()->find(QStringLiteral("X:O:") + oid);
        QCOMPARE(child ? child->caption : QStringLiteral("-"), placeholder);
    }

    // A picture once read stays with the control; a Refresh finds the icons added since.
    void databaseIconsAndRefresh()
    {
        m_fixture->db().execute(QStringLiteral("Delete From Icons"));
        m_fixture->addIcon(QStringLiteral("1.3.6.1.2"), png());
        m_tree->Refresh();
        QCOMPARE(row(privateOid)->icon, privateOid);
        QCOMPARE(row(QStringLiteral("1.3.6.1.2"))->icon, QStringLiteral("1.3.6.1.2"));
        QCOMPARE(MIBTree().LookupIcon(privateOid), QStringLiteral("Unknown"));
    }

    void selection_data()
    {
        QTest::addColumn<int>("method");
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("expected");
        // ifLastChange (level 9) down to ipRouteTable (level 7); ipAddrTable is collapsed over two loaded rows.
        const QString c = QStringLiteral("1.3.6.1.2.1.2.2.1.9");
        const QString ip = QStringLiteral("1.3.6.1.2.1.4");
        QTest::newRow("0 columns") << 0 << ifLastChange
                                   << lines({"ifLastChange (9)\t" + c, "ip (4)\t" + ip, "ipAddrTable (20)\t" + ipAddrTable,
                                             "ipRouteTable (21)\t" + ipRouteTable});
        QTest::newRow("1 oid") << 1 << ifLastChange << lines({c, ip, ipAddrTable, ipRouteTable});
        QTest::newRow("2 name oid") << 2 << ifLastChange
                                    << lines({"ifLastChange\t" + c, "ip\t" + ip, "ipAddrTable\t" + ipAddrTable,
                                              "ipRouteTable\t" + ipRouteTable});
        QTest::newRow("3 oid name") << 3 << ifLastChange
                                    << lines({c + "\tifLastChange", ip + "\tip", ipAddrTable + "\tipAddrTable",
                                              ipRouteTable + "\tipRouteTable"});
        QTest::newRow("4 deeper first row: no indent") << 4 << ifLastChange
                                                       << lines({"ifLastChange (9)", "ip (4)", "ipAddrTable (20)", "ipRouteTable (21)"});
        QTest::newRow("4 indent below the first row") << 4 << ip
                                                      << lines({"ip (4)", "\tipAddrTable (20)", "\tipRouteTable (21)"});
        QTest::newRow("5 full name") << 5 << ip
                                     << lines({"RFC1213-MIB:ip", "RFC1213-MIB:ipAddrTable", "RFC1213-MIB:ipRouteTable"});
        QTest::newRow("6 full name oid") << 6 << ipAddrTable
                                         << lines({"RFC1213-MIB:ipAddrTable\t" + ipAddrTable,
                                                   "RFC1213-MIB:ipRouteTable\t" + ipRouteTable});
        QTest::newRow("7 oid full name") << 7 << ipAddrTable
                                         << lines({ipAddrTable + "\tRFC1213-MIB:ipAddrTable",
                                                   ipRouteTable + "\tRFC1213-MIB:ipRouteTable"});
        QTest::newRow("8 long name") << 8 << ipAddrTable
                                     << lines({"iso.org.dod.internet.mgmt.mib-2.ip.ipAddrTable",
                                               "iso.org.dod.internet.mgmt.mib-2.ip.ipRouteTable"});
        QTest::newRow("9 define") << 9 << ipAddrTable
                                  << lines({"#define\tOID_ipAddrTable\t\"" + ipAddrTable + "\"",
                                            "#define\tOID_ipRouteTable\t\"" + ipRouteTable + "\""});
        QTest::newRow("10 const") << 10 << ipAddrTable
                                  << lines({"Global Const \tOID_ipAddrTable\t= \"" + ipAddrTable + "\"",
                                            "Global Const \tOID_ipRouteTable\t= \"" + ipRouteTable + "\""});
        QTest::newRow("11 empty lines") << 11 << ipAddrTable << lines({"", ""});
    }

    void selection()
    {
        QFETCH(int, method);
        QFETCH(QString, from);
        QFETCH(QString, expected);
        m_tree->SelectOID(ifDescr);
        m_tree->SelectOID(ipAdEntAddr);
        m_tree->SelectOID(ipRouteTable);
        m_tree->view()->collapse(index(ipAddrTable));
        QItemSelectionModel *selection = m_tree->view()->selectionModel();
        selection->select(index(from), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        selection->select(index(ipRouteTable), QItemSelectionModel::Select | QItemSelectionModel::Rows);
        m_tree->setDragMethod(short(method));
        QCOMPARE(m_tree->Selection(), expected);
        QCOMPARE(qobject_cast<MIBTreeCommon *>(m_tree.get())->Selection(), expected);
    }

    void selectOID_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("selected"); // empty: the current row stays where it was
        QTest::newRow("deep column") << ifDescr << ifDescr;
        QTest::newRow("leading dot") << ".1.3.6.1.2.1.1.5" << "1.3.6.1.2.1.1.5";
        QTest::newRow("root") << "1" << "1";
        QTest::newRow("unknown under a known table") << "1.3.6.1.2.1.2.2.1.99" << "";
        QTest::newRow("unknown first arc") << "7.1.2" << "";
        QTest::newRow("quote in a parent that no row has") << "1.3.6.1.2.1'.1" << "";
    }

    void selectOID()
    {
        QFETCH(QString, oid);
        QFETCH(QString, selected);
        QSignalSpy changed(m_tree.get(), &TreeControl::SelectionChanged);
        QVERIFY(changed.isValid());
        m_tree->SelectOID(ipAddrTable);
        const QStringList before = rowKeys();
        m_tree->SelectOID(oid);
        if (selected.isEmpty()) {
            QCOMPARE(m_tree->SelectedOID(), ipAddrTable);
            QCOMPARE(changed.count(), 1);
            return;
        }
        QCOMPARE(m_tree->SelectedOID(), selected);
        QCOMPARE(m_tree->view()->currentIndex(), index(selected));
        QCOMPARE(changed.count(), 2);
        for (const MIBTreeModel::Node *up = row(selected)->parent; up; up = up->parent)
            QVERIFY(m_tree->view()->isExpanded(m_tree->model()->indexOf(up)));
        QVERIFY(m_tree->view()->updatesEnabled());
        const QString details = m_tree->findChild<QTextEdit *>(QStringLiteral("Details"))->toPlainText();
        QVERIFY2(details.contains(QStringLiteral("OID \t") + selected), qPrintable(details));
        // Selecting again, reaching the same rows by other paths, and expanding everything adds nothing.
        const QStringList after = rowKeys();
        m_tree->SelectOID(oid);
        m_tree->loadChildren(selected);
        m_tree->view()->expandAll();
        m_tree->SelectOID(oid);
        const QStringList again = rowKeys();
        QCOMPARE(QSet<QString>(again.begin(), again.end()).size(), again.size());
        QVERIFY(again.size() >= after.size() && after.size() >= before.size());
    }

    void keys_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("swallow"); // the receiver sets the code to 0
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("expanded");
        QTest::newRow("enter toggles") << int(Qt::Key_Return) << 0 << false << 13 << true;
        QTest::newRow("space toggles") << int(Qt::Key_Space) << 0 << false << 32 << true;
        QTest::newRow("receiver swallows enter") << int(Qt::Key_Return) << 0 << true << 13 << false;
        QTest::newRow("ctrl+c empties the clipboard") << int(Qt::Key_C) << int(Qt::ControlModifier) << false << 3 << false;
    }

    void keys()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, swallow);
        QFETCH(int, code);
        QFETCH(bool, expanded);
        const QString system = QStringLiteral("1.3.6.1.2.1.1");
        m_tree->SelectOID(system);
        QGuiApplication::clipboard()->setText(QStringLiteral("stale"));
        int seen = -1;
        connect(m_tree.get(), &TreeControl::KeyPress, this, [&](short &typed) {
            seen = typed;
            if (swallow)
                typed = 0;
        });
        QTest::keyClick(m_tree->view(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(seen, code);
        QCOMPARE(m_tree->view()->isExpanded(index(system)), expanded);
        if (expanded)
            QTRY_VERIFY(row(QStringLiteral("1.3.6.1.2.1.1.5")));
        QCOMPARE(QGuiApplication::clipboard()->text().isEmpty(), code == 3);
    }

    void onScreen()
    {
        m_tree->resize(500, 600);
        m_tree->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_tree.get()));
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.1.5"));
        QSignalSpy doubleClick(m_tree.get(), &TreeControl::OIDDoubleClick);
        QSignalSpy down(m_tree.get(), &TreeControl::MouseDown);
        QWidget *viewport = m_tree->view()->viewport();
        const QPoint leaf = m_tree->view()->visualRect(index(QStringLiteral("1.3.6.1.2.1.1.5"))).center();
        QTest::mouseDClick(viewport, Qt::LeftButton, {}, leaf);
        QCOMPARE(doubleClick.count(), 1);
        QCOMPARE(doubleClick.at(0).at(0).value<QXMibOID *>()->Name(), QStringLiteral("sysName"));
        const QPoint branch = m_tree->view()->visualRect(index(QStringLiteral("1.3.6.1.2.1.1"))).center();
        QTest::mouseDClick(viewport, Qt::LeftButton, {}, branch);
        QVERIFY(!m_tree->view()->isExpanded(index(QStringLiteral("1.3.6.1.2.1.1"))));
        QCOMPARE(doubleClick.count(), 1);
        // A right press on a single selected row moves the current row first.
        QTest::mousePress(viewport, Qt::RightButton, Qt::ShiftModifier, branch);
        QCOMPARE(down.last().mid(0, 2), QVariantList({2, 1}));
        QCOMPARE(m_tree->SelectedOID(), QStringLiteral("1.3.6.1.2.1.1"));

        auto *splitter = m_tree->findChild<QSplitter *>(QStringLiteral("Splitter"));
        m_tree->setDetailsVisible(false);
        QVERIFY(splitter->sizes().at(1) > 0 && splitter->sizes().at(1) <= 4);
        m_tree->setDetailsVisible(true);
        QVERIFY(splitter->sizes().at(1) > 100);
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
        QVERIFY(m_tree->CurrentOIDDetailsRTF().startsWith(QStringLiteral("{\\rtf1")));
        QGuiApplication::clipboard()->clear();
        m_tree->findChild<QAction *>(QStringLiteral("CopyDetailsPopup"))->trigger();
        const QString copied = QGuiApplication::clipboard()->text();
        QVERIFY2(copied.startsWith(QStringLiteral("IF-MIB:ifAdminStatus\r\n")) && copied.contains(QStringLiteral("    up(1)")),
                 qPrintable(copied));
        // On a dark palette the details turn light, black text included.
        auto *details = m_tree->findChild<QTextEdit *>(QStringLiteral("Details"));
        QTextCursor last(details->document());
        last.movePosition(QTextCursor::End);
        QVERIFY(last.charFormat().foreground().color().lightness() < 64);
        QPalette dark = m_tree->palette();
        dark.setColor(QPalette::Base, QColor(35, 35, 35));
        m_tree->setPalette(dark);
        last = QTextCursor(details->document());
        last.movePosition(QTextCursor::End);
        QVERIFY(last.charFormat().foreground().color().lightness() >= 190);
        m_tree->setOIDsVisible(false);
        QVERIFY(m_tree->view()->isColumnHidden(1) && !m_tree->OIDsVisible());
    }

    // The tree interface on its own: creatable by name, castable, and holding nothing.
    void interfaceObject()
    {
        std::unique_ptr<QObject> object(ObjectFactory::create(QStringLiteral("QXMIBTree.MIBTreeCommon")));
        QVERIFY(object && object->qt_metacast("QXMIBTree.MIBTreeCommon") != nullptr);
        QVERIFY(object->metaObject()->indexOfMethod("SelectOID(QString)") >= 0);
        QCOMPARE(qobject_cast<MIBTreeCommon *>(object.get())->Selection(), QString());
    }

    void interfaceForwards_data()
    {
        QTest::addColumn<QString>("className");
        QTest::newRow("MIBTree") << "QXMIBTree.MIBTree";
        QTest::newRow("SingleMIBTree") << "QXMIBTree.SingleMIBTree";
    }

    void interfaceForwards()
    {
        QFETCH(QString, className);
        std::unique_ptr<QObject> control(ObjectFactory::create(className));
        auto *tree = qobject_cast<MIBTreeCommon *>(control.get());
        QVERIFY(tree);
        QCOMPARE(control->qt_metacast("MIBTreeCommon"), static_cast<void *>(tree));
        QVERIFY(control->setProperty("MIB", QStringLiteral("IF-MIB")) || className.endsWith(QLatin1String(".MIBTree")));
        tree->Refresh();
        tree->SelectOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
        tree->setDragMethod(6);
        QCOMPARE(control->property("DragMethod").toInt(), 6);
        QCOMPARE(tree->Selection(), control->property("Selection").toString());
        QCOMPARE(tree->Selection(), QStringLiteral("IF-MIB:ifAdminStatus\t1.3.6.1.2.1.2.2.1.7\r\n"));
        QCOMPARE(tree->SelectedOID(), control->property("SelectedOID").toString());
        QCOMPARE(tree->Table(), control->property("Table").value<QAbstractItemView *>());
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.2.1.2.2.1.7"));
        const bool single = className.endsWith(QLatin1String("SingleMIBTree"));
        QString own;
        QVERIFY(QMetaObject::invokeMethod(control.get(), single ? "GetOIDDetails_RTF" : "GetOIDDetailsRTF",
                                          Q_RETURN_ARG(QString, own), Q_ARG(QXMibOID *, &record)));
        QCOMPARE(tree->GetOIDDetailsRTF(&record), own);
        QVERIFY(QMetaObject::invokeMethod(control.get(), "GetOIDDetails", Q_RETURN_ARG(QString, own),
                                          Q_ARG(QXMibOID *, &record)));
        QCOMPARE(tree->GetOIDDetails(&record), own);
        QCOMPARE(own.contains(QStringLiteral("Units ")), !single);
        // The interface's own names answer through the meta-object too.
        QString viaName;
        QVERIFY(QMetaObject::invokeMethod(control.get(), "MIBTreeCommon_Selection", Q_RETURN_ARG(QString, viaName)));
        QCOMPARE(viaName, tree->Selection());
        QVERIFY(QMetaObject::invokeMethod(control.get(), "MIBTreeCommon_OIDsVisible", Q_ARG(bool, false)));
        QVERIFY(!tree->OIDsVisible());
        QVERIFY(tree->CurrentOIDDetailsRTF().contains(QStringLiteral("ifAdminStatus")));
        tree->Clear();
        QCOMPARE(tree->Table()->model()->rowCount(), 0);
        QCOMPARE(tree->Selection(), QString());
    }
};

QTEST_MAIN(tst_MIBTree)
#include "tst_mibtree.moc"
