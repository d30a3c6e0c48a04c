#pragma once

// The definitions of one connection held in memory, for the OID record's
// look-ups: every answer is the one its statement would give at that moment.

#include "qxmibtreecore_export.h"

#include <QHash>
#include <QSharedData>
#include <QString>
#include <QStringView>
#include <QVariant>
#include <QVector>

#include <cstdint>
#include <memory>

class Database;
struct sqlite3;
struct sqlite3_stmt;

// A Tree row as the OID record loads it (text columns with Null read as empty
// text). Records share the cache's copy; it never changes once read.
struct TreeDefinition : public QSharedData
{
    QString oid;
    QString parentOid;
    QString mib;
    QString name;
    QString typeName;
    QString description;
    QString enumeration;
    QString parse;
    QString units;
    QString indexBy;
    QString calculation;
    int typeCode = 0;
    int status = 0;
    int access = 0;
    bool hasCalculation = false; // older files lack the column
};

struct EnumValue
{
    QVariant value;
    QString label;
};

struct TypeDefinition
{
    QString type;
    QString root;
    QVariant value;
};

class QXMIBTREECORE_EXPORT DefinitionCache
{
public:
    explicit DefinitionCache(Database *db);
    ~DefinitionCache();
    DefinitionCache(const DefinitionCache &) = delete;
    DefinitionCache &operator=(const DefinitionCache &) = delete;

    // The cache of the connection, or null when it is not open (then the
    // statements run and fail as they always did).
    static DefinitionCache *of(Database *db);

    // Drops everything when this connection or another one has written since
    // the last call. Every look-up below begins with it.
    void revalidate();

    // What the cache answers for this file. It knows the shipped schema: every
    // column the readers ask for, and indexes that return rows in the order the
    // cache reproduces. For a file prepared otherwise the callers run their statements.
    enum class Question { TreeRows, Oids, Enums, Types };
    bool answers(Question question);
    // The connection's cache, revalidated, when it answers the question; else null.
    static DefinitionCache *answering(Database *db, Question question);
    // Off, every look-up runs its statement (tests compare the two).
    static void setEnabled(bool enabled);

    // The first primary row whose OID is `text` or, failing that, the longest
    // prefix of it that ends before a dot (never the empty prefix). *matched is
    // that prefix's length. Rows returned stay valid while a record holds them.
    const TreeDefinition *resolve(QStringView text, qsizetype *matched);
    // For each prefix of `oid` that ends before a dot and for `oid` itself: the
    // Name of the first row with that OID, primary or not, else the last arc.
    QString longName(QStringView oid);
    // The first row of a Tree statement of the form "Select [TOP n] * From Tree ...",
    // remembered by the statement's text; null when it has none.
    const TreeDefinition *firstRow(const QString &jetStatement);
    // The rows of "Select * From Enums Where Name = <set> order by Value", in that order.
    const QVector<EnumValue> &enumSet(const QString &setName);
    // The rows of "Select * From Types" in the order returned.
    const QVector<TypeDefinition> &types();

    struct Usage
    {
        qint64 bytes = 0;
        int nodes = 0;
        int rows = 0;
        int statements = 0;
        int enumSets = 0;
        qint64 drops = 0;
        qint64 loads = 0; // range scans and row reads that reached SQLite
    };
    Usage usage() const;
    // What the cache may hold before it starts over.
    static constexpr qint64 MemoryBudget = 256 * 1024 * 1024;

private:
    class Private;
    std::unique_ptr<Private> d;
};
