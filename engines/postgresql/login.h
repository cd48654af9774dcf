#ifndef ORVEL_ENGINES_POSTGRESQL_LOGIN_H
#define ORVEL_ENGINES_POSTGRESQL_LOGIN_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ado/engine.h"

namespace orvel::engines::postgresql {

/// What the client library connects with: its own parameters, the same index for name and value.
struct Parameters {
    std::vector<std::string> names;
    std::vector<std::string> values; ///< wiped when they go: a password is among them
    /// A savepoint protects the transaction from each of its statements.
    bool savepoints = true;
    std::int32_t timeout = 0; ///< seconds, 0 for no limit

    Parameters() = default;
    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;
    Parameters(Parameters&&) = default;
    Parameters& operator=(Parameters&&) = delete;
    ~Parameters();
};

/// Keywords are those of the client library, with the synonyms Server (host), Database (dbname), User ID and UID (user),
/// Password and PWD (password); StatementSavepoints=off is ours.
/// @throws ComError  3001 for a keyword that is unknown or comes twice, and for a value that cannot be
Parameters parametersOf(const ado::Login& login);

} // namespace orvel::engines::postgresql

#endif
