#pragma once

#include "qxmibtreewidgets_export.h"

#include "core/database.h"

#include "trees/widgets/treecontrol.h"

#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>


class MibxDocument;
class QXMibOID;

// Shows the objects of one MIB-X file at their place in the registration tree
// without importing them: "F:" rows for the file's objects, hung under "O:"
// rows read from the MIB database, beside the details of the current row.
// Hosts create it as "QXMIBTree.MIBXTree", set MIBXFilename and read
// SelectedOID; the search form drives it like the other trees.
//
// Loading a file checks, in this order, that it reads as XML, has
// MIBX/MODULE/NAME and MIBX/TREE, and that every object has OID and SYNTAX
// (the first that lacks one ends the load as "FILE is corrupt."); VERSION is
// not looked at. An object's parent is the row of its OID less the last arc:
// found as "O:" or "F:", else completed from the database arc by arc. An
// object no parent row can be found for, or whose OID the file placed
// already, is reported as "Cannot load tree for NAME (OID)" and skipped. Problems are collected while the rows are placed and
// shown afterwards, one warning each, in the order they were met.
//
// How it behaves where the row keys alone do not say:
// - The roots are "O:0" and "O:1"; Refresh loads the database children of
//   "1", "1.3" and "1.3.6" and shows them, and "ccitt (0)" can be opened
//   like any database branch.
// - Database rows: their own icon from Icons, else "table" for SEQUENCE,
//   "key" for a table entry (its TypeS equals its Name, case aside: SMI
//   names an entry's type after the entry), "trap" for TRAP, "leaf" for any other type and
//   "folder-gray" for a branch. Branches, tables, entries and rows with their
//   own icon get an "X:O:" placeholder and read their children when opened.
// - File rows: their own icon, else "table", "trap" or "leaf" by SYNTAX. A
//   "leaf" file row that gains children becomes "key" under a table, else
//   "folder-closed", so the file's own branches stand out from the grey
//   database ones.
// - One row per OID: a file object whose OID already shows as a database row
//   takes that row over (it becomes "F:", keeping what was loaded below it),
//   and a database row whose OID the file shows is not added again. Children
//   stand in arc order.
// - Only plain numeric dotted OIDs of at most 128 arcs can be placed; any
//   other text is reported, never put into a statement.
// - After a load the ancestors of the file's objects are opened and the
//   first object becomes current. Refresh rebuilds from the database and
//   hangs the file's objects again from the document kept in memory (so an
//   import shows), reporting what still cannot be placed.
// - A database row that becomes current shows the tree details of its
//   record; a file row shows GetOIDDetails_MIBX. Both raise SelectionChanged,
//   and SelectedOID is the current row's OID for either kind.
// - GetOIDDetails, GetOIDDetails_RTF and PopupOIDDetails without an argument
//   work on the current row, a file row in the MIB-X layout.
// - Database is the shared connection itself, as Application.MIBDatabase
//   gives it, opened when missing.
// - The details pieces have the sizes of the tree layout.
class QXMIBTREEWIDGETS_EXPORT MIBXTree : public TreeControl
{
    Q_OBJECT
    Q_INTERFACES(MIBTreeCommon)
    Q_PROPERTY(QString MIBXFilename READ MIBXFilename WRITE setMIBXFilename)
    Q_PROPERTY(QString SelectedOID READ SelectedOID)
    Q_PROPERTY(QString Selection READ Selection)
    Q_PROPERTY(bool OIDsVisible READ OIDsVisible WRITE setOIDsVisible)
    Q_PROPERTY(Database *Database READ mibDatabase)
    Q_PROPERTY(bool DetailsVisible READ DetailsVisible WRITE setDetailsVisible)
    Q_PROPERTY(QString ModuleName READ ModuleName)
    Q_PROPERTY(QAbstractItemView *Table READ Table)

public:
    Q_INVOKABLE explicit MIBXTree(QWidget *parent = nullptr);
    ~MIBXTree() override;

    QString MIBXFilename() const;
    // Loads the file (an empty name shows none) into a freshly built tree.
    void setMIBXFilename(const QString &fileName);
    QString SelectedOID() const override;
    // Details of the current row as plain text, composed in DetailsPreload.
    Q_INVOKABLE QString GetOIDDetails();
    // The current row's object as the file defines it, found by the row's
    // name (its caption before "("), shown in the pane; returns the plain
    // text, empty when the file has no such object.
    Q_INVOKABLE QString GetOIDDetails_MIBX();
    // Details of the current row as RTF.
    Q_INVOKABLE QString GetOIDDetails_RTF();
    Database *mibDatabase() const;
    Q_INVOKABLE void Refresh() override;
    Q_INVOKABLE void Clear() override;
    Q_INVOKABLE QString LookupIcon(const QString &OID);
    // Opens a details form for the current row.
    Q_INVOKABLE void PopupOIDDetails();
    Q_INVOKABLE void SearchMIBTree(bool modal) override;
    QString ModuleName() const;

    // Shared with the other trees.
    Q_INVOKABLE void SelectOID(const QString &OID) override;
    Q_INVOKABLE QString GetOIDDetails(QXMibOID *OID) override;
    Q_INVOKABLE QString GetOIDDetailsRTF(QXMibOID *OID) override;
    Q_INVOKABLE void PopupOIDDetails(QXMibOID *OID) override;

protected:
    MIBTreeModel::Node *rowForOID(const QString &oid) const override;
    void loadPathTo(const QString &oid) override;
    void loadChildrenOf(MIBTreeModel::Node *node) override;
    bool showCurrentRow(const MIBTreeModel::Node *node, QXMibOID &record) override;

private:
    struct DatabaseRow
    {
        QString oid;
        QString name;
        QString index;
        QString typeS;
    };
    void rebuild(QStringList problems);
    void loadDatabaseChildren(MIBTreeModel::Node *parent);
    MIBTreeModel::Node *addDatabaseRow(MIBTreeModel::Node *parent, const DatabaseRow &row);
    MIBTreeModel::Node *findRow(const QString &oid);
    void hangFileObjects(QStringList &problems);
    void addFileObject(const QString &name, const QString &oid, const QString &syntax, QStringList &problems);
    void gainedChild(MIBTreeModel::Node *node);
    StyledText fileDetails(const MIBTreeModel::Node *node) const;
    StyledText currentDetails();

    QString m_fileName;
    QString m_moduleName;
    std::unique_ptr<MibxDocument> m_document;
    // While a load runs: the file's rows in file order, and OIDs the database was asked for in vain.
    QVector<MIBTreeModel::Node *> m_fileRows;
    QSet<QString> m_notInDatabase;
    bool m_loading = false;
};
