// Fills a MIBTable (shown, offscreen) with (a) snmpd's installed-software table
// and (b) a generated 10,000-row ifTable from snmpsimd, and runs net-snmp's
// snmptable -Cb and snmpbulkwalk on the same agent and table. Every run is a
// process of its own: the tools measured whole by wait4, the MIBTable from
// GetTable to its Complete event (the process's start-up left out) with its peak
// resident memory from wait4. Figures: wall time, client CPU (user + system) per
// 1,000 values, peak resident memory; the best of the repeats, and the ratios:
// wall against snmptable, CPU per value against snmpbulkwalk.
//
// bench_table [REPEATS] [ROWS]           the comparison (default 2 repeats, 10000 rows)
// bench_table --fill DB TARGET COMMUNITY TABLE MODE   one MIBTable run (used by the above)

#include "core/globals.h"
#include "fixturedatabase.h"
#include "livetables.h"
#include "snmp/widgets/mibtable.h"
#include "snmp/widgets/mibtablemodel.h"
#include "snmp/peloruswrapper.h"
#include "snmpagent.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

extern char **environ;

namespace {

// The installed-software part of the host resources MIB, for snmptable, which
// needs a module to know the table's columns.
const char kHostResources[] = R"(HOST-RESOURCES-MIB DEFINITIONS ::= BEGIN
IMPORTS MODULE-IDENTITY, OBJECT-TYPE, mib-2, Integer32 FROM SNMPv2-SMI
        TEXTUAL-CONVENTION, DateAndTime FROM SNMPv2-TC;
hostResourcesMibModule MODULE-IDENTITY
    LAST-UPDATED "200003060000Z" ORGANIZATION "bench" CONTACT-INFO "bench"
    DESCRIPTION "Installed software, for the table benchmark." ::= { hrMIBAdminInfo 1 }
host OBJECT IDENTIFIER ::= { mib-2 25 }
hrSWInstalled OBJECT IDENTIFIER ::= { host 6 }
hrMIBAdminInfo OBJECT IDENTIFIER ::= { host 7 }
InternationalDisplayString ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "Text." SYNTAX OCTET STRING
ProductID ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "A product." SYNTAX OBJECT IDENTIFIER
hrSWInstalledTable OBJECT-TYPE SYNTAX SEQUENCE OF HrSWInstalledEntry MAX-ACCESS not-accessible
    STATUS current DESCRIPTION "Installed software." ::= { hrSWInstalled 3 }
hrSWInstalledEntry OBJECT-TYPE SYNTAX HrSWInstalledEntry MAX-ACCESS not-accessible
    STATUS current DESCRIPTION "One piece." INDEX { hrSWInstalledIndex } ::= { hrSWInstalledTable 1 }
HrSWInstalledEntry ::= SEQUENCE { hrSWInstalledIndex Integer32, hrSWInstalledName InternationalDisplayString,
    hrSWInstalledID ProductID, hrSWInstalledType INTEGER, hrSWInstalledDate DateAndTime }
hrSWInstalledIndex OBJECT-TYPE SYNTAX Integer32 (1..2147483647) MAX-ACCESS read-only
    STATUS current DESCRIPTION "Index." ::= { hrSWInstalledEntry 1 }
hrSWInstalledName OBJECT-TYPE SYNTAX InternationalDisplayString (SIZE (0..64)) MAX-ACCESS read-only
    STATUS current DESCRIPTION "Name." ::= { hrSWInstalledEntry 2 }
hrSWInstalledID OBJECT-TYPE SYNTAX ProductID MAX-ACCESS read-only
    STATUS current DESCRIPTION "Product." ::= { hrSWInstalledEntry 3 }
hrSWInstalledType OBJECT-TYPE SYNTAX INTEGER { unknown(1), operatingSystem(2), deviceDriver(3), application(4) }
    MAX-ACCESS read-only STATUS current DESCRIPTION "Type." ::= { hrSWInstalledEntry 4 }
hrSWInstalledDate OBJECT-TYPE SYNTAX DateAndTime MAX-ACCESS read-only
    STATUS current DESCRIPTION "Date." ::= { hrSWInstalledEntry 5 }
END
)";

