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
        QTest::newRow("by position") << QVariant(1) << "INTEGER" << "INTEGER" << 2;
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
        // The key is the name the entry was added under, whatever it is called later.
        a->setOIDType(QStringLiteral("Renamed"));
        QVERIFY_THROWS_EXCEPTION(QXMibError, types.Item(QStringLiteral("Renamed")));
        types.Remove(QStringLiteral("myint"));
        QVERIFY_THROWS_EXCEPTION(QXMibError, types.Item(QStringLiteral("MyInt")));
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

    void badRowsFailCreation_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<int>("error");
        QTest::newRow("a name twice, in another case") << "'integer', 'INTEGER', 2" << int(QXMibError::KeyAlreadyExists);
        QTest::newRow("a code beyond 16 bits") << "'Huge', 'INTEGER', 40000" << int(QXMibError::Overflow);
    }
    void badRowsFailCreation()
    {
        QFETCH(QString, row);
        m_fixture->db().executeScript(
            QStringLiteral("DROP INDEX Types_Type; INSERT INTO Types (Type, Root, Value) VALUES (%1)").arg(row));
        try {
            OIDTypes types;
            QFAIL("created");
        } catch (const QXMibError &e) {
            QTEST(e.number(), "error");
        }
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_OIDTypes)
#include "tst_oidtypes.moc"
