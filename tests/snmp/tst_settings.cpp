#include "core/globals.h"
#include "core/objectfactory.h"
#include "core/qxmiberror.h"
#include "snmp/settings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>

#include <unistd.h>

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

    // The settings file as a user or another program may have left it.
    void junkInTheStore_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("error"); // 0: the defaults
        QTest::newRow("timeout words") << QByteArray("SNMP%20Timeout=fast") << int(QXMibError::TypeMismatch);
        QTest::newRow("retries empty") << QByteArray("SNMP%20Retries=") << int(QXMibError::TypeMismatch);
        QTest::newRow("boolean words") << QByteArray("Disable%20SNMP%20V2=maybe") << int(QXMibError::TypeMismatch);
        QTest::newRow("size overflow") << QByteArray("SNMP%20V2%20Request%20Size=40000") << int(QXMibError::Overflow);
        QTest::newRow("a list") << QByteArray("SNMP%20Timeout=1, 2") << int(QXMibError::TypeMismatch);
        QTest::newRow("a stored rectangle") << QByteArray("SNMP%20Timeout=@Variant(\\0\\0\\0\\x13\\0\\0\\0\\x1)")
                                            << int(QXMibError::TypeMismatch);
        QTest::newRow("binary noise") << QByteArray("\xff\xfe\x00\x01=\x02\n\x00[\xff", 10) << 0;
    }
    void junkInTheStore()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, error);
        const QString file = QSettings(QSettings::IniFormat, QSettings::UserScope, Globals::applicationTitle(),
                                       Globals::applicationTitle()).fileName();
        QDir().mkpath(QFileInfo(file).path());
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("[Settings]\n" + line + '\n');
        f.close();
        try {
            Settings settings;
            QCOMPARE(settings.SNMPTimeout(), short(1500));
            QCOMPARE(error, 0);
        } catch (const QXMibError &e) {
            QCOMPARE(e.number(), error);
            QVERIFY2(e.description().contains(file), qPrintable(e.description()));
        }
    }

    // A home folder the user cannot write, as that user: the defaults are read, a change
    // fails with a clear error, keeps the old value and announces nothing.
    void unwritableHome()
    {
        const bool root = ::geteuid() == 0;
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (root && setpriv.isEmpty())
            QSKIP("no setpriv to drop root's privileges with");
        QVERIFY(QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther
                                                         | QFile::ExeOther | QFile::ReadGroup | QFile::ExeGroup));
        QStringList command = {QCoreApplication::applicationFilePath(), QStringLiteral("--probe")};
        if (root)
            command = QStringList({setpriv, "--reuid=nobody", "--regid=nogroup", "--clear-groups"}) + command;
        QProcess probe;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_dir->path());
        env.remove(QStringLiteral("XDG_CONFIG_HOME"));
        probe.setProcessEnvironment(env);
        probe.start(command.takeFirst(), command);
        QVERIFY(probe.waitForFinished(30000));
        QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QCOMPARE(probe.readAllStandardError(), QByteArray());
        QCOMPARE(QString::fromUtf8(probe.readAllStandardOutput()),
                 QStringLiteral("1500 70 %1/.config/WrenkitQXMIBTree8/WrenkitQXMIBTree8.ini 1500 0\n").arg(m_dir->path()));
    }

    // ICMP data and a host's own options: written at once and announced, never cached.
    void otherOptions()
    {
        std::unique_ptr<QObject> object(ObjectFactory::create(QStringLiteral("QXMIBTree.Settings")));
        auto *settings = qobject_cast<Settings *>(object.get());
        QVERIFY(settings != nullptr);
        QCOMPARE(settings->ICMPData(), QStringLiteral("Tarnbrookeware WrenkitQXMIBTree8 version 8.0.0"));
        QSignalSpy spy(settings, &Settings::Changed);
        settings->setICMPData(settings->ICMPData());
        settings->SaveOption(QStringLiteral("Window Width"), 640);
        QCOMPARE(spy.size(), 2);
        stored(QStringLiteral("ICMP Data"), QStringLiteral("ping"));
        QCOMPARE(settings->ICMPData(), QStringLiteral("ping"));
        QCOMPARE(settings->RetrieveOption(QStringLiteral("Window Width"), 0).toString(), QStringLiteral("640"));
        QCOMPARE(settings->RetrieveOption(QStringLiteral("Missing"), 7).toInt(), 7);
    }
};

// "--probe": what unwritableHome runs as the user who cannot write the home folder.
int probe()
{
    Settings settings;
    QSignalSpy spy(&settings, &Settings::Changed);
    std::printf("%d ", settings.SNMPTimeout());
    try {
        settings.setSNMPTimeout(3000);
        std::printf("saved ");
    } catch (const QXMibError &e) {
        std::printf("%d %s ", e.number(), qPrintable(e.description().section(QStringLiteral(" in "), 1)));
    }
    std::printf("%d %d\n", settings.SNMPTimeout(), int(spy.size()));
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "--probe") == 0)
        return probe();
    tst_Settings test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_settings.moc"
