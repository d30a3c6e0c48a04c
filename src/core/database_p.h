#pragma once

#include "definitioncache_p.h"
#include "jetdialect_p.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <sqlite3.h>

#include <memory>

// A prepared statement kept per statement shape. One user at a time: a second
// user of the same shape while the first still reads gets a private copy.
struct CachedStatement
{
    sqlite3_stmt *stmt = nullptr;
    QStringList columns;
    bool inUse = false;
    bool cached = true;
};

class DatabasePrivate
{
public:
    ~DatabasePrivate();

    void close();
    void ensureOpen() const;
    [[noreturn]] void throwError(int rc, const QByteArray &sql) const;

    CachedStatement *acquire(const QByteArray &sql);
    void release(CachedStatement *statement);
    static void bind(sqlite3_stmt *stmt, const JetDialect::Parameters &parameters);
    static void bindValue(sqlite3_stmt *stmt, int position, const QVariant &value);
    static QVariant columnValue(sqlite3_stmt *stmt, int column);

    sqlite3 *db = nullptr;
    QString path;
    QHash<QByteArray, CachedStatement *> cache;
    QHash<QString, QByteArray> quotedNames; // column and table names as written statements quote them
    // Built on the first look-up that uses it; dropped with the connection.
    std::unique_ptr<DefinitionCache> definitions;
    // The journal mode a write batch could not give back yet (DurableBatch).
    QByteArray journalToRestore;
    bool restoreJournal(const QByteArray &mode);

    // sqlite3_busy_handler: sleeps in short steps until the time-out, telling the handler as it goes.
    static int busyWait(void *self, int attempt);
    Database *q = nullptr;
    int busyTimeout = 5000;
    qint64 waitStarted = 0; // monotonic ms when the current wait began
    qint64 waitReported = 0;
};
