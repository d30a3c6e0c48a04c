// qxmib details: an object's details as the MIB trees lay them out, as text, RTF or HTML.

#include "command.h"

#include "core/oidtext.h"
#include "core/qxmiboid.h"
#include "core/widgets/styledtext.h"
#include "trees/widgets/detailslayout.h"

namespace {

int details(const QStringList &args)
{
    enum class Format { Text, Rtf, Html } format = Format::Text;
    bool shortLayout = false;
    bool crlf = false;
    QStringList texts;
    for (const QString &a : args) {
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            printOut(QStringLiteral(
                "Usage: qxmib [--db PATH] details [--text|--rtf|--html] [--short] [--crlf] OID\n\n"
                "Prints the details of the MIB object that OID (or a name, MODULE:name, name.instance)\n"
                "resolves to, laid out as the MIB trees show them: title, OID, type, units, access,\n"
                "status, description and possible values.\n\n"
                "  --text   plain text (default); lines end in LF unless --crlf is given\n"
                "  --rtf    an RTF document with the colours and type styles\n"
                "  --html   an HTML document with the same styles\n"
                "  --short  the short layout: no units, no possible values\n"
                "Exit status 1 when OID matches nothing.\n"));
            return 0;
        }
        if (a == QLatin1String("--rtf"))
            format = Format::Rtf;
        else if (a == QLatin1String("--html"))
            format = Format::Html;
        else if (a == QLatin1String("--text"))
            format = Format::Text;
        else if (a == QLatin1String("--short"))
            shortLayout = true;
        else if (a == QLatin1String("--crlf"))
            crlf = true;
        else if (a.startsWith(QLatin1String("--"))) {
            printErr(QStringLiteral("qxmib details: unknown option '%1'\n").arg(a));
            return 2;
        } else
            texts.append(a);
    }
    if (texts.size() != 1) {
        printErr(QStringLiteral("Usage: qxmib [--db PATH] details [--text|--rtf|--html] [--short] [--crlf] OID\n"));
        return 2;
    }

    QXMibOID record;
    if (!OidText::resolve(record, texts.first())) {
        printErr(QStringLiteral("qxmib details: no MIB object matches '%1'\n").arg(texts.first()));
        return 1;
    }
    const StyledText text = shortLayout ? DetailsLayout::shortTreeLayout(record) : DetailsLayout::treeLayout(record);
    switch (format) {
    case Format::Rtf:
        printOut(text.toRtf());
        break;
    case Format::Html:
        printOut(text.toHtml());
        break;
    case Format::Text: {
        QString plain = text.toPlainText();
        if (!crlf)
            plain.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        printOut(plain);
        break;
    }
    }
    return 0;
}

} // namespace

QXMIB_COMMAND("details", nullptr, details)
