#include "trees/detailslayout.h"

#include "core/qxmiboid.h"
#include "fixturedatabase.h"

#include <QTest>

Q_DECLARE_METATYPE(StyledText)
Q_DECLARE_METATYPE(DetailsLayout::Fields)

namespace {

using L = DetailsLayout;

StyledText pieces(std::initializer_list<std::pair<L::Style, const char *>> list)
{
    StyledText t;
    for (const auto &p : list)
        L::append(t, p.first, QString::fromUtf8(p.second));
    return t;
}

// The pieces one per line, so that a failing comparison shows where the layouts part.
QString dump(const StyledText &t)
{
    QString out;
    for (const StyledText::Piece &p : t.pieces()) {
        QString text = p.text;
        text.replace(QStringLiteral("\r\n"), QStringLiteral("<CRLF>")).replace(u'\t', QStringLiteral("<TAB>"));
        out += QStringLiteral("%1 %2pt%3%4 [%5]\n")
                   .arg(p.colour.name())
                   .arg(p.size)
                   .arg(p.bold ? QStringLiteral(" bold") : QString())
                   .arg(p.emphasis ? QStringLiteral(" emph") : QString())
                   .arg(text);
    }
    return out;
}

L::Fields sysName()
{
    L::Fields f;
    f.fullName = QStringLiteral("SNMPv2-MIB:sysName.0");
    f.oid = QStringLiteral("1.3.6.1.2.1.1.5.0");
    f.typeString = QStringLiteral("DisplayString");
    f.accessString = QStringLiteral("read-write");
    f.statusString = QStringLiteral("mandatory");
    f.description = QStringLiteral("The sysName object.");
    f.mib = QStringLiteral("SNMPv2-MIB");
    f.name = QStringLiteral("sysName.0");
    f.longName = QStringLiteral("iso.org.dod.internet.mgmt.mib-2.system.sysName.0");
    return f;
}

L::Fields enumerated(const QString &list)
{
    L::Fields f = sysName();
    f.enumerated = QStringLiteral("ifAdminStatus");
    f.enumList = list;
    return f;
}

} // namespace

class tst_DetailsLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void styles_data();
    void styles();
    void treeLayout_data();
    void treeLayout();
    void controlLayout_data();
    void controlLayout();
    void fromDatabase_data();
    void fromDatabase();
};

void tst_DetailsLayout::styles_data()
{
    QTest::addColumn<int>("style");
    QTest::addColumn<QColor>("colour");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("bold");
    QTest::addColumn<bool>("emphasis");

    QTest::newRow("tree title") << int(L::TreeTitle) << QColor(64, 128, 64) << 10 << true << true;
    QTest::newRow("tree caption") << int(L::TreeCaption) << QColor(64, 64, 255) << 8 << true << false;
    QTest::newRow("control title") << int(L::ControlTitle) << QColor(0, 0, 255) << 10 << true << false;
    QTest::newRow("control head caption") << int(L::ControlHeadCaption) << QColor(64, 64, 128) << 10 << true << false;
    QTest::newRow("control head value") << int(L::ControlHeadValue) << QColor(0, 128, 0) << 10 << true << false;
    QTest::newRow("control caption") << int(L::ControlCaption) << QColor(64, 64, 128) << 8 << true << false;
    QTest::newRow("plain") << int(L::Plain) << QColor(0, 0, 0) << 8 << false << false;
}

void tst_DetailsLayout::styles()
{
    QFETCH(int, style);
    QFETCH(QColor, colour);
    QFETCH(int, size);
    QFETCH(bool, bold);
    QFETCH(bool, emphasis);
    const StyledText::Piece p = L::styled(L::Style(style), QStringLiteral("x"));
    QCOMPARE(p.colour, colour);
    QCOMPARE(p.size, size);
    QCOMPARE(p.bold, bold);
    QCOMPARE(p.emphasis, emphasis);
}

