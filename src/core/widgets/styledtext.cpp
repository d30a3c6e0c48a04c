#include "core/widgets/styledtext.h"

#include <QHash>

namespace {

const char *const fontName = "Arial";

bool isBreak(QChar c)
{
    return c == u'\r' || c == u'\n';
}

// Length of the line break starting at i (CR LF counts as one break), 0 when there is none.
qsizetype breakLength(const QString &text, qsizetype i)
{
    if (text.at(i) == u'\r')
        return (i + 1 < text.size() && text.at(i + 1) == u'\n') ? 2 : 1;
    return text.at(i) == u'\n' ? 1 : 0;
}

QString colourKey(const QColor &c)
{
    return QString::number(c.rgb(), 16);
}

QString rtfEscaped(const QString &text)
{
    QString out;
    out.reserve(text.size() + 16);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (const qsizetype n = breakLength(text, i)) {
            out += QLatin1String("\\par\r\n");
            i += n - 1;
        } else if (c == u'\t') {
            out += QLatin1String("\\tab ");
        } else if (c == u'\\' || c == u'{' || c == u'}') {
            out += u'\\';
            out += c;
        } else if (c.unicode() < 0x20) {
            // other control characters have no meaning in the text
        } else if (c.unicode() < 0x80) {
            out += c;
        } else {
            // RTF wants a signed 16-bit number; the fallback is written as a hex escape because
            // some readers swallow the rest of the word after a literal fallback character.
            const int n = c.unicode() > 32767 ? int(c.unicode()) - 65536 : int(c.unicode());
            out += QLatin1String("\\u") + QString::number(n) + QLatin1String("\\'3f");
        }
    }
    return out;
}

QString htmlEscaped(const QString &text)
{
    QString out;
    out.reserve(text.size() + 16);
    bool blankBefore = true; // a blank at the start of a line would be dropped by some readers
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (const qsizetype n = breakLength(text, i)) {
            out += QLatin1String("<br>");
            i += n - 1;
            blankBefore = true;
            continue;
        }
        if (c == u' ') {
            out += blankBefore ? QStringLiteral("&nbsp;") : QStringLiteral(" ");
            blankBefore = true;
            continue;
        }
        blankBefore = false;
        if (c == u'&')
            out += QLatin1String("&amp;");
        else if (c == u'<')
            out += QLatin1String("&lt;");
        else if (c == u'>')
            out += QLatin1String("&gt;");
        else if (c == u'"')
            out += QLatin1String("&quot;");
        else if (c.unicode() < 0x20 && c != u'\t')
            continue;
        else
            out += c;
    }
    return out;
}

// The state of one RTF group while reading.
struct RtfState
{
    bool bold = false;
    bool italic = false;
    bool underline = false;
    int halfPoints = 24;
    int colour = 0;
    int uc = 1;
    bool skip = false;
};

class RtfReader
{
public:
    explicit RtfReader(const QString &rtf) : m_in(rtf) {}

    StyledText read()
    {
        m_stack.push_back(RtfState());
        while (m_pos < m_in.size()) {
            const QChar c = m_in.at(m_pos++);
            if (c == u'{') {
                m_stack.push_back(m_stack.back());
                continue;
            }
            if (c == u'}') {
                if (m_inColourTable && m_stack.size() == m_colourTableDepth)
                    m_inColourTable = false;
                if (m_stack.size() > 1)
                    m_stack.pop_back();
                continue;
            }
            if (c == u'\\') {
                controlSymbolOrWord();
                continue;
            }
            if (isBreak(c))
                continue; // line breaks in the source are not text
            if (m_inColourTable) {
                if (c == u';') {
                    m_colours.append(m_hasColour ? m_colour : QColor(0, 0, 0));
                    m_colour = QColor(0, 0, 0);
                    m_hasColour = false;
                }
                continue;
            }
            text(c);
        }
        flush();
        return m_out;
    }

private:
    RtfState &state() { return m_stack.back(); }

    void text(QChar c)
    {
        if (state().skip)
            return;
        if (m_skipChars > 0) {
            --m_skipChars;
            return;
        }
        const RtfState &s = state();
        StyledText::Piece style;
        style.bold = s.bold;
        style.emphasis = s.italic || s.underline;
        style.size = s.halfPoints / 2;
        style.colour = (s.colour > 0 && s.colour < m_colours.size()) ? m_colours.at(s.colour) : QColor(0, 0, 0);
        if (!m_current.text.isEmpty() && !m_current.sameStyle(style))
            flush();
        if (m_current.text.isEmpty()) {
            m_current = style;
            m_current.text.clear();
        }
        m_current.text += c;
    }

    void textRun(const QString &s)
    {
        for (const QChar c : s)
            text(c);
    }

    void flush()
    {
        if (!m_current.text.isEmpty())
            m_out.append(m_current);
        m_current = StyledText::Piece();
    }

