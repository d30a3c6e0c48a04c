// A burst of SNMPv2c traps (linkDown with three bindings) sent at full speed
// on loopback by a sender process of its own, received by net-snmp's
// snmptrapd (logging each to a file, over the MIB files the default database
// was built from) and by the component's TrapList, hidden and shown on screen
// (a 1,100 x 700 window), one after another in one run, then again with a
// burst a tenth the size, which fits the receive buffers. It prints the traps
// each received (goal: no loss where snmptrapd loses none) and the receiving
// process's CPU per trap (goal: at most 2x snmptrapd's).
//
// Run it on a display, e.g. xvfb-run -a -s "-screen 0 1400x900x24" bench_traps [COUNT]
// (20,000 traps unless given). `bench_traps --send PORT COUNT` is the sender.

#include "core/globals.h"
#include "snmp/trapreceiver.h"
#include "snmp/widgets/traplist.h"
#include "snmpagent.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QEventLoop>

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

double ownCpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// User and system time of another process, from /proc.
double processCpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    // Fields 14 and 15 of the line; the split starts at field 3.
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

// The sender: COUNT linkDown traps to 127.0.0.1:PORT as fast as net-snmp sends them.
int send(int port, int count)
{
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    init_snmp("bench_traps");
    netsnmp_session setup;
    snmp_sess_init(&setup);
    const QByteArray peer = QStringLiteral("udp:127.0.0.1:%1").arg(port).toLatin1();
    setup.peername = const_cast<char *>(peer.constData());
    setup.version = SNMP_VERSION_2c;
    setup.community = reinterpret_cast<u_char *>(const_cast<char *>("public"));
    setup.community_len = 6;
    netsnmp_session *session = snmp_open(&setup);
    if (session == nullptr)
        return 1;
    const oid upTime[] = {1, 3, 6, 1, 2, 1, 1, 3, 0};
    const oid trapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
    const oid linkDown[] = {1, 3, 6, 1, 6, 3, 1, 1, 5, 3};
    for (int i = 0; i < count; ++i) {
        netsnmp_pdu *pdu = snmp_pdu_create(SNMP_MSG_TRAP2);
        const u_long ticks = u_long(i);
        snmp_pdu_add_variable(pdu, upTime, OID_LENGTH(upTime), ASN_TIMETICKS, &ticks, sizeof(ticks));
        snmp_pdu_add_variable(pdu, trapOid, OID_LENGTH(trapOid), ASN_OBJECT_ID, linkDown, sizeof(linkDown));
        const long index = 1 + i % 48;
        const long down = 2;
        oid column[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1, oid(index)};
        snmp_pdu_add_variable(pdu, column, OID_LENGTH(column), ASN_INTEGER, &index, sizeof(index));
        column[9] = 7;
        snmp_pdu_add_variable(pdu, column, OID_LENGTH(column), ASN_INTEGER, &down, sizeof(down));
        column[9] = 8;
        snmp_pdu_add_variable(pdu, column, OID_LENGTH(column), ASN_INTEGER, &down, sizeof(down));
        if (snmp_send(session, pdu) == 0)
            snmp_free_pdu(pdu);
    }
    snmp_close(session);
    return 0;
}

struct Result
{
    int received = 0;
    double cpu = 0;
    double wall = 0;
};

// Sends the burst and waits until the receiver's count has not grown for a second.
Result burst(int port, int count, const std::function<int()> &received, const std::function<double()> &cpu)
{
    const double cpuBefore = cpu();
    const int before = received();
    QElapsedTimer clock;
    clock.start();
    QProcess sender;
    sender.start(QCoreApplication::applicationFilePath(),
                 {QStringLiteral("--send"), QString::number(port), QString::number(count)});
    // Waiting sleeps in the event loop (a spinning wait would count as receiving CPU).
    const auto pause = [](int ms) {
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        loop.exec();
    };
    while (sender.state() != QProcess::NotRunning)
        pause(50);
    int last = received();
    QElapsedTimer quiet;
    quiet.start();
    qint64 lastChange = 0;
    while (last - before < count && quiet.elapsed() - lastChange < 1000) {
        pause(100);
        if (const int now = received(); now != last) {
            last = now;
            lastChange = quiet.elapsed();
        }
    }
    Result r;
    r.received = received() - before;
    r.wall = double(clock.elapsed() - (r.received < count ? 1000 : 0)) / 1000.0;
    r.cpu = cpu() - cpuBefore;
    return r;
}

void print(const char *what, const Result &r, int count, const Result *peer)
{
    const double perTrap = r.received > 0 ? r.cpu / r.received * 1e6 : 0;
    std::printf("%-32s %6d of %d received %s  CPU %7.1f us/trap", what, r.received, count,
                r.received == count ? "(no loss)" : "(LOST)   ", perTrap);
    if (peer != nullptr && peer->received > 0 && peer->cpu > 0)
        std::printf("  %.2fx snmptrapd", perTrap / (peer->cpu / peer->received * 1e6));
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 4 && std::strcmp(argv[1], "--send") == 0)
        return send(std::atoi(argv[2]), std::atoi(argv[3]));
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 20000;
    const QString lib = QCoreApplication::applicationDirPath() + QStringLiteral("/../lib");
    Globals::setDatabasePath(lib + QStringLiteral("/MIBs.cfg"));

    // The full burst, then one a tenth its size that fits the sockets' buffers.
    for (const int burstSize : {count, qMax(1, count / 10)}) {
        SnmpAgent trapd;
        QString error;
        // The same receive buffer as the component asks for.
        if (!trapd.startSnmptrapd("authCommunity log public\n[snmp] serverRecvBuf 4194304\n",
                                  lib + QStringLiteral("/mibs"), &error)) {
            std::fprintf(stderr, "snmptrapd: %s\n", qPrintable(error));
            return 1;
        }
        const auto logged = [&trapd] { return trapd.log().count(QLatin1String("\nSNMPv2-MIB::sysUpTime.0 = ")); };
        std::printf("%d SNMPv2c linkDown traps (3 bindings each) from one sender at full speed on loopback\n",
                    burstSize);
        std::fflush(stdout);
        const Result peer =
            burst(trapd.port(), burstSize, logged, [&trapd] { return processCpuSeconds(trapd.processId()); });
        trapd.stop();
        print("snmptrapd -Lf FILE", peer, burstSize, nullptr);

        for (const bool shown : {false, true}) {
            TrapList list;
            list.resize(1100, 700);
            list.setAddress(QStringLiteral("127.0.0.1"));
            list.setPort(SnmpAgent::freeUdpPort());
            list.setMaxRows(count);
            list.Listen();
            if (shown) {
                list.show();
                QApplication::processEvents();
            }
            const Result ours = burst(list.Port(), burstSize, [&list] { return list.ReceivedCount(); }, ownCpuSeconds);
            print(shown ? "TrapList shown" : "TrapList hidden", ours, burstSize, &peer);
        }
    }
    return 0;
}
