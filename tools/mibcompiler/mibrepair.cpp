#include "mibrepair.h"

#include "miblexer_p.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <vector>

namespace {

using MibLexer::Token;

// The order of the clauses of OBJECT-TYPE, the same for SMIv1 and SMIv2.
int clauseRank(const QByteArray &keyword)
{
    static const QHash<QByteArray, int> ranks = {
        {"SYNTAX", 0},   {"UNITS", 1},     {"MAX-ACCESS", 2}, {"ACCESS", 2},   {"STATUS", 3},
        {"DESCRIPTION", 4}, {"REFERENCE", 5}, {"INDEX", 6},   {"AUGMENTS", 6}, {"DEFVAL", 7},
    };
    return ranks.value(keyword, -1);
}

struct Edit
{
    int begin = 0;
    int end = 0;
    QByteArray text;
};

// Puts the clauses of one OBJECT-TYPE (tokens first..last, last being its
// "::=") in order; returns false when they are in order already.
bool reorderClauses(const QByteArray &source, const std::vector<Token> &tokens, size_t first, size_t last,
                    Edit *edit)
{
    struct Clause
    {
        int rank;
        int begin;
        int end;
    };
    std::vector<Clause> clauses;
    int depth = 0;
    for (size_t i = first; i < last; ++i) {
        const QByteArray &t = tokens[i].text;
        if (t == "{" || t == "(") {
            ++depth;
        } else if (t == "}" || t == ")") {
            depth = std::max(0, depth - 1);
        } else if (depth == 0) {
            const int rank = clauseRank(t);
            if (rank >= 0) {
                if (!clauses.empty())
                    clauses.back().end = tokens[i].begin;
                clauses.push_back({rank, tokens[i].begin, 0});
            }
        }
    }
    if (clauses.size() < 2 || clauses.front().begin != tokens[first].begin)
        return false;
    clauses.back().end = tokens[last].begin;
    if (std::is_sorted(clauses.begin(), clauses.end(), [](const Clause &a, const Clause &b) { return a.rank < b.rank; }))
        return false;
    std::vector<Clause> sorted = clauses;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Clause &a, const Clause &b) { return a.rank < b.rank; });
    edit->begin = clauses.front().begin;
    edit->end = clauses.back().end;
    for (const Clause &c : sorted) {
        QByteArray text = source.mid(c.begin, c.end - c.begin);
        // Each clause keeps the blank or line break that followed it.
        if (text.isEmpty() || !QByteArrayView(" \t\r\n").contains(text.back()))
            text += '\n';
        edit->text += text;
    }
    // The text keeps its line count: the last clause's break, now in the middle, moves to the end.
    const qsizetype before = source.mid(edit->begin, edit->end - edit->begin).count('\n');
    while (edit->text.count('\n') > before && edit->text.endsWith('\n'))
        edit->text.chop(1);
    return true;
}

} // namespace

namespace {

std::vector<Token> tokensOf(const QByteArray &text)
{
    std::vector<Token> tokens;
    MibLexer::Lexer lexer(text);
    for (Token t; lexer.next(&t);)
        tokens.push_back(t);
    return tokens;
}

// The tokens of the IMPORTS clause, from IMPORTS to its ";": [first, last).
std::pair<size_t, size_t> importsClause(const std::vector<Token> &tokens)
{
    for (size_t i = 0; i < tokens.size(); ++i) {
        if (tokens[i].text == "IMPORTS") {
            size_t end = i;
            while (end < tokens.size() && tokens[end].text != ";")
                ++end;
            return {i, end};
        }
    }
    return {0, 0};
}

QByteArray applied(const QByteArray &text, std::vector<Edit> edits)
{
    if (edits.empty())
        return text;
    std::sort(edits.begin(), edits.end(), [](const Edit &a, const Edit &b) { return a.begin < b.begin; });
    QByteArray out;
    out.reserve(text.size());
    int at = 0;
    for (const Edit &e : edits) {
        if (e.begin < at)
            continue; // never met: edits of one pass touch distinct tokens
        out += text.mid(at, e.begin - at);
        out += e.text;
        at = e.end;
    }
    out += text.mid(at);
    return out;
}

} // namespace

QByteArray MibRepair::repair(const QByteArray &text, QList<Fix> *fixes)
{
    auto fix = [&](int line, const QString &what) {
        if (fixes != nullptr)
            fixes->append({line, what});
    };

    // Commas and type names first: the clauses are then split on clean text.
    std::vector<Token> tokens = tokensOf(text);
    // An SMIv2 module (importing from SNMPv2-SMI) that names the SMIv1 types
    // Counter and Gauge without importing or defining them means Counter32, Gauge32.
    QSet<QByteArray> declared;
    bool smiV2 = false;
    for (size_t i = 0; i < tokens.size(); ++i) {
        if (tokens[i].text == "FROM" && i + 1 < tokens.size() && tokens[i + 1].text == "SNMPv2-SMI")
            smiV2 = true;
        if (i + 1 < tokens.size() && tokens[i + 1].text == "::=")
            declared.insert(tokens[i].text);
    }
    const auto imports = importsClause(tokens);
    for (size_t i = imports.first; i < imports.second; ++i)
        declared.insert(tokens[i].text);
    std::vector<Edit> edits;
    for (size_t i = 0; i < tokens.size(); ++i) {
        const Token &t = tokens[i];
        if (i >= imports.first && i < imports.second) {
            i = imports.second;
        } else if (smiV2 && (t.text == "Counter" || t.text == "Gauge") && !declared.contains(t.text)) {
            edits.push_back({t.begin, t.end, t.text + "32"});
            fix(t.line, QStringLiteral("SMIv1 type %1 taken as %1%2").arg(QString::fromLatin1(t.text)).arg(32));
        } else if (t.text == "," && i + 1 < tokens.size() && tokens[i + 1].text == "}") {
            edits.push_back({t.begin, t.end, QByteArray(" ")});
            fix(t.line, QStringLiteral("comma before '}' removed"));
        } else if (t.text == "::=" && i >= 1 && i + 2 < tokens.size() && tokens[i + 1].text == "SEQUENCE"
                   && tokens[i + 2].text == "{") {
            const Token &name = tokens[i - 1];
            if (name.isName() && name.text.at(0) >= 'a' && name.text.at(0) <= 'z') {
                QByteArray upper = name.text;
                upper[0] = char(upper.at(0) - 'a' + 'A');
                edits.push_back({name.begin, name.end, upper});
                fix(name.line, QStringLiteral("SEQUENCE type %1 taken as %2")
                                   .arg(QString::fromLatin1(name.text), QString::fromLatin1(upper)));
            }
        }
    }
    const QByteArray first = applied(text, std::move(edits));

    tokens = tokensOf(first);
    edits.clear();
    const auto clause = importsClause(tokens);
    for (size_t i = 0; i < tokens.size(); ++i) {
        const Token &t = tokens[i];
        if (i >= clause.first && i < clause.second) {
            i = clause.second;
        } else if (t.text == "OBJECT-TYPE" && i >= 1 && tokens[i - 1].isName()) {
            size_t end = i + 1;
            while (end < tokens.size() && tokens[end].text != "::=")
                ++end;
            Edit edit;
            if (end < tokens.size() && reorderClauses(first, tokens, i + 1, end, &edit)) {
                edits.push_back(edit);
                fix(tokens[i - 1].line, QStringLiteral("clauses of %1 put in order")
                                            .arg(QString::fromLatin1(tokens[i - 1].text)));
            }
            i = end;
        }
    }
    return applied(first, std::move(edits));
}
