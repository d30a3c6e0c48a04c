// OID resolution through QXMibOID, side by side with net-snmp's parsed MIB tree
// (read_objid + get_tree) in the same process, in two settings:
//  1. the instance OIDs of a real device walk (snmpsim's recorded Linux host)
//     against the default database, net-snmp reading the same definitions;
//  2. a generated database of 200,000 definitions, net-snmp reading modules
//     generated from the same rows.
// Rates are the best of three runs, by CPU time (the machine is shared) and by
// wall time. Goals are printed with each figure.

#include "measure.h"
#include "netsnmppeer.h"

#include "core/database.h"
#include "core/definitioncache_p.h"
#include "core/globals.h"
#include "core/qxmiboid.h"
#include "databasebuilder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <cstdio>
#include <memory>
#include <vector>

using namespace OidLookupBench;

namespace {

const Clock::time_point processStart = Clock::now();
int failedGoals = 0;

void goal(const char *what, bool met)
{
    std::printf("  goal %s: %s\n", what, met ? "met" : "NOT MET");
    if (!met)
        ++failedGoals;
}

void printRate(const char *what, const Rate &r)
{
    std::printf("  %-44s %10.0f/s CPU  %10.0f/s wall\n", what, r.cpu, r.wall);
}

qint64 residentBytes()
{
    QFile f(QStringLiteral("/proc/self/statm"));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = f.readAll().split(' ');
    return fields.size() > 1 ? fields.at(1).toLongLong() * 4096 : 0;
}

void printCacheUsage(qint64 rssBefore)
{
    const DefinitionCache::Usage u = DefinitionCache::of(Globals::database())->usage();
    std::printf("  cache: %.1f MB counted (%d tree nodes, %d rows, %d name statements, %d enumeration sets); "
                "process grew %.1f MB\n",
                u.bytes / 1e6, u.nodes, u.rows, u.statements, u.enumSets, (residentBytes() - rssBefore) / 1e6);
}

struct Workload
{
    QStringList oids;
    QVector<int> values; // the recorded integer value per OID, or -1
};

// The OIDs of a recorded walk, in walk order.
Workload recordedWalk(const QString &file)
{
    Workload w;
    QProcess gzip;
    gzip.start(QStringLiteral("gzip"), {QStringLiteral("-dcf"), file});
    if (!gzip.waitForFinished(30000) || gzip.exitCode() != 0)
        return w;
    for (const QByteArray &line : gzip.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> f = line.split('|');
        if (f.size() < 3)
            continue;
        w.oids.append(QString::fromLatin1(f.at(0)));
        bool ok = false;
        const int v = f.at(2).toInt(&ok);
        w.values.append(f.at(1) == "2" && ok ? v : -1);
    }
    return w;
}

double firstResolution(const QString &oid)
{
    const Clock::time_point t0 = Clock::now();
    QXMibOID record;
    record.setOID(oid);
    return seconds(t0, Clock::now());
}

struct Ours
{
    Rate resolve;
    Rate longName;
    Rate enumString;
    int resolved = 0;
    int enumerated = 0;
    QStringList names;
};

// Warm rates over a workload repeated until about `total` operations.
Ours measureOurs(const Workload &w, qint64 total, int longNameRecords)
{
    Ours o;
    const int passes = int(std::max<qint64>(1, total / w.oids.size()));
    QXMibOID record;
    for (const QString &oid : w.oids) {
        record.setOID(oid);
        if (!record.Name().isEmpty())
            ++o.resolved;
        o.names.append(record.BaseName());
    }
    o.resolve = measure(qint64(passes) * w.oids.size(), [&] {
        for (int p = 0; p < passes; ++p) {
            for (const QString &oid : w.oids)
                record.setOID(oid);
        }
    });

    std::vector<std::unique_ptr<QXMibOID>> records;
    QVector<QPair<QXMibOID *, int>> enumerated;
    for (int i = 0; i < w.oids.size() && int(records.size()) < longNameRecords; ++i) {
        records.push_back(std::make_unique<QXMibOID>());
        records.back()->setOID(w.oids.at(i));
        if (!records.back()->Enumerated().isEmpty() && w.values.at(i) >= 0)
            enumerated.append({records.back().get(), w.values.at(i)});
    }
    const int namePasses = int(std::max<qint64>(1, total / 4 / qint64(records.size())));
    qint64 length = 0;
    o.longName = measure(qint64(namePasses) * qint64(records.size()), [&] {
        for (int p = 0; p < namePasses; ++p) {
            for (const auto &r : records)
                length += r->LongName().size();
        }
    });
    o.enumerated = int(enumerated.size());
    if (!enumerated.isEmpty()) {
        const int enumPasses = int(std::max<qint64>(1, total / enumerated.size()));
        o.enumString = measure(qint64(enumPasses) * enumerated.size(), [&] {
            for (int p = 0; p < enumPasses; ++p) {
                for (const auto &e : std::as_const(enumerated))
                    length += e.first->EnumString(e.second).size();
            }
        });
    }
    return o;
}

int agreeing(const QStringList &ours, const QStringList &peer)
{
    int same = 0;
    for (int i = 0; i < ours.size() && i < peer.size(); ++i)
        same += ours.at(i) == peer.at(i) ? 1 : 0;
    return same;
}

void report(const Ours &o, const NetSnmpPeer::Result &peer, double first, int count)
{
    std::printf("  first resolution after the database was chosen: %.3f ms\n", first * 1000);
    goal("first resolution <= 10 ms", first <= 0.010);
    printRate("QXMibOID.OID resolutions (warm)", o.resolve);
    printRate("net-snmp read_objid + get_tree", peer.rate);
    std::printf("  ours / net-snmp (CPU): %.2f\n", o.resolve.cpu / peer.rate.cpu);
    goal(">= 1,000,000 resolutions/s", o.resolve.cpu >= 1e6);
    goal(">= half net-snmp's rate", o.resolve.cpu >= 0.5 * peer.rate.cpu);
    std::printf("  resolved: ours %d of %d; same definition name as net-snmp: %d; net-snmp parsed %d module files "
                "in %.1f ms\n",
                o.resolved, count, agreeing(o.names, peer.labels), peer.modules, peer.startSeconds * 1000);
    printRate("LongName", o.longName);
    goal("LongName >= 300,000/s", o.longName.cpu >= 3e5);
    printRate(qPrintable(QStringLiteral("EnumString (%1 enumerated records)").arg(o.enumerated)), o.enumString);
    goal("EnumString >= 2,000,000/s", o.enumString.cpu >= 2e6);
}

// A registration tree shaped like real MIBs: enterprises with tables of columns
// and groups of scalars; the first column of every table is enumerated.
QStringList buildDatabase(const QString &path, int wanted, QVector<bool> *scalars)
{
    DatabaseBuilder::create(path);
    sqlite3 *db = nullptr;
    sqlite3_open(path.toUtf8().constData(), &db);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *insert = nullptr;
    sqlite3_prepare_v2(db,
                       "INSERT INTO Tree (OID, MIB, Name, ParentOID, \"Index\", TypeI, TypeS, Description, Status, "
                       "Access, Enum, Parse, Units, IndexBy, Calculation, \"Primary\") "
                       "VALUES (?1, ?2, ?3, ?4, ?5, 2, 'Integer32', 'A generated object.', 5, 1, ?6, '', '', '', '', -1)",
                       -1, &insert, nullptr);
    sqlite3_stmt *enumInsert = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO Enums (Name, Value, Enum) VALUES (?1, ?2, ?3)", -1, &enumInsert, nullptr);
    QStringList definitions;
    int rows = 0;
    auto add = [&](const QString &oid, const QString &mib, const QString &name, const QString &enumName = QString()) {
        const int dot = int(oid.lastIndexOf(u'.'));
        const QByteArray o = oid.toUtf8(), m = mib.toUtf8(), n = name.toUtf8(), p = oid.left(dot).toUtf8(),
                         e = enumName.toUtf8();
        sqlite3_bind_text(insert, 1, o.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 2, m.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 3, n.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 4, p.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(insert, 5, oid.mid(dot + 1).toInt());
        sqlite3_bind_text(insert, 6, e.constData(), -1, SQLITE_TRANSIENT);
        sqlite3_step(insert);
        sqlite3_reset(insert);
        ++rows;
    };
    for (const char *base : {"1.3", "1.3.6", "1.3.6.1", "1.3.6.1.4", "1.3.6.1.4.1"})
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
                definitions.append(g + QStringLiteral(".%1").arg(s));
                scalars->append(true);
            }
            const QString table = g + QStringLiteral(".10");
            add(table, mib, QStringLiteral("t%1x%2Table").arg(enterprise).arg(group));
            add(table + QStringLiteral(".1"), mib, QStringLiteral("t%1x%2Entry").arg(enterprise).arg(group));
            for (int c = 1; c <= 12; ++c) {
                const QString col = table + QStringLiteral(".1.%1").arg(c);
                const QString name = QStringLiteral("c%1x%2x%3").arg(enterprise).arg(group).arg(c);
                add(col, mib, name, c == 1 ? name : QString());
                if (c == 1) {
                    for (int v = 1; v <= 6; ++v) {
                        const QByteArray n = name.toUtf8(), label = "state" + QByteArray::number(v);
                        sqlite3_bind_text(enumInsert, 1, n.constData(), -1, SQLITE_TRANSIENT);
                        sqlite3_bind_int(enumInsert, 2, v);
                        sqlite3_bind_text(enumInsert, 3, label.constData(), -1, SQLITE_TRANSIENT);
                        sqlite3_step(enumInsert);
                        sqlite3_reset(enumInsert);
                    }
                }
                definitions.append(col);
                scalars->append(false);
            }
        }
    }
    sqlite3_finalize(insert);
    sqlite3_finalize(enumInsert);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    std::printf("  database: %d Tree rows (plus the three roots)\n", rows);
    return definitions;
}

