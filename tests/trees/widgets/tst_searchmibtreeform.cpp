#include "trees/widgets/searchmibtreeform.h"

#include "core/database.h"
#include "core/messagesink.h"
#include "fixturedatabase.h"
#include "trees/widgets/mibtree.h"
#include "trees/widgets/oiddetails.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>

class tst_SearchMIBTreeForm : public QObject
{
    Q_OBJECT

    std::unique_ptr<FixtureDatabase> m_fixture;
    QStringList m_messages;

    static QStringList listed(SearchMIBTreeForm &form)
    {
        QStringList lines;
        auto *list = form.findChild<QListWidget *>(QStringLiteral("OIDList"));
        for (int i = 0; i < list->count(); ++i)
            lines.append(list->item(i)->text());
        return lines;
    }

    static void search(SearchMIBTreeForm &form, int tab, const QString &field, const QString &text)
    {
        form.findChild<QTabWidget *>(QStringLiteral("Tabs"))->setCurrentIndex(tab);
        if (!field.isEmpty())
            form.findChild<QLineEdit *>(field)->setText(text);
        form.findChild<QPushButton *>(QStringLiteral("Search_Button"))->click();
    }

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        FixtureDatabase::Object counter;
        counter.oid = QStringLiteral("1.3.6.1.2.1.2.2.1.10");
        counter.mib = QStringLiteral("IF-MIB");
        counter.name = QStringLiteral("ifInOctets");
        counter.description = QStringLiteral("Octets counted.");
        m_fixture->addObject(counter);
        m_fixture->activate();
        m_messages.clear();
        // "! " marks the exclamation icon.
        MessageSink::setHandler([this](const QString &text, const QString &) {
            m_messages.append((MessageSink::currentIcon() == MessageSink::Icon::Exclamation ? "! " : "") + text);
        });
    }

    void cleanup() { MessageSink::setHandler({}); }

    void statements_data()
    {
        QTest::addColumn<QString>("keywords"); // null: a name search with the MIB column as the name
        QTest::addColumn<QString>("mibs");
        QTest::addColumn<QString>("condition");
        QTest::newRow("name pattern") << QString() << "sys*" << "Name Like \"sys%\"";
        QTest::newRow("keywords, comma and blanks") << "cpu, load" << ""
                                                   << "Description Like '% cpu%' AND Description Like '% load%'";
        QTest::newRow("MIB pattern alone") << "" << "Cisco*" << "MIB Like 'Cisco%'";
        QTest::newRow("MIB pattern is one pattern") << "CPU" << "Cisco* HOST*"
                                                    << "MIB Like 'Cisco% HOST%' AND Description Like '% CPU%'";
        QTest::newRow("wild card in a keyword") << "\tup*time " << "" << "Description Like '% up%time%'";
        QTest::newRow("nothing to filter") << "" << "" << "";
    }

    void statements()
    {
        QFETCH(QString, keywords);
        QFETCH(QString, mibs);
        QFETCH(QString, condition);
        const QString statement = keywords.isNull() ? SearchMIBTreeForm::nameStatement(mibs)
                                                    : SearchMIBTreeForm::keywordStatement(keywords, mibs);
        const QString expected = condition.isEmpty()
            ? QString()
            : QStringLiteral("Select top 500 MIB,Name,OID From Tree Where ") + condition + QStringLiteral(" Order By MIB,Name");
        QCOMPARE(statement, expected);
    }

    void results_data()
    {
        QTest::addColumn<int>("tab");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("by name") << 1 << "TargetName" << "ifA*"
                                 << QStringList{"IF-MIB\tifAdminStatus\t1.3.6.1.2.1.2.2.1.7"};
        QTest::newRow("keyword after a blank") << 2 << "TargetKeywords" << "ifSpeed"
                                               << QStringList{"IF-MIB\tifSpeed\t1.3.6.1.2.1.2.2.1.5"};
        QTest::newRow("keyword at the start does not match") << 2 << "TargetKeywords" << "octets"
                                                             << QStringList{"[Data was not found]"};
        QTest::newRow("two keywords") << 2 << "TargetKeywords" << "octets,counted"
                                      << QStringList{"[Data was not found]"};
        QTest::newRow("later keyword") << 2 << "TargetKeywords" << "count*"
                                       << QStringList{"IF-MIB\tifInOctets\t1.3.6.1.2.1.2.2.1.10"};
        QTest::newRow("keywords from the OID tab, with the default MIBs") << 0 << "TargetKeywords" << "object"
                                                                         << QStringList{"[Data was not found]"};
    }

    void results()
    {
        QFETCH(int, tab);
        QFETCH(QString, field);
        QFETCH(QString, text);
        QFETCH(QStringList, lines);
        SearchMIBTreeForm form;
        if (tab == 2)
            form.findChild<QLineEdit *>(QStringLiteral("TargetMIBs"))->clear();
        search(form, tab, field, text);
        QCOMPARE(listed(form), lines);
        QCOMPARE(form.findChild<OIDDetails *>(QStringLiteral("OIDDetails"))->OID(), QString());
        QVERIFY(m_messages.isEmpty());
    }

    void fiveHundredNotice_data()
    {
        QTest::addColumn<int>("objects");
        QTest::addColumn<int>("lines");
        QTest::newRow("499: all shown") << 499 << 499;
        QTest::newRow("500: notice") << 500 << 502;
        QTest::newRow("501: cut to 500, notice") << 501 << 502;
    }

    void fiveHundredNotice()
    {
        QFETCH(int, objects);
        QFETCH(int, lines);
        m_fixture->db().execute(QStringLiteral("Delete From Tree"));
        m_fixture->db().executeScript(QStringLiteral("BEGIN"));
        for (int i = 0; i < objects; ++i)
            m_fixture->addObject(QStringLiteral("1.3.6.1.4.1.9.%1").arg(i + 1), QStringLiteral("BULK-MIB"), QStringLiteral("bulk%1").arg(i));
        m_fixture->db().executeScript(QStringLiteral("COMMIT"));
        SearchMIBTreeForm form;
        search(form, 1, QStringLiteral("TargetName"), QStringLiteral("bulk*"));
        const QStringList shown = listed(form);
        QCOMPARE(shown.size(), lines);
        if (lines == 502)
            QCOMPARE(shown.mid(500), QStringList({QString(), QStringLiteral("   Only first 500 matches shown ...")}));
        // Choosing the notice shows nothing; choosing a result shows it.
        auto *list = form.findChild<QListWidget *>(QStringLiteral("OIDList"));
        auto *details = form.findChild<OIDDetails *>(QStringLiteral("OIDDetails"));
        list->setCurrentRow(0);
        QCOMPARE(details->OID(), SearchMIBTreeForm::oidOfLine(shown.at(0)));
        list->setCurrentRow(shown.size() - 1);
        QCOMPARE(details->OID(), lines == 502 ? QString() : SearchMIBTreeForm::oidOfLine(shown.constLast()));
    }

    void emptyFilterIsRefused()
    {
        SearchMIBTreeForm form;
        search(form, 1, QStringLiteral("TargetName"), QStringLiteral("ifA*"));
        form.findChild<QLineEdit *>(QStringLiteral("TargetMIBs"))->clear();
        search(form, 2, QStringLiteral("TargetKeywords"), QString());
        QCOMPARE(m_messages, QStringList({QStringLiteral("! Filter is not specified.")}));
        QCOMPARE(listed(form).size(), 1);
    }

    void drivesTheTree()
    {
        MIBTree tree;
        tree.Refresh();
        SearchMIBTreeForm form;
        form.Search(&tree, false);
        QVERIFY(form.isVisible());
        auto *details = form.findChild<OIDDetails *>(QStringLiteral("OIDDetails"));
        QCOMPARE(details->OID(), QStringLiteral("1.3.6.1"));
        auto *target = form.findChild<QLineEdit *>(QStringLiteral("TargetOID"));
        target->setText(QStringLiteral("1.3.6.1.2.1.1.5.0"));
        QCOMPARE(details->OID(), QStringLiteral("1.3.6.1.2.1.1.5.0"));
        auto *show = form.findChild<QPushButton *>(QStringLiteral("Show_Button"));
        target->setText(QStringLiteral("1.3.6.1.2.1.1.4"));
        show->click();
        QCOMPARE(tree.SelectedOID(), QStringLiteral("1.3.6.1.2.1.1.4"));
        // On the name tab, Enter in the name searches, and Show takes the chosen line.
        form.findChild<QTabWidget *>(QStringLiteral("Tabs"))->setCurrentIndex(1);
        auto *name = form.findChild<QLineEdit *>(QStringLiteral("TargetName"));
        name->setText(QStringLiteral("ifD*"));
        QTest::keyClick(name, Qt::Key_Return);
        form.findChild<QListWidget *>(QStringLiteral("OIDList"))->setCurrentRow(0);
        show->click();
        QCOMPARE(tree.SelectedOID(), QStringLiteral("1.3.6.1.2.1.2.2.1.2"));
        form.findChild<QPushButton *>(QStringLiteral("Done_Button"))->click();
        QVERIFY(!form.isVisible());
    }
};

QTEST_MAIN(tst_SearchMIBTreeForm)
#include "tst_searchmibtreeform.moc"
