#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "fixturedatabase.h"

#include <QtTest>

// The component's statements, run as written against a real database file.
class tst_jetdialect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        m_fixture->activate();
    }
    void cleanup() { m_fixture.reset(); }

    void statements_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("firstValue"); // first column of the first row

        QTest::newRow("double quoted, Primary=TRUE")
            << "Select * from Tree WHERE OID = \"1.3.6.1.2.1.1.5\" AND Primary=TRUE" << 1 << "1.3.6.1.2.1.1.5";
        QTest::newRow("TOP 1 with module") << "Select TOP 1 * from Tree WHERE MIB = \"IF-MIB\" AND Name = \"ifDescr\""
                                           << 1 << "1.3.6.1.2.1.2.2.1.2";
        QTest::newRow("Top, two blanks before AND")
            << "Select Top 1 * from Tree WHERE Name = \"sysName\"  AND Primary=TRUE" << 1 << "1.3.6.1.2.1.1.5";
        QTest::newRow("names compare without case") << "Select Name from Tree WHERE Name = \"SYSNAME\"" << 1 << "sysName";
        QTest::newRow("Index and Primary as columns, Primary=-1")
            << "Select DISTINCT Name, Index, OID, TypeS from Tree WHERE Primary=-1 AND ParentOID = '1.3.6.1.2.1.1' "
               "order by Index"
            << 7 << "sysDescr";
        QTest::newRow("enums with Value, order by") << "Select * From Enums Where Name = \"ifAdminStatus\" AND Value = 2 "
                                                       "order by Value"
                                                    << 1 << "ifAdminStatus";
        QTest::newRow("blank before = in single quotes") << "Select * From Enums Where Name ='ifAdminStatus' AND Value=3"
                                                         << 1 << "ifAdminStatus";
        QTest::newRow("count as Total") << "Select Count(*) as Total From Tree Where MIB='IF-MIB'" << 1 << "11";
        QTest::newRow("like with percent, top 500") << "Select top 500 MIB,Name,OID From Tree Where Name Like 'sys%'"
                                                    << 8 << "SNMPv2-MIB";
        QTest::newRow("bracketed name") << "Select [Small Icon] From Icons WHERE OID = \"1.3.6.1\"" << 0 << "";
        QTest::newRow("FALSE matches nothing primary") << "Select * from Tree WHERE Primary=FALSE" << 0 << "";
        QTest::newRow("escaped quote inside a literal") << "Select * From Tree Where Name='it''s'" << 0 << "";
        QTest::newRow("order by name") << "Select * From MIBs Order By Name" << 4 << "IF-MIB";
        QTest::newRow("trailing semicolon") << "Select * From Types Where Type = 'INTEGER';" << 1 << "INTEGER";
    }
    void statements()
    {
        QFETCH(QString, statement);
        QFETCH(int, rows);
        QFETCH(QString, firstValue);
        Recordset rs(Globals::database(), statement);
        int n = 0;
        QString first;
        while (!rs.eof()) {
            if (n == 0)
                first = rs.value(0).toString();
            ++n;
            rs.moveNext();
        }
        QCOMPARE(n, rows);
        QCOMPARE(first, firstValue);
    }

    void failures_data()
    {
        QTest::addColumn<QString>("statement");
        QTest::newRow("unterminated literal") << "Select * From Tree Where Name = 'abc";
        QTest::newRow("unterminated bracket") << "Select [Small Icon From Icons";
        QTest::newRow("second statement") << "Select * From Tree; Delete From Tree";
        QTest::newRow("unknown table") << "Select * From Nowhere";
        QTest::newRow("quote ends the literal early") << "Select * From Tree Where Name = \"a\"b\"";
    }
    void failures()
    {
        QFETCH(QString, statement);
        try {
            Recordset rs(Globals::database(), statement);
            QFAIL("the statement ran");
        } catch (const QXMibError &e) {
            QCOMPARE(e.number(), int(QXMibError::StatementError));
        }
    }

    // A value that holds its own quote never reaches the database: the statement
    // fails and no row changes, whichever way the value was meant to break out.
    void hostileValues_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("doubleQuoted"); // which quoting the value tries to break out of
        QTest::newRow("or-true in double quotes") << "x\" OR \"1\"=\"1" << true;
        QTest::newRow("update through a name") << "sysName\" ; UPDATE Tree SET Name=\"owned" << true;
        QTest::newRow("delete in single quotes") << "x' OR '1'='1" << false;
        QTest::newRow("second statement in single quotes") << "x'; DELETE FROM Tree; --" << false;
    }
    void hostileValues()
    {
        QFETCH(QString, value);
        QFETCH(bool, doubleQuoted);
        Database *db = Globals::database();
        const QVariantList before = db->select(QStringLiteral("Select * From Tree order by OID"));
        QXMibOID record;
        if (doubleQuoted) {
            QVERIFY_THROWS_EXCEPTION(QXMibError, record.setName(value));
            QVERIFY_THROWS_EXCEPTION(QXMibError, record.setFullName(value));
            QVERIFY_THROWS_EXCEPTION(QXMibError, record.setFullName(QStringLiteral("IF-MIB:") + value));
        } else {
            QVERIFY_THROWS_EXCEPTION(QXMibError,
                                     db->execute(QStringLiteral("Delete From Tree Where MIB=") + Globals::sq(value)));
            // Inside the other kind of quotes it is only text, and matches nothing.
            record.setName(value);
            QCOMPARE(record.OID(), QString());
        }
        // OIDs lose their double quotes before use, so they cannot break out either.
        record.setOID(value);
        QCOMPARE(db->select(QStringLiteral("Select * From Tree order by OID")), before);
    }

    // A row is added at EOF, then found in another case and overwritten in place;
    // Booleans go in as -1, the way the tree views ask for them.
    void updatableRecordset()
    {
        Database *db = Globals::database();
        for (const QString &name : {QStringLiteral("NEW-MIB"), QStringLiteral("new-mib")}) {
            Recordset rs(db, QStringLiteral("Select TOP 1 * From MIBs Where Name='%1'").arg(name), Recordset::Mode::Updatable);
            if (rs.eof()) {
                rs.addNew();
                rs.setValue(QStringLiteral("Name"), name);
            }
            rs.setValue(QStringLiteral("description"), name);
            rs.update();
            QVERIFY_THROWS_EXCEPTION(QXMibError, rs.setValue(QStringLiteral("NoSuchColumn"), 1));
        }
        QCOMPARE(db->select(QStringLiteral("Select Name, Description From MIBs Where Name='NEW-MIB'")),
                 QVariantList({QVariantMap({{QStringLiteral("Name"), QStringLiteral("NEW-MIB")},
                                            {QStringLiteral("Description"), QStringLiteral("new-mib")}})}));
        Recordset rs(db, QStringLiteral("Select * From Tree Where OID='9.9'"), Recordset::Mode::Updatable);
        rs.addNew();
        rs.setValue(QStringLiteral("Primary"), true);
        rs.update();
        QCOMPARE(db->select(QStringLiteral("Select * From Tree Where Primary=-1 AND OID IS NULL")).size(), 1);
    }

    // Two readers of the same statement shape at once (a look-up inside a loop over another).
    void nestedReadersOfOneShape()
    {
        Database *db = Globals::database();
        Recordset outer(db, QStringLiteral("Select * from Tree WHERE Name = \"sysName\""));
        Recordset inner(db, QStringLiteral("Select * from Tree WHERE Name = \"ifDescr\""));
        QCOMPARE(outer.text(QStringLiteral("OID")), QStringLiteral("1.3.6.1.2.1.1.5"));
        QCOMPARE(inner.text(QStringLiteral("OID")), QStringLiteral("1.3.6.1.2.1.2.2.1.2"));
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_jetdialect)
#include "tst_jetdialect.moc"
