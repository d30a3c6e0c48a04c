#include "trees/widgets/mibtreemodel.h"

#include <QPersistentModelIndex>
#include <QSet>

MIBTreeModel::MIBTreeModel(QObject *parent)
    : QAbstractItemModel(parent)
{
}

MIBTreeModel::~MIBTreeModel() = default;

void MIBTreeModel::setLoader(Loader loader)
{
    m_loader = std::move(loader);
}

void MIBTreeModel::setIconProvider(IconProvider provider)
{
    m_iconProvider = std::move(provider);
}

MIBTreeModel::Node *MIBTreeModel::find(const QString &key) const
{
    return m_byKey.value(key, nullptr);
}

MIBTreeModel::Node *MIBTreeModel::nodeOf(const QModelIndex &index) const
{
    if (!index.isValid() || index.model() != this)
        return nullptr;
    return static_cast<Node *>(index.internalPointer());
}

QModelIndex MIBTreeModel::indexOf(const Node *node, int column) const
{
    if (node == nullptr)
        return QModelIndex();
    return createIndex(node->row, column, const_cast<Node *>(node));
}

std::unique_ptr<MIBTreeModel::Node> MIBTreeModel::makeNode(Node *parent, const NewRow &row, int position)
{
    auto node = std::make_unique<Node>();
    node->key = row.key;
    node->caption = row.caption;
    node->oid = row.oid;
    node->icon = row.icon;
    node->definition = row.definition;
    node->parent = parent;
    node->row = position;
    node->level = parent != nullptr ? parent->level + 1 : 0;
    m_byKey.insert(node->key, node.get());
    if (row.withPlaceholder) {
        NewRow placeholder;
        placeholder.caption = row.placeholderCaption;
        placeholder.key = QStringLiteral("X:") + row.key;
        node->children.push_back(makeNode(node.get(), placeholder, 0));
    }
    return node;
}

MIBTreeModel::Node *MIBTreeModel::addRoot(const QString &caption, const QString &oid, const QString &key,
                                          const QString &icon)
{
    if (m_byKey.contains(key))
        return nullptr;
    const int position = int(m_roots.size());
    if (m_bulk == 0)
        beginInsertRows(QModelIndex(), position, position);
    m_roots.push_back(makeNode(nullptr, NewRow{caption, oid, key, icon, QString(), false, QString()}, position));
    m_orderValid = false;
    if (m_bulk == 0)
        endInsertRows();
    return m_roots.back().get();
}

int MIBTreeModel::addChildren(Node *parent, const QVector<NewRow> &rows)
{
    if (parent == nullptr)
        return 0;
    // Keys must be new to the tree and to this batch.
    QVector<const NewRow *> fresh;
    fresh.reserve(rows.size());
    QSet<QString> batch;
    for (const NewRow &row : rows) {
        if (m_byKey.contains(row.key) || batch.contains(row.key))
            continue;
        batch.insert(row.key);
        fresh.append(&row);
    }
    if (fresh.isEmpty())
        return 0;
    const int first = int(parent->children.size());
    if (m_bulk == 0)
        beginInsertRows(indexOf(parent), first, first + int(fresh.size()) - 1);
    parent->children.reserve(parent->children.size() + fresh.size());
    for (const NewRow *row : std::as_const(fresh))
        parent->children.push_back(makeNode(parent, *row, int(parent->children.size())));
    m_orderValid = false;
    if (m_bulk == 0)
        endInsertRows();
    return int(fresh.size());
}

MIBTreeModel::Node *MIBTreeModel::addChild(Node *parent, const NewRow &row)
{
    if (addChildren(parent, {row}) == 0)
        return nullptr;
    return parent->children.back().get();
}

namespace {

qulonglong lastArc(const MIBTreeModel::Node &node)
{
    return QStringView(node.oid).mid(node.oid.lastIndexOf(u'.') + 1).toULongLong();
}

} // namespace

