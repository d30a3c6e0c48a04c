#pragma once

#include "qxmibtreewidgets_export.h"
#include "snmp/snmpreply.h"

#include <QColor>
#include <QFont>
#include <QStringList>
#include <QVariant>
#include <QWidget>

#include <memory>

class MIBTablePrivate;
class MIBTableModel;
class QXMibOID;
class SnmpQuery;
class SnmpSession;

// Retrieves one SNMP table from an agent and shows it in a grid (named
// "Table"): one row per instance index, one column per readable columnar
// object, values rendered by their column's definition. Hosts create it as
// "QXMIBTree.MIBTable", set IP (or Target), Community, SNMPVersion, then call
// GetTable with a table's name, MODULE:name or OID.
//
// How it behaves where a host might wonder:
// - GetTable accepts the table, its entry or one of its columns and always
//   shows the whole table. Columns are the entry's children that can be read
//   (not-accessible index columns are left out: the row captions show every
//   row's instance index). GetOIDList narrows the columns to those named.
// - DownloadMode 1 (the default) walks the columns side by side, one walk
//   per column, each ending at the first OID outside its own column (a column
//   OID followed by a dot). DownloadMode 0 walks the table once, from the table
//   OID through to its end, and places every binding by the column arc of its
//   OID; it keeps the table test as a plain text prefix of the table OID, and a
//   binding that names no shown column is passed over. Neither walks any part
//   of the table twice. Every walk starts with a GetNext; later steps are
//   GetBulk of SNMPV2RequestSize repetitions with non-repeaters 0 for versions
//   2 and 3 (a tooBig answer halves the repetitions, down to GetNext) and GetNext
//   for version 1 or while DisableSNMPV2 is set.
// - A walk ends at the first binding outside its column or table, at an
//   exception value (endOfMibView, ...), at an OID that does not increase, at a
//   reply without bindings, and at any error reply (noSuchName from a version 1
//   agent is its normal end; other errors, time-outs included, are shown in the
//   Message label). Walk state is kept per walk, so replies arriving while
//   another is being placed (the control yields to the event loop now and then,
//   and so may a Progress handler) steer only their own walk.
// - Rows appear in the order they are found and are put into index order when
//   the retrieval completes, unless the user has sorted them; then the columns
//   are fitted to their texts (AutoSize does the same on demand). A click on a
//   caption sorts by that column, ascending and descending in turn.
// - Cells show the rendering of QXMibOID::ParseValue by the column's own record;
//   a rendering that is not printable shows as hexadecimal octets (an IpAddress
//   as dotted decimals, UTF-8 text as text). An error reply to a refresh leaves
//   the cell as it was and shows the error in Message.
// - Progress(Cancel) is raised before each further walk step; setting Cancel
//   stops every walk of the control, and an edit whose Set has not gone out
//   (its cell shows the agent's value again). Complete(Cancelled) is raised by the
//   ActiveTimer tick that finds no query outstanding on the thread (every
//   view's) after a retrieval, refresh or edit; Cancelled is true after Cancel.
// - A retrieval that ends without rows, errors or Cancel reports the table as
//   unsupported: UnSupported turns true, Message reads name + " is not supported
//   on " + agent, and UnSupportedTable is raised with that text.
// - Refresh*: one Get per cell, tagged "Refresh," + the cell's OID. RefreshTable
//   walks the table again from scratch.
// - Editing a writable cell (read-write or read-create; the others have a grey
//   background): a Get tagged "GetType," + OID learns the value type from the
//   agent (the column's type code when the agent has none), then a Set and,
//   after its reply, a Get read back, both tagged "CheckSet," + OID. A failed Set
//   or a read-back that differs from the typed value shows "Could not change "
//   + name + two line breaks + the reason; the cell then shows the agent's value.
// - Table methods (Refresh*, LookupOID, LookupIndex) count rows and columns of
//   the table from 1 in either orientation. The grid pass-throughs (Row, Col,
//   Cell, Rows, Cols, ..., MouseRow, MouseCol, and the formatting events) count
//   as the grid shows: row 0 is the caption row, column 0 the row captions.
// - CurrentOID is the OID of the last binding placed; SelectedOID that of the
//   current cell. Selection lists the OIDs of the selected cells.
// - Target is the agent as the user names it (host or address, optionally
//   ":port"); setting it resolves IP and SNMPPort. SNMPPort reaches the engine
//   as ":port" after the address.
// - Sort(Method) orders the rows by the grid's current column: 0 index order,
//   1 ascending, 2 descending; other values take that column's ColSort.
//   Numbers sort as numbers, texts without regard to case.
// - Watermark is a text drawn faintly across the grid behind the cells.
class QXMIBTREEWIDGETS_EXPORT MIBTable : public QWidget, public SNMPReply
{
    Q_OBJECT
    Q_INTERFACES(SNMPReply)
    Q_MOC_INCLUDE("core/qxmiboid.h")
    Q_MOC_INCLUDE("snmp/snmpsession.h")
    Q_MOC_INCLUDE("snmp/snmpquery.h")
    Q_PROPERTY(TableOrientation Orientation READ Orientation WRITE setOrientation)
    Q_PROPERTY(bool UnSupported READ UnSupported)
    Q_PROPERTY(short DownloadMode READ DownloadMode WRITE setDownloadMode)
    Q_PROPERTY(int MouseRow READ MouseRow)
    Q_PROPERTY(int MouseCol READ MouseCol)
    Q_PROPERTY(QXMibOID *TableObject READ TableObject)
    Q_PROPERTY(QString TableOID READ TableOID)
    Q_PROPERTY(bool Busy READ Busy)
    Q_PROPERTY(QStringList Selection READ Selection)
    Q_PROPERTY(QString Watermark READ Watermark WRITE setWatermark)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(QString SelectedRawValue READ SelectedRawValue)
    Q_PROPERTY(QString SelectedParsedValue READ SelectedParsedValue)
    Q_PROPERTY(QString Target READ Target WRITE setTarget)
    Q_PROPERTY(QString TargetOIDName READ TargetOIDName WRITE setTargetOIDName)
    Q_PROPERTY(QString IP READ IP WRITE setIP)
    Q_PROPERTY(QString Community READ Community WRITE setCommunity)
    Q_PROPERTY(int SNMPPort READ SNMPPort WRITE setSNMPPort)
    Q_PROPERTY(int SNMPVersion READ SNMPVersion WRITE setSNMPVersion)
    Q_PROPERTY(SnmpSession *SessionHandle READ SessionHandle WRITE setSessionHandle)
    Q_PROPERTY(QString CurrentOID READ CurrentOID)
    Q_PROPERTY(QXMibOID *CurrentOIDObject READ CurrentOIDObject)
    Q_PROPERTY(QString Clip READ Clip WRITE setClip)
    Q_PROPERTY(int Row READ Row WRITE setRow)
    Q_PROPERTY(int RowSel READ RowSel WRITE setRowSel)
    Q_PROPERTY(int Rows READ Rows WRITE setRows)
    Q_PROPERTY(int Col READ Col WRITE setCol)
    Q_PROPERTY(int ColSel READ ColSel WRITE setColSel)
    Q_PROPERTY(int Cols READ Cols WRITE setCols)

public:
    enum TableOrientation { TABLE_ORIENTATION_NORMAL = 0, TABLE_ORIENTATION_PIVOTED = 1 };
    Q_ENUM(TableOrientation)

