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
    DiagnosticLines() {
        collected().clear();
        previous = QD_OrvelSetDebugOutput(&DiagnosticLines::collect);
    }
    DiagnosticLines(const DiagnosticLines&) = delete;
    DiagnosticLines& operator=(const DiagnosticLines&) = delete;
    ~DiagnosticLines() { QD_OrvelSetDebugOutput(previous); }

    static std::vector<std::string> all() {
        const std::lock_guard guard(mutex());
        return collected();
    }

private:
    QD_OrvelDebugOutput previous;

    static std::mutex& mutex() {
        static std::mutex instance;
        return instance;
    }
    static std::vector<std::string>& collected() {
        static std::vector<std::string> instance;
        return instance;
    }
    static void collect(const char* line) noexcept {
        const std::lock_guard guard(mutex());
        collected().emplace_back(line);
    }
};

} // namespace orvel::tests

#endif
