#include "definitioncache_p.h"

#include "database.h"
#include "database_p.h"
#include "globals.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <QFile>
#include <QSet>
#include <QVarLengthArray>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// How the OID look-ups are kept. Definitions form a tree of arcs ("segments",
// the texts between dots) that is filled lazily, one subtree at a time, by range
// scans of the OID index: a subtree of at most ScanLimit rows is read whole and
// then answers every question below it from memory ("complete"); a larger one
// is marked partial, and its children are read one by one as they are asked
// for. So the first look-up after start reads a few hundred index entries, not
// the table, and a walk through one table column reads that column once.
//
// Rows come in the index's order (OID, Primary, rowid), which is the order the
// look-up statements return them in: the first row of an OID is the one "Select
// Name ... WHERE OID =" returns, the first row with Primary = -1 the one the
// primary look-up returns. The cache is used only where the file's indexes make
// that so (answers()).
//
// Coherence: the connection's change counter and rollback hook see this
// connection's writes; the database file's header and, in WAL mode, the
// wal-index header (both read through shared read-only mappings, so a check
// costs no system call) change with every commit of any process. Where they
// cannot be mapped, PRAGMA data_version is asked instead.

namespace {

constexpr int ScanLimit = 512;
constexpr quint32 NoNode = 0xffffffffu;
constexpr quint32 OddSegment = 0x80000000u;
// Bytes compared: the database header, and the first copy of the wal-index header.
constexpr size_t DatabaseHeaderBytes = 100;
constexpr size_t WalIndexHeaderBytes = 48;

// A read-only view of the first bytes of a file, shared with its writers.
class FileHeaderView
{
public:
    ~FileHeaderView() { close(); }
    bool open(const QByteArray &path, size_t bytes)
    {
        close();
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return false;
        struct stat st = {};
        void *map = MAP_FAILED;
        if (::fstat(fd, &st) == 0 && st.st_size >= off_t(bytes))
            map = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0);
        ::close(fd);
        if (map == MAP_FAILED)
            return false;
        m_map = static_cast<const unsigned char *>(map);
        m_bytes = bytes;
        std::memcpy(m_seen, m_map, m_bytes);
        return true;
    }
    void close()
    {
        if (m_map != nullptr)
            ::munmap(const_cast<unsigned char *>(m_map), m_bytes);
        m_map = nullptr;
    }
    bool isOpen() const { return m_map != nullptr; }
    // Whether the bytes differ from the last call's.
    bool changed()
    {
        if (m_map == nullptr || std::memcmp(m_map, m_seen, m_bytes) == 0)
            return false;
        std::memcpy(m_seen, m_map, m_bytes);
        return true;
    }
    unsigned char byte(size_t i) const { return m_seen[i]; }

private:
    const unsigned char *m_map = nullptr;
    size_t m_bytes = 0;
    unsigned char m_seen[DatabaseHeaderBytes] = {};
};

struct Node
{
    quint64 path = 0;       // hash of the segment keys from the root
    qint64 primaryRow = -1; // rowid of the first row with Primary = -1
    qint64 anyRow = -1;     // rowid of the first row, primary or not
    int primarySlot = -1;   // where those rows are held, once read
    int anySlot = -1;
    bool complete = false;  // every row below is in the tree
    bool leaf = true;       // no child nodes
};

quint64 fmix(quint64 k)
{
    k ^= k >> 33;
    k *= 0xff51afd7ed558ccdULL;
    k ^= k >> 33;
    k *= 0xc4ceb9fe1a85ec53ULL;
    k ^= k >> 33;
    return k;
}

quint64 childPath(quint64 parentPath, quint32 key)
{
    return fmix(parentPath * 0x9e3779b97f4a7c15ULL + key + 1);
}

// Nodes by the hash of their whole path, open addressing. The slot of every
// prefix of an OID is known before any is read, so a look-up fetches them all
// at once instead of chasing one level after another; parent and key confirm
// each hit. A slot carries what a resolution needs of its node, so the walk
// reads nothing else. The array asks for huge pages: look-ups land anywhere in
// it, and with small pages nearly each would miss the TLB.
class NodeMap
{
public:
    enum Flag : quint8 { Complete = 1, Leaf = 2, HasPrimary = 4, Used = 0x80 };
    struct Slot
    {
        quint64 path;
        const TreeDefinition *primary; // the primary row, once read
        quint32 node;
        quint32 parent;
        quint32 key;
        quint8 flags;
    };

    NodeMap() = default;
    NodeMap(const NodeMap &) = delete;
    NodeMap &operator=(const NodeMap &) = delete;
    ~NodeMap() { release(); }

