// Walks a generated 10,000-row ifTable on a local snmpsimd with GetBulk, with
// the component's engine and with net-snmp's snmpbulkwalk, at the same max
// repetitions, and prints varbinds per second for both and their ratio.

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

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int rows = argc > 1 ? std::atoi(argv[1]) : 10000;
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
    return 0;
}
