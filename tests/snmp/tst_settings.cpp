#include "core/globals.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "snmp/settings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

class tst_Settings : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    // The value as the user's settings file holds it; a valid text is written there first.
    QVariant stored(const QString &name, const QString &text = QString())
    {
        QSettings s(QSettings::IniFormat, QSettings::UserScope, Globals::applicationTitle(), Globals::applicationTitle());
        if (!text.isNull())
            s.setValue(QStringLiteral("Settings/") + name, text);
        return s.value(QStringLiteral("Settings/") + name);
    }

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_dir->path());
    }

    void clamping_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("valueName");
        QTest::addColumn<int>("input");
        QTest::addColumn<int>("expected");
        QTest::newRow("timeout below") << "SNMPTimeout" << "SNMP Timeout" << 50 << 100;
        QTest::newRow("timeout above") << "SNMPTimeout" << "SNMP Timeout" << 10000 << 5000;
        QTest::newRow("timeout inside") << "SNMPTimeout" << "SNMP Timeout" << 2500 << 2500;
        QTest::newRow("retries zero") << "SNMPRetries" << "SNMP Retries" << 0 << 1;
        QTest::newRow("retries above") << "SNMPRetries" << "SNMP Retries" << 9 << 5;
        QTest::newRow("request size 31") << "SNMPV2RequestSize" << "SNMP V2 Request Size" << 31 << 30;
        QTest::newRow("request size 1") << "SNMPV2RequestSize" << "SNMP V2 Request Size" << 1 << 2;
    }
    void clamping()
    {
        QFETCH(QString, property);
        QFETCH(QString, valueName);
        QFETCH(int, input);
        QFETCH(int, expected);
        Settings settings;
        QSignalSpy spy(&settings, &Settings::Changed);
        // The second time the clamped value equals the field: no write, no event.
        for (int i = 0; i < 2; ++i)
            QVERIFY(settings.setProperty(qPrintable(property), QVariant::fromValue(short(input))));
        QCOMPARE(settings.property(qPrintable(property)).toInt(), expected);
        QCOMPARE(stored(valueName).toString(), QString::number(expected));
        QCOMPARE(spy, QList<QVariantList>({{valueName, expected}}));
        QCOMPARE(Settings().property(qPrintable(property)).toInt(), expected);
    }

    void unchangedValueWritesNothing()
    {
        Settings settings;
        QSignalSpy spy(&settings, &Settings::Changed);
        settings.setSNMPTimeout(1500);
        settings.setSNMPRetries(2);
        settings.setSNMPV2RequestSize(10);
        settings.setDisableSNMPV2(false);
        QCOMPARE(spy.size(), 0);
        QVERIFY(!stored(QStringLiteral("SNMP Timeout")).isValid());
        short value = 20;
        settings.letSNMPTimeout(value); // clamps to 100, the caller's variable too: a change
        QCOMPARE(value, short(100));
        QCOMPARE(spy.size(), 1);
        settings.setDisableSNMPV2(true);
        QCOMPARE(stored(QStringLiteral("Disable SNMP V2")).toString(), QStringLiteral("True"));
        QCOMPARE(Settings().DisableSNMPV2(), true);
    }

    void icmpData()
    {
        Settings settings;
        QCOMPARE(settings.ICMPData(), QStringLiteral("Tarnbrookeware WrenkitQXMIBTree8 version 8.0.0"));
        QSignalSpy spy(&settings, &Settings::Changed);
        settings.setICMPData(settings.ICMPData());
        QCOMPARE(spy.size(), 1);
        // Not cached: a value written behind the object's back is seen at once.
        stored(QStringLiteral("ICMP Data"), QStringLiteral("ping"));
        QCOMPARE(settings.ICMPData(), QStringLiteral("ping"));
    }

    void refreshTakesStoredValuesAsTheyAre_data()
    {
        QTest::addColumn<QString>("timeoutText");
        QTest::addColumn<QString>("disableText");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<bool>("disable");
        QTest::newRow("out of range kept") << "50" << "False" << 50 << false;
        QTest::newRow("blanks and fraction") << " 7000.5 " << "0" << 7000 << false;
        QTest::newRow("number as boolean") << "300" << "-1" << 300 << true;
        QTest::newRow("lower case word") << "300" << "true" << 300 << true;
    }
    void refreshTakesStoredValuesAsTheyAre()
    {
        QFETCH(QString, timeoutText);
        QFETCH(QString, disableText);
        QFETCH(int, timeout);
        QFETCH(bool, disable);
        Settings settings;
        QSignalSpy spy(&settings, &Settings::Changed);
        stored(QStringLiteral("SNMP Timeout"), timeoutText);
        stored(QStringLiteral("Disable SNMP V2"), disableText);
        settings.Refresh();
        QCOMPARE(int(settings.SNMPTimeout()), timeout);
        QCOMPARE(settings.DisableSNMPV2(), disable);
        QCOMPARE(spy.size(), 0);
    }

    void junkIsATypeMismatch_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("error");
        QTest::newRow("timeout words") << "SNMP Timeout" << "fast" << int(QXMibError::TypeMismatch);
        QTest::newRow("retries empty") << "SNMP Retries" << "" << int(QXMibError::TypeMismatch);
        QTest::newRow("boolean words") << "Disable SNMP V2" << "maybe" << int(QXMibError::TypeMismatch);
        QTest::newRow("size overflow") << "SNMP V2 Request Size" << "40000" << int(QXMibError::Overflow);
    }
    void junkIsATypeMismatch()
    {
        QFETCH(QString, name);
        QFETCH(QString, text);
        QFETCH(int, error);
        stored(name, text);
        try {
            Settings settings;
            QFAIL("no error");
        } catch (const QXMibError &e) {
            QCOMPARE(e.number(), error);
        }
    }

    void ownOptionsAndFactory()
    {
        std::unique_ptr<QObject> object(ObjectFactory::create(QStringLiteral("QXMIBTree.Settings")));
        auto *settings = qobject_cast<Settings *>(object.get());
        QVERIFY(settings != nullptr);
        QSignalSpy spy(settings, &Settings::Changed);
        settings->SaveOption(QStringLiteral("Window Width"), 640);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(settings->RetrieveOption(QStringLiteral("Window Width"), 0).toString(), QStringLiteral("640"));
        QCOMPARE(settings->RetrieveOption(QStringLiteral("Missing"), 7).toInt(), 7);
    }
};

QTEST_GUILESS_MAIN(tst_Settings)
#include "tst_settings.moc"
