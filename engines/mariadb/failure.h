#ifndef ORVEL_ENGINES_MARIADB_FAILURE_H
#define ORVEL_ENGINES_MARIADB_FAILURE_H

#include <cstdint>

#include "engines/mariadb/client.h"
#include "platform/ado/engine.h"
#include "platform/ado/failure.h"

namespace orvel::engines::mariadb {

using ado::Failure;

/// Of the last call on a connection, or on a plan of it.
Failure failureOf(MYSQL* connection);
Failure failureOf(MYSQL_STMT* plan);

/// Of our own making, with one of the client library's numbers.
Failure failureWith(std::uint32_t status, std::int32_t number, const char* text);

/// Another host may do better: nobody has answered, or not as a server that takes statements.
bool isWorthAnotherHost(const Failure& failure) noexcept;
/// The server cannot run this text as a plan: it has no plans for such, or the text has markers.
bool meansNoPlan(const Failure& failure) noexcept;
/// The server has undone the transaction with the statement, or may have.
bool meansRollback(const Failure& failure) noexcept;
/// The plan is of no use any more. @param ran  the statement has been executed all the same
bool meansPlanOutdated(const Failure& failure, bool& ran) noexcept;

} // namespace orvel::engines::mariadb

#endif
