#include "core/widgets/styledtext.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

Q_DECLARE_METATYPE(StyledText)

namespace {

// The visible characters of the text with their style; blanks and breaks are left out
// because readers turn tabs and line breaks into different runs of white space.
QString styledChar(QChar c, const QColor &colour, bool bold, int size, bool emphasis)
{
    return QStringLiteral("%1%2%3%4%5\n").arg(c).arg(colour.name()).arg(size).arg(bold ? "b" : "").arg(emphasis ? "e" : "");
}

QString inkOf(const StyledText &text)
{
    QString out;
    for (const StyledText::Piece &p : text.pieces())
        for (const QChar c : p.text)
            if (!c.isSpace())
                out += styledChar(c, p.colour, p.bold, p.size, p.emphasis);
    return out;
}

QString collapsed(QString s)
{
    s.replace(QChar(0xa0), u' ');
    return s.simplified();
}

const QColor red(200, 0, 0);
const QColor green(0, 128, 0);
const QColor black(0, 0, 0);
const QColor blue(64, 64, 255);

StyledText sample(std::initializer_list<StyledText::Piece> pieces)
{
    StyledText t;
    for (const StyledText::Piece &p : pieces)
        t.append(p);
    return t;
}

// The visible characters of a rich text document with their style. unrtf writes sizes
// as HTML font sizes 1..6 (8, 10, 12, 14, 18, 24 points); unsized text is 12 points.
QString inkOf(const QTextDocument &document)
{
    static const int htmlSizes[] = {8, 10, 12, 14, 18, 24};
    QString seen;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat f = it.fragment().charFormat();
            int size = int(f.fontPointSize());
            if (size == 0)
                size = htmlSizes[qBound(0, f.intProperty(QTextFormat::FontSizeAdjustment) + 2, 5)];
            for (const QChar c : it.fragment().text())
                if (!c.isSpace() && c != QChar::LineSeparator)
                    seen += styledChar(c, f.foreground().color(), f.fontWeight() >= QFont::Bold, size, f.fontUnderline());
        }
    }
    return seen;
}

} // namespace

class tst_StyledText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rtfReadByUnrtf_data();
    void rtfReadByUnrtf();
    void rtfReadBack_data();
    void rtfReadBack();
    void rtfReaderForeignInput_data();
    void rtfReaderForeignInput();
    void htmlInQtDocument_data();
    void htmlInQtDocument();
};

void tst_StyledText::rtfReadByUnrtf_data()
{
    QTest::addColumn<StyledText>("text");

    QTest::newRow("title and caption")
        << sample({{QStringLiteral("IF-MIB:ifAdminStatus\r\n\r\n"), QColor(64, 128, 64), true, 10, true},
                   {QStringLiteral("OID \t"), blue, true, 8, false},
                   {QStringLiteral("1.3.6.1.2.1.2.2.1.7\r\n"), black, false, 8, false}});
    QTest::newRow("rtf control characters") << sample({{QStringLiteral("a\\b {c} d"), red, false, 8, false},
                                             {QStringLiteral("}{\\"), green, true, 10, false}});
    QTest::newRow("beyond ascii") << sample({{QStringLiteral("Gr\u00fc\u00dfe \u20ac 5\u00b0C"), red, false, 8, false},
                                             {QStringLiteral("\u65e5\u672c next"), green, true, 10, true}});
    QTest::newRow("repeated colour, changing size")
        << sample({{QStringLiteral("one"), red, false, 8, false},
                   {QStringLiteral("two"), green, false, 10, false},
                   {QStringLiteral("three"), red, true, 12, true},
                   {QStringLiteral("four"), black, false, 14, false}});
}

