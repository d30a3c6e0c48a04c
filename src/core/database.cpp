#include "database.h"

#include "database_p.h"
#include "qxmiberror.h"
#include "recordset.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QUrl>

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <mutex>

Q_LOGGING_CATEGORY(lcCore, "qxmib.core", QtWarningMsg)

namespace {
// Enough for every shape the component issues; hosts' own statements beyond that recycle the cache.
constexpr int MaxCachedStatements = 256;

QString damaged(const QString &path, int rc)
{
    return QStringLiteral("The MIB database %1 is damaged (%2). Install it again or restore a copy.")
        .arg(path, QString::fromUtf8(sqlite3_errstr(rc)));
}

std::atomic<int> processBusyTimeout{5000};
std::mutex busyHandlerMutex;
Database::BusyWait &busyHandler()
{
    static Database::BusyWait handler;
    return handler;
}

qint64 monotonicMs()
{
    return QDeadlineTimer::current().deadline();
}

// Bytes 18 and 19 of a database file's header are 2 in WAL mode, 1 with a rollback journal.
bool walMode(const QByteArray &file)
{
    QFile f(QFile::decodeName(file));
    if (!f.open(QIODevice::ReadOnly))
        return false;
    const QByteArray header = f.read(20);
    return header.size() == 20 && header.at(18) == 2;
}
} // namespace

DatabasePrivate::~DatabasePrivate()
{
    close();
}

void DatabasePrivate::close()
{
    definitions.reset();
    for (CachedStatement *s : std::as_const(cache)) {
        sqlite3_finalize(s->stmt);
        delete s;
    }
    cache.clear();
    if (db != nullptr && !journalToRestore.isEmpty())
        restoreJournal(journalToRestore);
    journalToRestore.clear();
    if (db != nullptr) {
        sqlite3_close_v2(db);
        db = nullptr;
    }
}

void DatabasePrivate::ensureOpen() const
{
    if (db == nullptr)
        throw QXMibError(QXMibError::DatabaseNotOpen,
                         QStringLiteral("Operation is not allowed when the object is closed (MIB database %1)").arg(path));
}

void DatabasePrivate::throwError(int rc, const QByteArray &sql) const
{
    if (rc == SQLITE_READONLY)
        throw QXMibError(QXMibError::DatabaseReadOnly,
                         QStringLiteral("Cannot update. Database or object is read-only. (%1)").arg(path));
    // The busy wait has run out: another program has been writing for all of it.
    if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED)
        throw QXMibError(QXMibError::DatabaseLocked,
                         QStringLiteral("Could not use the MIB database %1; it is locked by another process. Try "
                                        "again when that process has finished.")
                             .arg(path));
    if (rc == SQLITE_CORRUPT || rc == SQLITE_NOTADB)
        throw QXMibError(QXMibError::DatabaseError, damaged(path, rc));
    const QString message = QString::fromUtf8(db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
    const int number = (rc == SQLITE_ERROR) ? QXMibError::StatementError : QXMibError::DatabaseError;
    if (sql.isEmpty())
        throw QXMibError(number, message);
    throw QXMibError(number, message + QStringLiteral(" (") + QString::fromUtf8(sql) + QLatin1Char(')'));
}

CachedStatement *DatabasePrivate::acquire(const QByteArray &sql)
{
    ensureOpen();
    CachedStatement *entry = cache.value(sql, nullptr);
    if (entry != nullptr && !entry->inUse) {
        entry->inUse = true;
        return entry;
    }
    sqlite3_stmt *stmt = nullptr;
    const char *tail = nullptr;
    const int rc = sqlite3_prepare_v3(db, sql.constData(), int(sql.size()), SQLITE_PREPARE_PERSISTENT, &stmt, &tail);
    if (rc != SQLITE_OK)
        throwError(rc, sql);
    if (stmt == nullptr)
        throw QXMibError(QXMibError::StatementError, QStringLiteral("Empty statement"));
    auto *fresh = new CachedStatement;
    fresh->stmt = stmt;
    fresh->inUse = true;
    const int n = sqlite3_column_count(stmt);
    fresh->columns.reserve(n);
    for (int i = 0; i < n; ++i)
        fresh->columns.append(QString::fromUtf8(sqlite3_column_name(stmt, i)));
    if (entry == nullptr) {
        if (cache.size() >= MaxCachedStatements) {
            for (auto it = cache.begin(); it != cache.end();) {
                if (!it.value()->inUse) {
                    sqlite3_finalize(it.value()->stmt);
                    delete it.value();
                    it = cache.erase(it);
                } else {
                    it.value()->cached = false; // its user finalizes it
                    it = cache.erase(it);
                }
            }
        }
        cache.insert(sql, fresh);
    } else {
        fresh->cached = false;
    }
    return fresh;
}

void DatabasePrivate::release(CachedStatement *statement)
{
    if (statement == nullptr)
        return;
    sqlite3_reset(statement->stmt);
    sqlite3_clear_bindings(statement->stmt);
    if (statement->cached) {
        statement->inUse = false;
    } else {
        sqlite3_finalize(statement->stmt);
        delete statement;
    }
}

