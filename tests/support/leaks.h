#ifndef ORVEL_TESTS_LEAKS_H
#define ORVEL_TESTS_LEAKS_H

// The leak sanitizer's own functions; not there without it.
// NOLINTBEGIN(bugprone-reserved-identifier): they are not ours to name
extern "C" [[gnu::weak]] void __lsan_disable();
extern "C" [[gnu::weak]] void __lsan_enable();
// NOLINTEND(bugprone-reserved-identifier)

namespace orvel::tests {

/// What is allocated while it lives is no leak to the leak sanitizer.
struct LeaksAllowed {
    LeaksAllowed() { __lsan_disable != nullptr ? __lsan_disable() : void(); }
    LeaksAllowed(const LeaksAllowed&) = delete;
    LeaksAllowed& operator=(const LeaksAllowed&) = delete;
    ~LeaksAllowed() { __lsan_enable != nullptr ? __lsan_enable() : void(); }
};

} // namespace orvel::tests

#endif
