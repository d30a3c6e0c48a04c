#include "trees/widgets/detailslayout.h"

#include "core/widgets/exportengine.h"
#include "core/qxmiboid.h"
#include "snmp/notification.h"

#include "qxmibtree_version.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace {

const QString crlf = QStringLiteral("\r\n");
const QString tab = QStringLiteral("\t");

enum class Rows { WithUnits, WithoutUnits };

void appendRows(StyledText &text, const DetailsLayout::Fields &f, DetailsLayout::Style captionStyle, Rows rows)
{
    const auto row = [&](const char *caption, const QString &value) {
        DetailsLayout::append(text, captionStyle, QLatin1String(caption) + tab);
        DetailsLayout::append(text, DetailsLayout::Plain, value + crlf);
    };
    row("OID ", f.oid);
    row("Type ", f.typeString);
    if (rows == Rows::WithUnits)
        row("Units ", f.units);
    row("Access ", f.accessString);
    row("Status ", f.statusString);
}

void appendDescription(StyledText &text, const DetailsLayout::Fields &f)
{
    DetailsLayout::append(text, DetailsLayout::Plain, crlf + f.description + crlf);
}

} // namespace

DetailsLayout::Fields DetailsLayout::fieldsOf(QXMibOID &record, bool withLongName)
{
    Fields f;
    f.fullName = record.FullName();
    f.oid = record.OID();
    f.typeString = record.TypeString();
    f.units = record.Units();
    f.accessString = record.AccessString();
    f.statusString = record.StatusString();
    f.description = record.Description();
    f.mib = record.MIB();
    f.name = record.Name();
    if (withLongName)
        f.longName = record.LongName();
    f.enumerated = record.Enumerated();
    if (!f.enumerated.isEmpty())
        f.enumList = record.EnumList();
    return f;
}

StyledText::Piece DetailsLayout::styled(Style style, const QString &piece)
{
    struct Look
    {
        int r, g, b, size;
        bool bold, emphasis;
    };
    static const Look looks[] = {
        {64, 128, 64, 10, true, true},  // TreeTitle
        {64, 64, 255, 8, true, false},  // TreeCaption
        {0, 0, 255, 10, true, false},   // ControlTitle
        {64, 64, 128, 10, true, false}, // ControlHeadCaption
        {0, 128, 0, 10, true, false},   // ControlHeadValue
        {64, 64, 128, 8, true, false},  // ControlCaption
        {0, 0, 0, 8, false, false},     // Plain
    };
    const Look &l = looks[style];
    return StyledText::Piece{piece, QColor(l.r, l.g, l.b), l.bold, l.size, l.emphasis};
}

void DetailsLayout::append(StyledText &text, Style style, const QString &piece)
{
    text.append(styled(style, piece));
}

void DetailsLayout::appendPossibleValues(StyledText &text, const Fields &fields)
{
    if (fields.enumerated.isEmpty())
        return;
    append(text, Plain, crlf + QStringLiteral("Possible Values :") + crlf);
    const QStringList items = fields.enumList.split(u'|');
    for (const QString &item : items) {
        const qsizetype semicolon = item.indexOf(u';');
        const QString label = semicolon < 0 ? item : item.mid(semicolon + 1);
        append(text, Plain, QStringLiteral("    ") + label + crlf);
    }
}

StyledText DetailsLayout::treeLayout(QXMibOID &record)
{
    return treeLayout(fieldsOf(record));
}

StyledText DetailsLayout::treeLayout(const Fields &fields)
{
    StyledText text;
    append(text, TreeTitle, fields.fullName + crlf + crlf);
    appendRows(text, fields, TreeCaption, Rows::WithUnits);
    appendDescription(text, fields);
    appendPossibleValues(text, fields);
    return text;
}

StyledText DetailsLayout::shortTreeLayout(QXMibOID &record)
{
    return shortTreeLayout(fieldsOf(record));
}

StyledText DetailsLayout::shortTreeLayout(const Fields &fields)
{
    StyledText text;
    append(text, TreeTitle, fields.fullName + crlf + crlf);
    appendRows(text, fields, TreeCaption, Rows::WithoutUnits);
    appendDescription(text, fields);
    return text;
}

StyledText DetailsLayout::controlLayout(QXMibOID &record, const QString &title, const QString &rawValue,
                                        const QString &parsedValue)
{
    return controlLayout(fieldsOf(record, !record.MIB().isEmpty()), title, rawValue, parsedValue);
}

