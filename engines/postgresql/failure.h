#ifndef ORVEL_ENGINES_POSTGRESQL_FAILURE_H
#define ORVEL_ENGINES_POSTGRESQL_FAILURE_H

#include <cstdint>
#include <string_view>

#include "engines/postgresql/libpq.h"
#include "platform/ado/engine.h"
#include "platform/ado/failure.h"

namespace orvel::engines::postgresql {

using ado::Failure;

/// Of a result that is an error.
Failure failureOf(const PGconn* connection, const PGresult* result);

/// Of a connection that could not be made: the library tells the SQLSTATE of such a failure in its words alone.
Failure connectionFailure(const PGconn* connection);

/// Of our own making.
Failure failureWith(std::uint32_t status, const char* sqlState, std::string_view text);

} // namespace orvel::engines::postgresql

#endif