void tst_DetailsLayout::treeLayout_data()
{
    QTest::addColumn<L::Fields>("fields");
    QTest::addColumn<bool>("shortLayout");
    QTest::addColumn<StyledText>("expected");

    const StyledText head = pieces({{L::TreeTitle, "SNMPv2-MIB:sysName.0\r\n\r\n"},
                                    {L::TreeCaption, "OID \t"},
                                    {L::Plain, "1.3.6.1.2.1.1.5.0\r\n"},
                                    {L::TreeCaption, "Type \t"},
                                    {L::Plain, "DisplayString\r\n"}});
    const StyledText tail = pieces({{L::TreeCaption, "Access \t"},
                                    {L::Plain, "read-write\r\n"},
                                    {L::TreeCaption, "Status \t"},
                                    {L::Plain, "mandatory\r\n"},
                                    {L::Plain, "\r\nThe sysName object.\r\n"}});
    StyledText full = head;
    full.append(pieces({{L::TreeCaption, "Units \t"}, {L::Plain, "\r\n"}}));
    full.append(tail);
    StyledText shortened = head;
    shortened.append(tail);

    QTest::newRow("no enumeration, empty units still get a line") << sysName() << false << full;
    QTest::newRow("short layout has no units row") << sysName() << true << shortened;

    StyledText withValues = full;
    withValues.append(pieces({{L::Plain, "\r\nPossible Values :\r\n"},
                              {L::Plain, "    up(1)\r\n"},
                              {L::Plain, "    down(2)\r\n"},
                              {L::Plain, "    testing(3)\r\n"}}));
    QTest::newRow("enumeration, one line per item")
        << enumerated(QStringLiteral("#1;up(1)|#2;down(2)|#3;testing(3)")) << false << withValues;
    QTest::newRow("short layout has no possible values")
        << enumerated(QStringLiteral("#1;up(1)")) << true << shortened;

    StyledText odd = full;
    odd.append(pieces({{L::Plain, "\r\nPossible Values :\r\n"},
                       {L::Plain, "    whole item\r\n"},
                       {L::Plain, "    b;c\r\n"},
                       {L::Plain, "    \r\n"}}));
    QTest::newRow("item without semicolon shown whole, only the first one cut")
        << enumerated(QStringLiteral("whole item|a;b;c|")) << false << odd;
}

void tst_DetailsLayout::treeLayout()
{
    QFETCH(L::Fields, fields);
    QFETCH(bool, shortLayout);
    QFETCH(StyledText, expected);
    const StyledText got = shortLayout ? L::shortTreeLayout(fields) : L::treeLayout(fields);
    QCOMPARE(dump(got), dump(expected));
}

