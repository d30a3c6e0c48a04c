#pragma once

#include <QByteArray>

// ASN.1 as MIB modules write it: "--" comments end at the line's end or at the
// next "--", strings run across lines, names may hold single hyphens. Tokens
// keep their place in the text, so that a pass over them can edit the text.
namespace MibLexer {

struct Token
{
    QByteArray text; // a string literal is just "\""
    int line = 0;
    int begin = 0;   // offsets into the text
    int end = 0;
    bool isName() const
    {
        return !text.isEmpty()
            && ((text.at(0) >= 'A' && text.at(0) <= 'Z') || (text.at(0) >= 'a' && text.at(0) <= 'z'));
    }
};

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
        token->begin = start;
        const char c = m_text.at(m_pos);
        if (c == '"') {
            ++m_pos;
            while (m_pos < n && m_text.at(m_pos) != '"') {
                if (m_text.at(m_pos) == '\n')
                    ++m_line;
                ++m_pos;
            }
            m_pos = qMin(m_pos + 1, n);
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
        token->end = m_pos;
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

} // namespace MibLexer
