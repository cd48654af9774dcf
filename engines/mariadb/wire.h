#ifndef ORVEL_ENGINES_MARIADB_WIRE_H
#define ORVEL_ENGINES_MARIADB_WIRE_H

#include <cstdint>
#include <future>
#include <memory>

#include "engines/mariadb/client.h"
#include "engines/mariadb/failure.h"
#include "engines/mariadb/login.h"
#include "platform/ado/patience.h"

namespace orvel::engines::mariadb {

/// The client library's connection. Its calls may wait for the server only within the life of a Call: the library asks us
/// before each wait.
class Wire {
public:
    /// Tries the hosts one after the other, each with its share of the time that is left.
    /// @return a failure, or an open connection
    Failure connect(std::shared_ptr<const Parameters> parameters);
    /// Never waits.
    void close() noexcept;

    MYSQL* get() const noexcept { return connection.get(); }
    bool isInTransaction() const noexcept {
        return connection != nullptr && (connection->server_status & SERVER_STATUS_IN_TRANS) != 0;
    }
    /// Something has come that nobody asked for: the server has ended the connection. Only while no answer is expected.
    bool hasEnded() const noexcept;

    /// Asks the server to end the statement under way; does not wait.
    void cancel() noexcept;
    /// Waits for a cancelling under way, which must not hit what comes next.
    /// @return true when there was one: it may have come too late and then meets the next statement
    bool settleCancelling() noexcept;

private:
    friend class Call;

    std::shared_ptr<const Parameters> parameters; ///< for the connection that cancels
    std::size_t host = 0;                         ///< the one that has answered
    ConnectionHandle connection;
    bool isEncrypted = false;
    std::future<void> cancelling;

    Failure connectTo(const Parameters::Host& at, const platform::Deadline& deadline);
    void setOptions() const;
    Failure secure();
    static void killQuery(const std::shared_ptr<const Parameters>& with, const Parameters::Host& at,
                          const std::string& text) noexcept;
};

/// While it lives, the client library's calls of this thread may wait for the server.
class Call {
public:
    /// @param seconds  0 for no limit
    Call(Wire& onWire, std::int32_t seconds, bool mayCancel = true) noexcept;
    /// Of a connection that is being made.
    Call(Wire& onWire, const platform::Deadline& until) noexcept;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    /// The server has not answered in time, not even to a cancelling.
    bool hasRunOut() const noexcept { return ranOut; }

private:
    friend int waitForServer(my_socket socket, my_bool toRead, int milliseconds);

    Wire& wire;
    ado::Patience patience;
    const platform::Deadline* deadline; ///< of connecting; null later
    Call* outer;
    bool ranOut = false;

    bool wait(int socket, bool toRead) noexcept;
    bool waitOnce(int socket, bool toRead) noexcept;
};

/// While it lives, no call of this thread waits, whatever stands around it.
class NoCall {
public:
    NoCall() noexcept;
    NoCall(const NoCall&) = delete;
    NoCall& operator=(const NoCall&) = delete;
    ~NoCall();

private:
    Call* outer;
};

} // namespace orvel::engines::mariadb

#endif
