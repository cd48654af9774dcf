#ifndef ORVEL_PLATFORM_ADO_PATIENCE_H
#define ORVEL_PLATFORM_ADO_PATIENCE_H

#include <cstdint>

#include "platform/socket_wait.h"

namespace orvel::platform::ado {

/// How long one call may wait for the server: until its limit, and then for a few seconds for its cancelling. The time
/// begins with the first wait, so that a reader's own time does not count.
class Patience {
public:
    /// @param seconds  0 for no limit
    /// @param mayCancel  false gives up at once: what a COMMIT was about to do must not be guessed
    explicit Patience(std::int32_t seconds, bool mayCancel = true) noexcept
        : limit(seconds), cancels(mayCancel) {}

    /// False when the time is over.
    bool wait(int socket, Wait what) noexcept;
    /// The time is over; for who waits in another way.
    bool isOver() noexcept { return deadline().hasPassed(); }
    /// True once: the statement is to be cancelled, and there is time for that.
    bool turnsToCancelling() noexcept;

private:
    Deadline end;
    std::int32_t limit;
    bool cancels;
    bool hasWaited = false;
    bool hasBegun = false;

    const Deadline& deadline() noexcept;
};

} // namespace orvel::platform::ado

#endif
