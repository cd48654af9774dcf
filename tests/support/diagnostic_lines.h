#ifndef ORVEL_TESTS_DIAGNOSTIC_LINES_H
#define ORVEL_TESTS_DIAGNOSTIC_LINES_H

#include <mutex>
#include <string>
#include <vector>

#include "QD_OrvelDebugOutput.h"

namespace orvel::tests {

/// Collects the library's diagnostic lines while it lives, one at a time.
class DiagnosticLines {
public:
    DiagnosticLines() : previous(QD_OrvelSetDebugOutput(&collect)) { collected.clear(); }
    DiagnosticLines(const DiagnosticLines&) = delete;
    DiagnosticLines& operator=(const DiagnosticLines&) = delete;
    ~DiagnosticLines() { QD_OrvelSetDebugOutput(previous); }

    static std::vector<std::string> all() {
        const std::lock_guard guard(mutex);
        return collected;
    }

private:
    static inline std::mutex mutex;
    static inline std::vector<std::string> collected;
    QD_OrvelDebugOutput previous;

    static void collect(const char* line) noexcept {
        const std::lock_guard guard(mutex);
        collected.emplace_back(line);
    }
};

/// Drops the library's diagnostic lines while it lives, and counts them: needs no memory.
class Silence {
public:
    Silence() : previous(QD_OrvelSetDebugOutput([](const char*) noexcept { ++lines; })) { lines = 0; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() { QD_OrvelSetDebugOutput(previous); }

    static inline int lines = 0;

private:
    QD_OrvelDebugOutput previous;
};

} // namespace orvel::tests

#endif
