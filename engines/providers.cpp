// The one table of what engines can be reached through: the only source that sees more than one of them.

#include <algorithm>
#include <iterator>

#include "engines/mariadb/provider.h"
#include "engines/odbc/provider.h"
#include "engines/postgresql/provider.h"
#include "platform/ado/ascii_case.h"
#include "platform/ado/engine.h"

namespace {

using namespace orvel::engines;

constexpr ado::Provider providers[] = {
#if ORVEL_WITH_ODBC
    {"", false, &odbc::openSession},
    {"MSDASQL", false, &odbc::openSession},
#endif
#if ORVEL_WITH_POSTGRESQL
    {"PostgreSQL", true, &postgresql::openSession},
#endif
#if ORVEL_WITH_MARIADB
    {"MariaDB", true, &mariadb::openSession},
#endif
};

} // namespace

namespace orvel::platform::ado {

const Provider* findProvider(std::string_view name) noexcept {
    const auto* const found = std::ranges::find_if(
        providers, [name](const Provider& provider) { return equalIgnoringCase(provider.name, name); });
    return found != std::end(providers) ? found : nullptr;
}

} // namespace orvel::platform::ado
