#include "core/qxmiberror.h"
#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QtTest>

#include <ctime>

// Rendering by hint: each row sets the hint on a plain object, then renders.
class tst_Parser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale::c()); // the fixed date form
        m_fixture = std::make_unique<FixtureDatabase>();
        m_fixture->addStandardObjects();
        FixtureDatabase::Object o;
        o.oid = QStringLiteral("1.3.6.1.4.1.99");
        o.mib = QStringLiteral("TEST-MIB");
        o.name = QStringLiteral("probe");
        m_fixture->addObject(o);
        o.oid = QStringLiteral("1.3.6.1.4.1.98");
        o.typeS = QStringLiteral("TIMETICKS");
        o.enumName = QStringLiteral("tickSet");
        m_fixture->addObject(o);
        m_fixture->addEnum(QStringLiteral("tickSet"), 100, QStringLiteral("hundred"));
        m_fixture->activate();
    }
    void cleanupTestCase() { m_fixture.reset(); }

    void render_data()
    {
        QTest::addColumn<QString>("hint");
        QTest::addColumn<QString>("units");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("hex");
        QTest::addColumn<QString>("expected");

        QTest::newRow("truth 1") << "TRUTHVALUE" << "" << "1" << "" << "True";
        QTest::newRow("truth 2") << "TRUTHVALUE" << "" << "2" << "" << "False";
        QTest::newRow("truth 01 is text") << "TRUTHVALUE" << "" << "01" << "" << "Unknown";
        QTest::newRow("lower-case selector") << "truthvalue" << "" << "1" << "" << "True";
        QTest::newRow("dotless i capitalised") << QString::fromUtf8("t\u0131meticks") << "" << "5" << "" << "0.05 seconds";
        QTest::newRow("mbps unscaled") << "MBPS" << "" << "9600" << "" << "9600 bps";
        QTest::newRow("mbps 100M") << "MBPS" << "" << "100000000" << "" << "100 Mbps";
        QTest::newRow("mbps junk is 0") << "MBPS" << "" << "fast" << "" << "0 bps";
        QTest::newRow("kbytes") << "KBYTES" << "" << "2048" << "" << "2.00 Mbytes";
        QTest::newRow("kbytes small") << "KBYTES" << "" << "3" << "" << "3072 bytes";
        QTest::newRow("physaddress") << "PHYSADDRESS" << "" << "" << "00A0C91E2B3C" << "00A0.C91E.2B3C";
        QTest::newRow("macaddress keeps case, short tail") << "MacAddress" << "" << "" << "00a0c91e2b" << "00a0.c91e.2b";
        QTest::newRow("mac empty") << "MACADDRESS" << "" << "" << "" << "";
        QTest::newRow("object with instance") << "OBJECT" << "" << "1.3.6.1.2.1.2.2.1.1.5" << "" << "ifIndex.5";
        QTest::newRow("object-identifier unknown") << "OBJECT-IDENTIFIER" << "" << "7.7" << "" << "";
        QTest::newRow("timespan") << "TIMESPAN" << "" << "9006100" << "" << "1 days, 1 hours, 1 minutes, 1 seconds";
        QTest::newRow("timespan halves to even") << "TIMESPAN" << "" << "250" << "" << "2 seconds";
        QTest::newRow("timeticks 0") << "TIMETICKS" << "" << "0" << "" << "0.00 seconds";
        QTest::newRow("timeticks 5") << "TIMETICKS" << "" << "5" << "" << "0.05 seconds";
        QTest::newRow("timeticks 99") << "TIMETICKS" << "" << "99" << "" << "0.99 seconds";
        QTest::newRow("timeticks 100") << "TIMETICKS" << "" << "100" << "" << "1 seconds";
        QTest::newRow("timeticks one day") << "TIMETICKS" << "" << "8640000" << "" << "24 hours";
        QTest::newRow("services 72") << "SERVICES" << "" << "72" << "" << "transport, applications";
        QTest::newRow("services 127") << "SERVICES" << "" << "127" << ""
                                      << "physical, data link, network, transport, session, presentaion, applications";
        QTest::newRow("services high bits ignored") << "SERVICES" << "" << "128" << "" << "";
        QTest::newRow("inet from four octets, not the hex") << "INETADDRESS" << "" << QString::fromLatin1("\x0a\x00\x00\x01", 4)
                                                            << "C0A80001" << "10.0.0.1";
        QTest::newRow("inet from value, rest ignored") << "INETADDRESS" << "" << QString::fromLatin1("\x0a\x00\x00\x01\x05", 5)
                                                       << "" << "10.0.0.1";
        QTest::newRow("inet from hex") << "CISCONETWORKADDRESS" << "" << "ab" << "C0A80001" << "192.168.0.1";
        QTest::newRow("inet too short") << "INETADDRESS" << "" << "abc" << "616263" << "";
        QTest::newRow("address list") << "IPADDRESSLIST" << "" << QString::fromLatin1("\x0a\x00\x00\x01\x0a\x00\x00\x02", 8)
                                      << "" << "10.0.0.1, 10.0.0.2";
        QTest::newRow("address list partial") << "IPADDRESSLIST" << ""
                                              << QString::fromLatin1("\x0a\x00\x00\x01\x0a\x00", 6) << ""
                                              << "10.0.0.1, 10.0";
        QTest::newRow("cisco load") << "CISCO%LOAD" << "" << "37" << "" << "37 %";
        QTest::newRow("cisco load fraction") << "cisco%load" << "" << "2.5" << "" << "2.5 %";
        QTest::newRow("rate set, high bit kept") << "WIRELESSRATESET" << "" << "" << "0B82" << "5.5, 65 Mbps";
        QTest::newRow("rate set empty") << "WIRELESSRATESET" << "" << "" << "" << "";
        QTest::newRow("date and time") << "DATEANDTIME" << "" << "x" << "07D70C050A1E0000" << "2007-12-05 10:30:00";
        QTest::newRow("date at midnight") << "DATEANDTIME" << "" << "x" << "07D70C0500000000" << "2007-12-05";
        QTest::newRow("date rolls over") << "DATEANDTIME" << "" << "x" << "07D70C1F19000000" << "2008-01-01 01:00:00";
        QTest::newRow("deci-seconds carry to midnight") << "DATEANDTIME" << "" << "x" << "07D70C1F173B3B0A" << "2008-01-01";
        QTest::newRow("date 15 digits") << "DATEANDTIME" << "" << "raw" << "07D70C050A1E000" << "raw";
        QTest::newRow("date with zone, 22 digits") << "DATEANDTIME" << "" << "raw" << "07D70C050A1E00002B0000" << "raw";
        QTest::newRow("octet value") << "OCTET" << "" << "abc" << "616263" << "abc";
        QTest::newRow("octet empty shows hex") << "OCTET" << "" << "" << "00FF" << "00FF";
        QTest::newRow("plain with units") << "" << "seconds" << "30" << "" << "30 seconds";
        QTest::newRow("units before comma") << "" << "octets, see note" << "30" << "" << "30 octets";
        QTest::newRow("plain without units") << "" << "" << "30" << "" << "30";
        QTest::newRow("services beyond 16 bits") << "SERVICES" << "" << "70000" << "" << "Overflow";
        QTest::newRow("timespan beyond 32 bits") << "TIMESPAN" << "" << "1e13" << "" << "Overflow";
    }
    void render()
    {
        QFETCH(QString, hint);
        QFETCH(QString, units);
        QFETCH(QString, value);
        QFETCH(QString, hex);
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.4.1.99"));
        record.setParse(hint);
        record.setUnits(units);
        QString hexIn = hex;
        try {
            QTEST(record.ParseValue(value, hexIn), "expected");
        } catch (const QXMibError &e) {
            QCOMPARE(e.number(), int(QXMibError::Overflow));
            QTEST(e.description(), "expected");
        }
        // Only the rate-set rendering consumes the caller's hex text.
        QCOMPARE(hexIn, hint.toUpper() == QLatin1String("WIRELESSRATESET") ? QString() : hex);
    }

    // Without a hint the type name selects; an enumeration wins over any type.
    void byTypeAndEnumeration_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("hex");
        QTest::addColumn<QString>("expected");
        QTest::newRow("TimeTicks type") << "1.3.6.1.2.1.1.3.0" << "360100" << "" << "1 hours, 1 seconds";
        QTest::newRow("PhysAddress type") << "1.3.6.1.2.1.2.2.1.6.1" << "" << "0011223344AA" << "0011.2233.44AA";
        QTest::newRow("enumerated") << "1.3.6.1.2.1.2.2.1.7.1" << "2" << "" << "down(2)";
        QTest::newRow("enumerated, rounded") << "1.3.6.1.2.1.2.2.1.7.1" << "2.5" << "" << "down(2)";
        QTest::newRow("enumerated unknown") << "1.3.6.1.2.1.2.2.1.7.1" << "9" << "" << "unknown(9)";
        QTest::newRow("enumerated time ticks") << "1.3.6.1.4.1.98.0" << "100" << "" << "hundred(100)";
        QTest::newRow("hinted services") << "1.3.6.1.2.1.1.7.0" << "76" << "" << "network, transport, applications";
    }
    void byTypeAndEnumeration()
    {
        QFETCH(QString, oid);
        QFETCH(QString, value);
        QFETCH(QString, hex);
        QXMibOID record;
        record.setOID(oid);
        QTEST(record.ParseValue(value, hex), "expected");
    }

    // The locale's short date and long time; the value has no zone, so none is shown.
    void dateAndTimeInLocales_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("hex");
        QTest::addColumn<QString>("expected");
        QTest::newRow("en_US in Berlin") << "en_US" << QByteArray("Europe/Berlin") << "07D70C050A1E0000"
                                         << "12/5/07 10:30:00 AM";
        QTest::newRow("de_DE in New York") << "de_DE" << QByteArray("America/New_York") << "07D70C050A1E0000"
                                           << "05.12.07 10:30:00";
        QTest::newRow("time lost to daylight saving here") << "en_US" << QByteArray("Europe/Berlin") << "07D70319021E0000"
                                                           << "3/25/07 2:30:00 AM";
    }
    void dateAndTimeInLocales()
    {
        QFETCH(QString, locale);
        QFETCH(QByteArray, zone);
        QFETCH(QString, hex);
        qputenv("TZ", zone);
        tzset();
        QLocale::setDefault(QLocale(locale));
        QXMibOID record;
        record.setOID(QStringLiteral("1.3.6.1.4.1.99"));
        record.setParse(QStringLiteral("DATEANDTIME"));
        const QString shown = record.ParseValue(QStringLiteral("x"), hex);
        QLocale::setDefault(QLocale::c());
        QTEST(shown, "expected");
    }

private:
    std::unique_ptr<FixtureDatabase> m_fixture;
};

QTEST_GUILESS_MAIN(tst_Parser)
#include "tst_parser.moc"
