// Imports a generated MIB-X file of 100,000 objects and compares the rate with
// the floor of the same rows written by bare prepared inserts, one commit per
// row as the import writes them, on a database opened the same way.

#include "databasebuilder.h"

#include "core/database.h"
#include "core/globals.h"
#include "mibx/importmibx.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <sqlite3.h>

#include <cstdio>

namespace {

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

double importRate(const QString &dbPath, const QString &file, int count)
{
    DatabaseBuilder::create(dbPath);
    Globals::resetForTesting();
    Globals::setDatabasePath(dbPath);
    ImportMIBX importer;
    QElapsedTimer t;
    t.start();
    if (!importer.ImportMIBXFile(file) || importer.OIDCount() != count || importer.Errors() != 0)
        qFatal("import failed");
    const double seconds = t.nsecsElapsed() / 1e9;
    Globals::resetForTesting();
    return count / seconds;
}

double bareInsertRate(const QString &dbPath, const QList<Row> &objects)
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
    QElapsedTimer t;
    t.start();
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
    const double seconds = t.nsecsElapsed() / 1e9;
    sqlite3_finalize(stmt);
    return objects.size() / seconds;
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

    const double floor = bareInsertRate(dir.filePath(QStringLiteral("floor.cfg")), objects);
    const double rate = importRate(dir.filePath(QStringLiteral("import.cfg")), file, count);
    std::printf("objects: %d\n", count);
    std::printf("ImportMIBX:             %10.0f objects/s\n", rate);
    std::printf("bare prepared inserts:  %10.0f rows/s (one commit per row)\n", floor);
    std::printf("floor / import: %.2fx (goal: within 2x)\n", floor / rate);
    return 0;
}
