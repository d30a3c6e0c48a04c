#include "trees/widgets/detailslayout.h"

#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QProcess>
#include <QTest>

Q_DECLARE_METATYPE(DetailsLayout::Fields)

namespace {

using L = DetailsLayout;

// Pieces written as "|" + style letter + text, CR LF as "\n": the style letters are
// T tree title, C tree caption, t control title, H head caption, V head value,
// c control caption, P plain; "?" marks a piece in none of the styles.
QString notation(const StyledText &text)
{
    static const char letters[] = "TCtHVcP";
    QString out;
    for (const StyledText::Piece &p : text.pieces()) {
        QChar letter = u'?';
        for (int s = L::TreeTitle; s <= L::Plain; ++s)
            if (L::styled(L::Style(s), QString()).sameStyle(p))
                letter = QLatin1Char(letters[s]);
        out += u'|' + letter + QString(p.text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    }
    return out;
}

L::Fields sysName(const QString &enumList = QString())
{
    L::Fields f;
    f.fullName = QStringLiteral("SNMPv2-MIB:sysName.0"), f.oid = QStringLiteral("1.3.6.1.2.1.1.5.0");
    f.typeString = QStringLiteral("DisplayString"), f.accessString = QStringLiteral("read-write");
    f.statusString = QStringLiteral("mandatory"), f.description = QStringLiteral("The sysName object.");
    f.mib = QStringLiteral("SNMPv2-MIB"), f.name = QStringLiteral("sysName.0");
    f.longName = QStringLiteral("iso.org.sysName.0");
    f.enumerated = enumList.isEmpty() ? QString() : QStringLiteral("someValues");
    f.enumList = enumList;
    return f;
}

const QString treeHead = QStringLiteral("|TSNMPv2-MIB:sysName.0\n\n|COID \t|P1.3.6.1.2.1.1.5.0\n|CType \t|PDisplayString\n");
const QString treeUnits = QStringLiteral("|CUnits \t|P\n");
const QString treeTail = QStringLiteral("|CAccess \t|Pread-write\n|CStatus \t|Pmandatory\n|P\nThe sysName object.\n");
const QString possible = QStringLiteral("|P\nPossible Values :\n");
const QString controlHead = QStringLiteral(
    "|HMIB \t|VSNMPv2-MIB\n|HName \t|VsysName.0\n|P\n|Piso.org.sysName.0\n\n|cOID \t|P1.3.6.1.2.1.1.5.0\n"
    "|cType \t|PDisplayString\n|cUnits \t|P\n|cAccess \t|Pread-write\n|cStatus \t|Pmandatory\n");
const QString description = QStringLiteral("|P\nThe sysName object.\n");

} // namespace

class tst_DetailsLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void treeLayout_data()
    {
        QTest::addColumn<L::Fields>("fields");
        QTest::addColumn<bool>("shortLayout");
        QTest::addColumn<QString>("expected");

        QTest::newRow("no enumeration, empty units keep their line")
            << sysName() << false << treeHead + treeUnits + treeTail;
        QTest::newRow("enumeration: one indented line per item")
            << sysName(QStringLiteral("#1;up(1)|#2;down(2)")) << false
            << treeHead + treeUnits + treeTail + possible + QStringLiteral("|P    up(1)\n|P    down(2)\n");
        QTest::newRow("item without semicolon whole, cut at the first one only")
            << sysName(QStringLiteral("whole item|a;b;c")) << false
            << treeHead + treeUnits + treeTail + possible + QStringLiteral("|P    whole item\n|P    b;c\n");
        QTest::newRow("short: no units, no possible values")
            << sysName(QStringLiteral("#1;up(1)")) << true << treeHead + treeTail;
    }

    void treeLayout()
    {
        QFETCH(L::Fields, fields);
        QFETCH(bool, shortLayout);
        QTEST(notation(shortLayout ? L::shortTreeLayout(fields) : L::treeLayout(fields)), "expected");
    }

    void controlLayout_data()
    {
        QTest::addColumn<L::Fields>("fields");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("parsed");
        QTest::addColumn<QString>("expected");

        QTest::newRow("empty title adds no lines, no value no row")
            << sysName() << QString() << QString() << QString() << controlHead + description;
        QTest::newRow("title on top") << sysName() << QStringLiteral("Router 1") << QString() << QString()
                                      << QStringLiteral("|tRouter 1\n\n") + controlHead + description;
        QTest::newRow("raw value alone") << sysName() << QString() << QStringLiteral("0x0a") << QString()
                                         << controlHead + QStringLiteral("|cValue \t|P0x0a\n\n") + description;
        QTest::newRow("parsed value wins over raw")
            << sysName() << QString() << QStringLiteral("0x0a") << QStringLiteral("ten")
            << controlHead + QStringLiteral("|cValue \t|Pten\n\n") + description;
        QTest::newRow("possible values last") << sysName(QStringLiteral("#1;up(1)")) << QString() << QString()
                                              << QString() << controlHead + description + possible + QStringLiteral("|P    up(1)\n");
        QTest::newRow("unknown object: the title only")
            << L::Fields() << QStringLiteral("T") << QStringLiteral("1") << QStringLiteral("2") << QStringLiteral("|tT\n\n");
    }

