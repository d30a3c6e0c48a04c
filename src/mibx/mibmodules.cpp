#include "mibx/mibmodules.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "core/recordset.h"

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QVariant>

#include <sqlite3.h>

namespace {

// A date and time the way the user's locale writes them in full (the date alone
// at midnight); without a locale, the database's own form.
QString generalDate(const QDateTime &dt)
{
    const QLocale locale;
    const bool midnight = dt.time() == QTime(0, 0);
    if (locale.language() == QLocale::C)
        return dt.toString(midnight ? QStringLiteral("yyyy-MM-dd") : QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    const QString date = locale.toString(dt.date(), QLocale::ShortFormat);
    if (midnight)
        return date;
    // The long time form with seconds, but without a time zone the stored time does not carry.
    QString timeFormat = locale.timeFormat(QLocale::LongFormat);
    static const QRegularExpression zone(QStringLiteral("\\s*t+\\s*"));
    timeFormat = timeFormat.replace(zone, QString()).trimmed();
    return date + u' ' + locale.toString(dt.time(), timeFormat);
}

QString shownTime(const QVariant &value)
{
    if (value.isNull())
        return {};
    if (value.typeId() == QMetaType::QDateTime)
        return generalDate(value.toDateTime());
    const QString text = value.toString().trimmed();
    QDateTime dt = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!dt.isValid())
        dt = QDateTime::fromString(text, Qt::ISODate);
    return dt.isValid() ? generalDate(dt) : text;
}

int total(const QString &statement)
{
    Recordset rs(Globals::database(), statement);
    return rs.eof() ? 0 : rs.value(QStringLiteral("Total")).toInt();
}

// The statements of the component put names between single quotes; a name
// holding one never reached the database, and still does not.
void refuseQuotes(const QString &name)
{
    if (name.contains(u'\''))
        throw QXMibError(QXMibError::StatementError,
                         QStringLiteral("Syntax error in string in query expression 'MIB=%1'").arg(Globals::sq(name)));
}

sqlite3 *openHandle()
{
    sqlite3 *handle = Globals::database()->handle();
    if (handle == nullptr)
        throw QXMibError(QXMibError::DatabaseError, QStringLiteral("The MIB database is not open"));
    return handle;
}

// Runs one statement with the module name bound to ?1, the first column of its
// rows into `rows`. Module names compare with their case here: MODEM-MIB and
// Modem-MIB are two modules.
void runBound(sqlite3 *handle, const char *sql, const QString &name, QStringList *rows)
{
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(handle, sql, -1, &statement, nullptr) != SQLITE_OK)
        throw QXMibError(QXMibError::DatabaseError, QString::fromUtf8(sqlite3_errmsg(handle)));
    const QByteArray bound = name.toUtf8();
    if (sqlite3_bind_parameter_count(statement) > 0)
        sqlite3_bind_text(statement, 1, bound.constData(), int(bound.size()), SQLITE_TRANSIENT);
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
        if (rows != nullptr)
            rows->append(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0))));
    }
    sqlite3_finalize(statement);
    if (step == SQLITE_READONLY)
        throw QXMibError(QXMibError::DatabaseReadOnly, QString::fromUtf8(sqlite3_errmsg(handle)));
    if (step != SQLITE_DONE)
        throw QXMibError(QXMibError::DatabaseError, QString::fromUtf8(sqlite3_errmsg(handle)));
}

} // namespace

QList<MIBModules::Module> MIBModules::list()
{
    QList<Module> modules;
    Recordset rs(Globals::database(), QStringLiteral("Select * From MIBs Order By Name"));
    for (; !rs.eof(); rs.moveNext())
        modules.append({rs.text(QStringLiteral("Name")).trimmed(), shownTime(rs.value(QStringLiteral("Imported")))});
    return modules;
}

QString MIBModules::find(const QString &name)
{
    refuseQuotes(name);
    QStringList names;
    runBound(openHandle(), "SELECT Name FROM MIBs WHERE Name = ?1 COLLATE NOCASE ORDER BY Name COLLATE BINARY", name,
             &names);
    for (const QString &listed : std::as_const(names)) {
        if (listed == name)
            return listed;
    }
    return names.value(0);
}

int MIBModules::objectCount(const QString &name)
{
    refuseQuotes(name);
    QStringList count;
    runBound(openHandle(), "SELECT COUNT(*) FROM Tree WHERE MIB = ?1 COLLATE BINARY", name, &count);
    return count.value(0).toInt();
}

int MIBModules::totalObjectCount()
{
    return total(QStringLiteral("Select Count(*) as Total From Tree"));
}

QStringList MIBModules::remove(const QString &name)
{
    sqlite3 *handle = openHandle();
    auto run = [&](const char *sql, QStringList *rows) { runBound(handle, sql, name, rows); };
    refuseQuotes(name);
    QStringList remaining;
    run("SAVEPOINT RemoveModule", nullptr);
    try {
        // The OIDs the module defines, before its rows go.
        run("CREATE TEMP TABLE IF NOT EXISTS RemovedOIDs (OID TEXT PRIMARY KEY)", nullptr);
        run("DELETE FROM RemovedOIDs", nullptr);
        run("INSERT OR IGNORE INTO RemovedOIDs SELECT OID FROM Tree WHERE MIB = ?1 COLLATE BINARY", nullptr);
        run("DELETE FROM Tree WHERE MIB = ?1 COLLATE BINARY", nullptr);
        run("DELETE FROM MIBs WHERE Name = ?1 COLLATE BINARY", nullptr);
        // Where no primary row is left, the definition of the module updated last takes over.
        run("UPDATE Tree SET \"Primary\" = -1 WHERE rowid IN ("
            " SELECT (SELECT t.rowid FROM Tree t LEFT JOIN MIBs m ON m.Name = t.MIB COLLATE BINARY WHERE t.OID = r.OID"
            "         ORDER BY COALESCE(m.LastUpdated, '') DESC, t.MIB COLLATE BINARY DESC LIMIT 1)"
            " FROM RemovedOIDs r WHERE NOT EXISTS"
            "  (SELECT 1 FROM Tree p WHERE p.OID = r.OID AND p.\"Primary\" <> 0))",
            nullptr);
        run("SELECT DISTINCT MIB COLLATE BINARY FROM Tree WHERE OID IN (SELECT OID FROM RemovedOIDs) ORDER BY 1", &remaining);
        run("DELETE FROM RemovedOIDs", nullptr);
        run("RELEASE RemoveModule", nullptr);
    } catch (const QXMibError &) {
        sqlite3_exec(handle, "ROLLBACK TO RemoveModule; RELEASE RemoveModule", nullptr, nullptr, nullptr);
        throw;
    }
    return remaining;
}
