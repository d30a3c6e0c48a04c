#pragma once

#include "qxmibtreewidgets_export.h"

#include <QColor>
#include <QString>
#include <QWidget>

#include <memory>

class OIDDetailsPrivate;
class QXMibOID;
class StyledText;

// A read-only pane that shows the details of one MIB object: its module, name,
// long name, OID, type, units, access, status, an optional value, description
// and possible values, under an optional title. A right click offers Copy and
// Print. Hosts create it as "QXMIBTree.OIDDetails"; OIDDetailsForm wraps it in
// a window of its own.
class QXMIBTREEWIDGETS_EXPORT OIDDetails : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString OID READ OID WRITE setOID)
    Q_PROPERTY(QString RawValue READ RawValue WRITE setRawValue)
    Q_PROPERTY(QString ParsedValue READ ParsedValue WRITE setParsedValue)
    Q_PROPERTY(QString RTF READ RTF)
    Q_PROPERTY(QString Title READ Title WRITE setTitle)

public:
    Q_INVOKABLE explicit OIDDetails(QWidget *parent = nullptr);
    ~OIDDetails() override;

    QString OID() const;
    // Looks the OID up and recomposes the details.
    void setOID(const QString &oid);
    QString RawValue() const;
    // Shown under "Value " unless a parsed value is set.
    void setRawValue(const QString &value);
    QString ParsedValue() const;
    void setParsedValue(const QString &value);
    // The RTF of what the pane shows now, messages added by AddMessage included.
    QString RTF() const;
    QString Title() const;
    void setTitle(const QString &title);

    // Recomposes the whole details from the record, the values and the title.
    Q_INVOKABLE void Refresh();
    // The selection, or everything when nothing is selected, as plain text, RTF and HTML.
    Q_INVOKABLE void CopyToClipboard();
    // Prints what the pane shows, titled with the object's full name.
    Q_INVOKABLE void PrintPopup_Click();
    // Appends one styled piece to what the pane shows, until the next recompose.
    Q_INVOKABLE void AddMessage(const QString &text, const QColor &colour, bool bold, int size, bool emphasis);

    // The record the pane shows.
    QXMibOID &record();
    // What the pane shows, as pieces.
    const StyledText &shownText() const;

private:
    std::unique_ptr<OIDDetailsPrivate> d;
};
