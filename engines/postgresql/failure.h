#ifndef ORVEL_ENGINES_POSTGRESQL_FAILURE_H
#define ORVEL_ENGINES_POSTGRESQL_FAILURE_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "engines/postgresql/libpq.h"
#include "platform/ado/engine.h"

namespace orvel::engines::postgresql {

/// What went wrong in a call, until somebody raises it.
struct Failure {
    std::uint32_t status = 0; ///< 0: nothing
    std::vector<ado::Diagnostic> diagnostics;
    bool isLoss = false; ///< the session is gone with it

    explicit operator bool() const noexcept { return status != 0; }
    std::string_view sqlState() const noexcept {
        return diagnostics.empty() ? std::string_view() : std::string_view(diagnostics.front().sqlState);
    }
};

/// Of a result that is an error.
Failure failureOf(const PGconn* connection, const PGresult* result);

/// Of a connection that could not be made: the library tells the SQLSTATE of such a failure in its words alone.
Failure connectionFailure(const PGconn* connection);

/// Of our own making.
Failure failureWith(std::uint32_t status, const char* sqlState, std::string_view text);

} // namespace orvel::engines::postgresql

#endif
