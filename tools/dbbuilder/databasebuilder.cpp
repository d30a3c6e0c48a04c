#include "databasebuilder.h"

#include "core/database.h"
#include "core/qxmiberror.h"
#include "mibx/mibxdocument.h"

#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

namespace {
QString resourceText(const QString &name)
{
    QFile f(name);
    if (!f.open(QIODevice::ReadOnly))
        throw QXMibError(QXMibError::DatabaseError, QStringLiteral("Missing built-in resource %1").arg(name));
    return QString::fromUtf8(f.readAll());
}
} // namespace

void DatabaseBuilder::create(const QString &path)
{
    if (QFileInfo::exists(path))
        throw QXMibError(QXMibError::DatabaseError, QStringLiteral("%1 already exists").arg(path));
    Database db;
    db.open(path, Database::OpenMode::CreateIfMissing);
    db.executeScript(resourceText(QStringLiteral(":/qxmib/schema.sql")));

    db.executeScript(QStringLiteral("BEGIN"));
    const QStringList lines = resourceText(QStringLiteral(":/qxmib/types.tsv")).split(u'\n');
    for (const QString &line : lines) {
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        const QStringList f = line.split(u'\t');
        if (f.size() == 3)
            addType(db, f.at(0), f.at(1), f.at(2).toInt());
    }
    // The roots of the registration tree are implicit in every MIB module (and an
    // import cannot write an OID of one arc), so that OIDs read by name from the
    // top (iso.org.dod.internet...) the database carries them from the start.
    db.executeScript(QStringLiteral(
        "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeI, TypeS, Description, Status, Access, Enum, "
        "Parse, Units, IndexBy, Calculation, \"Primary\") VALUES "
        "('0', 'SNMPv2-SMI', 'ccitt', '', 0, 0, '', 'The root of the ITU-T registration tree.', 0, 0, '', '', '', '', '', -1),"
        "('1', 'SNMPv2-SMI', 'iso', '', 1, 0, '', 'The root of the ISO registration tree.', 0, 0, '', '', '', '', '', -1),"
        "('2', 'SNMPv2-SMI', 'joint-iso-ccitt', '', 2, 0, '', 'The root of the joint ISO and ITU-T registration tree.', "
        "0, 0, '', '', '', '', '', -1)"));
    db.executeScript(QStringLiteral("COMMIT"));
}

void DatabaseBuilder::seal(const QString &path)
{
    Database db;
    db.open(path);
    db.executeScript(QStringLiteral("PRAGMA journal_mode=DELETE"));
}

bool DatabaseBuilder::addType(Database &db, const QString &type, const QString &root, int code)
{
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db.handle(), "INSERT OR IGNORE INTO Types (Type, Root, Value) VALUES (?, ?, ?)", -1, &stmt, nullptr);
    const QByteArray t = type.toUtf8();
    const QByteArray r = root.toUpper().toUtf8();
    sqlite3_bind_text(stmt, 1, t.constData(), int(t.size()), SQLITE_TRANSIENT);
    sqlite3_bind_text(stmt, 2, r.constData(), int(r.size()), SQLITE_TRANSIENT);
    sqlite3_bind_int(stmt, 3, code);
    const int rc = sqlite3_step(stmt);
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE)
        throw QXMibError(QXMibError::DatabaseError, QString::fromUtf8(sqlite3_errmsg(db.handle())));
    return sqlite3_changes(db.handle()) > 0;
}

int DatabaseBuilder::addMibxTypes(Database &db, const QString &fileName)
{
    MibxDocument doc;
    if (!doc.load(fileName))
        return 0;
    int added = 0;
    for (const MibxNode &t : doc.selectSingleNode(QStringLiteral("MIBX/TYPES")).childNodes()) {
        const QString name = t.selectSingleNode(QStringLiteral("NAME")).text();
        const QString root = t.selectSingleNode(QStringLiteral("ROOT")).text();
        bool ok = false;
        const int code = t.selectSingleNode(QStringLiteral("CODE")).text().toInt(&ok);
        if (!name.isEmpty() && !root.isEmpty() && ok && addType(db, name, root, code))
            ++added;
    }
    return added;
}
