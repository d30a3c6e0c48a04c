#include "mibsource.h"

#include "miblexer_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// The head of a module is its first few kilobytes; no real module keeps its
// IMPORTS clause further in than this.
constexpr qint64 headLimit = 4 << 20;

using MibLexer::Lexer;
using MibLexer::Token;

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
