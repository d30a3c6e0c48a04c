// qxmib import: MIB-X files into the MIB database.

#include "command.h"

#include "databasebuilder.h"

#include "core/database.h"
#include "core/globals.h"
#include "core/qxmiberror.h"
#include "mibx/importmibx.h"
#include "mibx/mibxclauses.h"
#include "mibx/mibxdocument.h"

#include <QObject>

#include <sqlite3.h>
#include <unistd.h>

namespace {

class ProgressBar
{
public:
    explicit ProgressBar(bool enabled)
        : m_enabled(enabled)
    {
    }
    void start(const QString &label, int total)
    {
        m_label = label;
        m_total = total;
        m_done = 0;
        m_drawn = -1;
        draw();
    }
    void step()
    {
        ++m_done;
        draw();
    }
    // Removes the bar so that a message line can be printed in its place.
    void clear()
    {
        if (m_enabled && m_drawn >= 0) {
            printOut(QStringLiteral("\r\x1b[K"));
            m_drawn = -1;
        }
    }
    void finish() { clear(); }

private:
    void draw()
    {
        if (!m_enabled || m_total <= 0)
            return;
        const int width = 30;
        const int filled = int(qint64(m_done) * width / m_total);
        if (filled == m_drawn)
            return;
        m_drawn = filled;
        printOut(QStringLiteral("\r[%1%2] %3/%4 %5")
                     .arg(QString(filled, u'#'), QString(width - filled, u'.'))
                     .arg(m_done)
                     .arg(m_total)
                     .arg(m_label));
    }

    bool m_enabled;
    QString m_label;
    int m_total = 0;
    int m_done = 0;
    int m_drawn = -1;
};

// Obsoleted modules (RFC1158-MIB, RFC1213-MIB) define the objects of their
// successors again. Look-ups by OID take the first primary row, so a shipped
// database keeps one primary row per OID: the module updated last, and among
// modules without LAST-UPDATED the greater name (RFC1213-MIB over RFC1158-MIB).
int keepOnePrimaryPerOid()
{
    Database *db = Globals::database();
    db->executeScript(QStringLiteral(
        "UPDATE Tree SET \"Primary\" = 0 WHERE \"Primary\" <> 0 AND rowid NOT IN ("
        " SELECT (SELECT t2.rowid FROM Tree t2 LEFT JOIN MIBs m ON m.Name = t2.MIB"
        "         WHERE t2.OID = t1.OID AND t2.\"Primary\" <> 0"
        "         ORDER BY COALESCE(m.LastUpdated, '') DESC, t2.MIB DESC LIMIT 1)"
        " FROM Tree t1 WHERE t1.\"Primary\" <> 0 GROUP BY t1.OID)"));
    int demoted = sqlite3_changes(db->handle());
    // A plain node registered under an object with a type names one of its
    // instances (DISMAN-EXPRESSION-MIB's sysUpTimeInstance, sysUpTime.0); the
    // instance's value is still the object's and renders by the object's type.
    db->executeScript(QStringLiteral(
        "UPDATE Tree SET \"Primary\" = 0 WHERE \"Primary\" <> 0 AND COALESCE(TypeS, '') = '' AND ParentOID IN ("
        " SELECT OID FROM Tree WHERE \"Primary\" <> 0 AND TypeI <> 0)"));
    return demoted + sqlite3_changes(db->handle());
}

int countObjects(const QString &fileName)
{
    MibxDocument doc;
    if (!doc.load(fileName))
        return 0;
    return int(doc.selectSingleNode(QStringLiteral("MIBX/TREE")).childNodes().size());
}

int import(const QStringList &args)
{
    bool withTypes = true;
    bool quiet = false;
    bool primaryPerOid = false;
    bool sync = true;
    QStringList files;
    for (const QString &a : args) {
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            files.clear();
            break;
        }
        if (a == QLatin1String("--no-types"))
            withTypes = false;
        else if (a == QLatin1String("--quiet") || a == QLatin1String("-q"))
            quiet = true;
        else if (a == QLatin1String("--one-primary"))
            primaryPerOid = true;
        else if (a == QLatin1String("--no-sync"))
            sync = false;
        else
            files.append(a);
    }
    if (files.isEmpty()) {
        printOut(QStringLiteral(
            "Usage: qxmib [--db PATH] import [--no-types] [--quiet] [--one-primary] [--no-sync] FILE...\n\n"
            "Imports MIB-X files into the MIB database, one after the other. Progress lines go\n"
            "to stdout, errors to stderr, and the counters of each file follow it. The textual\n"
            "conventions a file lists under MIBX/TYPES are added to the Types table first\n"
            "unless --no-types is given; the units, index lists and display hints of its\n"
            "objects (UNITS, INDEX, DISPLAY-HINT) are put in their rows after. --quiet\n"
            "prints only errors and the counters.\n"
            "--one-primary: afterwards, where several modules define the same OID, only the\n"
            "row of the most recently updated module stays primary, and plain nodes naming an\n"
            "object's instance (sysUpTimeInstance) give way to the object (database builds).\n"
            "--no-sync: do not wait for the disk after each row; for building a new database\n"
            "file that is thrown away if the build fails (a crash may lose rows).\n"
            "Exit status 1 when any file could not be imported or had errors.\n"));
        return args.isEmpty() ? 2 : 0;
    }