void DatabasePrivate::bind(sqlite3_stmt *stmt, const JetDialect::Parameters &parameters)
{
    for (int i = 0; i < parameters.size(); ++i) {
        const JetDialect::Parameter &p = parameters.at(i);
        switch (p.kind) {
        case JetDialect::Parameter::Kind::Text:
            // The parameters outlive the statement's use (the caller keeps them until reset).
            sqlite3_bind_text(stmt, i + 1, p.utf8.constData(), int(p.utf8.size()), SQLITE_STATIC);
            break;
        case JetDialect::Parameter::Kind::Integer:
            sqlite3_bind_int64(stmt, i + 1, p.integer);
            break;
        case JetDialect::Parameter::Kind::Real:
            sqlite3_bind_double(stmt, i + 1, p.real);
            break;
        }
    }
}

void DatabasePrivate::bindValue(sqlite3_stmt *stmt, int position, const QVariant &value)
{
    if (!value.isValid() || value.isNull()) {
        sqlite3_bind_null(stmt, position);
        return;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
        // Booleans are stored as -1 and 0.
        sqlite3_bind_int(stmt, position, value.toBool() ? -1 : 0);
        break;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::ULong:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        sqlite3_bind_int64(stmt, position, value.toLongLong());
        break;
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = value.toDouble();
        // Whole numbers stay integers, as Jet's numeric columns would keep them
        // (those a 64-bit integer holds: converting any other is undefined).
        if (d >= -9223372036854775808.0 && d < 9223372036854775808.0 && d == std::trunc(d))
            sqlite3_bind_int64(stmt, position, qint64(d));
        else
            sqlite3_bind_double(stmt, position, d);
        break;
    }
    case QMetaType::QDateTime:
        sqlite3_bind_text(stmt, position, value.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")).toUtf8().constData(),
                          -1, SQLITE_TRANSIENT);
        break;
    case QMetaType::QDate:
        sqlite3_bind_text(stmt, position, value.toDate().toString(QStringLiteral("yyyy-MM-dd")).toUtf8().constData(), -1,
                          SQLITE_TRANSIENT);
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        sqlite3_bind_blob(stmt, position, bytes.constData(), int(bytes.size()), SQLITE_TRANSIENT);
        break;
    }
    default: {
        const QString text = value.toString();
        sqlite3_bind_text16(stmt, position, text.utf16(), int(text.size() * 2), SQLITE_TRANSIENT);
        break;
    }
    }
}

QVariant DatabasePrivate::columnValue(sqlite3_stmt *stmt, int column)
{
    switch (sqlite3_column_type(stmt, column)) {
    case SQLITE_INTEGER:
        return QVariant(qlonglong(sqlite3_column_int64(stmt, column)));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(stmt, column));
    case SQLITE_TEXT: {
        const char *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt, column));
        return QVariant(QString::fromUtf8(text, sqlite3_column_bytes(stmt, column)));
    }
    case SQLITE_BLOB: {
        const void *blob = sqlite3_column_blob(stmt, column);
        const int bytes = sqlite3_column_bytes(stmt, column);
        return QVariant(QByteArray(static_cast<const char *>(blob), bytes));
    }
    default:
        return QVariant();
    }
}

int DatabasePrivate::busyWait(void *self, int attempt)
{
    auto *d = static_cast<DatabasePrivate *>(self);
    const qint64 now = monotonicMs();
    if (attempt == 0) {
        d->waitStarted = now;
        d->waitReported = now;
    }
    const qint64 waited = now - d->waitStarted;
    if (waited >= d->busyTimeout)
        return 0;
    if (attempt == 0 || now - d->waitReported >= 100) {
        d->waitReported = now;
        Database::BusyWait handler;
        {
            std::lock_guard<std::mutex> lock(busyHandlerMutex);
            handler = busyHandler();
        }
        if (handler)
            handler(*d->q, int(waited), d->busyTimeout);
    }
    // Short steps at first, so that a lock released at once costs next to nothing.
    const int step = attempt < 4 ? 1 << attempt : 20;
    sqlite3_sleep(int(qMin<qint64>(step, d->busyTimeout - waited)));
    return 1;
}

Database::Database(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<DatabasePrivate>())
{
    d->q = this;
    d->busyTimeout = processBusyTimeout.load();
}

int Database::busyTimeout() const
{
    return d->busyTimeout;
}

void Database::setBusyTimeout(int milliseconds)
{
    d->busyTimeout = qMax(0, milliseconds);
}

int Database::defaultBusyTimeout()
{
    return processBusyTimeout.load();
}

void Database::setDefaultBusyTimeout(int milliseconds)
{
    processBusyTimeout.store(qMax(0, milliseconds));
}

void Database::setBusyWaitHandler(BusyWait handler)
{
    std::lock_guard<std::mutex> lock(busyHandlerMutex);
    busyHandler() = std::move(handler);
}