    void prefetch(quint64 path) const
    {
        if (m_slots != nullptr)
            __builtin_prefetch(&m_slots[path & m_mask]);
    }
    Slot *find(quint64 path, quint32 parent, quint32 key) const
    {
        if (m_slots == nullptr)
            return nullptr;
        for (size_t i = path & m_mask;; i = (i + 1) & m_mask) {
            Slot &s = m_slots[i];
            if (s.flags == 0)
                return nullptr;
            if (s.path == path && s.parent == parent && s.key == key)
                return &s;
        }
    }
    void insert(const Slot &slot)
    {
        if ((m_size + 1) * 2 > m_capacity)
            grow();
        size_t i = slot.path & m_mask;
        while (m_slots[i].flags != 0)
            i = (i + 1) & m_mask;
        m_slots[i] = slot;
        m_slots[i].flags |= Used;
        ++m_size;
    }
    void clear() { release(); }
    qint64 bytes() const { return qint64(m_capacity * sizeof(Slot)); }
    // Changes whenever slots move or go.
    quint64 generation() const { return m_generation; }

private:
    static Slot *allocate(size_t count)
    {
        const size_t bytes = count * sizeof(Slot);
        void *p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED)
            throw std::bad_alloc();
        if (bytes >= (2u << 20))
            ::madvise(p, bytes, MADV_HUGEPAGE);
        return static_cast<Slot *>(p); // zero-filled: every slot unused
    }
    void release()
    {
        if (m_slots != nullptr)
            ::munmap(m_slots, m_capacity * sizeof(Slot));
        m_slots = nullptr;
        m_capacity = m_mask = m_size = 0;
        ++m_generation;
    }
    void grow()
    {
        Slot *old = m_slots;
        const size_t oldCapacity = m_capacity;
        m_capacity = oldCapacity == 0 ? 1024 : oldCapacity * 2;
        m_slots = allocate(m_capacity);
        m_mask = m_capacity - 1;
        m_size = 0;
        for (size_t i = 0; i < oldCapacity; ++i) {
            if (old[i].flags != 0)
                insert(old[i]);
        }
        if (old != nullptr)
            ::munmap(old, oldCapacity * sizeof(Slot));
        ++m_generation;
    }
    Slot *m_slots = nullptr;
    size_t m_capacity = 0;
    size_t m_mask = 0;
    size_t m_size = 0;
    quint64 m_generation = 1;
};

// A segment that is a plain arc (digits, no leading zero, below 2^31) is its own key.
template<typename Char>
bool plainArc(const Char *s, qsizetype n, quint32 *value)
{
    if (n == 0 || n > 10 || (n > 1 && s[0] == Char('0')))
        return false;
    quint64 v = 0;
    for (qsizetype i = 0; i < n; ++i) {
        const auto c = s[i];
        if (c < Char('0') || c > Char('9'))
            return false;
        v = v * 10 + quint64(c - Char('0'));
    }
    if (v >= OddSegment)
        return false;
    *value = quint32(v);
    return true;
}

QString columnText(sqlite3_stmt *stmt, int i)
{
    if (sqlite3_column_type(stmt, i) == SQLITE_TEXT) {
        if (sqlite3_column_bytes(stmt, i) == 0)
            return QString();
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, i)), sqlite3_column_bytes(stmt, i));
    }
    const QVariant v = DatabasePrivate::columnValue(stmt, i);
    return v.isNull() ? QString() : v.toString();
}

