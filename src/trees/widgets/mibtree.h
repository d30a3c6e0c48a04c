#pragma once

#include "qxmibtreewidgets_export.h"

#include "snmp/settings.h"
#include "trees/widgets/treecontrol.h"

#include <QString>

class QXMibOID;

// The tree of every object definition in the MIB database, rooted at
// "ccitt (0)" and "iso (1)", with the details of the current OID beside it.
// A node's children are read from the database when it is first expanded, or
// when SelectOID needs them. Hosts create it as "QXMIBTree.MIBTree", read the
// selected OID, drag selections out as text in one of eleven formats, and open
// the details and search forms from it; MIBTreeCommon drives it like any tree.
class QXMIBTREEWIDGETS_EXPORT MIBTree : public TreeControl
{
    Q_OBJECT
    Q_INTERFACES(MIBTreeCommon)
    Q_PROPERTY(short DragMethod READ DragMethod WRITE setDragMethod)
    Q_PROPERTY(Settings *Settings READ SNMPSettings)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(QString MIBName READ MIBName)
    Q_PROPERTY(QString Selection READ Selection)
    Q_PROPERTY(bool OIDsVisible READ OIDsVisible WRITE setOIDsVisible)
    Q_PROPERTY(QString CurrentOIDDetailsRTF READ CurrentOIDDetailsRTF)
    Q_PROPERTY(bool DetailsVisible READ DetailsVisible WRITE setDetailsVisible)
    Q_PROPERTY(QAbstractItemView *Table READ Table)

public:
    Q_INVOKABLE explicit MIBTree(QWidget *parent = nullptr);
    ~MIBTree() override;

    // The 16 members of MIBTreeCommon, in slot order; each is the public member of the same name.
    Q_INVOKABLE void MIBTreeCommon_Clear() { Clear(); }
    Q_INVOKABLE void MIBTreeCommon_Refresh() { Refresh(); }
    Q_INVOKABLE QString MIBTreeCommon_Selection() const { return Selection(); }
    Q_INVOKABLE QString MIBTreeCommon_SelectedOID() const { return SelectedOID(); }
    Q_INVOKABLE void MIBTreeCommon_SelectOID(const QString &OID) { SelectOID(OID); }
    Q_INVOKABLE QAbstractItemView *MIBTreeCommon_Table() const { return Table(); }
    Q_INVOKABLE void MIBTreeCommon_DragMethod(short method) { setDragMethod(method); }
    Q_INVOKABLE short MIBTreeCommon_DragMethod() const { return DragMethod(); }
    Q_INVOKABLE QString MIBTreeCommon_GetOIDDetails(QXMibOID *OID) { return GetOIDDetails(OID); }
    Q_INVOKABLE QString MIBTreeCommon_GetOIDDetailsRTF(QXMibOID *OID) { return GetOIDDetailsRTF(OID); }
    Q_INVOKABLE bool MIBTreeCommon_OIDsVisible() const { return OIDsVisible(); }
    Q_INVOKABLE void MIBTreeCommon_OIDsVisible(bool visible) { setOIDsVisible(visible); }
    Q_INVOKABLE void MIBTreeCommon_PopupOIDDetails(QXMibOID *OID) { PopupOIDDetails(OID); }
    Q_INVOKABLE void MIBTreeCommon_SearchMIBTree(bool modal) { SearchMIBTree(modal); }
    Q_INVOKABLE QString MIBTreeCommon_CurrentOIDDetailsRTF() const { return CurrentOIDDetailsRTF(); }
    Q_INVOKABLE void MIBTreeCommon_DetailsVisible(bool visible) { setDetailsVisible(visible); }

    // Plain-text details of the record, composed in DetailsPreload.
    Q_INVOKABLE QString GetOIDDetails(QXMibOID *OID) override;
    Q_INVOKABLE QString GetOIDDetailsRTF(QXMibOID *OID) override;
    // Shows the record's details in the pane.
    Q_INVOKABLE void ShowOIDDetails(QXMibOID *OID);
    // Empties the details and rebuilds the tree: the roots, then the chains
    // "1", "1.3", "1.3.6", "1.3.6.1", "1.2" and "0.0".
    Q_INVOKABLE void Refresh() override;
    Q_INVOKABLE void Clear() override;
    // Makes the OID the current row, loading and expanding its ancestors; unknown OIDs change nothing.
    Q_INVOKABLE void SelectOID(const QString &OID) override;
    // Opens a new details form for the record.
    Q_INVOKABLE void PopupOIDDetails(QXMibOID *OID) override;
    // Opens the search form bound to this tree.
    Q_INVOKABLE void SearchMIBTree(bool modal) override;

    // Loads the children of the node with that OID, and first its missing ancestors.
    void loadChildren(const QString &oid);

protected:
    void loadPathTo(const QString &oid) override;
    void loadChildrenOf(MIBTreeModel::Node *node) override;

private:
    void fillChildren(MIBTreeModel::Node *parent);
};