    void controlSymbolOrWord()
    {
        if (m_pos >= m_in.size())
            return;
        const QChar c = m_in.at(m_pos);
        if (!c.isLetter() || c.unicode() > 0x7f) {
            ++m_pos;
            if (c == u'\'') {
                bool ok = false;
                const int code = m_in.mid(m_pos, 2).toInt(&ok, 16);
                m_pos += 2;
                if (ok)
                    text(QChar(code));
            } else if (c == u'*') {
                state().skip = true;
            } else if (c == u'~') {
                text(QChar(0xa0));
            } else if (c == u'_') {
                text(u'-');
            } else if (c == u'\\' || c == u'{' || c == u'}') {
                text(c);
            } else if (isBreak(c)) {
                textRun(QStringLiteral("\r\n"));
            }
            return;
        }
        const qsizetype start = m_pos;
        while (m_pos < m_in.size() && m_in.at(m_pos).unicode() < 0x80 && m_in.at(m_pos).isLetter())
            ++m_pos;
        const QString word = m_in.mid(start, m_pos - start);
        bool hasParam = false;
        int param = 0;
        const qsizetype numStart = m_pos;
        if (m_pos < m_in.size() && m_in.at(m_pos) == u'-')
            ++m_pos;
        while (m_pos < m_in.size() && m_in.at(m_pos).isDigit())
            ++m_pos;
        if (m_pos > numStart) {
            param = m_in.mid(numStart, m_pos - numStart).toInt(&hasParam);
        }
        if (m_pos < m_in.size() && m_in.at(m_pos) == u' ')
            ++m_pos;
        word_(word, hasParam, param);
    }

    void word_(const QString &w, bool hasParam, int param)
    {
        RtfState &s = state();
        const bool on = !hasParam || param != 0;
        static const QStringList skipped = {
            QStringLiteral("fonttbl"), QStringLiteral("stylesheet"), QStringLiteral("info"),
            QStringLiteral("pict"), QStringLiteral("header"), QStringLiteral("footer"),
            QStringLiteral("headerl"), QStringLiteral("headerr"), QStringLiteral("footerl"),
            QStringLiteral("footerr"), QStringLiteral("object"), QStringLiteral("listtable"),
            QStringLiteral("listoverridetable"), QStringLiteral("rsidtbl"), QStringLiteral("generator"),
            QStringLiteral("xmlnstbl"), QStringLiteral("themedata"), QStringLiteral("latentstyles")};
        if (w == QLatin1String("colortbl")) {
            s.skip = true;
            m_inColourTable = true;
            m_colourTableDepth = m_stack.size();
            m_colours.clear();
        } else if (m_inColourTable) {
            if (w == QLatin1String("red"))
                m_colour.setRed(param), m_hasColour = true;
            else if (w == QLatin1String("green"))
                m_colour.setGreen(param), m_hasColour = true;
            else if (w == QLatin1String("blue"))
                m_colour.setBlue(param), m_hasColour = true;
        } else if (skipped.contains(w)) {
            s.skip = true;
        } else if (w == QLatin1String("par") || w == QLatin1String("line")) {
            textRun(QStringLiteral("\r\n"));
        } else if (w == QLatin1String("tab")) {
            text(u'\t');
        } else if (w == QLatin1String("b")) {
            s.bold = on;
        } else if (w == QLatin1String("i")) {
            s.italic = on;
        } else if (w == QLatin1String("ul")) {
            s.underline = on;
        } else if (w == QLatin1String("ulnone")) {
            s.underline = false;
        } else if (w == QLatin1String("fs")) {
            s.halfPoints = hasParam ? param : 24;
        } else if (w == QLatin1String("cf")) {
            s.colour = param;
        } else if (w == QLatin1String("plain")) {
            s.bold = s.italic = s.underline = false;
            s.halfPoints = 24;
            s.colour = 0;
        } else if (w == QLatin1String("uc")) {
            s.uc = param;
        } else if (w == QLatin1String("u")) {
            text(QChar(ushort(param < 0 ? param + 65536 : param)));
            m_skipChars = s.uc;
        } else if (w == QLatin1String("emdash")) {
            text(QChar(0x2014));
        } else if (w == QLatin1String("endash")) {
            text(QChar(0x2013));
        } else if (w == QLatin1String("bullet")) {
            text(QChar(0x2022));
        } else if (w == QLatin1String("lquote")) {
            text(QChar(0x2018));
        } else if (w == QLatin1String("rquote")) {
            text(QChar(0x2019));
        } else if (w == QLatin1String("ldblquote")) {
            text(QChar(0x201c));
        } else if (w == QLatin1String("rdblquote")) {
            text(QChar(0x201d));
        }
        // every other control word is formatting this reader does not keep
    }

    const QString &m_in;
    qsizetype m_pos = 0;
    std::vector<RtfState> m_stack;
    bool m_inColourTable = false;
    size_t m_colourTableDepth = 0;
    QList<QColor> m_colours;
    QColor m_colour = QColor(0, 0, 0);
    bool m_hasColour = false;
    int m_skipChars = 0;
    StyledText::Piece m_current;
    StyledText m_out;
};

} // namespace