double cpuSeconds(const rusage &usage)
{
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Measure
{
    double wall = 0;
    double cpu = 0;
    double peakMb = 0;
    qint64 values = 0;
    QByteArray out;
};

// Runs a program as a process of its own; its output goes to a file read afterwards.
Measure run(const QStringList &command, const QStringList &environment, const QString &outFile)
{
    std::vector<QByteArray> args;
    for (const QString &a : command)
        args.push_back(a.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<QByteArray> envs;
    for (char **e = environ; *e != nullptr; ++e)
        envs.emplace_back(*e);
    for (const QString &e : environment)
        envs.push_back(e.toLocal8Bit());
    std::vector<char *> envp;
    for (QByteArray &e : envs)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const QByteArray out = outFile.toLocal8Bit();
    posix_spawn_file_actions_addopen(&actions, 1, out.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    Measure m;
    QElapsedTimer clock;
    clock.start();
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) {
        std::fprintf(stderr, "cannot run %s\n", argv[0]);
        std::exit(1);
    }
    int status = 0;
    rusage usage = {};
    wait4(pid, &status, 0, &usage);
    m.wall = clock.nsecsElapsed() / 1e9;
    posix_spawn_file_actions_destroy(&actions);
    m.cpu = cpuSeconds(usage);
    m.peakMb = usage.ru_maxrss / 1024.0;
    QFile file(outFile);
    file.open(QIODevice::ReadOnly);
    m.out = file.readAll();
    return m;
}

Measure best(const QList<Measure> &runs)
{
    Measure b = runs.first();
    for (const Measure &m : runs) {
        if (m.wall < b.wall)
            b.wall = m.wall;
        if (m.cpu < b.cpu)
            b.cpu = m.cpu;
        if (m.peakMb < b.peakMb)
            b.peakMb = m.peakMb;
    }
    return b;
}

// One MIBTable on screen filled from the agent; prints the number of values placed.
int fill(const QStringList &args)
{
    Globals::setDatabasePath(args.at(0));
    MIBTable table;
    table.resize(1200, 800);
    table.show();
    table.setIP(args.at(1));
    table.setCommunity(args.at(2));
    table.setDownloadMode(short(args.at(4).toInt()));
    PelorusWrapper::instance()->setSNMPTimeout(5000);
    QEventLoop loop;
    QObject::connect(&table, &MIBTable::Complete, &loop, &QEventLoop::quit);
    rusage before = {};
    getrusage(RUSAGE_SELF, &before);
    QElapsedTimer clock;
    clock.start();
    table.GetTable(args.at(3));
    if (!table.Busy())
        return 1;
    loop.exec();
    const double wall = clock.nsecsElapsed() / 1e9;
    rusage after = {};
    getrusage(RUSAGE_SELF, &after);
    qint64 values = 0;
    const MIBTableModel *m = table.model();
    for (int r = 0; r < m->tableRows(); ++r) {
        for (int c = 0; c < m->tableColumns(); ++c)
            values += m->cell(r, c).type != 0 ? 1 : 0;
    }
    std::printf("%lld %f %f\n", values, wall, cpuSeconds(after) - cpuSeconds(before));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc >= 7 && QByteArray(argv[1]) == "--fill") {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QApplication app(argc, argv);
        return fill(app.arguments().mid(2));
    }
    QCoreApplication app(argc, argv);
    const int repeats = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2;
    const int rows = argc > 2 ? std::atoi(argv[2]) : 10000;
    QTemporaryDir work;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, work.path());
    FixtureDatabase db;
    db.addStandardObjects();
    LiveTables::add(db);
    QDir(work.path()).mkdir(QStringLiteral("mibs"));
    QFile mib(work.filePath(QStringLiteral("mibs/HOST-RESOURCES-MIB.txt")));
    mib.open(QIODevice::WriteOnly);
    mib.write(kHostResources);
    mib.close();
    const QString mibPath = QStringLiteral("+%1:%2/npm").arg(work.filePath(QStringLiteral("mibs")),
                                                             QStringLiteral(QXMIB_MIB_SOURCES));

    SnmpAgent snmpd;
    SnmpAgent snmpsim;
    QString error;
    std::printf("starting snmpd and snmpsimd with a generated %d-row ifTable...\n", rows);
    std::fflush(stdout);
    if (!snmpd.startSnmpd(&error)
        || !snmpsim.startSnmpsim({}, {{QStringLiteral("iftable.snmprec"), SnmpAgent::ifTableRecording(rows)}}, 0,
                                 &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    struct Case
    {
        const char *title;
        SnmpAgent *agent;
        QString community;
        QString table;
        QString oid;
    };
    const QList<Case> cases = {
        {"(a) snmpd hrSWInstalledTable", &snmpd, QStringLiteral("public"), QStringLiteral("hrSWInstalledTable"),
         QStringLiteral("1.3.6.1.2.1.25.6.3")},
        {"(b) snmpsimd ifTable", &snmpsim, QStringLiteral("iftable"), QStringLiteral("ifTable"),
         QStringLiteral("1.3.6.1.2.1.2.2")},
    };
    const QString self = QCoreApplication::applicationFilePath();
    const QString out = work.filePath(QStringLiteral("out.txt"));
    for (const Case &c : cases) {
        QStringList tools = c.agent->toolEnvironment();
        tools.replaceInStrings(QRegularExpression(QStringLiteral("^MIBS=$")), QStringLiteral("MIBS=ALL"));
        QList<Measure> ours[2];
        QList<Measure> table;
        QList<Measure> walk;
        for (int i = 0; i < repeats; ++i) {
            for (int mode = 0; mode < 2; ++mode) {
                ours[mode].append(run({self, QStringLiteral("--fill"), db.path(), c.agent->target(), c.community,
                                       c.table, QString::number(mode)},
                                      {}, out));
                // The fill itself, from GetTable to Complete; the process's start-up is left out.
                const QList<QByteArray> figures = ours[mode].last().out.trimmed().split(' ');
                ours[mode].last().values = figures.value(0).toLongLong();
                ours[mode].last().wall = figures.value(1).toDouble();
                ours[mode].last().cpu = figures.value(2).toDouble();
            }
            table.append(run({QStringLiteral("snmptable"), QStringLiteral("-v2c"), QStringLiteral("-c"), c.community,
                              QStringLiteral("-Cb"), QStringLiteral("-Cr"), QStringLiteral("10"), QStringLiteral("-M"),
                              mibPath, QStringLiteral("-m"), QStringLiteral("ALL"), c.agent->target(), c.table},
                             tools, out));
            walk.append(run({QStringLiteral("snmpbulkwalk"), QStringLiteral("-v2c"), QStringLiteral("-c"),
                             c.community, QStringLiteral("-Cr10"), QStringLiteral("-On"), c.agent->target(), c.oid},
                            c.agent->toolEnvironment(), out));
            walk.last().values = walk.last().out.count('\n');
        }
        const Measure t = best(table);
        const Measure w = best(walk);
        std::printf("\n%s: %lld values (snmpbulkwalk %lld), best of %d\n", c.title, ours[1].first().values,
                    w.values, repeats);
        auto line = [&](const char *who, const Measure &m, qint64 values) {
            std::printf("  %-22s wall %7.2f s   CPU %6.3f s = %6.2f ms per 1,000 values   peak %6.1f MB\n", who,
                        m.wall, m.cpu, values > 0 ? m.cpu * 1e6 / double(values) : 0.0, m.peakMb);
        };
        const char *names[2] = {"MIBTable, mode 0", "MIBTable, mode 1"};
        for (int mode = 0; mode < 2; ++mode)
            line(names[mode], best(ours[mode]), ours[mode].first().values);
        line("snmptable -Cb", t, w.values);
        line("snmpbulkwalk", w, w.values);
        for (int mode = 0; mode < 2; ++mode) {
            const Measure o = best(ours[mode]);
            std::printf("  %s: wall / snmptable %.2f (goal <= 1)   CPU per value / snmpbulkwalk %.2f (goal <= 3)\n",
                        names[mode], o.wall / t.wall,
                        (o.cpu / double(qMax<qint64>(1, ours[mode].first().values)))
                            / (w.cpu / double(qMax<qint64>(1, w.values))));
        }
        std::fflush(stdout);
    }
    return 0;
}
