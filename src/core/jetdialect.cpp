#include "jetdialect_p.h"

#include "qxmiberror.h"

#include <QHash>
#include <QVarLengthArray>

namespace JetDialect {
namespace {

enum class Tok : std::uint8_t { End, Word, Bracketed, String, Number, Symbol };

struct Token
{
    Tok type = Tok::End;
    int begin = 0; // in the source text
    int end = 0;
    QString text;  // unquoted content for String and Bracketed
};

[[noreturn]] void fail(const QString &why, const QString &jet)
{
    throw QXMibError(QXMibError::StatementError, why + QStringLiteral(" in statement: ") + jet);
}

bool isWordStart(QChar c)
{
    return c.isLetter() || c == u'_' || c == u'$';
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || c == u'_' || c == u'$';
}

class Lexer
{
public:
    explicit Lexer(const QString &jet) : m_s(jet) {}

    Token next()
    {
        const int n = int(m_s.size());
        while (m_pos < n && m_s.at(m_pos).isSpace())
            ++m_pos;
        Token t;
        t.begin = m_pos;
        if (m_pos >= n) {
            t.type = Tok::End;
            t.end = m_pos;
            return t;
        }
        const QChar c = m_s.at(m_pos);
        if (c == u'"' || c == u'\'') {
            // Jet doubles a quote to escape it inside its own kind of literal.
            ++m_pos;
            QString content;
            for (;;) {
                if (m_pos >= n)
                    fail(QStringLiteral("Unterminated text literal"), m_s);
                const QChar d = m_s.at(m_pos++);
                if (d == c) {
                    if (m_pos < n && m_s.at(m_pos) == c) {
                        content += c;
                        ++m_pos;
                        continue;
                    }
                    break;
                }
                content += d;
            }
            t.type = Tok::String;
            t.text = content;
        } else if (c == u'[') {
            const int close = int(m_s.indexOf(u']', m_pos + 1));
            if (close < 0)
                fail(QStringLiteral("Unterminated bracketed name"), m_s);
            t.type = Tok::Bracketed;
            t.text = m_s.mid(m_pos + 1, close - m_pos - 1);
            m_pos = close + 1;
        } else if (c.isDigit() || (c == u'.' && m_pos + 1 < n && m_s.at(m_pos + 1).isDigit())) {
            while (m_pos < n && m_s.at(m_pos).isDigit())
                ++m_pos;
            if (m_pos < n && m_s.at(m_pos) == u'.') {
                ++m_pos;
                while (m_pos < n && m_s.at(m_pos).isDigit())
                    ++m_pos;
            }
            if (m_pos < n && (m_s.at(m_pos) == u'e' || m_s.at(m_pos) == u'E')) {
                int p = m_pos + 1;
                if (p < n && (m_s.at(p) == u'+' || m_s.at(p) == u'-'))
                    ++p;
                if (p < n && m_s.at(p).isDigit()) {
                    m_pos = p;
                    while (m_pos < n && m_s.at(m_pos).isDigit())
                        ++m_pos;
                }
            }
            t.type = Tok::Number;
        } else if (isWordStart(c)) {
            while (m_pos < n && isWordChar(m_s.at(m_pos)))
                ++m_pos;
            t.type = Tok::Word;
        } else {
            // SQLite ends a statement at a NUL: what follows one would be dropped unseen.
            if (c.category() == QChar::Other_Control)
                fail(QStringLiteral("Invalid character %1").arg(c.unicode()), m_s);
            ++m_pos;
            if (m_pos < n) {
                const QChar d = m_s.at(m_pos);
                if ((c == u'<' && (d == u'>' || d == u'=')) || (c == u'>' && d == u'=') || (c == u'!' && d == u'=')
                    || (c == u'|' && d == u'|'))
                    ++m_pos;
            }
            t.type = Tok::Symbol;
        }
        t.end = m_pos;
        if (t.type != Tok::String && t.type != Tok::Bracketed)
            t.text = m_s.mid(t.begin, t.end - t.begin);
        return t;
    }

private:
    const QString &m_s;
    int m_pos = 0;
};

bool is(const Token &t, const char *word)
{
    return t.type == Tok::Word && t.text.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
}

bool isComparison(const Token &t)
{
    if (t.type == Tok::Symbol)
        return t.text == u"=" || t.text == u"<>" || t.text == u"<" || t.text == u">" || t.text == u"<="
            || t.text == u">=" || t.text == u"!=";
    return is(t, "LIKE") || is(t, "IN") || is(t, "BETWEEN") || is(t, "AND") || is(t, "OR") || is(t, "NOT")
        || is(t, "SET") || is(t, "VALUES");
}

void appendQuotedName(QByteArray &out, const QString &name)
{
    out += '"';
    QString escaped = name;
    escaped.replace(u'"', QStringLiteral("\"\""));
    out += escaped.toUtf8();
    out += '"';
}

} // namespace

Statement translateFull(const QString &jet, bool withRowid);

namespace {

// Statements built by concatenation differ only in their quoted values. The text
// with every literal's content taken out is the statement's shape: it is
// translated once, and later statements of that shape only fill in their values.
struct Shape
{
    Statement statement;
    QVarLengthArray<int, 4> textSlots; // parameter index of each literal, in order
};

constexpr int MaxShapes = 512;

// Splits jet into its shape and its literals; false for text the full translation must judge.
bool splitShape(const QString &jet, bool withRowid, QString *shape, QVarLengthArray<QString, 4> *literals)
{
    const QChar *p = jet.constData();
    const qsizetype n = jet.size();
    shape->reserve(n + 1);
    shape->append(withRowid ? u'R' : u'r');
    qsizetype run = 0; // start of the text not yet copied
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = p[i].unicode();
        if (c == u'[') {
            while (i < n && p[i] != u']')
                ++i;
            if (i >= n)
                return false;
        } else if (c == u'"' || c == u'\'') {
            shape->append(QStringView(p + run, i - run + 1));
            shape->append(QChar(1));
            const qsizetype start = i + 1;
            qsizetype j = start;
            bool doubled = false;
            for (;; ++j) {
                if (j >= n)
                    return false;
                if (p[j] == c) {
                    if (j + 1 < n && p[j + 1] == c) {
                        doubled = true;
                        ++j;
                        continue;
                    }
                    break;
                }
            }
            QString content(p + start, j - start);
            if (doubled)
                content.replace(QString(2, QChar(c)), QString(QChar(c)));
            literals->append(content);
            i = j;
            run = j; // the closing quote goes with the next run
        }
    }
    shape->append(QStringView(p + run, n - run));
    return true;
}

} // namespace

