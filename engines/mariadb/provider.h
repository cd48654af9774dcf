#ifndef ORVEL_ENGINES_MARIADB_PROVIDER_H
#define ORVEL_ENGINES_MARIADB_PROVIDER_H

#include "platform/ado/engine.h"

namespace orvel::engines::mariadb {

/// Connects to MariaDB through its own client library.
std::shared_ptr<ado::Session> openSession(const ado::Login& login);

} // namespace orvel::engines::mariadb

#endif
