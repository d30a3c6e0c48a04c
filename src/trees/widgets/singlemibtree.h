#pragma once

#include "qxmibtreewidgets_export.h"

#include "trees/widgets/treecontrol.h"

#include <QHash>
#include <QString>

class QLabel;
class QXMibOID;

// The tree of one MIB module: every definition whose MIB is the module, hung
// into the registration tree under "ccitt (0)" and "iso (1)" with the
// ancestors that connect them. Branches the module does not define show a grey
// folder, so the module's own branches stand out. The whole module is loaded
// by Refresh, with its progress in the "StatusMessage" label. Hosts create it
// as "QXMIBTree.SingleMIBTree"; MIBTreeCommon drives it like any tree.
class QXMIBTREEWIDGETS_EXPORT SingleMIBTree : public TreeControl
{
    Q_OBJECT
    Q_INTERFACES(MIBTreeCommon)
    Q_PROPERTY(QAbstractItemView *Table READ Table)
    Q_PROPERTY(QString MIB READ MIB WRITE setMIB)
    Q_PROPERTY(QString MIBName READ MIBName)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(bool OIDsVisible READ OIDsVisible WRITE setOIDsVisible)
    Q_PROPERTY(int Row READ currentRow WRITE setCurrentRow)
    Q_PROPERTY(int Col READ currentColumn WRITE setCurrentColumn)
    Q_PROPERTY(short DragMethod READ DragMethod WRITE setDragMethod)
    Q_PROPERTY(QString Selection READ Selection)
    Q_PROPERTY(bool DetailsVisible READ DetailsVisible WRITE setDetailsVisible)
    Q_PROPERTY(QString ModuleName READ ModuleName)

public:
    Q_INVOKABLE explicit SingleMIBTree(QWidget *parent = nullptr);
    ~SingleMIBTree() override;

    // The 16 members of MIBTreeCommon, in slot order.
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

    QString MIB() const;
    // The module to show; Refresh loads it.
    void setMIB(const QString &mib);

    // As in the tree of all MIBs, the row found as "O:" or "F:"; an OID outside
    // the module is shown with the path that leads to it.
    Q_INVOKABLE void SelectOID(const QString &OID) override;
    Q_INVOKABLE void SelectAll();
    // The short details (no units, no possible values) of the record.
    Q_INVOKABLE QString GetOIDDetails(QXMibOID *OID) override;
    // Details of the current row when it was added with a MIB-X definition
    // (keyword lines: SYNTAX, VALUE, ACCESS, DESCRIPTION, STATUS, OID), shown in
    // the pane; returns their plain text.
    Q_INVOKABLE QString GetOIDDetails_MIBX();
    // The RTF of the short details.
    Q_INVOKABLE QString GetOIDDetails_RTF(QXMibOID *OID);
    // Reloads the module.
    Q_INVOKABLE void Refresh() override;
    // True when the module defines that OID.
    Q_INVOKABLE bool OIDinMIB(const QString &OID);
    // A new record loaded with the row's OID; the caller owns it.
    Q_INVOKABLE QXMibOID *LookupOID(int row);
    // The row's key without its kind ("O:", "F:"): the row's OID.
    Q_INVOKABLE QString GetOIDbyRow(int row) const;
    // Deletes the module's definition of the OID from the database; Refresh shows the result.
    Q_INVOKABLE void DeleteOID(const QString &OID);
    // DeleteOID for every row of the selected range, hidden rows included.
    Q_INVOKABLE void DeleteSelectedMIBs();
    Q_INVOKABLE QString LookupIcon(const QString &OID);
    Q_INVOKABLE void PopupOIDDetails(QXMibOID *OID) override;
    Q_INVOKABLE void SearchMIBTree(bool modal) override;
    QString ModuleName() const;

    // Adds a definition the caller describes (not read from the database) as an
    // "F:" row under its parent, which is found or loaded first. Shows
    // "Cannot load tree for " NAME (OID) and adds nothing when the parent
    // cannot be had. The definition text is what GetOIDDetails_MIBX shows.
    Q_INVOKABLE bool AddDefinition(const QString &name, const QString &OID, const QString &type, const QString &index,
                                   const QString &definition = QString());

    QString GetOIDDetailsRTF(QXMibOID *OID) override;

protected:
    MIBTreeModel::Node *rowForOID(const QString &oid) const override;
    void loadPathTo(const QString &oid) override;

private:
    struct Definition
    {
        QString oid;
        QString name;
        QString index;
        QString typeS;
    };
    // False when the load was given up: the control was refreshed again or
    // destroyed while the load let the event loop run.
    bool loadModule(const QString &loading);
    bool keepResponsive(const QString &loading);
    MIBTreeModel::Node *findOrCreate(const QString &oid);
    MIBTreeModel::Node *addDefinitionRow(MIBTreeModel::Node *parent, const Definition &definition, const QString &key,
                                         bool branchInModule, const QString &text = QString());
    bool definedHere(const QString &oid);
    void paintStatus();

    QString m_mib;
    QLabel *m_status = nullptr;
    // The module's definitions while Refresh loads them, by OID.
    QHash<QString, Definition> m_loading;
    bool m_isLoading = false;
    // Counts Refresh calls: a load that lets the event loop run gives up when another began meanwhile.
    quint64 m_generation = 0;
    // When the current slice of a long load began (monotonic ms).
    qint64 m_sliceStarted = 0;
    bool m_viewHiddenForLoad = false;
};
