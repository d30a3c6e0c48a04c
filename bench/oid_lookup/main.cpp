// Resolution of instance OIDs through QXMibOID on a database of 200,000+ definitions,
// side by side with the floor of this design: the same number of bare indexed look-ups
// through one prepared SQLite statement on the same file.

#include "measure.h"
#include "netsnmppeer.h"

#include "core/globals.h"
#include "core/qxmiboid.h"
#include "databasebuilder.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <cstdio>

using namespace OidLookupBench;

namespace {

const Clock::time_point processStart = Clock::now();

struct Definition
{
    QString oid;
    bool scalar;
};

// A registration tree shaped like real MIBs: enterprises with tables of columns and groups of scalars.
QVector<Definition> buildDatabase(const QString &path, int wanted)
{
    DatabaseBuilder::create(path);
    sqlite3 *db = nullptr;
    sqlite3_open(path.toUtf8().constData(), &db);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *insert = nullptr;
    sqlite3_prepare_v2(db,
                       "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeI, TypeS, Description, Status, "
                       "Access, Enum, Parse, Units, IndexBy, Calculation, \"Primary\") "
                       "VALUES (?1, ?2, ?3, ?4, ?5, 2, 'Integer32', 'A generated object.', 5, 1, '', '', '', '', '', -1)",
                       -1, &insert, nullptr);
    QVector<Definition> columns;
    int rows = 0;
    auto add = [&](const QString &oid, const QString &mib, const QString &name) {
        const int dot = int(oid.lastIndexOf(u'.'));
        const QByteArray o = oid.toUtf8(), m = mib.toUtf8(), n = name.toUtf8(), p = oid.left(dot).toUtf8();
        sqlite3_bind_text(insert, 1, o.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, m.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 3, n.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 4, p.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(insert, 5, oid.mid(dot + 1).toInt());
        sqlite3_step(insert);
        sqlite3_reset(insert);
        ++rows;
    };
    for (const char *base : {"1", "1.3", "1.3.6", "1.3.6.1", "1.3.6.1.4", "1.3.6.1.4.1"})
        add(QLatin1String(base), QStringLiteral("SNMPv2-SMI"), QStringLiteral("node"));
    for (int enterprise = 1; rows < wanted; ++enterprise) {
        const QString mib = QStringLiteral("GEN-%1-MIB").arg(enterprise);
        const QString e = QStringLiteral("1.3.6.1.4.1.%1").arg(enterprise);
        add(e, mib, QStringLiteral("ent%1").arg(enterprise));
        add(e + QStringLiteral(".1"), mib, QStringLiteral("ent%1Objects").arg(enterprise));
        for (int group = 1; group <= 10 && rows < wanted; ++group) {
            const QString g = e + QStringLiteral(".1.%1").arg(group);
            add(g, mib, QStringLiteral("g%1x%2").arg(enterprise).arg(group));
            for (int s = 1; s <= 5; ++s) {
                add(g + QStringLiteral(".%1").arg(s), mib, QStringLiteral("s%1x%2x%3").arg(enterprise).arg(group).arg(s));
                columns.append({g + QStringLiteral(".%1").arg(s), true});
            }
            const QString table = g + QStringLiteral(".10");
            add(table, mib, QStringLiteral("t%1x%2Table").arg(enterprise).arg(group));
            add(table + QStringLiteral(".1"), mib, QStringLiteral("t%1x%2Entry").arg(enterprise).arg(group));
            for (int c = 1; c <= 12; ++c) {
                const QString col = table + QStringLiteral(".1.%1").arg(c);
                add(col, mib, QStringLiteral("c%1x%2x%3").arg(enterprise).arg(group).arg(c));
                columns.append({col, false});
            }
        }
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    std::printf("database: %d Tree rows\n", rows);
    return columns;
}

// Instance OIDs with one to four suffix arcs (scalars end in .0).
QStringList instanceOids(const QVector<Definition> &definitions, int count, QStringList *bases)
{
    QRandomGenerator rng(20261121);
    QStringList oids;
    oids.reserve(count);
    for (int i = 0; i < count; ++i) {
        const Definition &d = definitions.at(int(rng.bounded(qint64(definitions.size()))));
        QString oid = d.oid;
        if (d.scalar) {
            oid += QStringLiteral(".0");
        } else {
            const int arcs = 1 + int(rng.bounded(4));
            for (int a = 0; a < arcs; ++a)
                oid += u'.' + QString::number(rng.bounded(1, 255));
        }
        oids.append(oid);
        bases->append(d.oid);
    }
    return oids;
}

double bareLookups(const QString &path, const QStringList &bases)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    // The same connection settings as the component's.
    sqlite3_exec(db, "PRAGMA mmap_size=1073741824", nullptr, nullptr, nullptr);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT * FROM Tree WHERE OID = ? AND \"Primary\" = -1", -1, &stmt, nullptr);
    QVector<QByteArray> keys;
    keys.reserve(bases.size());
    for (const QString &b : bases)
        keys.append(b.toUtf8());
    int found = 0;
    const Clock::time_point t0 = Clock::now();
    for (const QByteArray &k : keys) {
        sqlite3_bind_text(stmt, 1, k.constData(), int(k.size()), SQLITE_STATIC);
        if (sqlite3_step(stmt) == SQLITE_ROW && sqlite3_column_bytes(stmt, 2) > 0)
            ++found;
        sqlite3_reset(stmt);
    }
    const double t = seconds(t0, Clock::now());
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    if (found != keys.size())
        std::printf("warning: bare look-ups found %d of %lld\n", found, static_cast<long long>(keys.size()));
    return keys.size() / t;
}

} // namespace