MIBTreeModel::Node *MIBTreeModel::insertChildInArcOrder(Node *parent, const NewRow &row)
{
    if (parent == nullptr || m_byKey.contains(row.key))
        return nullptr;
    auto &siblings = parent->children;
    Node probe;
    probe.oid = row.oid;
    const qulonglong arc = lastArc(probe);
    // Children mostly arrive in order: look from the end.
    int position = int(siblings.size());
    while (position > 0 && !siblings[position - 1]->isPlaceholder() && lastArc(*siblings[position - 1]) > arc)
        --position;
    if (m_bulk == 0)
        beginInsertRows(indexOf(parent), position, position);
    siblings.insert(siblings.begin() + position, makeNode(parent, row, position));
    for (int i = position + 1; i < int(siblings.size()); ++i)
        siblings[i]->row = i;
    m_orderValid = false;
    if (m_bulk == 0)
        endInsertRows();
    return siblings[position].get();
}

bool MIBTreeModel::rekey(Node *node, const QString &key, const QString &caption)
{
    if (node == nullptr || (key != node->key && m_byKey.contains(key)))
        return false;
    if (Node *placeholder = find(QStringLiteral("X:") + node->key)) {
        m_byKey.remove(placeholder->key);
        placeholder->key = QStringLiteral("X:") + key;
        m_byKey.insert(placeholder->key, placeholder);
    }
    m_byKey.remove(node->key);
    node->key = key;
    node->caption = caption;
    m_byKey.insert(key, node);
    if (m_bulk == 0)
        Q_EMIT dataChanged(indexOf(node), indexOf(node, 1));
    return true;
}

void MIBTreeModel::unregister(Node *node)
{
    m_byKey.remove(node->key);
    for (const auto &child : node->children)
        unregister(child.get());
}

void MIBTreeModel::removeNode(Node *node)
{
    if (node == nullptr)
        return;
    Node *parent = node->parent;
    auto &siblings = parent != nullptr ? parent->children : m_roots;
    const int position = node->row;
    if (m_bulk == 0)
        beginRemoveRows(indexOf(parent), position, position);
    unregister(node);
    siblings.erase(siblings.begin() + position);
    for (int i = position; i < int(siblings.size()); ++i)
        siblings[i]->row = i;
    m_orderValid = false;
    if (m_bulk == 0)
        endRemoveRows();
}

bool MIBTreeModel::removePlaceholder(Node *node)
{
    Node *placeholder = node != nullptr ? find(QStringLiteral("X:") + node->key) : nullptr;
    if (placeholder == nullptr)
        return false;
    removeNode(placeholder);
    return true;
}

void MIBTreeModel::setIcon(Node *node, const QString &icon)
{
    if (node == nullptr || node->icon == icon)
        return;
    node->icon = icon;
    const QModelIndex index = indexOf(node);
    if (m_bulk == 0)
        Q_EMIT dataChanged(index, index, {Qt::DecorationRole});
}

void MIBTreeModel::clear()
{
    if (m_bulk == 0)
        beginResetModel();
    // The rows are out of every view already: a big outline is freed on a pool thread.
    constexpr int bigOutline = 20000;
    if (m_byKey.size() >= bigOutline) {
        freeInBackground(std::move(m_roots));
        freeInBackground(std::move(m_byKey));
        freeInBackground(std::move(m_orderOf));
    }
    m_roots.clear();
    m_byKey.clear();
    m_orderOf.clear();
    m_order.clear();
    m_orderValid = false;
    if (m_bulk == 0)
        endResetModel();
}

void MIBTreeModel::beginBulkLoad()
{
    if (m_bulk++ == 0)
        beginResetModel();
}

void MIBTreeModel::endBulkLoad()
{
    if (m_bulk > 0 && --m_bulk == 0)
        endResetModel();
}

MIBTreeModel::Node *MIBTreeModel::nodeInOutline(int position) const
{
    // Near the top, a walk that stops there beats numbering the whole outline.
    constexpr int nearTop = 64;
    if (!m_orderValid && position >= 0 && position < nearTop) {
        int at = 0;
        std::vector<const std::vector<std::unique_ptr<Node>> *> lists{&m_roots};
        std::vector<size_t> positions{0};
        while (!lists.empty()) {
            const auto &list = *lists.back();
            size_t &next = positions.back();
            if (next >= list.size()) {
                lists.pop_back();
                positions.pop_back();
                continue;
            }
            Node *node = list[next++].get();
            if (at++ == position)
                return node;
            if (!node->children.empty()) {
                lists.push_back(&node->children);
                positions.push_back(0);
            }
        }
        return nullptr;
    }
    const QVector<Node *> &rows = rowsInOrder();
    return position >= 0 && position < rows.size() ? rows.at(position) : nullptr;
}