Database::~Database() = default;

namespace {
QString errorText(sqlite3 *db, int rc, char *err)
{
    const QString message = QString::fromUtf8(err != nullptr ? err : (db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc)));
    sqlite3_free(err);
    return message;
}
} // namespace

void Database::open(const QString &path, OpenMode mode)
{
    d->close();
    d->path = path;
    const QFileInfo info(path);
    if (mode == OpenMode::ExistingOnly && !info.isFile())
        throw QXMibError(QXMibError::DatabaseError, QStringLiteral("Could not find file '%1'.").arg(path));

    // Writing needs the file and, for the journal beside it, its folder. An
    // installed database is often neither: then it is read as it is, and every
    // write fails with DatabaseReadOnly.
    const QByteArray file = QFile::encodeName(path);
    const bool creating = !info.exists();
    const bool writable = (creating || ::access(file.constData(), W_OK) == 0)
        && ::access(QFile::encodeName(info.absolutePath()).constData(), W_OK) == 0;
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI;
    if (!writable)
        flags |= SQLITE_OPEN_READONLY;
    else if (mode == OpenMode::CreateIfMissing)
        flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    else
        flags |= SQLITE_OPEN_READWRITE;
    QByteArray uri = QUrl::fromLocalFile(info.absoluteFilePath()).toEncoded();
    // A WAL file needs its shared-memory file beside it, which a reader without
    // write access to the folder cannot create. With no log left over from a
    // writer, the file alone holds every row: read it as unchanging.
    if (!writable && walMode(file) && !QFileInfo::exists(path + QStringLiteral("-wal")))
        uri += "?immutable=1";

    sqlite3 *db = nullptr;
    int rc = sqlite3_open_v2(uri.constData(), &db, flags, nullptr);
    if (rc != SQLITE_OK) {
        const QString message = errorText(db, rc, nullptr);
        sqlite3_close_v2(db);
        throw QXMibError(QXMibError::DatabaseError, message);
    }
    d->db = db;
    sqlite3_busy_handler(db, &DatabasePrivate::busyWait, d.get());
    sqlite3_extended_result_codes(db, 0);

    // A new file gets WAL, so that readers in other processes never wait for a
    // writer. A file that is there keeps its journal mode: a look-up never
    // rewrites it, and an installed file stays in the rollback mode that users
    // without write access to its folder can read. FULL sync puts every
    // committed row on disk before the commit returns, so neither a crash of the
    // process nor of the machine loses it. Look-ups read the file through a
    // memory map instead of a read call per page.
    const char *pragmas = !writable ? "PRAGMA mmap_size=1073741824;"
        : creating ? "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA mmap_size=1073741824;"
                   : "PRAGMA synchronous=FULL; PRAGMA mmap_size=1073741824;";
    char *err = nullptr;
    rc = sqlite3_exec(db, pragmas, nullptr, nullptr, &err);
    // Reading the schema proves it is a database at all (a text file passes open()).
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, &err);
    if (rc != SQLITE_OK) {
        QString message = errorText(db, rc, err);
        if (rc == SQLITE_CORRUPT || rc == SQLITE_NOTADB)
            message = damaged(path, rc);
        d->close();
        throw QXMibError(QXMibError::DatabaseError, message);
    }
    qCDebug(lcCore) << "opened" << path << (writable ? "" : "read-only");
}

bool Database::isOpen() const
{
    return d->db != nullptr;
}

QString Database::path() const
{
    return d->path;
}

int Database::execute(const QString &jetStatement)
{
    d->ensureOpen();
    const JetDialect::Statement st = JetDialect::translate(jetStatement);
    CachedStatement *s = d->acquire(st.sql);
    DatabasePrivate::bind(s->stmt, st.parameters);
    int rc;
    while ((rc = sqlite3_step(s->stmt)) == SQLITE_ROW) {
    }
    if (rc != SQLITE_DONE) {
        const QByteArray sql = st.sql;
        d->release(s);
        d->throwError(rc, sql);
    }
    d->release(s);
    return sqlite3_changes(d->db);
}

QVariantList Database::select(const QString &jetStatement)
{
    QVariantList rows;
    Recordset rs(this, jetStatement);
    while (!rs.eof()) {
        QVariantMap row;
        for (int i = 0; i < rs.fieldCount(); ++i)
            row.insert(rs.fieldName(i), rs.value(i));
        rows.append(row);
        rs.moveNext();
    }
    return rows;
}

void Database::executeScript(const QString &sqliteScript)
{
    d->ensureOpen();
    char *err = nullptr;
    const int rc = sqlite3_exec(d->db, sqliteScript.toUtf8().constData(), nullptr, nullptr, &err);
    if (rc != SQLITE_OK) {
        const QString message = QString::fromUtf8(err != nullptr ? err : sqlite3_errstr(rc));
        sqlite3_free(err);
        throw QXMibError(QXMibError::StatementError, message);
    }
}

sqlite3 *Database::handle() const
{
    return d->db;
}
