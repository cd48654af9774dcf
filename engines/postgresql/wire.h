#ifndef ORVEL_ENGINES_POSTGRESQL_WIRE_H
#define ORVEL_ENGINES_POSTGRESQL_WIRE_H

#include <cstdint>
#include <future>

#include "engines/postgresql/failure.h"
#include "engines/postgresql/libpq.h"
#include "engines/postgresql/login.h"
#include "platform/socket_wait.h"

namespace orvel::engines::postgresql {

/// How long one call may wait for the server: until its limit, and then for a few seconds for its cancelling. The time
/// begins with the first wait, so that a reader's own time does not count.
class Patience {
public:
    /// @param seconds  0 for no limit
    /// @param mayCancel  false gives up at once: what a COMMIT was about to do must not be guessed
    explicit Patience(std::int32_t seconds, bool mayCancel = true) noexcept
        : limit(seconds), cancels(mayCancel) {}

    const platform::Deadline& deadline() noexcept;
    /// True once: the statement is to be cancelled, and there is time for that.
    bool turnsToCancelling() noexcept;

private:
    platform::Deadline end;
    std::int32_t limit;
    bool cancels;
    bool hasBegun = false;
};

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
