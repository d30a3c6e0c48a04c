#pragma once

#include "qxmibtreewidgets_export.h"

#include "core/widgets/styledtext.h"

#include <QString>

class QXMibOID;
struct Notification;

// Lays out the details of one MIB object as styled text: the tree layout shown
// beside the MIB trees, its short form for the single-MIB tree's public text,
// and the layout of the OIDDetails control. Every view that shows an object's
// details composes them here.
class QXMIBTREEWIDGETS_EXPORT DetailsLayout
{
public:
    enum Style {
        TreeTitle,
        TreeCaption,
        ControlTitle,
        ControlHeadCaption,
        ControlHeadValue,
        ControlCaption,
        Plain,
    };

    // What the layouts read of a record, so they can be composed without a database.
    struct Fields
    {
        QString fullName;
        QString oid;
        QString typeString;
        QString units;
        QString accessString;
        QString statusString;
        QString description;
        QString mib;
        QString name;
        QString longName;
        QString enumerated;
        // "#1;up(1)|#2;down(2)": one line per "|" item, showing the part after its first ";"
        QString enumList;
    };

    // A definition read from a MIB-X file rather than from the database.
    struct MibxFields
    {
        QString name;
        QString module;
        QString oid;
        QString syntax;
        QString value;
        QString access;
        QString status;
        QString description;
    };

    // Reads the record; LongName costs one statement per arc, so it is read only on request.
    static Fields fieldsOf(QXMibOID &record, bool withLongName = false);

    static StyledText treeLayout(QXMibOID &record);
    static StyledText treeLayout(const Fields &fields);
    // The tree layout without the "Units " row and without the possible values.
    static StyledText shortTreeLayout(QXMibOID &record);
    static StyledText shortTreeLayout(const Fields &fields);
    // The parsed value is shown when it is set, else the raw value.
    static StyledText controlLayout(QXMibOID &record, const QString &title, const QString &rawValue,
                                    const QString &parsedValue);
    static StyledText controlLayout(const Fields &fields, const QString &title, const QString &rawValue,
                                    const QString &parsedValue);

    enum class ValueRow { WhenSet, Always };
    // The name as heading, the "Value " (always, or only when there is one), "OID ", "Type ",
    // "Access " and "Status " rows, "From " the module (when known), then the description.
    static StyledText mibxLayout(const MibxFields &fields, ValueRow valueRow = ValueRow::WhenSet);

    // A received notification: its name as heading, "Received ", "From ", "Version ",
    // "Community " or "User ", "Uptime ", "OID " (and the SNMPv1 fields), the
    // notification's description, then one row per binding with its rendered value.
    static StyledText notificationLayout(const Notification &notification);

    static void append(StyledText &text, Style style, const QString &piece);
    static StyledText::Piece styled(Style style, const QString &piece);

    // The "Possible Values :" block; nothing when the object is not enumerated.
    static void appendPossibleValues(StyledText &text, const Fields &fields);

    // What every details pane's Copy does: empties the clipboard, then puts the shown text
    // between two document positions (everything when they are equal) on it as plain
    // text, RTF and HTML.
    static void copyToClipboard(const StyledText &shown, qsizetype selectionStart = 0, qsizetype selectionEnd = 0);
    // What every details pane's Print does: the RTF under the program's name and version.
    static void print(const QString &rtf, const QString &title);
    static QString programName();
    // "Version " + major.minor.revision
    static QString programVersion();
};
