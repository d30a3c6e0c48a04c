#include "mibx/widgets/mibxtree.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/messagesink.h"
#include "core/widgets/widgetfactory.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "core/widgets/styledtext.h"
#include "mibx/mibxdocument.h"
#include "trees/widgets/detailslayout.h"
#include "trees/widgets/oiddetails.h"
#include "trees/widgets/oiddetailsform.h"

#include <QTreeView>

QXMIB_REGISTER_WIDGET(MIBXTree, MIBXTree)

namespace {

const QString unknownIcon = QStringLiteral("Unknown");
const QString leafIcon = QStringLiteral("leaf");
const QString tableIcon = QStringLiteral("table");

// SNMP allows 128 sub-identifiers; anything else cannot name a row.
bool isPlaceable(const QString &oid)
{
    int arcs = 1;
    bool inArc = false;
    for (const QChar c : oid) {
        if (c == u'.') {
            if (!inArc || ++arcs > 128)
                return false;
            inArc = false;
        } else if (c >= u'0' && c <= u'9') {
            inArc = true;
        } else {
            return false;
        }
    }
    return inArc;
}

QString caption(const QString &name, const QString &index)
{
    return name + QStringLiteral(" (") + index + QLatin1Char(')');
}

} // namespace

MIBXTree::MIBXTree(QWidget *parent)
    : TreeControl(parent)
{
    setObjectName(QStringLiteral("MIBXTree"));
}

MIBXTree::~MIBXTree() = default;

QString MIBXTree::MIBXFilename() const
{
    return m_fileName;
}

void MIBXTree::setMIBXFilename(const QString &fileName)
{
    m_fileName = fileName;
    m_moduleName.clear();
    m_document.reset();
    QStringList problems;
    if (!fileName.isEmpty()) {
        auto document = std::make_unique<MibxDocument>();
        const QString notMibx = fileName + QStringLiteral(" is not a Tarnbrooke MIBX file or is corrupt.");
        if (!document->load(fileName))
            problems << QStringLiteral("Could not load ") + fileName + QStringLiteral("\r\n") + document->errorText();
        else if (document->selectSingleNode(QStringLiteral("MIBX/MODULE/NAME")).isNull()
                 || document->selectSingleNode(QStringLiteral("MIBX/TREE")).isNull())
            problems << notMibx;
        else
            m_document = std::move(document);
    }
    if (m_document)
        m_moduleName = m_document->selectSingleNode(QStringLiteral("MIBX/MODULE/NAME")).text();
    rebuild(problems);
}

QString MIBXTree::ModuleName() const
{
    return m_moduleName;
}

Database *MIBXTree::mibDatabase() const
{
    return Globals::database();
}

void MIBXTree::Refresh()
{
    rebuild({});
}

void MIBXTree::Clear()
{
    TreeControl::Clear();
}

