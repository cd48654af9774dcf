#include "engines/odbc/diagnostic.h"

#include <algorithm>
#include <array>
#include <span>

#include "engines/odbc/driver_manager.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;
using orvel::engines::odbc::Engine;

struct NativeStatus {
    std::int32_t nativeError;
    std::uint32_t status;
};

// A lock that is not to be had has a code of its own in every engine, behind SQLSTATEs that say nothing.
constexpr NativeStatus sqliteStatuses[] = {
    {1, dbErrorsInCommand},   {5, dbResourceLocked},    {6, dbResourceLocked},
    {7, eOutOfMemory},        {8, dbReadOnly},          {9, dbCanceled},
    {13, dbOutOfSpace},       {18, dbDataOverflow},     {19, dbIntegrityViolation},
    {20, dbCantConvertValue}, {23, dbPermissionDenied}, {25, dbBadOrdinal},
};
constexpr NativeStatus mariadbStatuses[] = {
    {1021, dbOutOfSpace},
    {1037, eOutOfMemory},
    {1038, eOutOfMemory},
    {1044, dbPermissionDenied},
    {1049, dbNotFound},
    {1114, dbOutOfSpace},
    {1142, dbPermissionDenied},
    {1143, dbPermissionDenied},
    {1205, dbResourceLocked},
    {1227, dbPermissionDenied},
    {1265, dbCantConvertValue},
    {1290, dbReadOnly},
    {1317, dbCanceled},
    {1370, dbPermissionDenied},
    {1792, dbReadOnly},
    {1836, dbReadOnly},
    {1969, dbAbortLimitReached},
    {2006, eFail},
    {2013, eFail},
    {2014, eFail},
    {2027, eFail},
    {2055, eFail},
    {3024, dbAbortLimitReached},
};
constexpr NativeStatus sqlServerStatuses[] = {
    {229, dbPermissionDenied},
    {230, dbPermissionDenied},
    {262, dbPermissionDenied},
    {1222, dbResourceLocked},
};

std::span<const NativeStatus> nativeStatuses(Engine engine) noexcept {
    switch (engine) {
    case Engine::sqlite:
        return sqliteStatuses;
    case Engine::mariadb:
        return mariadbStatuses;
    case Engine::sqlServer:
        return sqlServerStatuses;
    default:
        return {}; // the PostgreSQL driver's codes tell nothing, the server's SQLSTATE everything
    }
}

// Shut down, killed, gone, lost, lost while something else was done, a broken pipe.
constexpr std::int32_t mariadbLosses[] = {1053, 1927, 2006, 2013, 2055, 5014};

// Commands out of sync, malformed packet.
constexpr std::int32_t mariadbMisunderstandings[] = {2014, 2027};

// The row has changed since it was read, the lock table is full, and the three that an XA transaction has.
constexpr std::int32_t mariadbRollbacks[] = {1020, 1206, 1402, 1613, 1614};

bool isOneOf(std::string_view state, std::initializer_list<std::string_view> list) noexcept {
    return std::ranges::find(list, state) != list.end();
}

bool isOneOf(std::int32_t code, std::span<const std::int32_t> list) noexcept {
    return std::ranges::find(list, code) != list.end();
}

bool contains(std::string_view text, std::string_view part) noexcept {
    return text.find(part) != std::string_view::npos;
}

} // namespace