Statement translate(const QString &jet, bool withRowid)
{
    thread_local QHash<QString, Shape> shapes;
    QString key;
    QVarLengthArray<QString, 4> literals;
    if (!splitShape(jet, withRowid, &key, &literals))
        return translateFull(jet, withRowid);
    auto it = shapes.constFind(key);
    if (it != shapes.constEnd()) {
        Statement st = it->statement;
        for (int i = 0; i < it->textSlots.size(); ++i) {
            Parameter &p = st.parameters[it->textSlots.at(i)];
            p.text = literals.at(i);
            p.utf8 = p.text.toUtf8();
        }
        return st;
    }
    Statement st = translateFull(jet, withRowid);
    Shape shape;
    shape.statement = st;
    for (int i = 0; i < st.parameters.size(); ++i) {
        if (st.parameters.at(i).kind == Parameter::Kind::Text) {
            shape.textSlots.append(i);
            shape.statement.parameters[i].text.clear();
            shape.statement.parameters[i].utf8.clear();
        }
    }
    if (shape.textSlots.size() == literals.size()) {
        if (shapes.size() >= MaxShapes)
            shapes.clear();
        shapes.insert(key, shape);
    }
    return st;
}

Statement translateFull(const QString &jet, bool withRowid)
{
    Statement st;
    st.sql.reserve(jet.size() + 16);
    Lexer lex(jet);

    QByteArray limit;     // from TOP n, appended at the end
    Token prev;           // the previous significant token
    Token prevPrev;
    bool first = true;
    bool afterSelect = false; // the token right after SELECT [DISTINCT]
    bool expectTable = false;
    int tokenCount = 0; // significant tokens seen after the first

    auto sep = [&st]() {
        if (!st.sql.isEmpty())
            st.sql += ' ';
    };

    for (Token t = lex.next(); t.type != Tok::End; prevPrev = prev, prev = t, t = lex.next()) {
        // A statement opens with its keyword; anything else goes the way of every later token.
        if (first && t.type == Tok::Word) {
            if (is(t, "SELECT"))
                st.kind = Statement::Kind::Select;
            else if (is(t, "INSERT"))
                st.kind = Statement::Kind::Insert;
            else if (is(t, "UPDATE"))
                st.kind = Statement::Kind::Update;
            else if (is(t, "DELETE"))
                st.kind = Statement::Kind::Delete;
            first = false;
            sep();
            st.sql += t.text.toUtf8();
            if (st.kind == Statement::Kind::Select)
                afterSelect = true;
            continue;
        }
        first = false;

        if (t.type == Tok::Symbol && t.text == u";") {
            const Token rest = lex.next();
            if (rest.type != Tok::End)
                fail(QStringLiteral("Characters found after end of SQL statement"), jet);
            break;
        }

        if (afterSelect) {
            if (is(t, "DISTINCT") || is(t, "ALL")) {
                sep();
                st.sql += t.text.toUtf8();
                continue;
            }
            afterSelect = false;
            if (is(t, "TOP")) {
                const Token n = lex.next();
                if (n.type != Tok::Number)
                    fail(QStringLiteral("The TOP clause needs a number"), jet);
                limit = n.text.toUtf8();
                afterSelect = true; // the select list starts after the number
                continue;
            }
            if (t.type == Tok::Symbol && t.text == u"*") {
                st.selectsStar = true;
                sep();
                if (withRowid)
                    st.sql += "rowid,";
                st.sql += '*';
                continue;
            }
        }

        if (expectTable) {
            expectTable = false;
            if (t.type == Tok::Word || t.type == Tok::Bracketed)
                st.table = t.text;
        }
        if (is(t, "FROM") || is(t, "INTO"))
            expectTable = true;
        if (tokenCount == 0 && st.kind == Statement::Kind::Update && (t.type == Tok::Word || t.type == Tok::Bracketed))
            st.table = t.text;
        ++tokenCount;

        switch (t.type) {
        case Tok::String: {
            sep();
            st.sql += '?';
            Parameter p;
            p.kind = Parameter::Kind::Text;
            p.text = t.text;
            p.utf8 = t.text.toUtf8();
            st.parameters.append(p);
            break;
        }
        case Tok::Number: {
            // Literals that take part in a comparison become parameters, so that
            // statements of one shape share one prepared statement.
            const bool unaryMinus = prev.type == Tok::Symbol && prev.text == u"-" && isComparison(prevPrev);
            if (isComparison(prev) || unaryMinus) {
                Parameter p;
                bool integral = !t.text.contains(u'.') && !t.text.contains(u'e') && !t.text.contains(u'E');
                bool ok = false;
                if (integral) {
                    p.kind = Parameter::Kind::Integer;
                    p.integer = t.text.toLongLong(&ok);
                }
                if (!ok) {
                    p.kind = Parameter::Kind::Real;
                    p.real = t.text.toDouble(&ok);
                }
                sep();
                st.sql += '?';
                st.parameters.append(p);
            } else {
                sep();
                st.sql += t.text.toUtf8();
            }
            break;
        }
        case Tok::Bracketed:
            sep();
            appendQuotedName(st.sql, t.text);
            break;
        case Tok::Word:
            sep();
            if (is(t, "TRUE"))
                st.sql += "-1";
            else if (is(t, "FALSE"))
                st.sql += '0';
            else if (is(t, "Index") || is(t, "Primary"))
                appendQuotedName(st.sql, t.text); // column names here, keywords to SQLite
            else
                st.sql += t.text.toUtf8();
            break;
        case Tok::Symbol:
            if (t.text == u"&") {
                sep();
                st.sql += "||";
            } else {
                sep();
                st.sql += t.text.toUtf8();
            }
            break;
        case Tok::End:
            break;
        }
    }

    if (!limit.isEmpty()) {
        st.sql += " LIMIT ";
        st.sql += limit;
    }
    if (withRowid && (st.kind != Statement::Kind::Select || !st.selectsStar || st.table.isEmpty()))
        fail(QStringLiteral("Only \"Select * From table\" statements can be updated"), jet);
    return st;
}

} // namespace JetDialect
