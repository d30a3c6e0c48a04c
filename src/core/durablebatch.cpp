#include "durablebatch.h"

#include "database.h"
#include "database_p.h"
#include "qxmiberror.h"

#include <QByteArray>
#include <QLoggingCategory>

#include <sqlite3.h>

Q_DECLARE_LOGGING_CATEGORY(lcCore)

namespace {

QByteArray pragma(sqlite3 *db, const char *sql)
{
    sqlite3_stmt *stmt = nullptr;
    QByteArray value;
    if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW)
        value = reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0));
    sqlite3_finalize(stmt);
    return value.toLower();
}

} // namespace

// Gives the file its journal mode back. Leaving WAL needs the file to itself:
// while another connection holds it in WAL this fails at once, the file stays in
// WAL with every row in its log, and the next batch, or the connection's close,
// tries again.
bool DatabasePrivate::restoreJournal(const QByteArray &mode)
{
    sqlite3_busy_timeout(db, 200);
    const bool restored = pragma(db, ("PRAGMA journal_mode=" + mode).constData()) == mode;
    sqlite3_busy_handler(db, &DatabasePrivate::busyWait, this);
    if (!restored)
        qCInfo(lcCore) << "the database stays in WAL until no other connection holds it:" << sqlite3_errmsg(db);
    return restored;
}

DurableBatch::DurableBatch(Database *db)
    : m_db(db)
{
    sqlite3 *h = db != nullptr && db->isOpen() ? db->handle() : nullptr;
    if (h == nullptr || sqlite3_db_readonly(h, "main") != 0 || sqlite3_get_autocommit(h) == 0)
        return;
    const QByteArray mode = pragma(h, "PRAGMA journal_mode");
    if (mode == "delete" || mode == "truncate" || mode == "persist") {
        if (pragma(h, "PRAGMA journal_mode=WAL") != "wal")
            return;
        m_journalMode = mode;
    } else if (mode != "wal") {
        return;
    }
    m_synchronous = pragma(h, "PRAGMA synchronous").toInt();
    m_checkpointPages = pragma(h, "PRAGMA wal_autocheckpoint").toInt();
    // A checkpoint waits for the disk twice; over a batch, one per 32 MB of log.
    sqlite3_exec(h, "PRAGMA synchronous=NORMAL; PRAGMA wal_autocheckpoint=8192", nullptr, nullptr, nullptr);
    m_active = true;
}

DurableBatch::~DurableBatch()
{
    end(false);
}

void DurableBatch::finish()
{
    end(true);
}

void DurableBatch::end(bool throwing)
{
    if (!m_active)
        return;
    m_active = false;
    sqlite3 *h = m_db->handle();
    if (h == nullptr)
        return;
    sqlite3_exec(h,
                 QByteArray("PRAGMA synchronous=" + QByteArray::number(m_synchronous) + "; PRAGMA wal_autocheckpoint="
                            + QByteArray::number(m_checkpointPages))
                     .constData(),
                 nullptr, nullptr, nullptr);
    // Everything committed in the batch sits in the log: one sync makes it durable.
    sqlite3_file *log = nullptr;
    int rc = sqlite3_file_control(h, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (rc == SQLITE_OK && log != nullptr && log->pMethods != nullptr)
        rc = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
    QByteArray &pending = m_db->d->journalToRestore;
    if (!m_journalMode.isEmpty())
        pending = m_journalMode;
    if (!pending.isEmpty() && m_db->d->restoreJournal(pending))
        pending.clear();
    if (rc != SQLITE_OK && throwing)
        throw QXMibError(QXMibError::DatabaseError,
                         QStringLiteral("Could not write the database to disk: %1").arg(QString::fromUtf8(sqlite3_errstr(rc))));
}
