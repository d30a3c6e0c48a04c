#pragma once

#include "qxmibtreewidgets_export.h"

#include "trees/widgets/mibtreecommon.h"
#include "trees/widgets/mibtreemodel.h"

#include <functional>

#include <QString>
#include <QWidget>

#include <memory>

class QTextEdit;
class QTreeView;
class QSplitter;
class QXMibOID;
class Settings;
class StyledText;
class TreeControlPrivate;

// The body that the MIB tree controls share: the outline view named "Tree" over
// a MIBTreeModel, the details pane ("Details", composed in the hidden
// "DetailsPreload") under a "Splitter", the "DetailsPopup" menu with
// "CopyDetailsPopup" and "PrintPopup", the icon look-up with its per-control
// cache, the current OID record, the eleven Selection formats, drags, keys and
// mouse, and the events. The controls derive from it, declare their public
// members in their own order and say how their rows are loaded.
class QXMIBTREEWIDGETS_EXPORT TreeControl : public QWidget, public MIBTreeCommon
{
    Q_OBJECT
    Q_INTERFACES(MIBTreeCommon)

public:
    ~TreeControl() override;

    // Shared public members (the controls expose them under these names).
    QString Selection() const override;
    QString SelectedOID() const override;
    QAbstractItemView *Table() const override;
    void setDragMethod(short method) override;
    short DragMethod() const override;
    bool OIDsVisible() const override;
    void setOIDsVisible(bool visible) override;
    QString CurrentOIDDetailsRTF() const override;
    void setDetailsVisible(bool visible) override;
    bool DetailsVisible() const;
    void SelectOID(const QString &OID) override;
    QString GetOIDDetails(QXMibOID *OID) override;
    QString GetOIDDetailsRTF(QXMibOID *OID) override;
    void PopupOIDDetails(QXMibOID *OID) override;
    void SearchMIBTree(bool modal) override;
    // Empties both details boxes and the outline.
    void Clear() override;
    // The MIB of the current OID record.
    QString MIBName() const;
    // This view's SNMP settings, created on first use.
    Settings *SNMPSettings();
    // The icon look-up: an image key for the OID's own database icon, else "Unknown".
    QString LookupIcon(const QString &OID);
    // Shows the record's details in the pane (the full tree layout).
    void ShowOIDDetails(QXMibOID *OID);

    QTreeView *view() const;
    MIBTreeModel *model() const;
    // The record of the row that became current last; created on first use.
    QXMibOID &currentRecord();

    // Grid rows as a grid holding the whole outline numbers them: 0 is the
    // header, then every node in outline order, hidden or not.
    int currentRow() const;
    void setCurrentRow(int row);
    int currentColumn() const;
    void setCurrentColumn(int column);
    int rowCountWithHeader() const;
    MIBTreeModel::Node *nodeAtRow(int row) const;
    // First and last grid row of the selection (the current row when nothing is selected); false when none.
    bool selectedRange(int &first, int &last) const;
    void selectAllRows();

Q_SIGNALS:
    // A double click on a row without children.
    void OIDDoubleClick(QXMibOID *OID);
    // Button 1 left, 2 right, 4 middle; Shift 1 shift, 2 control, 4 alt; pixels within the tree.
    void MouseDown(int Button, int Shift, int X, int Y);
    // The current row moved to another OID row.
    void SelectionChanged(QXMibOID *OID);
    // A typed character, before the control's own handling; set it to 0 to swallow the key.
    void KeyPress(short &KeyAscii);

protected:
    explicit TreeControl(QWidget *parent = nullptr);

    // The row that shows the OID, or null (the all-MIBs tree knows "O:" rows only).
    virtual MIBTreeModel::Node *rowForOID(const QString &oid) const;
    // Loads whatever SelectOID needs so that the OID's row exists, if it can.
    virtual void loadPathTo(const QString &oid) = 0;
    // Adds the children of a node whose placeholder was just removed; nothing by default.
    virtual void loadChildrenOf(MIBTreeModel::Node *node);

    // Puts a widget under the tree, in the tree's pane.
    void addToTreePane(QWidget *widget);
    // Header, columns, font: the grid as Refresh sets it up, empty.
    void setUpGrid();
    // "ccitt (0)" and "iso (1)", keys "O:0" and "O:1".
    void addRoots(const QString &icon);
    void expandNode(MIBTreeModel::Node *node);
    void collapseNodesFrom(int level);
    // Forgets which OIDs have database icons, so the next look-up asks again.
    void forgetIconIndex();
    void clearDetails();
    void composeInPreload(const StyledText &text);
    // Shows composed text in the pane (and in DetailsPreload).
    void showInPane(const StyledText &text);
    // Runs the current-row handling for the current index, as if it had just moved there.
    virtual void currentRowArrived();
    // For the row that just became current: loads the record with its OID and shows its
    // details. False for a row that is no OID row; by default only "O:" rows are.
    virtual bool showCurrentRow(const MIBTreeModel::Node *node, QXMibOID &record);
    // Every event handler runs its work through here: errors become a message box.
    static void guarded(const std::function<void()> &work);

    void changeEvent(QEvent *event) override;

private:
    friend class TreeControlPrivate;
    friend class MIBTreeView;
    std::unique_ptr<TreeControlPrivate> d;
};
