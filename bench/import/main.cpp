// Imports a generated MIB-X file of 100,000 objects and compares the rate with
// the floor of the same rows written by bare prepared inserts, one commit per
// row as the import writes them, on a database opened the same way and made
// durable the same way (one batch: no commit waits for the disk, the log is
// synced once at the end). Also imports into a database in a rollback journal
// (as the default database ships), which the import runs in WAL and gives its
// mode back. Rates by wall time and by CPU time (the machine is shared).

#include "databasebuilder.h"

#include "core/database.h"
#include "core/durablebatch.h"
#include "core/globals.h"
#include "mibx/importmibx.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <sys/resource.h>

#include <cstdio>

namespace {

double cpuSeconds()
{
    rusage u = {};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

struct Rate
{
    double wall = 0;
    double cpu = 0;
};

class Timer
{
public:
    Timer() { m_wall.start(); }
    Rate rate(qint64 count) const
    {
        return {count / (m_wall.nsecsElapsed() / 1e9), count / std::max(cpuSeconds() - m_cpu, 1e-6)};
    }

private:
    QElapsedTimer m_wall;
    double m_cpu = cpuSeconds();
};

struct Row
{
    QByteArray name;
    QByteArray oid;
    QByteArray parent;
    int index;
};

QList<Row> rows(int count)
{
    QList<Row> r;
    r.reserve(count);
    for (int i = 1; i <= count; ++i) {
        const QByteArray n = QByteArray::number(i);
        r.append({"benchObject" + n, "1.3.6.1.4.1.99999." + n, "1.3.6.1.4.1.99999", i});
    }
    return r;
}

void writeFile(const QString &path, const QList<Row> &objects)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(path));
    f.write("<?xml version=\"1.0\"?>\n<MIBX><VERSION>Tarnbrookeware MIB-X 1.0</VERSION>"
            "<COMPILED>2024-01-01T00:00:00</COMPILED><MODULE><NAME>BENCH-MIB</NAME></MODULE><TREE>\n");
    for (const Row &r : objects) {
        f.write("<" + r.name + "><OID>" + r.oid + "</OID><SYNTAX>DisplayString</SYNTAX><ACCESS>READ-ONLY</ACCESS>"
                "<STATUS>CURRENT</STATUS><DESCRIPTION>Object " + r.name + ".</DESCRIPTION></" + r.name + ">\n");
    }
    f.write("</TREE></MIBX>\n");
}

Rate importRate(const QString &dbPath, const QString &file, int count, bool sealed)
{
    DatabaseBuilder::create(dbPath);
    if (sealed)
        DatabaseBuilder::seal(dbPath);
    Globals::resetForTesting();
    Globals::setDatabasePath(dbPath);
    ImportMIBX importer;
    const Timer t;
    if (!importer.ImportMIBXFile(file) || importer.OIDCount() != count || importer.Errors() != 0)
        qFatal("import failed");
    const Rate r = t.rate(count);
    const QString mode = Globals::database()->select(QStringLiteral("PRAGMA journal_mode")).value(0).toMap().value(QStringLiteral("journal_mode")).toString();
    Globals::resetForTesting();
    if (sealed)
        std::printf("  journal mode after the import: %s\n", qPrintable(mode));
    return r;
}

Rate bareInsertRate(const QString &dbPath, const QList<Row> &objects)
{
    DatabaseBuilder::create(dbPath);
    Database db;
    db.open(dbPath);
    sqlite3_stmt *stmt = nullptr;
    sqlite3_prepare_v2(db.handle(),
                       "INSERT INTO Tree (\"Primary\", MIB, Name, ParentOID, \"Index\", OID, TypeI, TypeS, Description, "
                       "Access, Status, Enum, Parse, Units) VALUES (-1, 'BENCH-MIB', ?, ?, ?, ?, 4, 'DisplayString', ?, "
                       "1, 5, '', '', '')",
                       -1, &stmt, nullptr);
    const Timer t;
    DurableBatch batch(&db);
    for (const Row &r : objects) {
        const QByteArray description = "Object " + r.name + ".";
        sqlite3_bind_text(stmt, 1, r.name.constData(), int(r.name.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 2, r.parent.constData(), int(r.parent.size()), SQLITE_TRANSIENT);
        sqlite3_bind_int(stmt, 3, r.index);
        sqlite3_bind_text(stmt, 4, r.oid.constData(), int(r.oid.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(stmt, 5, description.constData(), int(description.size()), SQLITE_TRANSIENT);
        if (sqlite3_step(stmt) != SQLITE_DONE)
            qFatal("insert failed: %s", sqlite3_errmsg(db.handle()));
        sqlite3_reset(stmt);
    }
    batch.finish();
    const Rate rate = t.rate(objects.size());
    sqlite3_finalize(stmt);
    return rate;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : 100000;
    QTemporaryDir dir;
    const QList<Row> objects = rows(count);
    const QString file = dir.filePath(QStringLiteral("bench.mibx"));
    writeFile(file, objects);

    const Rate floor = bareInsertRate(dir.filePath(QStringLiteral("floor.cfg")), objects);
    const Rate rate = importRate(dir.filePath(QStringLiteral("import.cfg")), file, count, false);
    const Rate sealed = importRate(dir.filePath(QStringLiteral("sealed.cfg")), file, count, true);
    std::printf("objects: %d, one commit per object, synced once per file\n", count);
    std::printf("ImportMIBX:                        %8.0f objects/s CPU %8.0f objects/s wall\n", rate.cpu, rate.wall);
    std::printf("ImportMIBX, rollback-journal file: %8.0f objects/s CPU %8.0f objects/s wall\n", sealed.cpu, sealed.wall);
    std::printf("bare prepared inserts:             %8.0f rows/s    CPU %8.0f rows/s    wall\n", floor.cpu, floor.wall);
    std::printf("floor / import: %.2fx CPU, %.2fx wall (goal: within 1.5x)\n", floor.cpu / rate.cpu, floor.wall / rate.wall);
    // Judged by CPU time: other builds share the machine, and the wall rates wait for them.
    const bool met = rate.cpu >= 20000 && floor.cpu / rate.cpu <= 1.5;
    std::printf("goal >= 20,000 objects/s and within 1.5x (CPU): %s\n", met ? "met" : "NOT MET");
    return met ? 0 : 1;
}
