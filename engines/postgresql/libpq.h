#ifndef ORVEL_ENGINES_POSTGRESQL_LIBPQ_H
#define ORVEL_ENGINES_POSTGRESQL_LIBPQ_H

#include <libpq-fe.h>

#include <memory>

// The client library's C interface, with its objects owned.

namespace orvel::engines::postgresql {

struct Release {
    void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
    void operator()(PGresult* result) const noexcept { PQclear(result); }
    void operator()(PGcancel* cancel) const noexcept { PQfreeCancel(cancel); }
    void operator()(PQconninfoOption* options) const noexcept { PQconninfoFree(options); }
};

using ConnectionHandle = std::unique_ptr<PGconn, Release>;
using Result = std::unique_ptr<PGresult, Release>;
using CancelHandle = std::unique_ptr<PGcancel, Release>;
using Options = std::unique_ptr<PQconninfoOption, Release>;

} // namespace orvel::engines::postgresql

#endif