int OidLookupBench::resolveAll(const QStringList &instanceOids)
{
    QXMibOID record;
    int found = 0;
    for (const QString &oid : instanceOids) {
        record.setOID(oid);
        if (!record.BaseOID().isEmpty() && !record.Name().isEmpty())
            ++found;
    }
    return found;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : 200000;

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
    QStringList bases;
    const QStringList oids = instanceOids(buildDatabase(path, 200000), count, &bases);
    Globals::setDatabasePath(path);

    // The first resolution pays for opening the file and preparing the statements.
    const Clock::time_point first0 = Clock::now();
    {
        QXMibOID record;
        record.setOID(oids.first());
    }
    const double firstCost = seconds(first0, Clock::now());

    const Clock::time_point t0 = Clock::now();
    const int found = resolveAll(oids);
    const double ours = oids.size() / seconds(t0, Clock::now());
    const double bare = bareLookups(path, bases);

    std::printf("instance OIDs: %lld (1 to 4 suffix arcs), resolved: %d\n", static_cast<long long>(oids.size()), found);
    std::printf("QXMibOID resolutions/s: %.0f\n", ours);
    std::printf("bare prepared look-ups/s: %.0f\n", bare);
    std::printf("ratio bare/ours: %.2f (goal: at most 3.00; goal rate: at least 100000/s)\n", bare / ours);
    std::printf("first resolution: %.3f ms (process start to then: %.1f ms)\n", firstCost * 1000,
                seconds(processStart, first0) * 1000);

    const NetSnmpPeer::Result peer = NetSnmpPeer::run(path, dir.filePath(QStringLiteral("mibs")), oids, bases);
    std::printf("net-snmp tree (read_objid + get_tree) resolutions/s: %.0f, resolved: %d\n", peer.rate, peer.found);
    std::printf("ratio net-snmp/ours: %.2f\n", peer.rate / ours);
    std::printf("start-up: ours %.3f ms to the first resolution; net-snmp %.1f ms to parse %d modules\n",
                firstCost * 1000, peer.startSeconds * 1000, peer.modules);
    return found == oids.size() ? 0 : 1;
}
