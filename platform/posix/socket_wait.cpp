#include "platform/socket_wait.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <limits>

namespace {

using orvel::platform::Wait;

/// False when the time is over, and perhaps earlier.
bool pollFor(int socket, Wait what, int milliseconds) noexcept {
    short events = what != Wait::toWrite ? POLLIN : 0;
    if (what != Wait::toRead) {
        events |= POLLOUT;
    }
    pollfd watched{socket, events, 0};
    const int ready = poll(&watched, 1, milliseconds);
    return ready > 0 || (ready < 0 && errno != EINTR); // an error of the socket shows where it is read
}

} // namespace

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

/// What a socket of another kind does not know is left out: then there is no other host either.
void watchPeer(int socket) noexcept {
    constexpr int untilGivenUp = 60'000; // milliseconds
    constexpr struct {
        int level;
        int option;
        int value;
    } settings[] = {{SOL_SOCKET, SO_KEEPALIVE, 1},
                    {IPPROTO_TCP, TCP_KEEPIDLE, 20},
                    {IPPROTO_TCP, TCP_KEEPINTVL, 10},
                    {IPPROTO_TCP, TCP_KEEPCNT, 4},
                    {IPPROTO_TCP, TCP_USER_TIMEOUT, untilGivenUp}};
    for (const auto& setting : settings) {
        static_cast<void>(
            setsockopt(socket, setting.level, setting.option, &setting.value, sizeof setting.value));
    }
}

void limitBlocking(int socket, std::chrono::milliseconds time) noexcept {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const timeval limit{seconds.count(), std::chrono::microseconds(time - seconds).count()};
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        static_cast<void>(setsockopt(socket, SOL_SOCKET, option, &limit, sizeof limit));
    }
}

bool waitForSocket(int socket, Wait what, std::chrono::milliseconds time) noexcept {
    return pollFor(socket, what, static_cast<int>(time.count()));
}

bool waitForSocket(int socket, Wait what, const Deadline& deadline) noexcept {
    while (!pollFor(socket, what, deadline.millisecondsLeft())) {
        if (deadline.hasPassed()) {
            return false;
        }
    }
    return true;
}

} // namespace orvel::platform
