#include "platform/socket_wait.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace orvel::platform {

Deadline::Deadline(std::int32_t seconds) noexcept {
    if (seconds > 0) {
        end = Clock::now() + std::chrono::seconds(seconds);
    }
}

int Deadline::millisecondsLeft() const noexcept {
    if (!isSet()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

bool waitForSocket(int socket, Wait what, const Deadline& deadline) noexcept {
    short events = what != Wait::toWrite ? POLLIN : 0;
    if (what != Wait::toRead) {
        events |= POLLOUT;
    }
    pollfd watched{socket, events, 0};
    for (;;) {
        const int ready = poll(&watched, 1, deadline.millisecondsLeft());
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return true; // an error of the socket shows where it is read
        }
        if (deadline.hasPassed()) {
            return false;
        }
    }
}

} // namespace orvel::platform