void MIBXTree::rebuild(QStringList problems)
{
    // One reset for the whole tree; warnings wait until the view can draw again.
    model()->beginBulkLoad();
    m_loading = true;
    m_fileRows.clear();
    m_notInDatabase.clear();
    try {
        Clear();
        forgetIconIndex();
        setUpGrid();
        addRoots(QStringLiteral("folder-gray"));
        MIBTreeModel::NewRow placeholder;
        placeholder.key = QStringLiteral("X:O:0");
        placeholder.caption = QStringLiteral("Loading ...");
        model()->addChild(model()->find(QStringLiteral("O:0")), placeholder);
        for (const char *oid : {"1", "1.3", "1.3.6"}) {
            if (MIBTreeModel::Node *node = model()->find(QStringLiteral("O:") + QLatin1String(oid)))
                loadDatabaseChildren(node);
        }
        if (m_document)
            hangFileObjects(problems);
    } catch (...) {
        m_loading = false;
        m_fileRows.clear();
        model()->endBulkLoad();
        throw;
    }
    m_loading = false;
    model()->endBulkLoad();

    for (const char *oid : {"1", "1.3", "1.3.6"})
        expandNode(model()->find(QStringLiteral("O:") + QLatin1String(oid)));
    // Every object of the file in sight; a walk up ends at a row opened before.
    for (const MIBTreeModel::Node *row : std::as_const(m_fileRows)) {
        for (const MIBTreeModel::Node *up = row->parent; up != nullptr; up = up->parent) {
            const QModelIndex index = model()->indexOf(up);
            if (view()->isExpanded(index))
                break;
            view()->expand(index);
        }
    }
    if (!m_fileRows.isEmpty()) {
        const QModelIndex first = model()->indexOf(m_fileRows.first());
        view()->selectionModel()->setCurrentIndex(first, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        view()->scrollTo(first);
    }
    m_fileRows.clear();
    for (const QString &problem : std::as_const(problems))
        MessageSink::warn(problem);
}

void MIBXTree::hangFileObjects(QStringList &problems)
{
    const MibxNode tree = m_document->selectSingleNode(QStringLiteral("MIBX/TREE"));
    for (MibxNode object = tree.firstChild(); !object.isNull(); object = object.nextSibling()) {
        const MibxNode oid = object.selectSingleNode(QStringLiteral("OID"));
        const MibxNode syntax = object.selectSingleNode(QStringLiteral("SYNTAX"));
        if (oid.isNull() || syntax.isNull()) {
            problems << m_fileName + QStringLiteral(" is corrupt.");
            return;
        }
        addFileObject(object.nodeName(), oid.text(), syntax.text(), problems);
    }
}

void MIBXTree::addFileObject(const QString &name, const QString &oid, const QString &syntax, QStringList &problems)
{
    const qsizetype dot = oid.lastIndexOf(u'.');
    MIBTreeModel::Node *parent = dot > 0 && isPlaceable(oid) ? findRow(oid.left(dot)) : nullptr;
    const QString key = QStringLiteral("F:") + oid;
    if (parent == nullptr || model()->find(key) != nullptr) {
        problems << QStringLiteral("Cannot load tree for ") + name + QStringLiteral(" (") + oid + QLatin1Char(')');
        return;
    }
    QString icon = TreeControl::LookupIcon(oid);
    if (icon == unknownIcon) {
        if (syntax == QLatin1String("SEQUENCE"))
            icon = tableIcon;
        else if (syntax.compare(QLatin1String("TRAP"), Qt::CaseInsensitive) == 0)
            icon = QStringLiteral("trap");
        else
            icon = leafIcon;
    }
    MIBTreeModel::Node *row = model()->find(QStringLiteral("O:") + oid);
    if (row != nullptr) {
        model()->rekey(row, key, caption(name, oid.mid(dot + 1)));
        model()->setIcon(row, icon);
        if (!row->children.empty())
            gainedChild(row);
    } else {
        MIBTreeModel::NewRow added;
        added.caption = caption(name, oid.mid(dot + 1));
        added.oid = oid;
        added.key = key;
        added.icon = icon;
        row = model()->insertChildInArcOrder(parent, added);
    }
    gainedChild(parent);
    m_fileRows.append(row);
}

void MIBXTree::gainedChild(MIBTreeModel::Node *node)
{
    if (!node->key.startsWith(QLatin1String("F:")) || node->icon != leafIcon)
        return;
    const bool entry = node->parent != nullptr && node->parent->icon == tableIcon;
    model()->setIcon(node, entry ? QStringLiteral("key") : QStringLiteral("folder-closed"));
}

MIBTreeModel::Node *MIBXTree::rowForOID(const QString &oid) const
{
    MIBTreeModel::Node *node = model()->find(QStringLiteral("O:") + oid);
    return node != nullptr ? node : model()->find(QStringLiteral("F:") + oid);
}

MIBTreeModel::Node *MIBXTree::findRow(const QString &oid)
{
    // Up to the nearest row that exists, then down again through the database, arc by arc.
    QStringList missing;
    QString at = oid;
    MIBTreeModel::Node *node = rowForOID(at);
    while (node == nullptr) {
        if (!isPlaceable(at))
            return nullptr;
        missing.prepend(at);
        const qsizetype dot = at.lastIndexOf(u'.');
        if (dot < 0)
            return nullptr;
        at.truncate(dot);
        node = rowForOID(at);
    }
    for (const QString &step : std::as_const(missing)) {
        if (m_loading && m_notInDatabase.contains(step))
            return nullptr;
        DatabaseRow found;
        {
            Recordset rs(Globals::database(), QStringLiteral("Select * from Tree WHERE OID = ") + Globals::sq(step));
            if (rs.eof()) {
                if (m_loading)
                    m_notInDatabase.insert(step);
                return nullptr;
            }
            found = {step, rs.text(QStringLiteral("Name")), rs.text(QStringLiteral("Index")), rs.text(QStringLiteral("TypeS"))};
        }
        addDatabaseRow(node, found);
        node = model()->find(QStringLiteral("O:") + step);
        if (node == nullptr)
            return nullptr;
    }
    return node;
}

void MIBXTree::loadDatabaseChildren(MIBTreeModel::Node *parent)
{
    QVector<DatabaseRow> rows;
    {
        Recordset rs(Globals::database(), QStringLiteral("Select * from Tree WHERE ParentOID = ") + Globals::sq(parent->oid)
                                              + QStringLiteral(" Order By Index"));
        for (; !rs.eof(); rs.moveNext())
            rows.append({rs.text(QStringLiteral("OID")).trimmed(), rs.text(QStringLiteral("Name")),
                         rs.text(QStringLiteral("Index")), rs.text(QStringLiteral("TypeS"))});
    }
    model()->removePlaceholder(parent);
    for (const DatabaseRow &row : std::as_const(rows))
        addDatabaseRow(parent, row);
}

MIBTreeModel::Node *MIBXTree::addDatabaseRow(MIBTreeModel::Node *parent, const DatabaseRow &row)
{
    if (rowForOID(row.oid) != nullptr)
        return nullptr;
    MIBTreeModel::NewRow added;
    added.caption = caption(row.name, row.index);
    added.oid = row.oid;
    added.key = QStringLiteral("O:") + row.oid;
    added.withPlaceholder = true;
    const QString icon = TreeControl::LookupIcon(row.oid);
    if (icon != unknownIcon) {
        added.icon = icon;
    } else if (row.typeS == QLatin1String("SEQUENCE")) {
        added.icon = tableIcon;
    } else if (!row.typeS.isEmpty() && row.typeS.compare(row.name, Qt::CaseInsensitive) == 0) {
        added.icon = QStringLiteral("key");
    } else if (row.typeS.compare(QLatin1String("TRAP"), Qt::CaseInsensitive) == 0) {
        added.icon = QStringLiteral("trap");
        added.withPlaceholder = false;
    } else if (!row.typeS.isEmpty()) {
        added.icon = leafIcon;
        added.withPlaceholder = false;
    } else {
        added.icon = QStringLiteral("folder-gray");
        added.placeholderCaption = QStringLiteral("Loading ...");
    }
    MIBTreeModel::Node *node = model()->insertChildInArcOrder(parent, added);
    gainedChild(parent);
    return node;
}

void MIBXTree::loadPathTo(const QString &oid)
{
    findRow(oid);
}

void MIBXTree::loadChildrenOf(MIBTreeModel::Node *node)
{
    loadDatabaseChildren(node);
}

QString MIBXTree::SelectedOID() const
{
    const MIBTreeModel::Node *node = nodeAtRow(currentRow());
    return node != nullptr && !node->isPlaceholder() ? node->oid : QString();
}

bool MIBXTree::showCurrentRow(const MIBTreeModel::Node *node, QXMibOID &record)
{
    if (!node->key.startsWith(QLatin1String("F:")))
        return TreeControl::showCurrentRow(node, record);
    record.setOID(node->oid);
    GetOIDDetails_MIBX();
    return true;
}

StyledText MIBXTree::fileDetails(const MIBTreeModel::Node *node) const
{
    const qsizetype paren = node->caption.indexOf(u'(');
    const QString name = paren < 0 ? QString() : node->caption.left(paren).trimmed();
    const MibxNode object = m_document && !name.isEmpty()
        ? m_document->selectSingleNode(QStringLiteral("MIBX/TREE/") + name)
        : MibxNode();
    if (object.isNull())
        return StyledText();
    const auto child = [&object](const char *element) { return object.selectSingleNode(QLatin1String(element)).text(); };
    DetailsLayout::MibxFields fields;
    fields.name = name;
    fields.module = m_moduleName;
    fields.oid = child("OID");
    fields.syntax = child("SYNTAX");
    fields.value = child("VALUE");
    fields.access = child("ACCESS");
    fields.status = child("STATUS");
    fields.description = child("DESCRIPTION");
    return DetailsLayout::mibxLayout(fields, DetailsLayout::ValueRow::Always);
}

QString MIBXTree::GetOIDDetails_MIBX()
{
    const MIBTreeModel::Node *node = nodeAtRow(currentRow());
    const StyledText text = node != nullptr ? fileDetails(node) : StyledText();
    showInPane(text);
    return text.toPlainText();
}

StyledText MIBXTree::currentDetails()
{
    const MIBTreeModel::Node *node = nodeAtRow(currentRow());
    if (node == nullptr || node->isPlaceholder())
        return StyledText();
    if (node->key.startsWith(QLatin1String("F:")))
        return fileDetails(node);
    QXMibOID record;
    record.setOID(node->oid);
    return DetailsLayout::treeLayout(record);
}

QString MIBXTree::GetOIDDetails()
{
    const StyledText text = currentDetails();
    composeInPreload(text);
    return text.toPlainText();
}

QString MIBXTree::GetOIDDetails_RTF()
{
    const StyledText text = currentDetails();
    composeInPreload(text);
    return text.toRtf();
}

QString MIBXTree::GetOIDDetails(QXMibOID *OID)
{
    return TreeControl::GetOIDDetails(OID);
}

QString MIBXTree::GetOIDDetailsRTF(QXMibOID *OID)
{
    return TreeControl::GetOIDDetailsRTF(OID);
}

QString MIBXTree::LookupIcon(const QString &OID)
{
    return TreeControl::LookupIcon(OID);
}

void MIBXTree::PopupOIDDetails()
{
    const MIBTreeModel::Node *node = nodeAtRow(currentRow());
    if (node == nullptr || node->isPlaceholder())
        return;
    if (!node->key.startsWith(QLatin1String("F:"))) {
        OIDDetailsForm::popup(node->oid, QString(), QString());
        return;
    }
    // The database does not know the object: the form shows what the file says.
    OIDDetailsForm *form = OIDDetailsForm::popup(QString(), QString(), QString());
    const StyledText text = fileDetails(node);
    for (const StyledText::Piece &piece : text.pieces())
        form->details()->AddMessage(piece.text, piece.colour, piece.bold, piece.size, piece.emphasis);
}

void MIBXTree::PopupOIDDetails(QXMibOID *OID)
{
    TreeControl::PopupOIDDetails(OID);
}

void MIBXTree::SearchMIBTree(bool modal)
{
    TreeControl::SearchMIBTree(modal);
}

void MIBXTree::SelectOID(const QString &OID)
{
    TreeControl::SelectOID(OID);
}
