#include "trees/widgets/mibtree.h"

#include "core/globals.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"

QXMIB_REGISTER_WIDGET(MIBTree, MIBTree)

MIBTree::MIBTree(QWidget *parent)
    : TreeControl(parent)
{
    setObjectName(QStringLiteral("MIBTree"));
}

MIBTree::~MIBTree() = default;

QString MIBTree::GetOIDDetails(QXMibOID *OID)
{
    return TreeControl::GetOIDDetails(OID);
}

QString MIBTree::GetOIDDetailsRTF(QXMibOID *OID)
{
    return TreeControl::GetOIDDetailsRTF(OID);
}

void MIBTree::ShowOIDDetails(QXMibOID *OID)
{
    TreeControl::ShowOIDDetails(OID);
}

void MIBTree::Clear()
{
    TreeControl::Clear();
}

void MIBTree::SelectOID(const QString &OID)
{
    TreeControl::SelectOID(OID);
}

void MIBTree::PopupOIDDetails(QXMibOID *OID)
{
    TreeControl::PopupOIDDetails(OID);
}

void MIBTree::SearchMIBTree(bool modal)
{
    TreeControl::SearchMIBTree(modal);
}

void MIBTree::Refresh()
{
    Clear();
    forgetIconIndex();
    setUpGrid();
    const QString folder = QStringLiteral("folder-closed");
    addRoots(folder);
    for (const char *oid : {"1", "1.3", "1.3.6", "1.3.6.1"})
        loadChildren(QLatin1String(oid));
    collapseNodesFrom(4);
    // "1.3.6.1" again: rows already there are never added twice.
    for (const char *oid : {"1.2", "1.3.6.1", "0.0"})
        loadChildren(QLatin1String(oid));
}

void MIBTree::loadChildren(const QString &oid)
{
    MIBTreeModel::Node *parent = model()->find(QStringLiteral("O:") + oid);
    if (parent == nullptr) {
        const qsizetype dot = oid.lastIndexOf(QLatin1Char('.'));
        if (dot < 0)
            return;
        loadChildren(oid.left(dot));
        parent = model()->find(QStringLiteral("O:") + oid);
        if (parent == nullptr)
            return;
    }
    fillChildren(parent);
    expandNode(parent);
}

void MIBTree::loadPathTo(const QString &oid)
{
    const qsizetype dot = oid.lastIndexOf(QLatin1Char('.'));
    if (dot > 0)
        loadChildren(oid.left(dot));
}

void MIBTree::loadChildrenOf(MIBTreeModel::Node *node)
{
    fillChildren(node);
}

void MIBTree::fillChildren(MIBTreeModel::Node *parent)
{
    const QString parentOid = parent->key.mid(2);
    const QString sequence = QStringLiteral("SEQUENCE");
    // The parent's type decides whether a child is a table entry; read it once, and only when needed.
    bool parentTypeRead = false;
    bool parentIsTable = false;
    const auto parentIsSequence = [&] {
        if (!parentTypeRead) {
            parentTypeRead = true;
            QXMibOID &current = currentRecord();
            if (current.OID() == parentOid) {
                parentIsTable = current.TypeString().compare(sequence, Qt::CaseInsensitive) == 0;
            } else {
                QXMibOID record;
                record.setOID(parentOid);
                parentIsTable = record.TypeString().compare(sequence, Qt::CaseInsensitive) == 0;
            }
        }
        return parentIsTable;
    };

    QVector<MIBTreeModel::NewRow> rows;
    {
        Recordset rs(Globals::database(),
                     QStringLiteral("Select DISTINCT Name, Index, OID, TypeS from Tree WHERE Primary=-1 AND ParentOID = ")
                         + Globals::sq(parentOid) + QStringLiteral(" Order By Index"));
        for (; !rs.eof(); rs.moveNext()) {
            MIBTreeModel::NewRow row;
            row.oid = rs.text(QStringLiteral("OID"));
            row.key = QStringLiteral("O:") + row.oid;
            if (model()->find(row.key) != nullptr)
                continue;
            row.caption = rs.text(QStringLiteral("Name")) + QStringLiteral(" (") + rs.text(QStringLiteral("Index"))
                + QLatin1Char(')');
            const QString typeS = rs.text(QStringLiteral("TypeS"));
            const QString icon = LookupIcon(row.oid);
            if (icon != QLatin1String("Unknown")) {
                row.icon = icon;
                row.withPlaceholder = true;
            } else if (typeS == sequence) {
                row.icon = QStringLiteral("table");
                row.withPlaceholder = true;
            } else if (parentIsSequence()) {
                row.icon = QStringLiteral("key");
                row.withPlaceholder = true;
            } else if (typeS.compare(QLatin1String("TRAP"), Qt::CaseInsensitive) == 0) {
                row.icon = QStringLiteral("trap");
            } else if (!typeS.isEmpty()) {
                row.icon = QStringLiteral("leaf");
            } else {
                row.icon = QStringLiteral("folder-closed");
                row.withPlaceholder = true;
                row.placeholderCaption = QStringLiteral("Loading ...");
            }
            rows.append(row);
        }
    }
    model()->removePlaceholder(parent);
    model()->addChildren(parent, rows);
}
