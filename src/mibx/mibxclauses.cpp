#include "mibx/mibxclauses.h"

#include "core/database.h"
#include "core/durablebatch.h"
#include "core/globals.h"
#include "core/qxmiboid.h"
#include "core/recordset.h"
#include "mibx/mibxdocument.h"

#include <sqlite3.h>

namespace {

// Rows of one module's object, spelled with its case, for the objects whose
// OID other modules define too: there the record's writer, which writes the
// first row of the OID, could land on another module's row.
void updateOwnRow(const QString &module, const QString &name, const QString &units, const QString &indexBy,
                  const QString &parse)
{
    sqlite3 *handle = Globals::database()->handle();
    sqlite3_stmt *statement = nullptr;
    if (handle == nullptr
        || sqlite3_prepare_v2(handle,
                              "UPDATE Tree SET Units = CASE WHEN ?1 <> '' THEN ?1 ELSE Units END,"
                              " IndexBy = CASE WHEN ?2 <> '' THEN ?2 ELSE IndexBy END,"
                              " Parse = CASE WHEN COALESCE(Parse, '') = '' THEN ?3 ELSE Parse END"
                              " WHERE MIB = ?4 COLLATE BINARY AND Name = ?5 COLLATE BINARY",
                              -1, &statement, nullptr)
            != SQLITE_OK)
        return;
    const QByteArray values[] = {units.toUtf8(), indexBy.toUtf8(), parse.toUtf8(), module.toUtf8(), name.toUtf8()};
    for (int i = 0; i < 5; ++i)
        sqlite3_bind_text(statement, i + 1, values[i].constData(), int(values[i].size()), SQLITE_TRANSIENT);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
}

} // namespace

QString MibxClauses::parseHintOf(const QString &displayHint)
{
    const QString hint = displayHint.trimmed();
    if (hint == QLatin1String("1x:") || hint == QLatin1String("1x-"))
        return QStringLiteral("PhysAddress");
    if (hint == QLatin1String("2d-1d-1d,1d:1d:1d.1d,1a1d:1d"))
        return QStringLiteral("DateAndTime");
    return QString();
}

int MibxClauses::apply(const QString &fileName)
{
    MibxDocument doc;
    if (!doc.load(fileName))
        return 0;
    const QString module = doc.selectSingleNode(QStringLiteral("MIBX/MODULE/NAME")).text();
    const MibxNode tree = doc.selectSingleNode(QStringLiteral("MIBX/TREE"));
    if (module.isEmpty() || tree.isNull())
        return 0;
    Database *db = Globals::database();
    DurableBatch batch(db);
    int applied = 0;
    for (MibxNode object = tree.firstChild(); !object.isNull(); object = object.nextSibling()) {
        const QString units = object.selectSingleNode(QStringLiteral("UNITS")).text();
        const QString indexBy = object.selectSingleNode(QStringLiteral("INDEX")).text();
        const QString parse = parseHintOf(object.selectSingleNode(QStringLiteral("DISPLAY-HINT")).text());
        if (units.isEmpty() && indexBy.isEmpty() && parse.isEmpty())
            continue;
        QXMibOID record;
        record.setFullName(module + u':' + object.nodeName());
        if (record.OID().isEmpty() || record.MIB() != module || record.Name() != object.nodeName())
            continue;
        Recordset rows(db, QStringLiteral("Select Count(*) as n From Tree Where OID=") + Globals::sq(record.OID()));
        if (rows.value(QStringLiteral("n")).toInt() != 1) {
            updateOwnRow(module, object.nodeName(), units, indexBy, parse);
        } else {
            if (!indexBy.isEmpty())
                record.setIndexBy(indexBy);
            if (!parse.isEmpty() && record.Parse().isEmpty())
                record.setParse(parse);
            if (!units.isEmpty())
                record.setUnits(units); // writes the row, IndexBy with it
            else
                record.Sync();
        }
        ++applied;
    }
    batch.finish();
    return applied;
}
