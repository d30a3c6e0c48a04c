// The live views on screen against the same views not shown, in one process and
// against one local snmpd: MIBBrowser walking the whole tree under iso (one
// GetNext per object, about 8,000 objects), and MIBTable retrieving
// hrSWInstalledTable (by GetBulk and by GetNext) and hrSWRunTable (by GetNext
// in one walk). Each view walks alternately hidden and shown
// (a 1,100 x 700 window, the grid in view), the best of the repeats counts. It
// prints objects per second, client CPU per 1,000 objects, and the shown view's
// rate against the hidden one's (goal: at least 0.9: a view on screen keeps up
// with the network).
//
// Run it on a display, e.g. xvfb-run -a -s "-screen 0 1400x900x24" bench_liveviews [REPEATS [browser|table]]
// The component's default database names the objects.

#include "snmp/widgets/mibbrowser.h"
#include "snmp/widgets/mibbrowsermodel.h"
#include "snmp/widgets/mibtable.h"
#include "snmp/widgets/mibtablemodel.h"
#include "snmp/peloruswrapper.h"
#include "snmpagent.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSettings>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Measure
{
    double wall = 1e9;
    double cpu = 1e9;
    qint64 objects = 0;
};

// Starts the view's retrieval, waits for its Complete and counts what it lists.
template<typename View>
void measure(View &view, bool shown, const std::function<void()> &start, const std::function<qint64()> &count,
             Measure *best)
{
    view.resize(1100, 700);
    if (shown) {
        view.show();
        QApplication::processEvents();
    }
    QEventLoop loop;
    QObject::connect(&view, &View::Complete, &loop, &QEventLoop::quit);
    const double cpu = cpuSeconds();
    QElapsedTimer clock;
    clock.start();
    start();
    if (view.Busy())
        loop.exec();
    const double wall = clock.nsecsElapsed() / 1e9;
    best->wall = qMin(best->wall, wall);
    best->cpu = qMin(best->cpu, cpuSeconds() - cpu);
    best->objects = count();
    view.hide();
}

void report(const char *title, const Measure &hidden, const Measure &shown)
{
    auto line = [](const char *how, const Measure &m) {
        std::printf("  %-7s %6lld objects  wall %6.2f s = %7.0f per second   CPU %6.2f s = %5.2f ms per 1,000\n", how,
                    m.objects, m.wall, double(m.objects) / m.wall, m.cpu, m.cpu * 1e6 / double(qMax<qint64>(1, m.objects)));
    };
    std::printf("%s\n", title);
    line("hidden", hidden);
    line("shown", shown);
    std::printf("  shown / hidden rate %.2f (goal >= 0.9)\n", hidden.wall / shown.wall);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const int repeats = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const QByteArray only = argc > 2 ? QByteArray(argv[2]) : QByteArray();
    QTemporaryDir settings;
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    SnmpAgent snmpd;
    QString error;
    if (!snmpd.startSnmpd(&error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("snmpd on %s, platform %s, best of %d\n", qPrintable(snmpd.target()),
                qPrintable(QGuiApplication::platformName()), repeats);

    if (only.isEmpty() || only == "browser") {
        Measure hidden;
        Measure shown;
        for (int i = 0; i < repeats; ++i) {
            for (const bool show : {false, true}) {
                MIBBrowser browser;
                browser.setIP(snmpd.target());
                browser.setCurrentOID(QStringLiteral("iso"));
                measure(browser, show, [&] { browser.Activate(); }, [&] { return qint64(browser.model()->rows()); },
                        show ? &shown : &hidden);
            }
        }
        report("MIBBrowser walking iso", hidden, shown);
    }
    struct TableCase
    {
        const char *name;
        int version;
        short mode;
    };
    for (const TableCase &c : {TableCase{"hrSWInstalledTable", 2, 1}, TableCase{"hrSWInstalledTable", 1, 1},
                               TableCase{"hrSWRunTable", 1, 0}}) {
        if (!only.isEmpty() && only != "table")
            continue;
        const QString name = QLatin1String(c.name);
        Measure hidden;
        Measure shown;
        for (int i = 0; i < repeats; ++i) {
            for (const bool show : {false, true}) {
                MIBTable table;
                table.setIP(snmpd.target());
                table.setSNMPVersion(c.version);
                table.setDownloadMode(c.mode);
                measure(table, show, [&] { table.GetTable(name); }, [&] {
                    qint64 values = 0;
                    for (int r = 0; r < table.model()->tableRows(); ++r) {
                        for (int c = 0; c < table.model()->tableColumns(); ++c)
                            values += table.model()->cell(r, c).type != 0 ? 1 : 0;
                    }
                    return values;
                }, show ? &shown : &hidden);
            }
        }
        report(qPrintable(QStringLiteral("MIBTable retrieving %1, version %2, DownloadMode %3")
                              .arg(name)
                              .arg(c.version)
                              .arg(c.mode)),
               hidden, shown);
    }
    return 0;
}
