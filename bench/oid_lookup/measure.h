#pragma once

#include <QStringList>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <functional>

// Shared by the parts of the OID look-up benchmark.
namespace OidLookupBench {

using Clock = std::chrono::steady_clock;

inline double seconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

// User and system time of the process so far.
inline double cpuSeconds()
{
    rusage u = {};
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// A rate measured by wall time and by CPU time; other builds share the machine,
// so the CPU rate is the one compared.
struct Rate
{
    double wall = 0;
    double cpu = 0;
};

// The best of `runs` runs of `work`, which does `count` operations per call.
inline Rate measure(qint64 count, const std::function<void()> &work, int runs = 3)
{
    Rate best;
    for (int i = 0; i < runs; ++i) {
        const double c0 = cpuSeconds();
        const Clock::time_point t0 = Clock::now();
        work();
        const double wall = seconds(t0, Clock::now());
        const double cpu = std::max(cpuSeconds() - c0, 1e-6);
        best.wall = std::max(best.wall, count / wall);
        best.cpu = std::max(best.cpu, count / cpu);
    }
    return best;
}

} // namespace OidLookupBench