// Instance OIDs with one to four suffix arcs (scalars end in .0), in random order.
Workload instanceOids(const QStringList &definitions, const QVector<bool> &scalars, int count)
{
    QRandomGenerator rng(20261121);
    Workload w;
    for (int i = 0; i < count; ++i) {
        const int d = int(rng.bounded(qint64(definitions.size())));
        QString oid = definitions.at(d);
        if (scalars.at(d)) {
            oid += QStringLiteral(".0");
        } else {
            const int arcs = 1 + int(rng.bounded(4));
            for (int a = 0; a < arcs; ++a)
                oid += u'.' + QString::number(rng.bounded(1, 255));
        }
        w.oids.append(oid);
        w.values.append(1 + int(rng.bounded(6)));
    }
    return w;
}

// The floor of a statement per look-up: one prepared, indexed SQLite look-up per definition.
Rate bareLookups(const QString &path, const QStringList &oids)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_exec(db, "PRAGMA mmap_size=1073741824", nullptr, nullptr, nullptr);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db, "SELECT * FROM Tree WHERE OID = ? AND \"Primary\" = -1", -1, &stmt, nullptr);
    QVector<QByteArray> keys;
    for (const QString &o : oids)
        keys.append(o.toUtf8());
    const Rate r = measure(keys.size(), [&] {
        for (const QByteArray &k : std::as_const(keys)) {
            sqlite3_bind_text(stmt, 1, k.constData(), int(k.size()), SQLITE_STATIC);
            sqlite3_step(stmt);
            sqlite3_reset(stmt);
        }
    });
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return r;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    // bench_oid_lookup [COUNT [SETTING]]: SETTING 1 or 2 runs that one alone (for profiles).
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : 200000;
    const int only = argc > 2 ? QByteArray(argv[2]).toInt() : 0;

    std::printf("1. Device walk: snmpsim's linux-full-walk against the default database\n");
    const Workload walk = recordedWalk(QStringLiteral(QXMIB_RECORDED_WALK));
    const QString defaultDb = Globals::databasePath();
    if (only == 2) {
        std::printf("  skipped\n");
    } else if (walk.oids.isEmpty() || !QFile::exists(defaultDb)) {
        std::printf("  skipped: needs %s and %s\n", QXMIB_RECORDED_WALK, qPrintable(defaultDb));
    } else {
        const double first = firstResolution(walk.oids.first());
        std::printf("  %lld instance OIDs; database %s (process start to the first resolution: %.1f ms)\n",
                    static_cast<long long>(walk.oids.size()), qPrintable(defaultDb),
                    seconds(processStart, Clock::now()) * 1000);
        const qint64 rss = residentBytes();
        const Ours ours = measureOurs(walk, count, int(walk.oids.size()));
        // The default database holds modules compiled from MIB text and modules that
        // pysnmp ships compiled, which have no text: net-snmp reads the database's
        // definitions written out as modules, one per module of the database.
        QTemporaryDir sources;
        NetSnmpPeer::writeSources(defaultDb, sources.path());
        const NetSnmpPeer::Result peer = NetSnmpPeer::run({sources.path()}, walk.oids);
        report(ours, peer, first, int(walk.oids.size()));
        printCacheUsage(rss);
    }

    std::printf("\n2. Generated database of 200,000 definitions, %d random instance OIDs\n", count);
    if (only == 1)
        return failedGoals == 0 ? 0 : 1;
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("MIBs.cfg"));
    QVector<bool> scalars;
    const Workload generated = instanceOids(buildDatabase(path, 200000, &scalars), scalars, count);
    Globals::resetForTesting();
    Globals::setDatabasePath(path);
    const qint64 rss = residentBytes();
    const double first = firstResolution(generated.oids.first());
    const Rate cold = measure(generated.oids.size(), [&] {
        QXMibOID record;
        for (const QString &oid : generated.oids)
            record.setOID(oid);
    }, 1);
    printRate("first pass (reads the definitions it meets)", cold);
    const Ours ours = measureOurs(generated, count, 20000);
    const Rate bare = bareLookups(path, generated.oids);
    const QString mibDir = dir.filePath(QStringLiteral("mibs"));
    NetSnmpPeer::writeSources(path, mibDir);
    const NetSnmpPeer::Result peer = NetSnmpPeer::run({mibDir}, generated.oids);
    report(ours, peer, first, int(generated.oids.size()));
    printRate("one prepared SQLite statement per OID", bare);
    printCacheUsage(rss);

    std::printf("\n%s\n", failedGoals == 0 ? "all goals met" : qPrintable(QStringLiteral("%1 goals not met").arg(failedGoals)));
    return failedGoals == 0 ? 0 : 1;
}
