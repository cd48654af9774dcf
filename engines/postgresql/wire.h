#ifndef ORVEL_ENGINES_POSTGRESQL_WIRE_H
#define ORVEL_ENGINES_POSTGRESQL_WIRE_H

#include <cstdint>
#include <future>

#include "engines/postgresql/failure.h"
#include "engines/postgresql/libpq.h"
#include "engines/postgresql/login.h"
#include "platform/ado/patience.h"

namespace orvel::engines::postgresql {

using ado::Patience;

/// The server has not answered in time, not even to a cancelling.
struct NoAnswer {};

/// The client library's connection with a bound for each wait. Nothing here blocks but the looking up of host names.
class Wire {
public:
    /// @return a failure, or an open connection
    Failure connect(const Parameters& parameters);
    void close() noexcept;

    PGconn* get() const noexcept { return connection.get(); }
    PGTransactionStatusType transactionStatus() const noexcept {
        return PQtransactionStatus(connection.get());
    }

    /// Before something is sent: waits for a cancelling under way, which must not hit what comes now.
    void settleCancelling() noexcept;
    /// What the calls send from now on is answered in one trip, up to `endPipeline`.
    bool beginPipeline() noexcept { return pipeline = PQenterPipelineMode(connection.get()) == 1; }
    bool endPipeline() noexcept { return PQpipelineSync(connection.get()) == 1; }

    /// The next result of what was sent; null when all of it is answered.
    /// @throws NoAnswer
    Result next(Patience& patience);
    /// The next result has not come yet.
    bool isBusy() const noexcept { return PQisBusy(connection.get()) == 1; }
    /// Waits for more of the answer: false when the connection is gone.
    /// @throws NoAnswer
    bool awaitInput(Patience& patience);

private:
    ConnectionHandle connection;
    std::future<void> cancelling;
    bool pipeline = false;

    void await(Patience& patience);
    void cancel() noexcept;
};

} // namespace orvel::engines::postgresql

#endif
