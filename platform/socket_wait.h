#ifndef ORVEL_PLATFORM_SOCKET_WAIT_H
#define ORVEL_PLATFORM_SOCKET_WAIT_H

#include <chrono>
#include <cstdint>

namespace orvel::platform {

/// A point in time at which waiting ends; none at all when it was made from 0 seconds.
class Deadline {
public:
    Deadline() = default;
    explicit Deadline(std::int32_t seconds) noexcept;

    bool isSet() const noexcept { return end != Clock::time_point::max(); }
    bool hasPassed() const noexcept { return isSet() && Clock::now() >= end; }
    /// For what takes a time to wait: -1 without a deadline, 0 once it has passed.
    int millisecondsLeft() const noexcept;

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end = Clock::time_point::max();
};

/// What a socket is waited for. Something to read, or an error, ends the wait in any case.
enum class Wait : std::uint8_t { toRead, toReadOrWrite, toWrite };

/// False when the deadline passed first.
bool waitForSocket(int socket, Wait what, const Deadline& deadline) noexcept;

/// False when nothing came of it for that time. May wait a little longer, when signals come.
bool waitForSocket(int socket, Wait what, std::chrono::milliseconds time) noexcept;

/// Lets a TCP connection end within a minute when its other host, or the way there, is gone.
void watchPeer(int socket) noexcept;

/// Lets calls of others that block on the socket return after that time with nothing done.
void limitBlocking(int socket, std::chrono::milliseconds time) noexcept;

} // namespace orvel::platform

#endif