    Q_INVOKABLE explicit MIBTable(QWidget *parent = nullptr);
    ~MIBTable() override;

    TableOrientation Orientation() const;
    void setOrientation(TableOrientation orientation);
    bool UnSupported() const;
    // 1: the columns side by side (default); 0: the table in one walk.
    short DownloadMode() const;
    void setDownloadMode(short mode);
    int MouseRow() const;
    int MouseCol() const;
    // The table's record; created on first use.
    QXMibOID *TableObject();
    Q_INVOKABLE void RefreshTable();
    Q_INVOKABLE void RefreshCell(int Row, int Col);
    Q_INVOKABLE void RefreshSelection();
    Q_INVOKABLE void RefreshArea(int Row1, int Row2, int Col1, int Col2);
    // The instance OID of a table cell; empty outside the table.
    Q_INVOKABLE QString LookupOID(int Row, int Col) const;
    // The instance index of a table row.
    Q_INVOKABLE QString LookupIndex(int Row) const;
    Q_INVOKABLE void RefreshRow(int Row);
    Q_INVOKABLE void RefreshRows(int StartRow, int EndRow);
    Q_INVOKABLE void RefreshCol(int Col);
    Q_INVOKABLE void RefreshCols(int StartCol, int EndCol);
    // Swaps rows and columns.
    Q_INVOKABLE void PivotTable();
    QString TableOID() const;
    // Starts retrieving the table named by a name, MODULE:name or OID.
    Q_INVOKABLE void GetTable(const QString &Table);
    // Names or OIDs of the columns to retrieve from now on; empty: every readable
    // column. Returns the column OIDs of the current table.
    Q_INVOKABLE QStringList GetOIDList(const QStringList &OIDList = QStringList());
    // Writes the SNMP settings into the engine and retrieves TargetOIDName.
    Q_INVOKABLE void Activate();
    bool Busy() const;
    QStringList Selection() const;
    Q_INVOKABLE void SelectAll();
    Q_INVOKABLE void AutoSize();
    Q_INVOKABLE void Sort(int Method);
    Q_INVOKABLE void SNMPReply_Reply(SnmpQuery *Query);
    // The ActiveTimer's test: completes the retrieval when nothing is outstanding.
    Q_INVOKABLE bool ScanComplete();
    QString Watermark() const;
    void setWatermark(const QString &text);
    Q_INVOKABLE void PopupOIDDetails();
    QString SelectedOID() const;
    QString SelectedRawValue() const;
    QString SelectedParsedValue() const;
    // Places one binding by its OID; Error "0" (or "OK") for a value.
    Q_INVOKABLE void PopulateCell(const QString &OID, const QString &Value, int ValueType,
                                  const QString &Error = QStringLiteral("0"));
    Q_INVOKABLE void mSettings_Changed(const QString &Name, const QVariant &Value);
    Q_INVOKABLE void Clear();
    Q_INVOKABLE void Cancel();
    Q_INVOKABLE void SetupTable();
    QString Target() const;
    void setTarget(const QString &target);
    QString TargetOIDName() const;
    void setTargetOIDName(const QString &name);
    QString IP() const;
    void setIP(const QString &ip);
    QString Community() const;
    void setCommunity(const QString &community);
    int SNMPPort() const;
    void setSNMPPort(int port);
    // 1, 2 (v2c, the default) or 3 (with SessionHandle's settings).
    int SNMPVersion() const;
    void setSNMPVersion(int version);
    // The thread's shared session object; setting copies the given settings into it.
    SnmpSession *SessionHandle() const;
    void setSessionHandle(SnmpSession *session);
    QString CurrentOID() const;
    QXMibOID *CurrentOIDObject();