int columnIndex(const QStringList &columns, const QString &name)
{
    // As a recordset finds a field: the schema's spelling first, then any case.
    const int exact = int(columns.indexOf(name));
    if (exact >= 0)
        return exact;
    for (int i = 0; i < columns.size(); ++i) {
        if (columns.at(i).compare(name, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

// Where the record's columns stand in a statement's rows.
struct TreeColumns
{
    enum { Oid, ParentOid, Mib, Name, TypeI, TypeS, Description, Status, Access, Enum, Parse, Units, IndexBy, Calculation, Count };
    int at[Count];

    explicit TreeColumns(const QStringList &columns)
    {
        static const char *const names[Count] = {"OID",    "ParentOID", "MIB",  "Name",  "TypeI", "TypeS",   "Description",
                                                 "Status", "Access",    "Enum", "Parse", "Units", "IndexBy", "Calculation"};
        for (int i = 0; i < Count; ++i)
            at[i] = columnIndex(columns, QLatin1String(names[i]));
    }
    bool complete() const
    {
        // Older database files may lack the last two.
        for (int i = 0; i < IndexBy; ++i) {
            if (at[i] < 0)
                return false;
        }
        return true;
    }
    TreeDefinition *read(sqlite3_stmt *stmt) const
    {
        auto *p = new TreeDefinition;
        TreeDefinition &t = *p;
        t.oid = columnText(stmt, at[Oid]);
        t.parentOid = columnText(stmt, at[ParentOid]);
        t.mib = columnText(stmt, at[Mib]);
        t.name = columnText(stmt, at[Name]);
        t.typeCode = DatabasePrivate::columnValue(stmt, at[TypeI]).toInt();
        t.typeName = columnText(stmt, at[TypeS]);
        t.description = columnText(stmt, at[Description]);
        t.status = DatabasePrivate::columnValue(stmt, at[Status]).toInt();
        t.access = DatabasePrivate::columnValue(stmt, at[Access]).toInt();
        t.enumeration = columnText(stmt, at[Enum]);
        t.parse = columnText(stmt, at[Parse]);
        t.units = columnText(stmt, at[Units]);
        if (at[IndexBy] >= 0)
            t.indexBy = columnText(stmt, at[IndexBy]);
        t.hasCalculation = at[Calculation] >= 0;
        if (t.hasCalculation)
            t.calculation = columnText(stmt, at[Calculation]);
        return p;
    }
};

qint64 textBytes(const QString &s)
{
    return s.isEmpty() ? 0 : 16 + 2 * (s.size() + 1);
}

} // namespace

class DefinitionCache::Private
{
public:
    explicit Private(Database *database)
        : db(database)
        , handle(database->handle())
    {
    }
    ~Private()
    {
        sqlite3_rollback_hook(handle, nullptr, nullptr);
        sqlite3_finalize(scanStatement);
        sqlite3_finalize(rowStatement);
        sqlite3_finalize(dataVersionStatement);
    }

    void start();
    bool walIndexMissing() const;
    void watchWalIndex();
    qint64 dataVersion();
    // Whether another connection committed since the last call (a read: this
    // connection joins the file's journal mode on it).
    bool dataVersionChanged();
    void drop();
    void checkSchema();
    sqlite3_stmt *prepare(const char *sql);
    [[noreturn]] void fail(int rc, sqlite3_stmt *stmt);

    quint32 segmentKey(QStringView segment);
    quint32 segmentKey(const char *segment, qsizetype n);
    quint32 addChild(quint32 parent, quint32 key);
    quint8 flagsOf(quint32 node) const
    {
        const Node &n = nodes.at(node);
        return quint8((n.complete ? NodeMap::Complete : 0) | (n.leaf ? NodeMap::Leaf : 0)
                      | (n.primaryRow >= 0 ? NodeMap::HasPrimary : 0) | NodeMap::Used);
    }
    // The child of a partial node, read from the database.
    quint32 loadChild(quint32 parent, quint32 key, QStringView text);

    // The nodes of the prefixes of an OID that ends[i] closes, as far as
    // there are any (reading partial nodes' children as needed).
    struct Trace
    {
        QVarLengthArray<qsizetype, 32> ends;
        QVarLengthArray<quint32, 32> keys;        // of each segment
        QVarLengthArray<NodeMap::Slot *, 32> slots;
        QVarLengthArray<quint32, 32> nodes;       // of each slot
        quint64 generation = 0;                   // of the map the slots point into
    };
    // The trace of a text, kept until the next one (which starts from it).
    const Trace &trace(QStringView text);
    void finish(QStringView text);

    // The row held in a slot, read first when needed; null when it is gone.
    const TreeDefinition *row(qint64 rowid, int *slot);
    const TreeDefinition *hold(qint64 rowid, TreeDefinition *t);
    void intern(QString &text);
    void account(qint64 bytes)
    {
        usage.bytes += bytes;
        if (usage.bytes > DefinitionCache::MemoryBudget)
            overBudget = true;
    }

    Database *db;
    sqlite3 *handle;

    // Coherence.
    qint64 changes = 0;
    bool rolledBack = false;
    FileHeaderView databaseHeader;
    FileHeaderView walIndexHeader;
    bool immutable = false;
    bool askDataVersion = false;
    qint64 lastDataVersion = 0;
    sqlite3_stmt *dataVersionStatement = nullptr;

    // What the file's schema lets the cache answer; read again after every drop.
    bool schemaChecked = false;
    bool treeRows = false;
    bool oids = false;
    bool enums = false;
    bool typeRows = false;

    QVector<Node> nodes;
    NodeMap map;
    // The last trace: a walk asks for one OID after another below the same nodes.
    QString lastText;
    Trace last;
    QHash<QString, quint32> oddSegments;
    QVector<QExplicitlySharedDataPointer<TreeDefinition>> rows;
    QHash<qint64, int> slots; // rowid -> index in rows
    QSet<QString> texts;      // texts that rows share
    QHash<QString, qint64> firstRows; // statement text -> rowid, -1 for none
    QHash<QString, QVector<EnumValue>> enumSets;
    QVector<TypeDefinition> types;
    bool typesLoaded = false;
    bool overBudget = false;

    sqlite3_stmt *scanStatement = nullptr;
    sqlite3_stmt *rowStatement = nullptr;
    std::unique_ptr<TreeColumns> rowColumns;

    DefinitionCache::Usage usage;
};

void DefinitionCache::Private::start()
{
    nodes.append(Node());
    changes = sqlite3_total_changes64(handle);
    sqlite3_rollback_hook(
        handle, [](void *self) { static_cast<Private *>(self)->rolledBack = true; }, this);
    const char *file = sqlite3_db_filename(handle, "main");
    immutable = file != nullptr && sqlite3_uri_boolean(file, "immutable", 0) != 0;
    if (file != nullptr && *file != '\0')
        databaseHeader.open(QByteArray(file), DatabaseHeaderBytes);
    lastDataVersion = dataVersion();
    watchWalIndex();
}

bool DefinitionCache::Private::walIndexMissing() const
{
    // Bytes 18 and 19 of the header are 2 in WAL mode. An immutable file is
    // never read again by SQLite, so neither is its log.
    return databaseHeader.isOpen() && databaseHeader.byte(18) == 2 && !immutable && !walIndexHeader.isOpen();
}

void DefinitionCache::Private::watchWalIndex()
{
    walIndexHeader.close();
    if (walIndexMissing()) {
        // Mapped only while this connection holds the log open itself (it has
        // read since the file turned to WAL), so no other process removes it
        // under the mapping.
        const QByteArray file(sqlite3_db_filename(handle, "main"));
        walIndexHeader.open(file + "-shm", WalIndexHeaderBytes);
    }
    // Where nothing can be mapped, SQLite is asked on every look-up.
    askDataVersion = !databaseHeader.isOpen() || walIndexMissing();
}

bool DefinitionCache::Private::dataVersionChanged()
{
    const qint64 v = dataVersion();
    const bool changed = v != lastDataVersion;
    lastDataVersion = v;
    return changed;
}

qint64 DefinitionCache::Private::dataVersion()
{
    if (dataVersionStatement == nullptr)
        dataVersionStatement = prepare("PRAGMA data_version");
    if (dataVersionStatement == nullptr)
        return -1;
    const int rc = sqlite3_step(dataVersionStatement);
    const qint64 v = rc == SQLITE_ROW ? sqlite3_column_int64(dataVersionStatement, 0) : -1;
    sqlite3_reset(dataVersionStatement);
    return v;
}

sqlite3_stmt *DefinitionCache::Private::prepare(const char *sql)
{
    sqlite3_stmt *stmt = nullptr;
    const int rc = sqlite3_prepare_v3(handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_finalize(stmt);
        return nullptr;
    }
    return stmt;
}

void DefinitionCache::Private::fail(int rc, sqlite3_stmt *stmt)
{
    const QByteArray sql(sqlite3_sql(stmt));
    sqlite3_reset(stmt);
    db->d->throwError(rc, sql);
}

void DefinitionCache::Private::drop()
{
    nodes = QVector<Node>();
    nodes.append(Node());
    map.clear();
    oddSegments.clear();
    rows = QVector<QExplicitlySharedDataPointer<TreeDefinition>>();
    slots = QHash<qint64, int>();
    texts = QSet<QString>();
    firstRows.clear();
    enumSets.clear();
    types = QVector<TypeDefinition>();
    typesLoaded = false;
    schemaChecked = false;
    overBudget = false;
    usage.bytes = 0;
    ++usage.drops;
}

namespace {

// The rows of a pragma with one text argument, as texts by column name.
QVector<QHash<QByteArray, QByteArray>> pragmaRows(sqlite3 *handle, const char *sql, const QByteArray &argument)
{
    QVector<QHash<QByteArray, QByteArray>> rows;
    sqlite3_stmt *stmt = nullptr;
    if (sqlite3_prepare_v2(handle, sql, -1, &stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt);
        return rows;
    }
    sqlite3_bind_text(stmt, 1, argument.constData(), int(argument.size()), SQLITE_TRANSIENT);
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        QHash<QByteArray, QByteArray> row;
        for (int i = 0; i < sqlite3_column_count(stmt); ++i)
            row.insert(sqlite3_column_name(stmt, i), reinterpret_cast<const char *>(sqlite3_column_text(stmt, i)));
        rows.append(row);
    }
    sqlite3_finalize(stmt);
    return rows;
}

QByteArray lower(const QByteArray &s)
{
    return s.toLower();
}

// Whether the one index whose key starts with wanted[0] has exactly `wanted`
// as its key, ascending and in each column's own collation: then every look-up
// by that column reads it, and rows come in its order.
bool onlyIndex(sqlite3 *handle, const char *table, const QList<QByteArray> &wanted)
{
    int leading = 0;
    bool match = false;
    for (const auto &index : pragmaRows(handle, "SELECT * FROM pragma_index_list(?1)", table)) {
        if (index.value("partial") != "0")
            continue;
        QList<QByteArray> columns;
        bool ordered = true;
        for (const auto &c : pragmaRows(handle, "SELECT * FROM pragma_index_xinfo(?1)", index.value("name"))) {
            if (c.value("key") != "1")
                continue;
            const char *collation = nullptr;
            const QByteArray name = c.value("name");
            if (name.isEmpty() || c.value("desc") != "0"
                || sqlite3_table_column_metadata(handle, "main", table, name.constData(), nullptr, &collation, nullptr,
                                                 nullptr, nullptr) != SQLITE_OK
                || lower(collation) != lower(c.value("coll")))
                ordered = false;
            columns.append(lower(name));
        }
        if (columns.isEmpty() || columns.first() != lower(wanted.first()))
            continue;
        ++leading;
        match = ordered && columns.size() == wanted.size();
        for (int i = 0; match && i < wanted.size(); ++i)
            match = columns.at(i) == lower(wanted.at(i));
    }
    return leading == 1 && match;
}

bool hasColumns(sqlite3 *handle, const char *table, const QList<QByteArray> &wanted)
{
    QList<QByteArray> names;
    for (const auto &c : pragmaRows(handle, "SELECT name FROM pragma_table_info(?1)", table))
        names.append(lower(c.value("name")));
    for (const QByteArray &w : wanted) {
        if (!names.contains(lower(w)))
            return false;
    }
    return true;
}

} // namespace

void DefinitionCache::Private::checkSchema()
{
    schemaChecked = true;
    treeRows = oids = false;
    if (rowStatement == nullptr)
        rowStatement = prepare("SELECT * FROM Tree WHERE rowid = ?");
    if (rowStatement != nullptr) {
        QStringList names;
        for (int i = 0; i < sqlite3_column_count(rowStatement); ++i)
            names.append(QString::fromUtf8(sqlite3_column_name(rowStatement, i)));
        rowColumns = std::make_unique<TreeColumns>(names);
        treeRows = rowColumns->complete();
    }
    if (scanStatement == nullptr) {
        // "Primary" = -1 is the look-up's own test, with the column's affinity.
        scanStatement = prepare("SELECT OID, \"Primary\" = -1, rowid FROM Tree WHERE OID >= ?1 AND OID < ?2 "
                                "ORDER BY OID, \"Primary\", rowid");
    }
    const char *collation = nullptr;
    const bool binaryOids = sqlite3_table_column_metadata(handle, "main", "Tree", "OID", nullptr, &collation, nullptr,
                                                          nullptr, nullptr) == SQLITE_OK
        && lower(collation) == "binary";
    oids = treeRows && binaryOids && scanStatement != nullptr && onlyIndex(handle, "Tree", {"OID", "Primary"});
    enums = hasColumns(handle, "Enums", {"Name", "Value", "Enum"}) && onlyIndex(handle, "Enums", {"Name", "Value"});
    typeRows = hasColumns(handle, "Types", {"Type", "Root", "Value"});
}

quint32 DefinitionCache::Private::segmentKey(QStringView segment)
{
    quint32 v = 0;
    if (plainArc(segment.utf16(), segment.size(), &v))
        return v;
    const QString text = segment.toString();
    const auto it = oddSegments.constFind(text);
    if (it != oddSegments.cend())
        return *it;
    const quint32 key = OddSegment | quint32(oddSegments.size());
    oddSegments.insert(text, key);
    account(textBytes(text) + 32);
    return key;
}

quint32 DefinitionCache::Private::segmentKey(const char *segment, qsizetype n)
{
    quint32 v = 0;
    if (plainArc(segment, n, &v))
        return v;
    return segmentKey(QString::fromUtf8(segment, n));
}

quint32 DefinitionCache::Private::addChild(quint32 parent, quint32 key)
{
    const quint32 index = quint32(nodes.size());
    Node n;
    n.path = childPath(nodes.at(parent).path, key);
    nodes.append(n);
    nodes[parent].leaf = false;
    map.insert({n.path, nullptr, index, parent, key, 0});
    account(qint64(sizeof(Node) + 2 * sizeof(NodeMap::Slot)));
    return index;
}

quint32 DefinitionCache::Private::loadChild(quint32 parent, quint32 key, QStringView text)
{
    ++usage.loads;
    const QByteArray low = text.toUtf8();
    const QByteArray high = low + '/';
    const qsizetype n = low.size();
    sqlite3_bind_text(scanStatement, 1, low.constData(), int(n), SQLITE_STATIC);
    sqlite3_bind_text(scanStatement, 2, high.constData(), int(high.size()), SQLITE_STATIC);

    struct Below
    {
        qsizetype from; // the OID after "text." in rests
        qsizetype size;
        qint64 rowid;
        bool primary;
    };
    Node own;
    std::vector<Below> below;
    QByteArray rests;
    int read = 0;
    QByteArray boundary; // the first row not read when the scan stopped early
    bool cut = false;
    int rc;
    while ((rc = sqlite3_step(scanStatement)) == SQLITE_ROW) {
        const char *oid = reinterpret_cast<const char *>(sqlite3_column_text(scanStatement, 0));
        const qsizetype size = sqlite3_column_bytes(scanStatement, 0);
        const bool primary = sqlite3_column_int(scanStatement, 1) != 0;
        const qint64 rowid = sqlite3_column_int64(scanStatement, 2);
        if (size == n && std::memcmp(oid, low.constData(), size_t(n)) == 0) {
            if (own.anyRow < 0)
                own.anyRow = rowid;
            if (primary && own.primaryRow < 0)
                own.primaryRow = rowid;
            continue;
        }
        if (++read > ScanLimit) {
            cut = true;
            boundary = QByteArray(oid, size);
            break;
        }
        // Rows of OIDs that continue the text with a character sorting before
        // "." fall in the range too but belong to a sibling segment.
        if (size > n && oid[n] == '.') {
            below.push_back({rests.size(), size - n - 1, rowid, primary});
            rests.append(oid + n + 1, size - n - 1);
        }
    }
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        fail(rc, scanStatement);
    sqlite3_reset(scanStatement);
    sqlite3_clear_bindings(scanStatement);

    const quint32 node = addChild(parent, key);
    own.path = nodes.at(node).path;
    own.complete = !cut;
    nodes[node] = own;

    // Children whose whole range lies before the point where the scan stopped are complete.
    QByteArray group;
    bool groupRead = true;
    struct Made
    {
        quint32 node;
        quint32 parent;
        quint32 key;
    };
    std::vector<Made> made; // nodes made here, for their flags
    made.push_back({node, parent, key});
    // Rows come in OID order: each starts from the nodes it shares with the one before.
    QByteArrayView previous;
    QVarLengthArray<qsizetype, 32> previousEnds;
    QVarLengthArray<quint32, 32> previousNodes;
    for (const Below &b : below) {
        const QByteArrayView rest = QByteArrayView(rests).sliced(b.from, b.size);
        if (cut) {
            const qsizetype dot = rest.indexOf('.');
            const QByteArrayView head = dot < 0 ? rest : rest.first(dot);
            if (group.isNull() || head != QByteArrayView(group)) {
                group = head.toByteArray();
                groupRead = (low + '.' + group + '/') <= boundary;
            }
        }
        if (!groupRead)
            continue;
        const qsizetype common =
            std::mismatch(rest.begin(), rest.begin() + qMin(rest.size(), previous.size()), previous.begin()).first
            - rest.begin();
        qsizetype shared = 0;
        while (shared < previousEnds.size()
               && (previousEnds.at(shared) < common
                   || (previousEnds.at(shared) == common && (common == rest.size() || rest.at(common) == '.'))))
            ++shared;
        previousEnds.resize(shared);
        previousNodes.resize(shared);
        quint32 at = shared > 0 ? previousNodes.at(shared - 1) : node;
        qsizetype from = shared > 0 ? previousEnds.at(shared - 1) + 1 : 0;
        while (from <= rest.size()) {
            qsizetype end = rest.indexOf('.', from);
            if (end < 0)
                end = rest.size();
            const quint32 k = segmentKey(rest.data() + from, end - from);
            const NodeMap::Slot *slot = map.find(childPath(nodes.at(at).path, k), at, k);
            quint32 next = slot != nullptr ? slot->node : NoNode;
            if (next == NoNode) {
                next = addChild(at, k);
                nodes[next].complete = true;
                made.push_back({next, at, k});
            }
            at = next;
            previousEnds.append(end);
            previousNodes.append(at);
            from = end + 1;
        }
        previous = rest;
        Node &target = nodes[at];
        if (target.anyRow < 0)
            target.anyRow = b.rowid;
        if (b.primary && target.primaryRow < 0)
            target.primaryRow = b.rowid;
    }
    // The parent is partial, so its own flags stand.
    for (const Made &m : made)
        map.find(nodes.at(m.node).path, m.parent, m.key)->flags = flagsOf(m.node);
    return node;
}

const DefinitionCache::Private::Trace &DefinitionCache::Private::trace(QStringView text)
{
    const char16_t *c = text.utf16();
    const qsizetype n = text.size();
    Trace &t = last;
    // The segments this text shares with the last one traced keep their slots,
    // as long as the map has not moved them.
    const bool reusable = map.generation() == t.generation;
    t.generation = 0; // until the trace is complete
    const qsizetype common =
        reusable ? std::mismatch(c, c + qMin(n, lastText.size()), lastText.utf16()).first - c : 0;
    qsizetype reused = 0;
    qsizetype segment = 0;
    bool leaf = false;
    for (qsizetype i = 0;; ++i) {
        if (i < n && c[i] != u'.')
            continue;
        // A segment ends here: kept while it ends where the last one's did, within the shared text.
        if (reusable && reused == segment && !leaf && segment < t.slots.size() && i <= common
            && t.ends.at(segment) == i) {
            ++reused;
            const quint8 flags = t.slots.at(segment)->flags;
            leaf = (flags & NodeMap::Complete) && (flags & NodeMap::Leaf);
        } else if (segment < t.ends.size()) {
            t.ends[segment] = i;
        } else {
            t.ends.append(i);
        }
        ++segment;
        if (i == n)
            break;
    }
    t.ends.resize(segment);
    t.keys.resize(reused);
    t.nodes.resize(reused);
    t.slots.resize(reused);
    if (leaf) {
        finish(text);
        return t;
    }

    // The keys and path hashes of the rest, fetched from the map all at once.
    QVarLengthArray<quint64, 32> paths;
    quint64 path = reused > 0 ? t.slots.at(reused - 1)->path : nodes.at(0).path;
    for (qsizetype i = reused; i < t.ends.size(); ++i) {
        const qsizetype from = i == 0 ? 0 : t.ends.at(i - 1) + 1;
        const qsizetype size = t.ends.at(i) - from;
        quint32 key = 0;
        if (!plainArc(c + from, size, &key))
            key = segmentKey(text.mid(from, size));
        path = childPath(path, key);
        map.prefetch(path);
        t.keys.append(key);
        paths.append(path);
    }
    const quint64 generation = map.generation();
    quint32 node = reused > 0 ? t.slots.at(reused - 1)->node : 0;
    quint8 flags = reused > 0 ? t.slots.at(reused - 1)->flags : flagsOf(0);
    for (qsizetype i = reused; i < t.ends.size(); ++i) {
        const quint64 p = paths.at(i - reused);
        NodeMap::Slot *slot = map.find(p, node, t.keys.at(i));
        if (slot == nullptr) {
            if (flags & NodeMap::Complete)
                break;
            const quint32 loaded = loadChild(node, t.keys.at(i), text.left(t.ends.at(i)));
            slot = map.find(p, node, t.keys.at(i));
            Q_ASSERT(slot != nullptr && slot->node == loaded);
        }
        node = slot->node;
        flags = slot->flags;
        t.slots.append(slot);
        t.nodes.append(node);
        if ((flags & NodeMap::Complete) && (flags & NodeMap::Leaf))
            break;
    }
    if (map.generation() != generation) {
        // Reading a child grew the map: the slots found before it moved.
        for (qsizetype i = 0; i < t.slots.size(); ++i)
            t.slots[i] = map.find(nodes.at(t.nodes.at(i)).path, i == 0 ? 0 : t.nodes.at(i - 1), t.keys.at(i));
    }
    finish(text);
    return t;
}

void DefinitionCache::Private::finish(QStringView text)
{
    lastText.resize(text.size());
    std::copy(text.begin(), text.end(), lastText.data());
    last.generation = map.generation();
}

void DefinitionCache::Private::intern(QString &text)
{
    if (text.isEmpty())
        return;
    const auto it = texts.constFind(text);
    if (it != texts.cend()) {
        text = *it;
    } else {
        texts.insert(text);
        account(textBytes(text) + 32);
    }
}

const TreeDefinition *DefinitionCache::Private::hold(qint64 rowid, TreeDefinition *t)
{
    // Module, type, parent and the rest repeat from row to row: rows share them.
    intern(t->parentOid);
    intern(t->mib);
    intern(t->typeName);
    intern(t->description);
    if (t->enumeration == t->name)
        t->enumeration = t->name;
    else
        intern(t->enumeration);
    intern(t->parse);
    intern(t->units);
    intern(t->indexBy);
    intern(t->calculation);
    account(qint64(sizeof(TreeDefinition)) + 48 + textBytes(t->oid) + textBytes(t->name));
    slots.insert(rowid, int(rows.size()));
    rows.append(QExplicitlySharedDataPointer<TreeDefinition>(t));
    return t;
}

const TreeDefinition *DefinitionCache::Private::row(qint64 rowid, int *slot)
{
    if (*slot >= 0)
        return rows.at(*slot).constData();
    const auto it = slots.constFind(rowid);
    if (it != slots.cend()) {
        *slot = *it;
        return rows.at(*slot).constData();
    }
    ++usage.loads;
    sqlite3_bind_int64(rowStatement, 1, rowid);
    const int rc = sqlite3_step(rowStatement);
    if (rc == SQLITE_DONE) {
        // Gone since the scan: another process wrote in between, and the next look-up starts over.
        sqlite3_reset(rowStatement);
        return nullptr;
    }
    if (rc != SQLITE_ROW)
        fail(rc, rowStatement);
    TreeDefinition *t = rowColumns->read(rowStatement);
    sqlite3_reset(rowStatement);
    *slot = int(rows.size());
    return hold(rowid, t);
}

DefinitionCache::DefinitionCache(Database *db)
    : d(std::make_unique<Private>(db))
{
    d->start();
}

DefinitionCache::~DefinitionCache() = default;

DefinitionCache *DefinitionCache::of(Database *db)
{
    if (db == nullptr || !db->isOpen())
        return nullptr;
    std::unique_ptr<DefinitionCache> &cache = db->d->definitions;
    if (!cache)
        cache = std::make_unique<DefinitionCache>(db);
    return cache.get();
}

namespace {
std::atomic<bool> cacheEnabled{true};
}

void DefinitionCache::setEnabled(bool enabled)
{
    cacheEnabled = enabled;
}

DefinitionCache *DefinitionCache::answering(Database *db, Question question)
{
    DefinitionCache *cache = cacheEnabled ? of(db) : nullptr;
    if (cache == nullptr)
        return nullptr;
    cache->revalidate();
    return cache->answers(question) ? cache : nullptr;
}

void DefinitionCache::revalidate()
{
    bool stale = d->overBudget || d->rolledBack;
    d->rolledBack = false;
    const qint64 changes = sqlite3_total_changes64(d->handle);
    if (changes != d->changes) {
        d->changes = changes;
        stale = true;
    }
    const bool headerChanged = d->databaseHeader.changed();
    if (headerChanged || d->walIndexMissing()) {
        // Perhaps another journal mode: join it, then watch what it writes.
        stale = d->dataVersionChanged() || headerChanged || stale;
        d->watchWalIndex();
    } else {
        if (d->walIndexHeader.changed())
            stale = true;
        if (d->askDataVersion && d->dataVersionChanged())
            stale = true;
    }
    if (stale)
        d->drop();
}

bool DefinitionCache::answers(Question question)
{
    if (!d->schemaChecked)
        d->checkSchema();
    switch (question) {
    case Question::TreeRows:
        return d->treeRows;
    case Question::Oids:
        return d->oids;
    case Question::Enums:
        return d->enums;
    case Question::Types:
        return d->typeRows;
    }
    return false;
}

const TreeDefinition *DefinitionCache::resolve(QStringView text, qsizetype *matched)
{
    *matched = 0;
    if (text.isEmpty())
        return nullptr;
    const Private::Trace &t = d->trace(text);
    for (qsizetype i = t.slots.size() - 1; i >= 0; --i) {
        NodeMap::Slot *slot = t.slots.at(i);
        // The look-up never asks for the empty text that a leading dot leaves.
        if ((slot->flags & NodeMap::HasPrimary) && t.ends.at(i) > 0) {
            if (slot->primary == nullptr) {
                Node &n = d->nodes[slot->node];
                slot->primary = d->row(n.primaryRow, &n.primarySlot);
            }
            if (slot->primary != nullptr)
                *matched = t.ends.at(i);
            return slot->primary;
        }
    }
    return nullptr;
}

QString DefinitionCache::longName(QStringView oid)
{
    const Private::Trace &t = d->trace(oid);
    QString result;
    result.reserve(oid.size() * 3);
    for (qsizetype i = 0; i < t.ends.size(); ++i) {
        const qsizetype from = i == 0 ? 0 : t.ends.at(i - 1) + 1;
        if (i > 0)
            result += u'.';
        const TreeDefinition *row = nullptr;
        if (i < t.slots.size()) {
            Node &n = d->nodes[t.slots.at(i)->node];
            if (n.anyRow >= 0)
                row = d->row(n.anyRow, &n.anySlot);
        }
        if (row != nullptr)
            result += row->name;
        else
            result += oid.mid(from, t.ends.at(i) - from);
    }
    return result;
}

const TreeDefinition *DefinitionCache::firstRow(const QString &jetStatement)
{
    const auto known = d->firstRows.constFind(jetStatement);
    if (known != d->firstRows.cend()) {
        int slot = -1;
        return *known < 0 ? nullptr : d->row(*known, &slot);
    }

    ++d->usage.loads;
    // The statement itself, with SQLite's key of each row in front.
    const JetDialect::Statement st = JetDialect::translate(jetStatement, true);
    DatabasePrivate *db = d->db->d.get();
    CachedStatement *s = db->acquire(st.sql);
    DatabasePrivate::bind(s->stmt, st.parameters);
    const int rc = sqlite3_step(s->stmt);
    qint64 rowid = -1;
    std::unique_ptr<TreeDefinition> t;
    if (rc == SQLITE_ROW) {
        rowid = sqlite3_column_int64(s->stmt, 0);
        t.reset(TreeColumns(s->columns).read(s->stmt));
    }
    db->release(s);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE)
        db->throwError(rc, st.sql);
    d->firstRows.insert(jetStatement, rowid);
    d->account(textBytes(jetStatement) + 40);
    if (rowid < 0)
        return nullptr;
    const auto it = d->slots.constFind(rowid);
    if (it != d->slots.cend())
        return d->rows.at(*it).constData();
    return d->hold(rowid, t.release());
}

const QVector<EnumValue> &DefinitionCache::enumSet(const QString &setName)
{
    const auto known = d->enumSets.constFind(setName);
    if (known != d->enumSets.cend())
        return *known;
    ++d->usage.loads;
    QVector<EnumValue> values;
    Recordset rs(d->db, QStringLiteral("Select * From Enums Where Name = ") + Globals::dq(setName)
                            + QStringLiteral(" order by Value"));
    qint64 bytes = textBytes(setName) + 64;
    while (!rs.eof()) {
        values.append({rs.value(QStringLiteral("Value")), rs.text(QStringLiteral("Enum"))});
        bytes += 48 + textBytes(values.last().label);
        rs.moveNext();
    }
    d->account(bytes);
    return *d->enumSets.insert(setName, values);
}

const QVector<TypeDefinition> &DefinitionCache::types()
{
    if (d->typesLoaded)
        return d->types;
    ++d->usage.loads;
    QVector<TypeDefinition> types;
    Recordset rs(d->db, QStringLiteral("Select * From Types"));
    while (!rs.eof()) {
        types.append({rs.text(QStringLiteral("Type")), rs.text(QStringLiteral("Root")), rs.value(QStringLiteral("Value"))});
        rs.moveNext();
    }
    d->types = types;
    d->typesLoaded = true;
    d->account(types.size() * 96);
    return d->types;
}

DefinitionCache::Usage DefinitionCache::usage() const
{
    Usage u = d->usage;
    u.nodes = int(d->nodes.size());
    u.rows = int(d->rows.size());
    u.statements = int(d->firstRows.size());
    u.enumSets = int(d->enumSets.size());
    return u;
}