namespace orvel::engines::odbc {

Engine engineNamed(std::string_view name) noexcept {
    if (contains(name, "PostgreSQL")) {
        return Engine::postgresql;
    }
    if (contains(name, "MariaDB") || contains(name, "MySQL")) {
        return Engine::mariadb;
    }
    if (contains(name, "SQLite")) {
        return Engine::sqlite;
    }
    return contains(name, "SQL Server") ? Engine::sqlServer : Engine::other;
}

Engine engineOfDriver(const Diagnostic& diagnostic) noexcept {
    return diagnostic.text.starts_with("[ma-") ? Engine::mariadb : Engine::other;
}

std::uint32_t statusOf(const Diagnostic& diagnostic, Engine engine) noexcept {
    if (engine == Engine::sqlite && contains(diagnostic.text, "no such table")) {
        return dbNoTable;
    }
    if (engine == Engine::sqlite && contains(diagnostic.text, "unbound parameters")) {
        return dbParamNotOptional;
    }
    const auto natives = nativeStatuses(engine);
    const auto native = std::ranges::find(natives, diagnostic.nativeError, &NativeStatus::nativeError);
    return native != natives.end() ? native->status : statusOfState(diagnostic.sqlState);
}

/// A statement may raise the state of a lost connection while its own is well: a procedure by hand, a server that
/// asks another one. The driver's own codes tell the two apart.
bool meansConnectionLost(const Diagnostic& diagnostic, Engine engine) noexcept {
    const bool hasLostState =
        diagnostic.sqlState.starts_with("08") || isOneOf(diagnostic.sqlState, {"57P01", "57P02", "57P03"});
    switch (engine) {
    case Engine::mariadb:
        return diagnostic.sqlState == "08003" || isOneOf(diagnostic.nativeError, mariadbLosses) ||
               meansOutOfStep(diagnostic, engine);
    case Engine::postgresql: {
        constexpr std::int32_t failedStatement = 1; // in the words of the server
        constexpr std::int32_t failedCommit = 110;
        constexpr std::int32_t brokenCommunication = 35;
        return diagnostic.nativeError == brokenCommunication ||
               (hasLostState && diagnostic.nativeError != failedStatement &&
                diagnostic.nativeError != failedCommit);
    }
    default:
        return hasLostState;
    }
}

bool meansOutOfStep(const Diagnostic& diagnostic, Engine engine) noexcept {
    return engine == Engine::mariadb && isOneOf(diagnostic.nativeError, mariadbMisunderstandings);
}

bool meansTransactionUndone(const Diagnostic& diagnostic, Engine engine) noexcept {
    return ((engine == Engine::mariadb || engine == Engine::sqlServer) && diagnostic.sqlState == "40001") ||
           (engine == Engine::mariadb && isOneOf(diagnostic.nativeError, mariadbRollbacks));
}

bool mayMeanTransactionUndone(const Diagnostic& diagnostic, Engine engine) noexcept {
    constexpr std::int32_t lockWaitTimeout = 1205; // undoes the transaction where the server is set so
    return engine == Engine::postgresql || engine == Engine::sqlite ||
           (engine == Engine::mariadb && diagnostic.nativeError == lockWaitTimeout);
}

bool meansPlanOutdated(const Diagnostic& diagnostic, Engine engine) noexcept {
    constexpr std::int32_t otherColumns = 2057;
    return (engine == Engine::postgresql && diagnostic.sqlState == "0A000") ||
           (engine == Engine::mariadb && diagnostic.nativeError == otherColumns);
}

bool meansRefused(const Diagnostic& diagnostic, Engine engine) noexcept {
    return engine == Engine::mariadb && diagnostic.nativeError != 0;
}

std::vector<Diagnostic> readDiagnostics(std::int16_t handleType, void* handle) {
    std::vector<Diagnostic> diagnostics;
    std::string text(1024, '\0');
    std::array<SQLCHAR, SQL_SQLSTATE_SIZE + 1> state{};
    for (SQLSMALLINT number = 1; handle != nullptr;) {
        SQLINTEGER native = 0;
        SQLSMALLINT length = 0;
        const auto room = static_cast<SQLSMALLINT>(text.size());
        if (!succeeded(SQLGetDiagRec(handleType, handle, number, state.data(), &native, sqlText(text), room,
                                     &length))) {
            break;
        }
        if (length >= room && room < SQL_MAX_MESSAGE_LENGTH * 60) {
            text.resize(static_cast<std::size_t>(length) + 1); // the same record again, whole
            continue;
        }
        // NOLINTNEXTLINE(readability-redundant-string-cstr): ends where the text does, before the rest of the room
        diagnostics.push_back({reinterpret_cast<const char*>(state.data()), native, text.c_str()});
        ++number;
    }
    return diagnostics;
}

} // namespace orvel::engines::odbc
