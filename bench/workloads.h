#ifndef ORVEL_BENCH_WORKLOADS_H
#define ORVEL_BENCH_WORKLOADS_H

#include <orvel/QD_OrvelInterface.h>

#include <span>

// The same work twice: through the library, and written by hand against the C interface under it. The work by
// hand tells NULL from a value, as the library does.

namespace bench {

struct Workload {
    const char* name;
    /// Gets ready, at a cost that does not depend on `times`, and does the work so many times.
    void (*run)(int times);
};

std::span<const Workload> sqliteWorkloads();
std::span<const Workload> odbcWorkloads();

/// Keeps the compiler from leaving out what was read.
void use(long long value);

constexpr int scannedRows = 10'000;

/// Reads three fields of one row by its key, through the library, in one transaction.
void lookUp(QD_OrvelConnectionHandle& connection, const char* sql, int times);

} // namespace bench

#endif
