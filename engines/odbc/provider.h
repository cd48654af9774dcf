#ifndef ORVEL_ENGINES_ODBC_PROVIDER_H
#define ORVEL_ENGINES_ODBC_PROVIDER_H

#include "platform/ado/engine.h"

namespace orvel::engines::odbc {

/// Connects through the driver manager: the connection string is the driver's.
std::shared_ptr<ado::Session> openSession(const ado::Login& login);

} // namespace orvel::engines::odbc

#endif
