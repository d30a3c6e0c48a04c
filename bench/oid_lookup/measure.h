#pragma once

#include <QStringList>

#include <chrono>

// Shared by the parts of the OID look-up benchmark.
namespace OidLookupBench {

using Clock = std::chrono::steady_clock;

inline double seconds(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double>(to - from).count();
}

// Resolves every OID through QXMibOID on the component's current database; returns
// the number resolved to a definition. The component must already point at the file.
int resolveAll(const QStringList &instanceOids);

} // namespace OidLookupBench
