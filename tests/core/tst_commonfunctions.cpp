#include "core/commonfunctions.h"
#include "core/qxmiberror.h"

#include <QtTest>

class tst_CommonFunctions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scaled_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("binary");
        QTest::addColumn<QString>("expected");
        QTest::newRow("9600 unscaled") << 9600.0 << false << "9600 bps";
        QTest::newRow("9601 decimal") << 9601.0 << false << "9.6 Kbps";
        QTest::newRow("9601 binary") << 9601.0 << true << "9.4 Kbps";
        QTest::newRow("19200") << 19200.0 << false << "19.2 Kbps";
        QTest::newRow("50000 one decimal") << 50000.0 << false << "50.0 Kbps";
        QTest::newRow("50001 none") << 50001.0 << false << "50 Kbps";
        QTest::newRow("100000") << 100000.0 << false << "100 Kbps";
        QTest::newRow("999999") << 999999.0 << false << "1000 Kbps";
        QTest::newRow("1e6 two decimals") << 1e6 << false << "1.00 Mbps";
        QTest::newRow("1544000") << 1544000.0 << false << "1.54 Mbps";
        QTest::newRow("1005000 rounds its decimal digits") << 1005000.0 << false << "1.01 Mbps";
        QTest::newRow("10450 rounds its decimal digits") << 10450.0 << false << "10.5 Kbps";
        QTest::newRow("9e6 still two decimals") << 9e6 << false << "9.00 Mbps";
        QTest::newRow("9000001 none") << 9000001.0 << false << "9 Mbps";
        QTest::newRow("1e8") << 1e8 << false << "100 Mbps";
        QTest::newRow("1e9") << 1e9 << false << "1.0 Gbps";
        QTest::newRow("1e9 binary thresholds stay decimal") << 1e9 << true << "0.9 Gbps";
        QTest::newRow("1e12") << 1e12 << false << "1.0 Tbps";
        QTest::newRow("1e15 Peta") << 1e15 << false << "1.0 Petabps";
        QTest::newRow("negative keeps sign") << -19200.0 << false << "-19.2 Kbps";
        QTest::newRow("zero") << 0.0 << false << "0 bps";
    }
    void scaled()
    {
        QFETCH(double, value);
        QFETCH(bool, binary);
        QTEST(CommonFunctions::FormatScaled(value, QStringLiteral("bps"), binary), "expected");
    }

    void duration_data()
    {
        QTest::addColumn<int>("days");
        QTest::addColumn<int>("hours");
        QTest::addColumn<int>("minutes");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("expected");
        QTest::newRow("all parts") << 0 << 0 << 0 << 90061 << "1 days, 1 hours, 1 minutes, 1 seconds";
        QTest::newRow("exactly a day") << 0 << 0 << 0 << 86400 << "24 hours";
        QTest::newRow("exactly an hour") << 0 << 0 << 0 << 3600 << "60 minutes";
        QTest::newRow("exactly a minute") << 0 << 0 << 0 << 60 << "60 seconds";
        QTest::newRow("day and a second") << 0 << 0 << 0 << 86401 << "1 days, 1 seconds";
        QTest::newRow("hour and a second") << 0 << 0 << 0 << 3601 << "1 hours, 1 seconds";
        QTest::newRow("59") << 0 << 0 << 0 << 59 << "59 seconds";
        QTest::newRow("zero") << 0 << 0 << 0 << 0 << "";
        QTest::newRow("parts add up") << 1 << 1 << 1 << 1 << "1 days, 1 hours, 1 minutes, 1 seconds";
        QTest::newRow("days beyond 32 bits") << 30000 << 0 << 0 << 0 << "Overflow";
        QTest::newRow("minutes beyond 32 bits") << 0 << 0 << 40000000 << 0 << "Overflow";
    }
    void duration()
    {
        QFETCH(int, days);
        QFETCH(int, hours);
        QFETCH(int, minutes);
        QFETCH(int, seconds);
        try {
            QTEST(CommonFunctions::FormatDuration(days, hours, minutes, seconds), "expected");
        } catch (const QXMibError &e) {
            QTEST(e.description(), "expected");
        }
    }

    void fileNamePart_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("strip");
        QTest::addColumn<QString>("expected");
        QTest::newRow("drive and slashes, stripped") << "C:/dir/name.ext" << true << "name";
        QTest::newRow("kept extension") << "C:\\dir\\name.ext" << false << "name.ext";
        QTest::newRow("bare name") << "name" << false << "name";
        QTest::newRow("drive only") << "C:name.txt" << true << "name";
        QTest::newRow("last dot only") << "/a/b.tar.gz" << true << "b.tar";
    }
    void fileNamePart()
    {
        QFETCH(QString, path);
        QFETCH(bool, strip);
        QTEST(CommonFunctions::FileNamePart(path, strip), "expected");
    }

    void leadingNumber_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("number");
        QTest::newRow("plain") << "42" << 42.0;
        QTest::newRow("blanks and tail") << "  12abc" << 12.0;
        QTest::newRow("sign and fraction") << "-2.5x" << -2.5;
        QTest::newRow("exponent") << "1e3" << 1000.0;
        QTest::newRow("hex prefix") << "&H1F" << 31.0;
        QTest::newRow("nothing") << "abc" << 0.0;
        QTest::newRow("empty") << "" << 0.0;
    }
    void leadingNumber()
    {
        QFETCH(QString, text);
        QTEST(CommonFunctions::LeadingNumber(text), "number");
    }

    void shortestNumber_data()
    {
        QTest::addColumn<double>("number");
        QTest::addColumn<QString>("text");
        QTest::newRow("half") << 5.5 << "5.5";
        QTest::newRow("whole") << 65.0 << "65";
        QTest::newRow("large") << 1e20 << "1E+20";
        QTest::newRow("thirds") << 1.0 / 3.0 << "0.333333333333333";
    }
    void shortestNumber()
    {
        QFETCH(double, number);
        QTEST(CommonFunctions::ShortestNumber(number), "text");
    }
};

QTEST_GUILESS_MAIN(tst_CommonFunctions)
#include "tst_commonfunctions.moc"
