#include "core/qxmiboid.h"
#include "mibx/widgets/managemibs.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "core/widgets/styledtext.h"
#include "fixturedatabase.h"
#include "mibx/importmibx.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

namespace {

// A module imported from a file; the others are written straight, one in lower case that sorts without regard to case.
const QByteArray acme = "<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION><COMPILED>2024-05-01T10:00:00</COMPILED>"
                        "<MODULE><NAME>ACME-MIB</NAME><ORGANIZATION> Acme Corp. </ORGANIZATION><CONTACT>ops@acme"
                        "</CONTACT><DESCRIPTION>Acme's devices.</DESCRIPTION></MODULE><TREE>"
                        "<acme><OID>1.3.6.1.4.1.99</OID><SYNTAX>OBJECT IDENTIFIER</SYNTAX></acme>"
                        "<acmeState><OID>1.3.6.1.4.1.99.1</OID><SYNTAX>INTEGER</SYNTAX><ENUMS><on>1</on><off>2</off>"
                        "</ENUMS></acmeState></TREE></MIBX>";
const QStringList listed{"aardvark-MIB", "ACME-MIB", "IF-MIB", "NOTES-MIB", "RFC1213-MIB", "SNMPv2-MIB", "SNMPv2-SMI"};

QStringList column(const ManageMIBs &m, int c)
{
    QStringList texts;
    const QAbstractItemModel *model = m.TableObject()->model();
    for (int row = 0; row < model->rowCount(); ++row)
        texts << model->index(row, c).data().toString();
    return texts;
}

// Each run as "text|r,g,b|size|underline"; none is bold.
QStringList runs(const StyledText &text)
{
    QStringList out;
    for (const StyledText::Piece &p : text.pieces()) {
        out << QStringLiteral("%1|%2,%3,%4|%5|%6").arg(p.text).arg(p.colour.red()).arg(p.colour.green())
                   .arg(p.colour.blue()).arg(p.size).arg(p.bold ? "bold" : p.emphasis ? "u" : "");
    }
    return out;
}

QVariantList rows(const QString &select)
{
    return Globals::database()->select(select);
}

} // namespace

class tst_ManageMIBs : public QObject
{
    Q_OBJECT

    std::unique_ptr<FixtureDatabase> m_fixture;
    std::unique_ptr<ManageMIBs> m_manager;
    std::unique_ptr<QAbstractItemModelTester> m_tester;

