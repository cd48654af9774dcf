#include "platform/ado/patience.h"

#include <chrono>
#include <utility>

namespace orvel::platform::ado {

/// An answer that comes soon costs no look at the clock.
bool Patience::wait(int socket, Wait what) noexcept {
    constexpr std::chrono::milliseconds soon{50};
    if (!std::exchange(hasWaited, true) && waitForSocket(socket, what, soon)) {
        return true;
    }
    return waitForSocket(socket, what, deadline());
}

const Deadline& Patience::deadline() noexcept {
    if (!std::exchange(hasBegun, true)) {
        end = Deadline(limit);
    }
    return end;
}

bool Patience::turnsToCancelling() noexcept {
    constexpr std::int32_t cancellingTime = 5; // seconds
    end = Deadline(cancellingTime);
    return std::exchange(cancels, false);
}

} // namespace orvel::platform::ado