void tst_StyledText::rtfReadByUnrtf()
{
    QFETCH(StyledText, text);
    const QString unrtf = QStandardPaths::findExecutable(QStringLiteral("unrtf"));
    if (unrtf.isEmpty())
        QSKIP("unrtf is not installed");
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("details.rtf"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString rtf = text.toRtf();
    QVERIFY(rtf.startsWith(QLatin1String("{\\rtf1")));
    for (const QChar c : rtf)
        QVERIFY2(c.unicode() < 0x80, "RTF must be 7-bit");
    file.write(rtf.toLatin1());
    file.close();

    QProcess process;
    process.start(unrtf, {QStringLiteral("--html"), path});
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 0);
    QTextDocument document;
    document.setHtml(QString::fromUtf8(process.readAllStandardOutput()));
    QCOMPARE(collapsed(document.toPlainText()), collapsed(text.toPlainText()));
    QCOMPARE(inkOf(document), inkOf(text));
}

void tst_StyledText::rtfReadBack_data()
{
    rtfReadByUnrtf_data();
    QTest::newRow("blank lines and tabs") << sample({{QStringLiteral("\r\n\r\n\tx\t\r\n"), red, false, 8, false},
                                                     {QStringLiteral("    up(1)\r\n"), black, false, 8, false}});
}

void tst_StyledText::rtfReadBack()
{
    QFETCH(StyledText, text);
    const StyledText back = StyledText::fromRtf(text.toRtf());
    QCOMPARE(back.toPlainText(), text.toPlainText());
    QCOMPARE(inkOf(back), inkOf(text));
}

void tst_StyledText::rtfReaderForeignInput_data()
{
    QTest::addColumn<QString>("rtf");
    QTest::addColumn<QString>("plain");
    QTest::addColumn<int>("boldChars");

    QTest::newRow("skipped destinations")
        << QStringLiteral("{\\rtf1{\\fonttbl{\\f0 Arial;}}{\\*\\generator Writer;}{\\info{\\title T}}\\b A\\b0 B}")
        << QStringLiteral("AB") << 1;
    QTest::newRow("groups restore state") << QStringLiteral("{\\rtf1 {\\b bold}plain\\par}")
                                          << QStringLiteral("boldplain\r\n") << 4;
    QTest::newRow("unicode with uc2 fallback")
        << QStringLiteral("{\\rtf1\\uc2 x\\u8364\\'80\\'80y}") << QStringLiteral("x\u20acy") << 0;
    QTest::newRow("hex escapes and symbols") << QStringLiteral("{\\rtf1 caf\\'e9\\~\\{\\}\\line z}")
                                             << QStringLiteral("caf\u00e9\u00a0{}\r\nz") << 0;
}

void tst_StyledText::rtfReaderForeignInput()
{
    QFETCH(QString, rtf);
    QFETCH(QString, plain);
    QFETCH(int, boldChars);
    const StyledText text = StyledText::fromRtf(rtf);
    QCOMPARE(text.toPlainText(), plain);
    int bold = 0;
    for (const StyledText::Piece &p : text.pieces())
        if (p.bold)
            bold += int(p.text.size());
    QCOMPARE(bold, boldChars);
}

void tst_StyledText::htmlInQtDocument_data()
{
    rtfReadBack_data();
    QTest::newRow("markup characters") << sample({{QStringLiteral("<b>&amp; \"q\"</b>"), red, true, 8, false}});
}

void tst_StyledText::htmlInQtDocument()
{
    QFETCH(StyledText, text);
    QTextDocument document;
    document.setHtml(text.toHtml());
    QString expected = text.toPlainText();
    expected.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QCOMPARE(document.toPlainText(), expected);
    QCOMPARE(document.characterCount() - 1, int(text.documentLength()));

    // Every visible character keeps its colour, weight, size and underline.
    QCOMPARE(inkOf(document), inkOf(text));

    // For display on a dark background the same text turns light; a light one keeps it.
    QCOMPARE(text.readableOn(Qt::white), text);
    const StyledText onDark = text.readableOn(QColor(35, 35, 35));
    QCOMPARE(onDark.toPlainText(), text.toPlainText());
    for (const StyledText::Piece &piece : onDark.pieces())
        QVERIFY(piece.colour.lightness() >= 190);
}

QTEST_MAIN(tst_StyledText)
#include "tst_styledtext.moc"
