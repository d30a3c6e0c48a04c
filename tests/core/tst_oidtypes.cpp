#include "core/globals.h"
#include "core/database.h"
#include "core/oidtype.h"
#include "core/oidtypes.h"
#include "core/qxmiberror.h"
#include "fixturedatabase.h"

#include <QtTest>

class tst_OIDTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->activate();
    }
    void cleanup() { m_fixture.reset(); }

    void filledOnCreation_data()
    {
        QTest::addColumn<QVariant>("key");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("root");
        QTest::addColumn<int>("value");
        QTest::newRow("textual convention, other case") << QVariant(QStringLiteral("displaystring")) << "DISPLAYSTRING"
                                                        << "OCTET STRING" << 4;
        QTest::newRow("counter") << QVariant(QStringLiteral("Counter64")) << "COUNTER64" << "COUNTER64" << 70;
        QTest::newRow("by position") << QVariant(1) << "INTEGER" << "INTEGER" << 2;
        QTest::newRow("time stamp") << QVariant(QStringLiteral("TimeStamp")) << "TIMESTAMP" << "TIMETICKS" << 67;
    }
    void filledOnCreation()
    {
        QFETCH(QVariant, key);
        OIDTypes types;
        QVERIFY(types.Count() > 30);
        OIDType *t = types.Item(key);
        QTEST(t->oidType(), "type");
        QTEST(t->RootType(), "root");
        QTEST(int(t->Value()), "value");
    }

    void collection()
    {
        m_fixture->db().executeScript(QStringLiteral("DELETE FROM Types"));
        OIDTypes types;
        QCOMPARE(types.Count(), 0);
        QVERIFY_THROWS_EXCEPTION(QXMibError, types.Item(QStringLiteral("INTEGER")));
        QVERIFY_THROWS_EXCEPTION(QXMibError, types.Item(1));

        OIDType *a = types.Add(2, QStringLiteral("MyInt"), QStringLiteral("INTEGER"));
        QCOMPARE(types.Add(4, QStringLiteral("MYINT"), QStringLiteral("OCTET STRING")), a);
        QCOMPARE(int(a->Value()), 2);
        types.Add(4, QStringLiteral("MyString"), QStringLiteral("OCTET STRING"));
        QCOMPARE(types.NewEnum().size(), 2);
        QCOMPARE(types.NewEnum().at(1)->oidType(), QStringLiteral("MyString"));
        types.Remove(QStringLiteral("myint"));
        QCOMPARE(types.Count(), 1);
        types.Clear();
        QCOMPARE(types.Count(), 0);
    }

    void refresh()
    {
        OIDTypes types;
        const int n = types.Count();
        // Refresh does not empty first: the first present key fails and nothing more is added.
        QVERIFY_THROWS_EXCEPTION(QXMibError, types.Refresh());
        QCOMPARE(types.Count(), n);
        types.Clear();
        types.Refresh();
        QCOMPARE(types.Count(), n);
    }

    void duplicateRowsFailCreation()
    {
        m_fixture->db().executeScript(
            QStringLiteral("DROP INDEX Types_Type; INSERT INTO Types (Type, Root, Value) VALUES ('integer', 'INTEGER', 2)"));
        QVERIFY_THROWS_EXCEPTION(QXMibError, OIDTypes());
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_OIDTypes)
#include "tst_oidtypes.moc"