    void import(const QByteArray &content)
    {
        const QString path = m_fixture->folder() + QStringLiteral("/module.mibx");
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(content) == content.size());
        f.close();
        ImportMIBX importer;
        QVERIFY(importer.ImportMIBXFile(path));
    }

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        m_fixture->addModule(QStringLiteral("NOTES-MIB"), QStringLiteral(" Only a description. "));
        m_fixture->activate();
        m_fixture->addModule(QStringLiteral("aardvark-MIB"));
        import(acme);
        m_manager.reset(qobject_cast<ManageMIBs *>(ObjectFactory::create(QStringLiteral("QXMIBTree.ManageMIBs"))));
        QVERIFY(m_manager);
        m_tester = std::make_unique<QAbstractItemModelTester>(m_manager->TableObject()->model());
        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "Refresh"));
    }
    void cleanup()
    {
        m_tester.reset();
        m_manager.reset();
        m_fixture.reset();
    }

    void listing()
    {
        const ManageMIBs &m = *m_manager;
        QCOMPARE(column(m, 0), listed);
        QCOMPARE(m.property("MIBCount").toInt(), listed.size());
        QCOMPARE(m.OIDCount(), rows("Select * From Tree").size());
        const QStringList imported = column(m, 1);
        QVERIFY(imported.at(0).isEmpty() && !imported.at(1).isEmpty());
        QCOMPARE(m.property("TableObject").value<QTableView *>(), m.TableObject());
        const QAbstractItemModel *model = m.TableObject()->model();
        QCOMPARE(model->headerData(0, Qt::Horizontal).toString() + u'|' + model->headerData(1, Qt::Horizontal).toString(),
                 QStringLiteral("MIB|Last Update"));
        QCOMPARE(m.TableObject()->font().family(), QStringLiteral("Arial"));
        QVERIFY(m.TableObject()->columnWidth(0) >= QFontMetrics(m.TableObject()->font()).horizontalAdvance(QString(42, u'X')));
        QCOMPARE(m.property("SelectedMIB").toString(), QStringLiteral("aardvark-MIB")); // row 1 is current
    }

    void details_data()
    {
        QTest::addColumn<QString>("module");
        QTest::addColumn<QStringList>("runs");
        QTest::newRow("every clause") << "ACME-MIB"
                                      << QStringList{"ACME-MIB\r\n|0,128,0|10|u", "2 unique OIDs\r\n|0,0,0|8|",
                                                     "Acme Corp.\r\n|0,0,255|8|", "ops@acme\r\n|0,0,0|8|",
                                                     "\r\nAcme's devices.\r\n|0,0,0|8|"};
        QTest::newRow("no clauses") << "SNMPv2-SMI"
                                    << QStringList{"SNMPv2-SMI\r\n|0,128,0|10|u", "8 unique OIDs\r\n|0,0,0|8|"};
        QTest::newRow("description only, no objects")
            << "NOTES-MIB"
            << QStringList{"NOTES-MIB\r\n|0,128,0|10|u", "0 unique OIDs\r\n|0,0,0|8|",
                           "\r\nOnly a description.\r\n|0,0,0|8|"};
    }
    void details()
    {
        QFETCH(QString, module);
        QFETCH(QStringList, runs);
        m_manager->setRow(int(listed.indexOf(module)) + 1);
        QCOMPARE(::runs(m_manager->shownDetails()), runs);
    }

    // The deleted module stays listed until Refresh; nothing of any other module changes, nor any Enums row.
    void deleteThenRefresh()
    {
        const QString others = QStringLiteral("Select * From Tree Where MIB<>'ACME-MIB' Order By OID, MIB");
        const QVariantList before = rows(others);
        const QVariantList enums = rows("Select * From Enums Order By Name, Value");
        QXMibOID record; // its look-ups follow the deletion
        record.setOID(QStringLiteral("1.3.6.1.4.1.99.1.0"));
        QCOMPARE(record.FullName(), QStringLiteral("ACME-MIB:acmeState.0"));
        QVERIFY(QMetaObject::invokeMethod(m_manager.get(), "DeleteMIB", Q_ARG(QString, "ACME-MIB")));
        record.setOID(QStringLiteral("1.3.6.1.4.1.99.1.0"));
        QCOMPARE(record.FullName(), QStringLiteral("SNMPv2-SMI:internet.4.1.99.1.0"));
        QCOMPARE(column(*m_manager, 0), listed);
        QCOMPARE(rows("Select * From Tree Where MIB='ACME-MIB'").size(), 0);
        QCOMPARE(rows("Select * From MIBs Where Name='ACME-MIB'").size(), 0);
        QCOMPARE(rows(others), before);
        QCOMPARE(rows("Select * From Enums Order By Name, Value"), enums);
        QCOMPARE(m_manager->OIDCount(), before.size());

        m_manager->setRow(7);
        m_manager->Refresh();
        QCOMPARE(column(*m_manager, 0), QStringList{listed.first()} + listed.mid(2));
        QCOMPARE(m_manager->Row(), 6); // the old row number, within the shorter list
    }

    void deleteSelected()
    {
        QTableView *grid = m_manager->TableObject();
        m_manager->setRow(2);
        grid->selectionModel()->select(QItemSelection(grid->model()->index(1, 0), grid->model()->index(3, 1)),
                                       QItemSelectionModel::Select);
        QCOMPARE(m_manager->Selection(), (QList<int>{2, 3, 4}));
        m_manager->DeleteSelectedMIBs();
        m_manager->Refresh();
        QCOMPARE(column(*m_manager, 0), (QStringList{"aardvark-MIB", "RFC1213-MIB", "SNMPv2-MIB", "SNMPv2-SMI"}));
        QCOMPARE(m_manager->Row(), 2); // the old row number stays current
    }

    // Deleting everything leaves an empty database: no rows, nothing current, nothing to do.
    void emptyDatabase()
    {
        m_manager->SelectAll();
        QCOMPARE(m_manager->Selection().size(), listed.size());
        m_manager->DeleteSelectedMIBs();
        m_manager->Refresh();
        QCOMPARE(m_manager->MIBCount() + m_manager->Row() + m_manager->OIDCount(), 0);
        QVERIFY(m_manager->SelectedMIB().isEmpty() && m_manager->shownDetails().isEmpty());
        m_manager->SelectAll();
        m_manager->DeleteSelectedMIBs();
        QVERIFY_THROWS_EXCEPTION(QXMibError, m_manager->setRow(1));
    }

    // A quote in a name fails the statement before it runs; selecting such a module says so once.
    void hostileName()
    {
        m_fixture->addModule(QStringLiteral("O'Brien-MIB"));
        m_fixture->addObject(QStringLiteral("1.3.6.1.4.1.97"), QStringLiteral("O'Brien-MIB"), QStringLiteral("ob"));
        m_manager->Refresh();
        const int tree = m_manager->OIDCount();
        const auto failure = [this](const QString &name) {
            try {
                m_manager->DeleteMIB(name);
            } catch (const QXMibError &e) {
                return e.number();
            }
            return 0;
        };
        QCOMPARE(failure(QStringLiteral("O'Brien-MIB")), int(QXMibError::StatementError));
        QCOMPARE(failure(QStringLiteral("x' OR ''='")), int(QXMibError::StatementError));
        QCOMPARE(m_manager->OIDCount(), tree);
        QStringList messages;
        const auto previous = MessageSink::setHandler([&](const QString &text, const QString &) { messages << text; });
        m_manager->setRow(int(column(*m_manager, 0).indexOf(QStringLiteral("O'Brien-MIB"))) + 1);
        MessageSink::setHandler(previous);
        QVERIFY(m_manager->SelectedMIB() == QStringLiteral("O'Brien-MIB") && m_manager->shownDetails().isEmpty());
        QVERIFY2(messages.size() == 1, qPrintable(messages.join(u'\n')));
    }

    void events()
    {
        m_manager->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_manager.get()));
        QSignalSpy dbl(m_manager.get(), SIGNAL(DblClick())), key(m_manager.get(), SIGNAL(KeyDown(qint16))),
            mouse(m_manager.get(), SIGNAL(MouseUp(qint16, qint16, float, float)));
        QVERIFY(dbl.isValid() && key.isValid() && mouse.isValid());
        QTableView *grid = m_manager->TableObject();
        const QPoint cell = grid->visualRect(grid->model()->index(2, 0)).center();
        QTest::mouseClick(grid->viewport(), Qt::RightButton, Qt::ControlModifier, cell);
        const QPointF at = grid->viewport()->mapTo(grid, QPointF(cell));
        QCOMPARE(QList<QVariantList>(mouse), (QList<QVariantList>{QVariantList{qint16(2), qint16(2), float(at.x()), float(at.y())}}));
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, cell);
        QCOMPARE(dbl.size(), 1);
        QTest::keyClick(grid, Qt::Key_Delete);
        QTest::keyClick(grid, Qt::Key_A, Qt::ShiftModifier); // Shift goes down before the letter
        QList<qint16> codes;
        for (const QVariantList &args : key)
            codes << args.at(0).value<qint16>();
        QCOMPARE(codes, (QList<qint16>{46, 16, 'A'}));
    }
};

QTEST_MAIN(tst_ManageMIBs)
#include "tst_managemibs.moc"
