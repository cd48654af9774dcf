#ifndef ORVEL_TESTS_ALLOCATION_LIMIT_H
#define ORVEL_TESTS_ALLOCATION_LIMIT_H

#include <climits>
#include <cstdlib>

// For the program whose allocation functions are its own. Its tests have one thread.

namespace orvel::tests {

inline long allocationsLeft = LONG_MAX;
inline bool failsOnce = false;
inline bool hasFailedOne = false;

/// Whether the allocation that is asked for now may succeed.
inline bool mayAllocate() noexcept {
    if (allocationsLeft-- > 0) return true;
    hasFailedOne = true;
    if (failsOnce) allocationsLeft = LONG_MAX;
    return false;
}

/// Lets `count` more allocations succeed while it lives, then none, or all but one.
class AllocationLimit {
public:
    explicit AllocationLimit(long count, bool once = false) {
        allocationsLeft = count;
        failsOnce = once;
        hasFailedOne = false;
    }
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;
    ~AllocationLimit() { allocationsLeft = LONG_MAX; }

    /// Whether one has failed under the last limit.
    static bool hasFailed() { return hasFailedOne; }
};

} // namespace orvel::tests

#endif