    // Grid pass-throughs, in grid numbering.
    QString Clip() const;
    void setClip(const QString &text);
    int Row() const;
    void setRow(int row);
    int RowSel() const;
    void setRowSel(int row);
    Q_INVOKABLE int RowHeight(int Row) const;
    Q_INVOKABLE void setRowHeight(int Row, int Height);
    int Rows() const;
    // Keeps the first rows; never adds any.
    void setRows(int rows);
    Q_INVOKABLE int RowPosition(int Row) const;
    Q_INVOKABLE void setRowPosition(int Row, int Position);
    int Col() const;
    void setCol(int col);
    int ColSel() const;
    void setColSel(int col);
    Q_INVOKABLE int ColSort(int Col) const;
    Q_INVOKABLE void setColSort(int Col, int Method);
    Q_INVOKABLE int ColWidth(int Col) const;
    Q_INVOKABLE void setColWidth(int Col, int Width);
    // Qt::Alignment flags; 0 for the default.
    Q_INVOKABLE int ColAlignment(int Col) const;
    Q_INVOKABLE void setColAlignment(int Col, int Alignment);
    int Cols() const;
    // Keeps the first columns of a pivoted table, its instances; never adds any.
    // The columns of a table in its normal orientation are its objects and stay.
    void setCols(int cols);
    // The column's place on screen, from 1.
    Q_INVOKABLE int ColPosition(int Col) const;
    Q_INVOKABLE void setColPosition(int Col, int Position);
    Q_INVOKABLE QVariant ColData(int Col) const;
    Q_INVOKABLE void setColData(int Col, const QVariant &Data);
    Q_INVOKABLE QVariant RowData(int Row) const;
    Q_INVOKABLE void setRowData(int Row, const QVariant &Data);
    Q_INVOKABLE QString Cell(int Row, int Col) const;
    // Changes only what the grid shows; nothing is sent.
    Q_INVOKABLE void setCell(int Row, int Col, const QString &Text);

    // Copies the selection as tab-separated text.
    Q_INVOKABLE void CopySelection();
    // The grid with its captions: CSV (RFC 4180) or tab-separated.
    Q_INVOKABLE QString TableText(bool CSV) const;
    // Writes TableText(true) to a file; false when it cannot be written.
    Q_INVOKABLE bool ExportCSV(const QString &Path) const;

    MIBTableModel *model() const;

    void Reply(SnmpQuery *query) override;

Q_SIGNALS:
    void UnSupportedTable(const QString &Message);
    // Before a data cell is drawn; grid numbering.
    void CustomCellFormating(int Row, int Col, QString &Text, QColor &ForeColor, QColor &BackColor, QFont &Font);
    // Before a caption is drawn: Row 0 for column captions, Col 0 for row captions.
    void CustomHeaderFormating(int Row, int Col, QString &Text, QColor &ForeColor, QColor &BackColor, QFont &Font);
    void Progress(bool &Cancel);
    void Complete(bool Cancelled);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    friend class MIBTablePrivate;
    std::unique_ptr<MIBTablePrivate> d;
};
