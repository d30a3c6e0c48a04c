#include "mibx/widgets/mibxtree.h"

#include "core/database.h"
#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "fixturedatabase.h"

#include <QAbstractItemModelTester>
#include <QTest>
#include <QTextEdit>
#include <QTreeView>

namespace {

const QString acme = QStringLiteral("1.3.6.1.4.1.9999");

QByteArray object(const char *name, const QString &arcs, const char *syntax = "", const QByteArray &more = {})
{
    const QByteArray oid = (arcs.startsWith(u'.') ? acme + arcs : arcs).toUtf8();
    return QByteArray("<") + name + "><OID>" + oid + "</OID><SYNTAX>" + syntax + "</SYNTAX>" + more + "</" + name + ">";
}

// No VERSION: the viewer never asks for one.
QByteArray mibx(const QByteArray &objects)
{
    return "<MIBX><MODULE><NAME>ACME-MIB</NAME></MODULE><TREE>" + objects + "</TREE></MIBX>";
}

const QByteArray acmeFile = mibx(object("acmeProducts", ".1") + object("acmeTable", ".1.1", "SEQUENCE")
                                 + object("acmeEntry", ".1.1.1", "AcmeEntry")
                                 + object("acmeIndex", ".1.1.1.1", "Integer32",
                                          "<ACCESS>READ-ONLY</ACCESS><STATUS>CURRENT</STATUS><VALUE>7</VALUE>"
                                          "<DESCRIPTION>Row number.</DESCRIPTION>")
                                 + object("acmeTrap", ".2", "TRAP"));

} // namespace

class tst_MIBXTree : public QObject
{
    Q_OBJECT

    std::unique_ptr<FixtureDatabase> m_fixture;
    std::unique_ptr<MIBXTree> m_tree;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    QStringList m_messages;
    QString m_file;

    void load(const QByteArray &content)
    {
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        m_tree->setMIBXFilename(m_file);
    }
    QStringList children(const QString &key) const
    {
        QStringList keys;
        for (const auto &child : m_tree->model()->find(key)->children)
            keys << child->key;
        return keys;
    }

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        m_fixture->addObject(QStringLiteral("1.3.6.1.4"), QStringLiteral("SNMPv2-SMI"), QStringLiteral("private"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.4.1"), QStringLiteral("SNMPv2-SMI"), QStringLiteral("enterprises"));
        m_fixture->addObject(acme, QStringLiteral("ACME-SMI"), QStringLiteral("acme"));
        m_fixture->addObject(acme + ".1", QStringLiteral("ACME-SMI"), QStringLiteral("acmeProducts"));
        m_fixture->addObject(acme + ".5", QStringLiteral("ACME-SMI"), QStringLiteral("acmeLegacy"));
        m_fixture->activate();
        m_file = m_fixture->folder() + QStringLiteral("/acme.mibx");
        m_messages.clear();
        MessageSink::setHandler([this](const QString &text, const QString &) {
            m_messages.append((MessageSink::currentIcon() == MessageSink::Icon::Exclamation ? "! " : "") + text);
        });
        m_tree = std::make_unique<MIBXTree>();
        m_tester = std::make_unique<QAbstractItemModelTester>(m_tree->view()->model(),
                                                              QAbstractItemModelTester::FailureReportingMode::QtTest);
        m_tester->setUseFetchMore(true);
    }

    void cleanup()
    {
        m_tester.reset();
        m_tree.reset();
        MessageSink::setHandler({});
    }

    void load_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("messages"); // prefixes; FILE is the file's name
        QTest::addColumn<QStringList>("rows");     // key=icon, "-" for no such row

        QTest::newRow("under a branch only the database knows")
            << acmeFile << QStringList()
            << QStringList{"O:1.3.6.1.4=folder-gray", "O:" + acme + "=folder-gray", "F:" + acme + ".1=folder-closed",
                           "O:" + acme + ".1=-", "F:" + acme + ".1.1=table", "F:" + acme + ".1.1.1=key",
                           "F:" + acme + ".1.1.1.1=leaf", "F:" + acme + ".2=trap", "O:1=folder-gray"};
        QTest::newRow("child first, parent in the database")
            << mibx(object("early", ".5.1") + object("late", ".5")) << QStringList()
            << QStringList{"F:" + acme + ".5=folder-closed", "O:" + acme + ".5=-", "F:" + acme + ".5.1=leaf"};
        QTest::newRow("child first, parent nowhere")
            << mibx(object("early", ".7.1") + object("late", ".7"))
            << QStringList{"! Cannot load tree for early (" + acme + ".7.1)"}
            << QStringList{"F:" + acme + ".7=leaf", "F:" + acme + ".7.1=-"};
        QTest::newRow("missing SYNTAX")
            << mibx(object("first", ".1") + "<broken><OID>" + acme.toUtf8() + ".3</OID></broken>" + object("after", ".2"))
            << QStringList{"! FILE is corrupt."} << QStringList{"F:" + acme + ".1=leaf", "F:" + acme + ".3=-", "F:" + acme + ".2=-"};
        QTest::newRow("missing OID") << mibx("<broken><SYNTAX/></broken>" + object("after", ".2"))
                                     << QStringList{"! FILE is corrupt."} << QStringList{"F:" + acme + ".2=-"};
        QTest::newRow("no TREE") << QByteArray("<MIBX><MODULE><NAME>X</NAME></MODULE></MIBX>")
                                 << QStringList{"! FILE is not a Tarnbrooke MIBX file or is corrupt."}
                                 << QStringList{"O:1.3.6.1=folder-gray"};
        QTest::newRow("not XML") << QByteArray("<MIBX>") << QStringList{"! Could not load FILE\r\nLine "} << QStringList();
        QTest::newRow("hostile OIDs")
            << mibx(object("q", ".x';DROP TABLE Tree;--") + object("lone", "7") + object("twice", ".2") + object("again", ".2")
                    + object("deep", acme + QString(".1").repeated(130)))
            << QStringList{"! Cannot load tree for q (" + acme + ".x';DROP TABLE Tree;--)", "! Cannot load tree for lone (7)",
                           "! Cannot load tree for again (" + acme + ".2)", "! Cannot load tree for deep (" + acme + ".1.1"}
            << QStringList{"F:" + acme + ".2=leaf"};
    }

