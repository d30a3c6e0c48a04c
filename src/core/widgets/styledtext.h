#pragma once

#include "qxmibtreewidgets_export.h"

#include <QColor>
#include <QList>
#include <QString>

// A run of styled pieces of text (colour, bold, point size and one further
// emphasis, drawn as underline), as the details views compose them. It renders
// to plain text, to an RTF document that word processors open, and to HTML for
// Qt's rich-text widgets and the clipboard.
//
// Line breaks inside pieces are CR LF; a lone CR or LF also counts as a break.
class QXMIBTREEWIDGETS_EXPORT StyledText
{
public:
    struct Piece
    {
        QString text;
        QColor colour = QColor(0, 0, 0);
        bool bold = false;
        int size = 8;
        bool emphasis = false;

        bool sameStyle(const Piece &other) const;
        bool operator==(const Piece &other) const;
    };

    StyledText() = default;

    void append(const QString &text, const QColor &colour, bool bold, int size, bool emphasis = false);
    void append(const Piece &piece);
    void append(const StyledText &other);
    void clear();

    bool isEmpty() const;
    const QList<Piece> &pieces() const { return m_pieces; }

    // The pieces' texts joined, line breaks as they were given.
    QString toPlainText() const;
    QString toRtf() const;
    // A complete HTML document; blanks and tabs are kept (white-space: pre-wrap).
    QString toHtml() const;

    // The same pieces for display on a background: on a dark one, dark colours
    // turn light (black text white) and every colour gets enough lightness to be
    // read; on a light background the text comes back unchanged.
    StyledText readableOn(const QColor &background) const;

    // Length as a text document counts it: every line break is one position.
    qsizetype documentLength() const;
    // The pieces between two document positions (see documentLength), cut as needed.
    StyledText documentSlice(qsizetype start, qsizetype end) const;

    // Reads RTF back into pieces: groups, \b \i \ul \fs \cf, the colour table,
    // \par \line \tab, \uN with its fallback, \'hh and the escaped symbols.
    // Destinations other than the text (font table, \*\...) are skipped.
    // Italic and underline both read as emphasis.
    static StyledText fromRtf(const QString &rtf);

    bool operator==(const StyledText &other) const { return m_pieces == other.m_pieces; }
    bool operator!=(const StyledText &other) const { return !(*this == other); }

private:
    QList<Piece> m_pieces;
};
