#pragma once

#include "qxmibtreewidgets_export.h"
#include "snmp/snmpreply.h"

#include <QStringList>
#include <QWidget>

#include <memory>

class MIBBrowserModel;
class MIBBrowserPrivate;
class QXMibOID;
class SnmpQuery;
class SnmpSession;

// Walks an agent's MIB with GetNext requests and lists one grid row (grid
// "Table") per object returned, with the columns chosen by code: 0 "OID",
// 1 "OID Name", 2 "Full OID Name", 3 "MIB", 4 "Index", 5 "Type", 6 "Status",
// 7 "Access", 8 "Raw Type", 9 "Raw Value", 10 "Value", 11 "Description".
// Hosts create it as "QXMIBTree.MIBBrowser".
//
// How it behaves where a host might wonder:
// - The columns: OID is the instance OID; OID Name, Full OID Name, MIB, Index,
//   Type (the definition's type name), Status, Access and Description (one line)
//   come from the object's QXMibOID record, the name falling back to the OID
//   for objects the database does not know; Raw Type is the SNMP type of the
//   value as delivered, Raw Value the value as delivered (octets that are not
//   printable as hexadecimal pairs) and Value its rendering by ParseValue.
//   A reply with an error shows "Error " + number + ": " + text as its values.
//   Fields defaults to "1,10,5,0": OID Name, Value, Type, OID.
// - CurrentOID is the subtree root: Activate walks all of it (clearing the grid
//   first); with no CurrentOID, Activate lists the agent's first 100 objects.
//   GetNextOID(Count, StartOID) walks without a root and lists Count + 1 rows,
//   continuing from the last row listed when StartOID is empty. GetOID lists
//   one object by a Get.
// - A walk ends at the root's end, at an exception value or an error (inside a
//   root the error is listed as a row first), at a reply without bindings and at
//   an OID that does not increase. A root the agent has nothing under is listed
//   as one row with "** unsupported OID **".
// - The binding's status field is VarBind::Status: non-zero ends the walk.
// - Busy is true while a request of this browser is outstanding; Cancel lets
//   the current walk end at its next reply. Complete(Cancelled) is raised when a
//   walk has ended.
// - Editing a writable Value or Raw Value cell sends a Set of the record's type
//   code (the value's own type when the database has none) and at once a Get,
//   both tagged "CheckSet," + row. The change did not take when the Set fails or
//   the value read back differs from the one typed; then "Could not change " +
//   name + " to " + quoted value + "." is shown once.
// - Rows count from 1 (row 0 is the caption row), columns from 0.
//   TableObject is the record of the current row's OID.
class QXMIBTREEWIDGETS_EXPORT MIBBrowser : public QWidget, public SNMPReply
{
    Q_OBJECT
    Q_INTERFACES(SNMPReply)
    Q_MOC_INCLUDE("core/qxmiboid.h")
    Q_MOC_INCLUDE("snmp/snmpsession.h")
    Q_MOC_INCLUDE("snmp/snmpquery.h")
    Q_PROPERTY(QXMibOID *TableObject READ TableObject)
    Q_PROPERTY(QString Target READ Target WRITE setTarget)
    Q_PROPERTY(QString IP READ IP WRITE setIP)
    Q_PROPERTY(QString Community READ Community WRITE setCommunity)
    Q_PROPERTY(int SNMPPort READ SNMPPort WRITE setSNMPPort)
    Q_PROPERTY(QString CurrentOID READ CurrentOID WRITE setCurrentOID)
    Q_PROPERTY(int SNMPVersion READ SNMPVersion WRITE setSNMPVersion)
    Q_PROPERTY(SnmpSession *SessionHandle READ SessionHandle WRITE setSessionHandle)
    Q_PROPERTY(QXMibOID *CurrentOIDObject READ CurrentOIDObject)
    Q_PROPERTY(int Cols READ Cols)
    Q_PROPERTY(bool Busy READ Busy)
    Q_PROPERTY(int Row READ Row WRITE setRow)
    Q_PROPERTY(QString Fields READ Fields WRITE setFields)
    Q_PROPERTY(int MouseRow READ MouseRow)
    Q_PROPERTY(int MouseCol READ MouseCol)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(QString SelectedRawValue READ SelectedRawValue)
    Q_PROPERTY(QString SelectedParsedValue READ SelectedParsedValue)
    Q_PROPERTY(QStringList Selection READ Selection)

public:
    Q_INVOKABLE explicit MIBBrowser(QWidget *parent = nullptr);
    ~MIBBrowser() override;