    if (!sync)
        Globals::database()->executeScript(QStringLiteral("PRAGMA synchronous=OFF"));
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    ProgressBar bar(terminal && !quiet);
    bool anyFailed = false;
    for (const QString &file : files) {
        ImportMIBX importer;
        QObject::connect(&importer, &ImportMIBX::Log, [&](QString &message) {
            if (quiet)
                return;
            bar.clear();
            printOut(message + u'\n');
        });
        QObject::connect(&importer, &ImportMIBX::Error, [&](QString &message) {
            bar.clear();
            printErr(message + u'\n');
        });
        QObject::connect(&importer, &ImportMIBX::OIDImported, [&](QString &, QString &, bool &) { bar.step(); });

        bool ok = false;
        try {
            const int types = withTypes ? DatabaseBuilder::addMibxTypes(*Globals::database(), file) : 0;
            if (types > 0 && !quiet)
                printOut(QStringLiteral("    %1 new types\n").arg(types));
            bar.start(file, terminal && !quiet ? countObjects(file) : 0);
            ok = importer.ImportMIBXFile(file);
            // Units, index lists and display hints, which the import itself passes over.
            if (ok)
                MibxClauses::apply(file);
        } catch (const QXMibError &e) {
            bar.clear();
            printErr(QStringLiteral("%1: error %2: %3\n").arg(file).arg(e.number()).arg(e.description()));
        }
        bar.finish();
        if (ok && importer.Errors() == 0 && importer.OIDCount() > 0 && importer.Unchanged() == importer.OIDCount())
            printOut(QStringLiteral("%1: module %2 unchanged: its %3 objects were imported before as they are\n")
                         .arg(file, importer.ModuleName())
                         .arg(importer.OIDCount()));
        else
            printOut(QStringLiteral("%1: module %2, %3 objects, %4 duplicates, %5 errors, %6 warnings\n")
                         .arg(file, importer.ModuleName().isEmpty() ? QStringLiteral("-") : importer.ModuleName())
                         .arg(importer.OIDCount())
                         .arg(importer.Duplicates())
                         .arg(importer.Errors())
                         .arg(importer.Warnings()));
        if (!ok || importer.Errors() > 0)
            anyFailed = true;
    }
    if (primaryPerOid) {
        const int demoted = keepOnePrimaryPerOid();
        if (!quiet)
            printOut(QStringLiteral("%1 rows of older modules made non-primary\n").arg(demoted));
    }
    return anyFailed ? 1 : 0;
}

} // namespace

QXMIB_COMMAND("import", "import MIB-X files into the database (import FILE...)", import)