void tst_DetailsLayout::controlLayout_data()
{
    QTest::addColumn<L::Fields>("fields");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("raw");
    QTest::addColumn<QString>("parsed");
    QTest::addColumn<StyledText>("expected");

    const StyledText head = pieces({{L::ControlHeadCaption, "MIB \t"},
                                    {L::ControlHeadValue, "SNMPv2-MIB\r\n"},
                                    {L::ControlHeadCaption, "Name \t"},
                                    {L::ControlHeadValue, "sysName.0\r\n"},
                                    {L::Plain, "\r\n"},
                                    {L::Plain, "iso.org.dod.internet.mgmt.mib-2.system.sysName.0\r\n\r\n"},
                                    {L::ControlCaption, "OID \t"},
                                    {L::Plain, "1.3.6.1.2.1.1.5.0\r\n"},
                                    {L::ControlCaption, "Type \t"},
                                    {L::Plain, "DisplayString\r\n"},
                                    {L::ControlCaption, "Units \t"},
                                    {L::Plain, "\r\n"},
                                    {L::ControlCaption, "Access \t"},
                                    {L::Plain, "read-write\r\n"},
                                    {L::ControlCaption, "Status \t"},
                                    {L::Plain, "mandatory\r\n"}});
    const StyledText description = pieces({{L::Plain, "\r\nThe sysName object.\r\n"}});
    const auto value = [](const char *v) {
        return pieces({{L::ControlCaption, "Value \t"}, {L::Plain, v}});
    };

    StyledText plain = head;
    plain.append(description);
    QTest::newRow("empty title adds no lines, no value no row")
        << sysName() << QString() << QString() << QString() << plain;

    StyledText titled = pieces({{L::ControlTitle, "Router 1\r\n\r\n"}});
    titled.append(plain);
    QTest::newRow("title on top") << sysName() << QStringLiteral("Router 1") << QString() << QString() << titled;

    StyledText raw = head;
    raw.append(value("0x0a\r\n\r\n"));
    raw.append(description);
    QTest::newRow("raw value alone") << sysName() << QString() << QStringLiteral("0x0a") << QString() << raw;

    StyledText parsed = head;
    parsed.append(value("ten\r\n\r\n"));
    parsed.append(description);
    QTest::newRow("parsed value wins over raw")
        << sysName() << QString() << QStringLiteral("0x0a") << QStringLiteral("ten") << parsed;

    StyledText withValues = head;
    withValues.append(value("up(1)\r\n\r\n"));
    withValues.append(description);
    withValues.append(pieces({{L::Plain, "\r\nPossible Values :\r\n"}, {L::Plain, "    up(1)\r\n"}}));
    QTest::newRow("possible values after the description")
        << enumerated(QStringLiteral("#1;up(1)")) << QString() << QString() << QStringLiteral("up(1)") << withValues;

    QTest::newRow("unknown object shows only the title")
        << L::Fields() << QStringLiteral("T") << QStringLiteral("1") << QStringLiteral("2")
        << pieces({{L::ControlTitle, "T\r\n\r\n"}});
    QTest::newRow("unknown object without title shows nothing")
        << L::Fields() << QString() << QString() << QString() << StyledText();
}

void tst_DetailsLayout::controlLayout()
{
    QFETCH(L::Fields, fields);
    QFETCH(QString, title);
    QFETCH(QString, raw);
    QFETCH(QString, parsed);
    QFETCH(StyledText, expected);
    QCOMPARE(dump(L::controlLayout(fields, title, raw, parsed)), dump(expected));
}

void tst_DetailsLayout::fromDatabase_data()
{
    QTest::addColumn<QString>("oid");
    QTest::addColumn<QString>("plain");

    QTest::newRow("enumerated column instance")
        << QStringLiteral("1.3.6.1.2.1.2.2.1.7.3")
        << QStringLiteral("IF-MIB:ifAdminStatus.3\r\n\r\n"
                          "OID \t1.3.6.1.2.1.2.2.1.7.3\r\n"
                          "Type \tINTEGER\r\n"
                          "Units \t\r\n"
                          "Access \tread-write\r\n"
                          "Status \tmandatory\r\n"
                          "\r\nThe ifAdminStatus object.\r\n"
                          "\r\nPossible Values :\r\n"
                          "    up(1)\r\n    down(2)\r\n    testing(3)\r\n");
    QTest::newRow("units")
        << QStringLiteral("1.3.6.1.2.1.2.2.1.4")
        << QStringLiteral("IF-MIB:ifMtu\r\n\r\n"
                          "OID \t1.3.6.1.2.1.2.2.1.4\r\n"
                          "Type \tInteger32\r\n"
                          "Units \toctets, see the note\r\n"
                          "Access \tread-only\r\n"
                          "Status \tmandatory\r\n"
                          "\r\nThe ifMtu object.\r\n");
    QTest::newRow("not in the database: every row, empty values")
        << QStringLiteral("2.999")
        << QStringLiteral("\r\n\r\nOID \t\r\nType \t\r\nUnits \t\r\nAccess \tunknown\r\nStatus \tunknown\r\n\r\n\r\n");
}

void tst_DetailsLayout::fromDatabase()
{
    QFETCH(QString, oid);
    QFETCH(QString, plain);
    FixtureDatabase fixture;
    fixture.addStandardObjects();
    fixture.activate();
    QXMibOID record;
    record.setOID(oid);
    QCOMPARE(L::treeLayout(record).toPlainText(), plain);
}

QTEST_MAIN(tst_DetailsLayout)
#include "tst_detailslayout.moc"
