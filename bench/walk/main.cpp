// 0. Start-up: "qxmib --version" against "snmpbulkwalk -V", and a walk of a
//    subtree the agent does not have with each, best of 20 runs: wall time,
//    client CPU and ratios. Goal: at most 2x snmpbulkwalk's.
// 1. A whole-tree GetBulk walk of a local snmpd (about 8,000 values) with
//    "qxmib bulkwalk" and with net-snmp's snmpbulkwalk, 10 repetitions, output
//    to /dev/null: wall time and client CPU (user + system of the child), the
//    best of five runs each, and their ratios. Goals: wall at most 1.0x, CPU at
//    most 1.5x. snmpbulkwalk runs as the tests run it, without MIB files: numeric
//    OIDs, nothing to parse at start; qxmib prints each value's name and its
//    rendering from the default database.
// 2. Walks a generated 10,000-row ifTable on a local snmpsimd with GetBulk, with
//    the component's engine and with snmpbulkwalk, at the same max repetitions,
//    and prints varbinds per second for both and their ratio.

#include "snmp/peloruswrapper.h"
#include "snmp/snmpquery.h"
#include "snmp/snmpreply.h"
#include "snmp/varbindlist.h"
#include "snmpagent.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

namespace {

const QString kTable = QStringLiteral("1.3.6.1.2.1.2.2");

double cpuSeconds(int who)
{
    rusage usage = {};
    getrusage(who, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

class Walk : public SNMPReply
{
public:
    Walk(const QString &target, short maxReps)
        : m_target(target)
        , m_maxReps(maxReps)
    {
    }
    qint64 run()
    {
        m_last = kTable;
        send();
        m_loop.exec();
        return m_count;
    }
    void Reply(SnmpQuery *query) override
    {
        if (query->ErrorNumber() != 0) {
            std::fprintf(stderr, "error %d: %s\n", query->ErrorNumber(), qPrintable(query->ErrorDescription()));
            m_loop.quit();
            return;
        }
        for (const VarBind &b : query->VarBinds()->items()) {
            if (b.Status != 0 || !b.OID.startsWith(kTable + QLatin1Char('.'))) {
                m_loop.quit();
                return;
            }
            ++m_count;
            m_last = b.OID;
        }
        send();
    }

private:
    void send()
    {
        PelorusWrapper::instance()->SNMPQueryGetBulk(m_target, QStringLiteral("iftable"), m_last, 2, this, m_maxReps,
                                                     nullptr, 0, true, QStringLiteral("walk"));
    }
    QString m_target;
    short m_maxReps;
    QString m_last;
    qint64 m_count = 0;
    QEventLoop m_loop;
};

struct Run
{
    double wall = 1e9;
    double cpu = 1e9;
    qint64 lines = 0;
};

// The best of `runs` runs of a command line tool, its output to /dev/null, and
// the lines of one more run.
Run bestOf(int runs, const QString &program, const QStringList &args, const QProcessEnvironment &env)
{
    Run best;
    for (int i = 0; i <= runs; ++i) {
        QProcess tool;
        tool.setProcessEnvironment(env);
        if (i < runs)
            tool.setStandardOutputFile(QProcess::nullDevice());
        tool.setStandardErrorFile(QProcess::nullDevice());
        const double cpu = cpuSeconds(RUSAGE_CHILDREN);
        QElapsedTimer clock;
        clock.start();
        tool.start(program, args);
        tool.waitForFinished(-1);
        if (i == runs) {
            best.lines = tool.readAllStandardOutput().count('\n');
            break;
        }
        best.wall = std::min(best.wall, clock.nsecsElapsed() / 1e9);
        best.cpu = std::min(best.cpu, cpuSeconds(RUSAGE_CHILDREN) - cpu);
    }
    return best;
}

// Alternating runs of ours and theirs, so that both meet the same load of the machine.
void versus(int rounds, const QString &program, const QStringList &ours, const QStringList &theirs,
            const QProcessEnvironment &env, Run *a, Run *b)
{
    for (int round = 0; round < rounds; ++round) {
        const Run x = bestOf(1, program, ours, env);
        const Run y = bestOf(1, QStringLiteral("snmpbulkwalk"), theirs, env);
        *a = {std::min(a->wall, x.wall), std::min(a->cpu, x.cpu), x.lines};
        *b = {std::min(b->wall, y.wall), std::min(b->cpu, y.cpu), y.lines};
    }
}

bool startUp(const QString &qxmib, const QString &target, const QProcessEnvironment &env)
{
    std::printf("start-up, best of 20:\n");
    bool met = true;
    const QStringList walk = {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"), target,
                              QStringLiteral("1.3.6.1.6.3.99999")};
    const struct
    {
        const char *what;
        QStringList ours, theirs;
    } cases[] = {{"--version", {QStringLiteral("--version")}, {QStringLiteral("-V")}},
                 {"empty walk", QStringList{QStringLiteral("bulkwalk")} + walk, walk}};
    for (const auto &c : cases) {
        Run ours, theirs;
        versus(20, qxmib, c.ours, c.theirs, env, &ours, &theirs);
        const double ratio = ours.wall / theirs.wall;
        std::printf("  %-10s qxmib wall %.1f ms, CPU %.1f ms; snmpbulkwalk wall %.1f ms, CPU %.1f ms; "
                    "wall ratio %.2f (goal: at most 2.00): %s\n",
                    c.what, ours.wall * 1e3, ours.cpu * 1e3, theirs.wall * 1e3, theirs.cpu * 1e3, ratio,
                    ratio <= 2.0 ? "met" : "NOT MET");
        met = met && ratio <= 2.0;
    }
    std::fflush(stdout);
    return met;
}

bool wholeTree()
{
    SnmpAgent agent;
    QString error;
    if (!agent.startSnmpd(&error)) {
        std::fprintf(stderr, "snmpd: %s\n", qPrintable(error));
        return false;
    }
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString &line : agent.toolEnvironment())
        env.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
    const QStringList args = {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("public"),
                              QStringLiteral("-Cr10"), agent.target(), QStringLiteral("1.3.6.1")};
    // QXMIB=path measures another build's qxmib against the same peer.
    const QString qxmib = qEnvironmentVariable("QXMIB", QCoreApplication::applicationDirPath() + QStringLiteral("/qxmib"));
    const bool started = startUp(qxmib, agent.target(), env);
    Run ours;
    Run theirs;
    versus(5, qxmib, QStringList{QStringLiteral("bulkwalk")} + args, args, env, &ours, &theirs);
    std::printf("whole-tree walk of snmpd, GetBulk 10 repetitions, best of 5:\n");
    std::printf("  qxmib bulkwalk: %lld values, wall %.3f s, client CPU %.3f s (%.1f us per value)\n", ours.lines,
                ours.wall, ours.cpu, ours.cpu * 1e6 / std::max<qint64>(ours.lines, 1));
    std::printf("  snmpbulkwalk:   %lld values, wall %.3f s, client CPU %.3f s (%.1f us per value)\n", theirs.lines,
                theirs.wall, theirs.cpu, theirs.cpu * 1e6 / std::max<qint64>(theirs.lines, 1));
    const double wallRatio = ours.wall / theirs.wall;
    const double cpuRatio = ours.cpu / std::max(theirs.cpu, 1e-3);
    std::printf("  wall ratio %.2f (goal: at most 1.00): %s\n", wallRatio, wallRatio <= 1.0 ? "met" : "NOT MET");
    std::printf("  CPU ratio %.2f (goal: at most 1.50): %s\n", cpuRatio, cpuRatio <= 1.5 ? "met" : "NOT MET");
    std::fflush(stdout);
    return started && wallRatio <= 1.0 && cpuRatio <= 1.5;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int rows = argc > 1 ? std::atoi(argv[1]) : 10000;
    const bool met = wholeTree();
    SnmpAgent agent;
    QString error;
    std::printf("generating and indexing a %d-row ifTable (%d values) in snmpsimd...\n", rows, rows * 22);
    std::fflush(stdout);
    if (!agent.startSnmpsim({}, {{QStringLiteral("iftable.snmprec"), SnmpAgent::ifTableRecording(rows)}}, 0,
                            &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    PelorusWrapper::instance()->setSNMPTimeout(5000);
    PelorusWrapper::instance()->setSNMPRetries(2);

    for (const short reps : {short(10), short(25)}) {
        QElapsedTimer clock;
        clock.start();
        double cpu = cpuSeconds(RUSAGE_SELF);
        Walk walk(agent.target(), reps);
        const qint64 ours = walk.run();
        const double ourSeconds = clock.nsecsElapsed() / 1e9;
        const double ourCpu = cpuSeconds(RUSAGE_SELF) - cpu;

        QProcess tool;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString &line : agent.toolEnvironment())
            env.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));
        tool.setProcessEnvironment(env);
        cpu = cpuSeconds(RUSAGE_CHILDREN);
        clock.restart();
        tool.start(QStringLiteral("snmpbulkwalk"),
                   {QStringLiteral("-v2c"), QStringLiteral("-c"), QStringLiteral("iftable"),
                    QStringLiteral("-Cr%1").arg(reps), QStringLiteral("-On"), QStringLiteral("-t"),
                    QStringLiteral("5"), agent.target(), kTable});
        tool.waitForFinished(-1);
        const double theirSeconds = clock.nsecsElapsed() / 1e9;
        const double theirCpu = cpuSeconds(RUSAGE_CHILDREN) - cpu;
        const qint64 theirs = tool.readAllStandardOutput().count('\n');

        const double ourRate = ours / ourSeconds;
        const double theirRate = theirs / theirSeconds;
        std::printf("max-repetitions %2d: engine %lld varbinds in %.2f s = %.0f/s (client CPU %.2f s); "
                    "snmpbulkwalk %lld in %.2f s = %.0f/s (CPU %.2f s); ratio %.2f\n",
                    reps, ours, ourSeconds, ourRate, ourCpu, theirs, theirSeconds, theirRate, theirCpu,
                    ourRate / theirRate);
        std::fflush(stdout);
    }
    return met ? 0 : 1;
}
