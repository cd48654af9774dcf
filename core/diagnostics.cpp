#include "core/diagnostics.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <string_view>

#include "QD_OrvelDebugOutput.h"
#include "platform/debug_output.h"

namespace {

constexpr std::size_t lineCapacity = 256; // 255 characters and the terminating zero

std::atomic<int> traceSwitch = 0;
std::atomic<QD_OrvelDebugOutput> applicationSink = nullptr;

const char* prefix(orvel::CatchForm form) noexcept {
    switch (form) {
    case orvel::CatchForm::swallowed:
        return "CATCH... ";
    case orvel::CatchForm::comError:
        return "CATCH _com_error";
    case orvel::CatchForm::libraryException:
        return "CATCH QD_OrvelException";
    case orvel::CatchForm::replaced:
        break;
    }
    return "CATCH ... ";
}

/// The unit a class belongs to, by the names of the classes: "QD_SQOrvelQuery::close" is the SQLite provider's.
const char* sourceUnit(std::string_view function) noexcept {
    if (function.starts_with("QD_SQOrvel")) {
        return "QD_SQOrvelInterface";
    }
    if (function.starts_with("QD_ADOOrvel")) {
        return "QD_ADOOrvelInterface";
    }
    if (function.starts_with("QD_OrvelConfig")) {
        return "QD_OrvelConfig";
    }
    return "QD_OrvelInterface";
}

} // namespace

QD_OrvelDebugOutput QD_OrvelSetDebugOutput(QD_OrvelDebugOutput sink) noexcept {
    return applicationSink.exchange(sink);
}

namespace orvel {

void logCatch(CatchForm form, const char* function, unsigned int line, const char* text) noexcept {
    std::array<char, lineCapacity> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%s: %s, Line %u, %s - %s\n", prefix(form),
                  sourceUnit(function), line, function, text);
    const QD_OrvelDebugOutput sink = applicationSink.load();
    if (sink != nullptr) {
        sink(buffer.data());
    } else {
        platform::writeDebugOutput(buffer.data());
    }
}

void setSqlTrace(int value) noexcept { traceSwitch.store(value, std::memory_order_relaxed); }

int sqlTrace() noexcept { return traceSwitch.load(std::memory_order_relaxed); }

void traceSql(const char* sql) noexcept {
    if (sqlTrace() == 0) {
        return;
    }
    std::fprintf(stderr, "Orvel SQL:\"%s\"\n", sql);
    std::fflush(stderr);
}

} // namespace orvel