    QXMibOID *TableObject();
    QString Target() const;
    void setTarget(const QString &target);
    QString IP() const;
    void setIP(const QString &ip);
    QString Community() const;
    void setCommunity(const QString &community);
    int SNMPPort() const;
    void setSNMPPort(int port);
    QString CurrentOID() const;
    // A name, MODULE:name or OID; stored as the OID it resolves to.
    void setCurrentOID(const QString &oid);
    // 1, 2 (v2c, the default) or 3.
    int SNMPVersion() const;
    void setSNMPVersion(int version);
    SnmpSession *SessionHandle() const;
    void setSessionHandle(SnmpSession *session);
    QXMibOID *CurrentOIDObject();
    int Cols() const;
    Q_INVOKABLE void Cancel();
    Q_INVOKABLE void Activate();
    Q_INVOKABLE void GetOID(const QString &OID);
    Q_INVOKABLE void GetNextOID(int Count, const QString &StartOID = QString());
    bool Busy() const;
    Q_INVOKABLE void SetupTable();
    // Lists one binding; returns its row.
    Q_INVOKABLE int AddValue(const QString &OID, const QString &Value, int ValueType,
                             const QString &Error = QStringLiteral("0"), int Status = 0);
    Q_INVOKABLE void PopulateRow(int Row, const QString &OID, const QString &Value, int ValueType,
                                 const QString &Error = QStringLiteral("0"), int Status = 0);
    Q_INVOKABLE void mSettings_Changed(const QString &Name, const QVariant &Value);
    Q_INVOKABLE void RefreshRow(int Row);
    Q_INVOKABLE void RefreshSelection();
    Q_INVOKABLE void RefreshAll();
    Q_INVOKABLE void ValueAfterSet(int Row, const QString &OID, const QString &Value, int ValueType,
                                   const QString &Error);
    Q_INVOKABLE void RefreshResponse(int Row, const QString &OID, const QString &Value, int ValueType,
                                     const QString &Error);
    Q_INVOKABLE void SNMPReply_Reply(SnmpQuery *Query);
    Q_INVOKABLE QString LookupOID(int Row) const;
    Q_INVOKABLE QString LookupIndex(int Row) const;
    // The row listing an OID; 0 when none does.
    Q_INVOKABLE int OIDIndex(const QString &OID) const;
    int Row() const;
    void setRow(int row);
    // Sets a row's object to a new value (Set, then read back).
    Q_INVOKABLE void EditRow(int Row, const QString &Value);
    Q_INVOKABLE void Clear();
    // Column codes in display order, comma-separated.
    QString Fields() const;
    void setFields(const QString &fields);
    int MouseRow() const;
    int MouseCol() const;
    Q_INVOKABLE void PopupOIDDetails();
    QString SelectedOID() const;
    QString SelectedRawValue() const;
    QString SelectedParsedValue() const;
    // The OIDs of the selected rows.
    QStringList Selection() const;
    Q_INVOKABLE void SelectAll();

    Q_INVOKABLE void CopySelection();
    // The grid with its captions: CSV (RFC 4180) or tab-separated.
    Q_INVOKABLE QString TableText(bool CSV) const;
    Q_INVOKABLE bool ExportCSV(const QString &Path) const;

    MIBBrowserModel *model() const;

    void Reply(SnmpQuery *query) override;

Q_SIGNALS:
    void Complete(bool Cancelled);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    friend class MIBBrowserPrivate;
    std::unique_ptr<MIBBrowserPrivate> d;
};
