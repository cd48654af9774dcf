#ifndef ORVEL_ENGINES_POSTGRESQL_PROVIDER_H
#define ORVEL_ENGINES_POSTGRESQL_PROVIDER_H

#include "platform/ado/engine.h"

namespace orvel::engines::postgresql {

/// Connects to PostgreSQL through its own client library.
std::shared_ptr<ado::Session> openSession(const ado::Login& login);

} // namespace orvel::engines::postgresql

#endif
