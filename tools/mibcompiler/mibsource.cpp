#include "mibsource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// The head of a module is its first few kilobytes; no real module keeps its
// IMPORTS clause further in than this.
constexpr qint64 headLimit = 4 << 20;

struct Token
{
    QByteArray text;
    int line = 0;
    bool isName() const { return !text.isEmpty() && ((text.at(0) >= 'A' && text.at(0) <= 'Z') || (text.at(0) >= 'a' && text.at(0) <= 'z')); }
};

// ASN.1 as MIB modules write it: "--" comments end at the line's end or at the
// next "--", strings run across lines, names may hold single hyphens.
class Lexer
{
public:
    explicit Lexer(const QByteArray &text)
        : m_text(text)
    {
    }

    bool next(Token *token)
    {
        const int n = int(m_text.size());
        while (m_pos < n) {
            const char c = m_text.at(m_pos);
            if (c == '\n') {
                ++m_line;
                ++m_pos;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
                ++m_pos;
            } else if (c == '-' && m_pos + 1 < n && m_text.at(m_pos + 1) == '-') {
                m_pos += 2;
                while (m_pos < n && m_text.at(m_pos) != '\n') {
                    if (m_text.at(m_pos) == '-' && m_pos + 1 < n && m_text.at(m_pos + 1) == '-') {
                        m_pos += 2;
                        break;
                    }
                    ++m_pos;
                }
            } else {
                break;
            }
        }
        if (m_pos >= n)
            return false;
        token->line = m_line;
        const int start = m_pos;
        const char c = m_text.at(m_pos);
        if (c == '"') {
            ++m_pos;
            while (m_pos < n && m_text.at(m_pos) != '"') {
                if (m_text.at(m_pos) == '\n')
                    ++m_line;
                ++m_pos;
            }
            ++m_pos;
            token->text = QByteArrayLiteral("\"");
        } else if (isWordChar(c)) {
            while (m_pos < n && isWordChar(m_text.at(m_pos))) {
                if (m_text.at(m_pos) == '-' && m_pos + 1 < n && m_text.at(m_pos + 1) == '-')
                    break;
                ++m_pos;
            }
            token->text = m_text.mid(start, m_pos - start);
        } else if (m_text.mid(m_pos, 3) == "::=") {
            m_pos += 3;
            token->text = QByteArrayLiteral("::=");
        } else {
            ++m_pos;
            token->text = QByteArray(1, c);
        }
        return true;
    }

private:
    static bool isWordChar(char c)
    {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    }

    const QByteArray &m_text;
    int m_pos = 0;
    int m_line = 1;
};

} // namespace

MibSource MibSource::read(const QString &fileName)
{
    MibSource source;
    source.m_fileName = fileName;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return source;
    const QByteArray text = file.read(headLimit);
    Lexer lexer(text);
    Token token;
    Token previous;
    QByteArray nameBeforeBraces;
    int depth = 0;

    // "NAME [{ oid }] DEFINITIONS [tagging] ::= BEGIN"
    bool begun = false;
    while (!begun && lexer.next(&token)) {
        if (token.text == "{") {
            if (depth++ == 0)
                nameBeforeBraces = previous.isName() ? previous.text : QByteArray();
        } else if (token.text == "}") {
            depth = qMax(0, depth - 1);
        } else if (token.text == "DEFINITIONS" && depth == 0) {
            const QByteArray name = previous.text == "}" ? nameBeforeBraces : (previous.isName() ? previous.text : QByteArray());
            Token t;
            while (lexer.next(&t) && t.isName() && t.text != "BEGIN") {
                // EXPLICIT TAGS, IMPLICIT TAGS, AUTOMATIC TAGS
            }
            if (!name.isEmpty() && t.text == "::=" && lexer.next(&t) && t.text == "BEGIN") {
                source.m_module = QString::fromLatin1(name);
                begun = true;
            }
            token = t;
        }
        previous = token;
    }
    if (!begun || !lexer.next(&token) || token.text != "IMPORTS")
        return source;

    // "symbol, ... FROM MODULE [{ oid }] ... ;"
    while (lexer.next(&token) && token.text != ";") {
        if (token.text != "FROM")
            continue;
        if (!lexer.next(&token) || !token.isName())
            break;
        source.m_imports.append({QString::fromLatin1(token.text), token.line});
    }
    return source;
}

QString MibSource::findModuleFile(const QString &module, const QStringList &folders)
{
    static const char *const extensions[] = {"", ".my", ".smiv1", ".smiv2", ".sming", ".mib", ".txt", ".yang"};
    if (module.isEmpty())
        return QString();
    const QStringList names{module, module.toLower()};
    for (const QString &folder : folders) {
        const QDir dir(folder);
        for (const QString &name : names) {
            for (const char *extension : extensions) {
                const QFileInfo candidate(dir.filePath(name + QLatin1String(extension)));
                if (candidate.isFile() && candidate.isReadable())
                    return candidate.filePath();
            }
        }
    }
    return QString();
}
