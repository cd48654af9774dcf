#ifndef ORVEL_TESTS_LEAKS_H
#define ORVEL_TESTS_LEAKS_H

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace orvel::tests {

/// What is allocated while it lives is no leak to the leak sanitizer.
class LeaksAllowed {
public:
#if defined(__SANITIZE_ADDRESS__)
    LeaksAllowed() { __lsan_disable(); }
    ~LeaksAllowed() { __lsan_enable(); }
#else
    LeaksAllowed() {}
    ~LeaksAllowed() {}
#endif
    LeaksAllowed(const LeaksAllowed&) = delete;
    LeaksAllowed& operator=(const LeaksAllowed&) = delete;
};

} // namespace orvel::tests

#endif
