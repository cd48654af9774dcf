#ifndef ORVEL_ENGINES_ODBC_DIAGNOSTIC_H
#define ORVEL_ENGINES_ODBC_DIAGNOSTIC_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/ado/engine.h"

// What an engine's words mean: one table for all engines, so that a failure of a kind has one status code.

namespace orvel::engines::odbc {

enum class Engine : std::uint8_t { other, sqlite, postgresql, mariadb, sqlServer };

/// From the name an engine gives itself.
Engine engineNamed(std::string_view name) noexcept;

using ado::Diagnostic;

/// The engine whose driver speaks, where its native codes are needed before there is a connection to ask.
Engine engineOfDriver(const Diagnostic& diagnostic) noexcept;

/// The HRESULT of a failure. Native codes count only with the engine they belong to.
std::uint32_t statusOf(const Diagnostic& diagnostic, Engine engine) noexcept;

/// The connection is gone: whatever the driver says of later calls, nothing reaches the engine any more.
bool meansConnectionLost(const Diagnostic& diagnostic, Engine engine) noexcept;

/// Driver and server no longer understand each other: what the driver says from now on is not to be believed.
bool meansOutOfStep(const Diagnostic& diagnostic, Engine engine) noexcept;

/// The engine has undone not only the statement, but its whole transaction.
bool meansTransactionUndone(const Diagnostic& diagnostic, Engine engine) noexcept;

/// The engine may have undone the whole transaction; only a question tells.
bool mayMeanTransactionUndone(const Diagnostic& diagnostic, Engine engine) noexcept;

/// A table has changed under a prepared statement: it runs again once it is prepared anew.
bool meansPlanOutdated(const Diagnostic& diagnostic, Engine engine) noexcept;

/// The server has refused the statement, whatever the driver's call answers: MariaDB's driver calls an error with the
/// SQLSTATE of a warning a success. The server's warnings for what was done are no records of this driver.
bool meansRefused(const Diagnostic& diagnostic, Engine engine) noexcept;

/// All records of a handle, most important first. To be called before any other call on the handle: that
/// replaces them.
std::vector<Diagnostic> readDiagnostics(std::int16_t handleType, void* handle);

} // namespace orvel::engines::odbc

#endif