StyledText DetailsLayout::controlLayout(const Fields &fields, const QString &title, const QString &rawValue,
                                        const QString &parsedValue)
{
    StyledText text;
    if (!title.isEmpty())
        append(text, ControlTitle, title + crlf + crlf);
    if (fields.mib.isEmpty())
        return text;
    append(text, ControlHeadCaption, QStringLiteral("MIB ") + tab);
    append(text, ControlHeadValue, fields.mib + crlf);
    append(text, ControlHeadCaption, QStringLiteral("Name ") + tab);
    append(text, ControlHeadValue, fields.name + crlf);
    append(text, Plain, crlf);
    append(text, Plain, fields.longName + crlf + crlf);
    appendRows(text, fields, ControlCaption, Rows::WithUnits);
    const QString value = !parsedValue.isEmpty() ? parsedValue : rawValue;
    if (!value.isEmpty()) {
        append(text, ControlCaption, QStringLiteral("Value ") + tab);
        append(text, Plain, value + crlf + crlf);
    }
    appendDescription(text, fields);
    appendPossibleValues(text, fields);
    return text;
}

StyledText DetailsLayout::notificationLayout(const Notification &n)
{
    StyledText text;
    append(text, ControlTitle, n.NotificationName + crlf + crlf);
    const auto head = [&](const char *caption, const QString &value) {
        append(text, ControlHeadCaption, QLatin1String(caption) + tab);
        append(text, ControlHeadValue, value + crlf);
    };
    const auto row = [&](const char *caption, const QString &value) {
        append(text, ControlCaption, QLatin1String(caption) + tab);
        append(text, Plain, value + crlf);
    };
    head("Received ", n.Received.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")));
    head("From ", n.Transport.isEmpty() ? n.SourceAddress : n.Transport);
    append(text, Plain, crlf);
    row("Version ", n.versionText() + (n.Inform ? QStringLiteral(" inform") : QStringLiteral(" trap")));
    if (n.Version == 3) {
        row("User ", n.UserName);
        row("Engine ID ", n.EngineID);
        if (!n.ContextName.isEmpty())
            row("Context ", n.ContextName);
    } else {
        row("Community ", n.Community);
    }
    row("Uptime ", n.UpTimeText);
    row("OID ", n.NotificationOID);
    if (n.Version == 1) {
        row("Enterprise ", n.Enterprise);
        row("Agent ", n.AgentAddress);
        row("Generic Trap ", QString::number(n.GenericTrap));
        row("Specific Trap ", QString::number(n.SpecificTrap));
    }
    if (!n.Description.isEmpty())
        append(text, Plain, crlf + n.Description + crlf);
    append(text, Plain, crlf);
    for (const NotificationBinding &b : n.Bindings) {
        append(text, ControlCaption, b.displayName() + tab);
        append(text, Plain, b.Rendered + QStringLiteral("  (") + b.TypeName + QLatin1Char(')') + crlf);
    }
    return text;
}

StyledText DetailsLayout::mibxLayout(const MibxFields &fields, ValueRow valueRow)
{
    StyledText text;
    append(text, TreeTitle, fields.name + crlf + crlf);
    const auto row = [&](const char *caption, const QString &value) {
        append(text, TreeCaption, QLatin1String(caption) + tab);
        append(text, Plain, value + crlf);
    };
    if (valueRow == ValueRow::Always || !fields.value.isEmpty())
        row("Value ", fields.value);
    row("OID ", fields.oid);
    row("Type ", fields.syntax);
    row("Access ", fields.access);
    row("Status ", fields.status);
    if (!fields.module.isEmpty())
        row("From ", fields.module);
    append(text, Plain, crlf + fields.description + crlf);
    return text;
}

void DetailsLayout::copyToClipboard(const StyledText &shown, qsizetype selectionStart, qsizetype selectionEnd)
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (clipboard == nullptr)
        return;
    clipboard->clear();
    const StyledText copied =
        selectionStart != selectionEnd ? shown.documentSlice(selectionStart, selectionEnd) : shown;
    auto *mime = new QMimeData;
    mime->setText(copied.toPlainText());
    mime->setHtml(copied.toHtml());
    const QByteArray rtf = copied.toRtf().toLatin1(); // the writer escapes everything beyond ASCII
    mime->setData(QStringLiteral("text/rtf"), rtf);
    mime->setData(QStringLiteral("application/rtf"), rtf);
    clipboard->setMimeData(mime);
}

void DetailsLayout::print(const QString &rtf, const QString &title)
{
    ExportEngine::PrintRichText(rtf, programName(), programVersion(), title);
}

QString DetailsLayout::programName()
{
    return QStringLiteral("Tarnbrooke MIB Browser");
}

QString DetailsLayout::programVersion()
{
    return QStringLiteral("Version %1.%2.%3").arg(QXMIB_VERSION_MAJOR).arg(QXMIB_VERSION_MINOR).arg(QXMIB_VERSION_REVISION);
}
