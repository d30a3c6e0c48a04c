#pragma once

#include "qxmibtreewidgets_export.h"

#include <QAbstractItemView>
#include <QObject>
#include <QString>

class QXMibOID;

// What every MIB tree control offers, so that a host, or the search form,
// drives any of them the same way: the tree of all MIBs, the single-module tree
// and the MIB-X viewer implement it. Members are in slot order; each forwards
// to the control's public member of the same name, and errors reach the caller
// unchanged. Reach it with qobject_cast<MIBTreeCommon *>(control), or by name
// through the meta-object system (qt_metacast("MIBTreeCommon")).
class QXMIBTREEWIDGETS_EXPORT MIBTreeCommon
{
public:
    virtual ~MIBTreeCommon();

    // Empties the tree and the details.
    virtual void Clear() = 0;
    // Rebuilds the tree from the database.
    virtual void Refresh() = 0;
    // The selected rows in the DragMethod format, each line ended by CR LF.
    virtual QString Selection() const = 0;
    // Dotted OID of the current row, empty when there is none.
    virtual QString SelectedOID() const = 0;
    // Makes that OID the current row, loading and expanding its ancestors; an OID
    // the tree cannot show leaves the current row as it was.
    virtual void SelectOID(const QString &OID) = 0;
    // The control's tree view.
    virtual QAbstractItemView *Table() const = 0;
    virtual void setDragMethod(short method) = 0;
    // The text format of Selection and drags, 0 to 10.
    virtual short DragMethod() const = 0;
    // Plain-text details of the record.
    virtual QString GetOIDDetails(QXMibOID *OID) = 0;
    // The same details as RTF.
    virtual QString GetOIDDetailsRTF(QXMibOID *OID) = 0;
    virtual bool OIDsVisible() const = 0;
    virtual void setOIDsVisible(bool visible) = 0;
    // Opens a details form for the record.
    virtual void PopupOIDDetails(QXMibOID *OID) = 0;
    // Opens the search form bound to this control, modally when asked.
    virtual void SearchMIBTree(bool modal) = 0;
    // The RTF now shown in the control's details pane.
    virtual QString CurrentOIDDetailsRTF() const = 0;
    // Enlarges the details pane, or shrinks it to a strip.
    virtual void setDetailsVisible(bool visible) = 0;
};

#define MIBTreeCommon_iid "QXMIBTree.MIBTreeCommon"
Q_DECLARE_INTERFACE(MIBTreeCommon, MIBTreeCommon_iid)