bool StyledText::Piece::sameStyle(const Piece &other) const
{
    return colour.rgb() == other.colour.rgb() && bold == other.bold && size == other.size
           && emphasis == other.emphasis;
}

bool StyledText::Piece::operator==(const Piece &other) const
{
    return text == other.text && sameStyle(other);
}

void StyledText::append(const QString &text, const QColor &colour, bool bold, int size, bool emphasis)
{
    append(Piece{text, colour, bold, size, emphasis});
}

void StyledText::append(const Piece &piece)
{
    if (!piece.text.isEmpty())
        m_pieces.append(piece);
}

void StyledText::append(const StyledText &other)
{
    m_pieces.append(other.m_pieces);
}

void StyledText::clear()
{
    m_pieces.clear();
}

bool StyledText::isEmpty() const
{
    return m_pieces.isEmpty();
}

QString StyledText::toPlainText() const
{
    QString out;
    for (const Piece &p : m_pieces)
        out += p.text;
    return out;
}

QString StyledText::toRtf() const
{
    QList<QColor> colours;
    QHash<QString, int> colourIndex;
    for (const Piece &p : m_pieces) {
        const QString key = colourKey(p.colour);
        if (!colourIndex.contains(key)) {
            colours.append(p.colour);
            colourIndex.insert(key, int(colours.size())); // index 0 is the reader's automatic colour
        }
    }

    QString out = QLatin1String("{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1{\\fonttbl{\\f0\\fswiss\\fcharset0 ")
                  + QLatin1String(fontName) + QLatin1String(";}}\r\n{\\colortbl ;");
    for (const QColor &c : colours)
        out += QStringLiteral("\\red%1\\green%2\\blue%3;").arg(c.red()).arg(c.green()).arg(c.blue());
    out += QLatin1String("}\r\n\\viewkind4\\pard\\plain\\f0\\fs16");
    for (const Piece &p : m_pieces) {
        out += QStringLiteral("\\cf%1").arg(colourIndex.value(colourKey(p.colour)));
        out += p.bold ? QLatin1String("\\b") : QLatin1String("\\b0");
        out += p.emphasis ? QLatin1String("\\ul") : QLatin1String("\\ulnone");
        out += QStringLiteral("\\fs%1 ").arg(p.size * 2);
        out += rtfEscaped(p.text);
    }
    out += QLatin1String("}\r\n");
    return out;
}

QString StyledText::toHtml() const
{
    QString out = QStringLiteral("<!DOCTYPE html><html><head><meta charset=\"utf-8\"></head><body>"
                                 "<div style=\"font-family:%1,sans-serif; white-space:pre-wrap\">")
                      .arg(QLatin1String(fontName));
    for (const Piece &p : m_pieces) {
        out += QStringLiteral("<span style=\"color:%1; font-size:%2pt; font-weight:%3%4\">")
                   .arg(p.colour.name())
                   .arg(p.size)
                   .arg(p.bold ? QLatin1String("bold") : QLatin1String("normal"))
                   .arg(p.emphasis ? QLatin1String("; text-decoration:underline") : QLatin1String());
        out += htmlEscaped(p.text);
        out += QLatin1String("</span>");
    }
    out += QLatin1String("</div></body></html>");
    return out;
}

StyledText StyledText::readableOn(const QColor &background) const
{
    if (background.lightness() >= 128)
        return *this;
    StyledText out = *this;
    for (Piece &p : out.m_pieces) {
        int hue = 0;
        int saturation = 0;
        int lightness = 0;
        p.colour.getHsl(&hue, &saturation, &lightness);
        // Mirrored lightness keeps light and dark pieces apart; the floor keeps
        // saturated blues and greens off the dark background.
        lightness = qMax(lightness < 128 ? 255 - lightness : lightness, 190);
        p.colour = QColor::fromHsl(hue, saturation, lightness);
    }
    return out;
}

qsizetype StyledText::documentLength() const
{
    qsizetype n = 0;
    for (const Piece &p : m_pieces) {
        for (qsizetype i = 0; i < p.text.size(); ++i) {
            if (const qsizetype b = breakLength(p.text, i))
                i += b - 1;
            ++n;
        }
    }
    return n;
}

StyledText StyledText::documentSlice(qsizetype start, qsizetype end) const
{
    StyledText out;
    qsizetype pos = 0;
    for (const Piece &p : m_pieces) {
        Piece cut = p;
        cut.text.clear();
        for (qsizetype i = 0; i < p.text.size(); ++i) {
            const qsizetype b = breakLength(p.text, i);
            const qsizetype n = b ? b : 1;
            if (pos >= start && pos < end)
                cut.text += p.text.mid(i, n);
            i += n - 1;
            ++pos;
        }
        out.append(cut);
        if (pos >= end)
            break;
    }
    return out;
}

StyledText StyledText::fromRtf(const QString &rtf)
{
    return RtfReader(rtf).read();
}
