#pragma once

#include "qxmibtreewidgets_export.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QIcon>
#include <QRunnable>
#include <QString>
#include <QThreadPool>
#include <QVector>

#include <functional>
#include <memory>
#include <utility>

// The outline that the MIB tree controls show: two columns ("Name" with the
// node's icon, "OID"), one row per node, every row carrying a key that is
// unique in the whole tree ("O:" + OID for a database node, "F:" + OID for a
// definition added directly, "X:" + the parent's key for the placeholder that
// gives an unloaded node its expand button). Rows are found by key through a
// hash; a row is never added under a key that already exists.
//
// A node whose first child is a placeholder can fetch more: once the event
// loop comes back, the placeholder is removed and the loader installed by the
// control adds the real children.
class QXMIBTREEWIDGETS_EXPORT MIBTreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    enum Role {
        KeyRole = Qt::UserRole,  // the row key (the grid's row data)
        LevelRole,               // outline level, 0 for the roots
    };

    struct Node
    {
        QString key;
        QString caption;
        QString oid;
        QString icon;        // image key, empty for none
        QString definition;  // what a directly added definition carries (keyword lines)
        Node *parent = nullptr;
        int row = 0;
        int level = 0;
        std::vector<std::unique_ptr<Node>> children;

        bool isPlaceholder() const { return key.startsWith(QLatin1Char('X')); }
        bool hasPlaceholder() const { return !children.empty() && children.front()->isPlaceholder(); }
    };

    // A row to add: the key is unique or the row is left out.
    struct NewRow
    {
        QString caption;
        QString oid;
        QString key;
        QString icon;
        QString definition;
        bool withPlaceholder = false;
        QString placeholderCaption;
    };

    using Loader = std::function<void(Node *node)>;
    using IconProvider = std::function<QIcon(const QString &key)>;

    explicit MIBTreeModel(QObject *parent = nullptr);
    ~MIBTreeModel() override;

    // Called by fetchMore after the placeholder is gone; loading errors are the caller's.
    void setLoader(Loader loader);
    void setIconProvider(IconProvider provider);

    Node *find(const QString &key) const;
    Node *nodeOf(const QModelIndex &index) const;
    QModelIndex indexOf(const Node *node, int column = 0) const;

    Node *addRoot(const QString &caption, const QString &oid, const QString &key, const QString &icon);
    // Appends the rows whose keys are new as the parent's last children, in one insertion.
    // Returns how many were added.
    int addChildren(Node *parent, const QVector<NewRow> &rows);
    Node *addChild(Node *parent, const NewRow &row);
    // Inserts a row with a new key among the parent's children by the number of
    // its last arc (a placeholder stays first); null when the key exists.
    Node *insertChildInArcOrder(Node *parent, const NewRow &row);
    // Gives a row another key (its placeholder follows) and caption; false when the key is taken.
    bool rekey(Node *node, const QString &key, const QString &caption);
    // Removes a node and everything below it.
    void removeNode(Node *node);
    // Removes the "X:" row under the node, if it has one. True when one was removed.
    bool removePlaceholder(Node *node);
    void setIcon(Node *node, const QString &icon);
    void clear();
    // Between these, rows change without a signal each; views see one reset at the end.
    void beginBulkLoad();
    void endBulkLoad();
    // How many bulk loads are open (0: views see every change).
    int bulkDepth() const { return m_bulk; }

    int nodeCount() const { return int(m_byKey.size()); }
    // Room for this many rows in all, so that a big load does not regrow the key index as it goes.
    void reserve(int rows);
    // Every row in outline order (parents before children, siblings in order),
    // hidden or not: the numbering of a grid that holds the whole outline.
    const QVector<Node *> &rowsInOrder() const;
    // rowsInOrder().at(position), or null when out of range.
    Node *nodeInOutline(int position) const;
    // Position in rowsInOrder(), or -1.
    int orderOf(const Node *node) const;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool canFetchMore(const QModelIndex &parent) const override;
    void fetchMore(const QModelIndex &parent) override;

private:
    std::unique_ptr<Node> makeNode(Node *parent, const NewRow &row, int position);
    void unregister(Node *node);
    const std::vector<std::unique_ptr<Node>> &childrenOf(const QModelIndex &parent) const;

    std::vector<std::unique_ptr<Node>> m_roots;
    QHash<QString, Node *> m_byKey;
    Loader m_loader;
    IconProvider m_iconProvider;
    mutable QVector<Node *> m_order;
    mutable QHash<const Node *, int> m_orderOf;
    mutable bool m_orderValid = false;
    int m_bulk = 0;
};

// Frees a big structure (a cleared outline, a loaded module's look-up tables) on
// a pool thread: tens of milliseconds the UI thread does not wait for.
template <typename T>
void freeInBackground(T &&doomed)
{
    struct Freeing : QRunnable
    {
        explicit Freeing(T &&held)
            : held(std::move(held))
        {
        }
        void run() override { T gone = std::move(held); }
        T held;
    };
    QThreadPool::globalInstance()->start(new Freeing(std::move(doomed)));
}