    void controlLayout()
    {
        QFETCH(L::Fields, fields);
        QFETCH(QString, title);
        QFETCH(QString, raw);
        QFETCH(QString, parsed);
        QTEST(notation(L::controlLayout(fields, title, raw, parsed)), "expected");
    }

    void fromDatabase_data()
    {
        QTest::addColumn<QString>("oid");
        QTest::addColumn<QString>("plain");

        QTest::newRow("enumerated column instance")
            << QStringLiteral("1.3.6.1.2.1.2.2.1.7.3")
            << QStringLiteral("IF-MIB:ifAdminStatus.3\r\n\r\nOID \t1.3.6.1.2.1.2.2.1.7.3\r\nType \tINTEGER\r\n"
                              "Units \t\r\nAccess \tread-write\r\nStatus \tmandatory\r\n\r\nThe ifAdminStatus object.\r\n"
                              "\r\nPossible Values :\r\n    up(1)\r\n    down(2)\r\n    testing(3)\r\n");
        QTest::newRow("units") << QStringLiteral("1.3.6.1.2.1.2.2.1.4")
                               << QStringLiteral("IF-MIB:ifMtu\r\n\r\nOID \t1.3.6.1.2.1.2.2.1.4\r\nType \tInteger32\r\n"
                                                 "Units \toctets, see the note\r\nAccess \tread-only\r\n"
                                                 "Status \tmandatory\r\n\r\nThe ifMtu object.\r\n");
        QTest::newRow("not in the database: every row, empty values")
            << QStringLiteral("7.999")
            << QStringLiteral("\r\n\r\nOID \t\r\nType \t\r\nUnits \t\r\nAccess \tunknown\r\nStatus \tunknown\r\n\r\n\r\n");
    }

    void fromDatabase()
    {
        QFETCH(QString, oid);
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        fixture.activate();
        QXMibOID record;
        record.setOID(oid);
        QTEST(L::treeLayout(record).toPlainText(), "plain");
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("contains");

        QTest::newRow("text, LF line ends") << QStringList{QStringLiteral("ifAdminStatus.3")} << 0
                                            << QStringLiteral("IF-MIB:ifAdminStatus.3\n\nOID \t1.3.6.1.2.1.2.2.1.7.3\n")
                                            << QStringLiteral("\n    testing(3)\n");
        QTest::newRow("rtf") << QStringList{QStringLiteral("--rtf"), QStringLiteral("ifAdminStatus")} << 0
                             << QStringLiteral("{\\rtf1") << QStringLiteral("\\cf1\\b\\ul\\fs20 IF-MIB:ifAdminStatus\\par");
        QTest::newRow("short html") << QStringList{QStringLiteral("--html"), QStringLiteral("--short"), QStringLiteral("ifMtu")}
                                    << 0 << QStringLiteral("<!DOCTYPE html>") << QStringLiteral("color:#4040ff");
        QTest::newRow("unknown object") << QStringList{QStringLiteral("noSuchThing")} << 1 << QString() << QString();
    }

    void commandLine()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, start);
        QFETCH(QString, contains);
        const QString qxmib = qEnvironmentVariable("QXMIB_BINARY_DIR") + QStringLiteral("/bin/qxmib");
        if (!QFile::exists(qxmib))
            QSKIP("qxmib is not built");
        FixtureDatabase fixture;
        fixture.addStandardObjects();
        QProcess process;
        process.start(qxmib, QStringList{QStringLiteral("--db"), fixture.path(), QStringLiteral("details")} + args);
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitCode(), exitCode);
        const QString out = QString::fromUtf8(process.readAllStandardOutput());
        QVERIFY2(out.startsWith(start), qPrintable(out));
        QVERIFY2(out.contains(contains), qPrintable(out));
        QVERIFY(!out.contains(u'\r') || args.contains(QStringLiteral("--rtf")));
    }
};

QTEST_MAIN(tst_DetailsLayout)
#include "tst_detailslayout.moc"