const QVector<MIBTreeModel::Node *> &MIBTreeModel::rowsInOrder() const
{
    if (m_orderValid)
        return m_order;
    m_order.clear();
    m_order.reserve(m_byKey.size());
    m_orderOf.clear();
    // Iterative pre-order walk: outlines can be deep and wide.
    std::vector<const std::vector<std::unique_ptr<Node>> *> lists{&m_roots};
    std::vector<size_t> positions{0};
    while (!lists.empty()) {
        const auto &list = *lists.back();
        size_t &at = positions.back();
        if (at >= list.size()) {
            lists.pop_back();
            positions.pop_back();
            continue;
        }
        Node *node = list[at++].get();
        m_order.append(node);
        if (!node->children.empty()) {
            lists.push_back(&node->children);
            positions.push_back(0);
        }
    }
    m_orderValid = true;
    return m_order;
}

int MIBTreeModel::orderOf(const Node *node) const
{
    rowsInOrder();
    // Built on the first question after a change: the outline's order alone is cheaper.
    if (m_orderOf.isEmpty() && !m_order.isEmpty()) {
        m_orderOf.reserve(m_order.size());
        for (int i = 0; i < m_order.size(); ++i)
            m_orderOf.insert(m_order.at(i), i);
    }
    return m_orderOf.value(node, -1);
}

void MIBTreeModel::reserve(int rows)
{
    m_byKey.reserve(rows);
}

const std::vector<std::unique_ptr<MIBTreeModel::Node>> &MIBTreeModel::childrenOf(const QModelIndex &parent) const
{
    if (!parent.isValid())
        return m_roots;
    return nodeOf(parent)->children;
}

QModelIndex MIBTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    if (column < 0 || column >= 2 || row < 0 || (parent.isValid() && parent.column() != 0))
        return QModelIndex();
    const auto &list = childrenOf(parent);
    if (row >= int(list.size()))
        return QModelIndex();
    return createIndex(row, column, list[row].get());
}

QModelIndex MIBTreeModel::parent(const QModelIndex &child) const
{
    const Node *node = nodeOf(child);
    if (node == nullptr || node->parent == nullptr)
        return QModelIndex();
    return indexOf(node->parent);
}

int MIBTreeModel::rowCount(const QModelIndex &parent) const
{
    if (parent.isValid() && parent.column() != 0)
        return 0;
    return int(childrenOf(parent).size());
}

int MIBTreeModel::columnCount(const QModelIndex &) const
{
    return 2;
}

bool MIBTreeModel::hasChildren(const QModelIndex &parent) const
{
    return rowCount(parent) > 0;
}

QVariant MIBTreeModel::data(const QModelIndex &index, int role) const
{
    const Node *node = nodeOf(index);
    if (node == nullptr)
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return index.column() == 0 ? node->caption : node->oid;
    case Qt::DecorationRole:
        if (index.column() == 0 && !node->icon.isEmpty() && m_iconProvider)
            return m_iconProvider(node->icon);
        return QVariant();
    case KeyRole:
        return node->key;
    case LevelRole:
        return node->level;
    default:
        return QVariant();
    }
}

QVariant MIBTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    if (section == 0)
        return QStringLiteral("Name");
    if (section == 1)
        return QStringLiteral("OID");
    return QVariant();
}

Qt::ItemFlags MIBTreeModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

bool MIBTreeModel::canFetchMore(const QModelIndex &parent) const
{
    const Node *node = nodeOf(parent);
    return node != nullptr && parent.column() == 0 && node->hasPlaceholder();
}

void MIBTreeModel::fetchMore(const QModelIndex &parent)
{
    // Views ask while they lay rows out, and must not see rows change under them then:
    // the placeholder stays until the event loop comes back, then makes way for the children.
    const QPersistentModelIndex later(parent);
    QMetaObject::invokeMethod(
        this,
        [this, later] {
            Node *node = nodeOf(later);
            if (node == nullptr || !node->hasPlaceholder())
                return;
            removeNode(node->children.front().get());
            if (m_loader)
                m_loader(node);
        },
        Qt::QueuedConnection);
}