    void load()
    {
        QFETCH(QByteArray, content);
        QFETCH(QStringList, messages);
        QFETCH(QStringList, rows);
        load(content);
        QCOMPARE(m_messages.size(), messages.size());
        for (int i = 0; i < messages.size(); ++i)
            QVERIFY2(m_messages.at(i).startsWith(QString(messages.at(i)).replace(QStringLiteral("FILE"), m_file)),
                     qPrintable(m_messages.at(i)));
        for (const QString &row : rows) {
            const MIBTreeModel::Node *node = m_tree->model()->find(row.section(u'=', 0, 0));
            QCOMPARE(node ? node->icon : QStringLiteral("-"), row.section(u'=', 1));
        }
        QCOMPARE(m_fixture->db().select(QStringLiteral("Select Count(*) as Total From Tree")).at(0).toMap().value("Total").toInt(), 36);
    }

    void detailsAndExpansion()
    {
        load(acmeFile);
        QCOMPARE(m_tree->SelectedOID(), acme + ".1"); // the file's first object is current
        QCOMPARE(m_tree->ModuleName(), QStringLiteral("ACME-MIB"));
        m_tree->SelectOID(acme + ".1.1.1.1");
        const QString expected = "acmeIndex\r\n\r\nValue \t7\r\nOID \t" + acme
            + ".1.1.1.1\r\nType \tInteger32\r\nAccess \tREAD-ONLY\r\nStatus \tCURRENT\r\nFrom \tACME-MIB\r\n\r\nRow number.\r\n";
        QCOMPARE(m_tree->findChild<QTextEdit *>(QStringLiteral("Details"))->toPlainText(), QString(expected).remove(u'\r'));
        QCOMPARE(m_tree->GetOIDDetails_MIBX(), expected);
        QCOMPARE(m_tree->GetOIDDetails(), expected);
        const QString rtf = m_tree->CurrentOIDDetailsRTF();
        QVERIFY(rtf.contains(QLatin1String("\\red64\\green128\\blue64")) && rtf.contains(QLatin1String("\\red64\\green64\\blue255")));

        // A database object: its ancestors come from the database, its details from its record.
        m_tree->SelectOID(QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(m_tree->SelectedOID(), QStringLiteral("1.3.6.1.2.1.1.5"));
        QVERIFY(m_tree->GetOIDDetails().startsWith(QStringLiteral("SNMPv2-MIB:sysName\r\n")));
        QCOMPARE(m_tree->GetOIDDetails_MIBX(), QString());

        // Opening the database branch adds its other children in arc order, none twice.
        const QString branch = "O:" + acme;
        m_tree->view()->expand(m_tree->model()->indexOf(m_tree->model()->find(branch)));
        QTRY_VERIFY(!m_tree->model()->find(branch)->hasPlaceholder());
        QCOMPARE(children(branch), QStringList({"F:" + acme + ".1", "F:" + acme + ".2", "O:" + acme + ".5"}));
        m_tree->Refresh();
        QCOMPARE(children(branch), QStringList({"X:" + branch, "F:" + acme + ".1", "F:" + acme + ".2"}));
        QVERIFY(m_messages.isEmpty());
    }

    void byName()
    {
        std::unique_ptr<QObject> tree(ObjectFactory::create(QStringLiteral("QXMIBTree.MIBXTree")));
        QVERIFY(qobject_cast<MIBTreeCommon *>(tree.get()) != nullptr);
        QFile file(m_file);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(acmeFile) > 0);
        file.close();
        QVERIFY(tree->setProperty("MIBXFilename", m_file));
        QVERIFY(QMetaObject::invokeMethod(tree.get(), "Refresh"));
        QCOMPARE(tree->property("ModuleName").toString(), QStringLiteral("ACME-MIB"));
        QCOMPARE(tree->property("SelectedOID").toString(), acme + ".1");
        QVERIFY(tree->property("Database").value<Database *>() != nullptr);
    }
};

QTEST_MAIN(tst_MIBXTree)
#include "tst_mibxtree.moc"
