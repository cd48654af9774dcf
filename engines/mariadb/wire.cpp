#include "engines/mariadb/wire.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "platform/ado/status.h"

namespace orvel::engines::mariadb {

namespace {

using platform::Deadline;
using platform::Wait;
using platform::waitForSocket;

constexpr std::int32_t cancellingTime = 2; // seconds

/// Encrypted, the library waits inside of its calls. So often it comes back to us.
constexpr std::chrono::milliseconds blockingTime{200};

thread_local Call* current = nullptr;

const char* orNull(const std::string& text) noexcept { return text.empty() ? nullptr : text.c_str(); }

std::int32_t secondsLeft(const Deadline& deadline) noexcept {
    constexpr int second = 1000;
    return (deadline.millisecondsLeft() + second - 1) / second;
}

void startLibrary() {
    static std::once_flag started;
    std::call_once(started, [] { mysql_server_init(0, nullptr, nullptr); });
}

/// Of the connection, whatever it has from a file of options.
template <class Value>
Value optionOf(MYSQL* connection, mysql_option option) noexcept {
    Value value{};
    return mysql_get_optionv(connection, option, static_cast<void*>(&value)) == 0 ? value : Value{};
}

} // namespace

/// What the library calls before it waits. Outside of a Call nothing may wait: what would, fails.
int waitForServer(my_socket socket, my_bool toRead, int /*milliseconds*/) {
    return current != nullptr && current->wait(socket, toRead != 0) ? 1 : 0;
}

Call::Call(Wire& onWire, std::int32_t seconds, bool mayCancel) noexcept
    : wire(onWire), patience(seconds, mayCancel), deadline(nullptr), outer(std::exchange(current, this)) {}

Call::Call(Wire& onWire, const Deadline& until) noexcept
    : wire(onWire), patience(0, false), deadline(&until), outer(std::exchange(current, this)) {}

Call::~Call() { current = outer; }

NoCall::NoCall() noexcept : outer(std::exchange(current, nullptr)) {}

NoCall::~NoCall() { current = outer; }

bool Call::wait(int socket, bool toRead) noexcept {
    while (ranOut || !waitOnce(socket, toRead)) {
        if (ranOut || deadline != nullptr || !patience.turnsToCancelling()) {
            ranOut = true;
            return false;
        }
        wire.cancel();
    }
    return true;
}

bool Call::waitOnce(int socket, bool toRead) noexcept {
    const Wait what = toRead ? Wait::toRead : Wait::toWrite;
    if (deadline != nullptr) {
        return waitForSocket(socket, what, *deadline);
    }
    // Encrypted, the library has waited for a while, and will do so again.
    return wire.isEncrypted ? !patience.isOver() : patience.wait(socket, what);
}

Failure Wire::connect(std::shared_ptr<const Parameters> with) {
    startLibrary();
    parameters = std::move(with);
    const Deadline all(parameters->timeout);
    Failure failure;
    const std::size_t count = parameters->hosts.size();
    for (host = 0; host < count; ++host) {
        const auto left = static_cast<std::int32_t>(count - host);
        const Deadline share(all.isSet() ? std::max(secondsLeft(all) / left, 1) : 0);
        failure = connectTo(parameters->hosts[host], left > 1 ? share : all);
        if (!failure) {
            return failure;
        }
        close();
        if (!isWorthAnotherHost(failure) || all.hasPassed()) {
            break;
        }
    }
    return failure;
}

void Wire::setOptions() const {
    MYSQL* const handle = connection.get();
    const auto set = [handle](mysql_option option, const auto& value) {
        mysql_options(handle, option, &value);
    };
    // So that it comes back from what blocks, which is TLS alone; the limit itself is ours.
    set(MYSQL_OPT_CONNECT_TIMEOUT, 1U);
    set(MYSQL_OPT_LOCAL_INFILE, parameters->allowsLocalFiles ? 1U : 0U);
    set(MYSQL_REPORT_DATA_TRUNCATION, my_bool{0}); // lengths tell it
    mysql_optionsv(handle, MARIADB_OPT_IO_WAIT, reinterpret_cast<void*>(&waitForServer));
    mysql_options(handle, MYSQL_READ_DEFAULT_GROUP, "client");
    mysql_options(handle, MYSQL_SET_CHARSET_NAME, "utf8mb4");
    for (const auto& [option, value] : parameters->options) {
        mysql_options(handle, option, value.c_str());
    }
    if (parameters->requiresTls) {
        set(MYSQL_OPT_SSL_ENFORCE, my_bool{1});
    }
    if (parameters->verifiesServer) {
        set(MYSQL_OPT_SSL_VERIFY_SERVER_CERT, my_bool{1});
    }
}

Failure Wire::connectTo(const Parameters::Host& at, const Deadline& deadline) {
    connection.reset(mysql_init(nullptr));
    isEncrypted = false;
    if (connection == nullptr) {
        return failureWith(eOutOfMemory, CR_OUT_OF_MEMORY, "There is no memory for a connection.");
    }
    setOptions();
    const Call call(*this, deadline);
    const MYSQL* const connected = mysql_real_connect(
        connection.get(), orNull(at.name), orNull(parameters->user), orNull(parameters->password),
        orNull(parameters->database), at.port != 0 ? at.port : parameters->port, orNull(parameters->socket),
        CLIENT_FOUND_ROWS);
    if (call.hasRunOut()) {
        return failureWith(ado::dbAbortLimitReached, CR_CONN_HOST_ERROR,
                           "No server has answered within the connection timeout.");
    }
    return connected != nullptr ? secure() : failureOf(connection.get());
}

/// Files of options may have changed what was asked for, and a server may not have what was wanted.
Failure Wire::secure() {
    MYSQL* const handle = connection.get();
    const int socket = mysql_get_socket(handle);
    isEncrypted = mysql_get_ssl_cipher(handle) != nullptr;
    const bool isWanted = parameters->requiresTls || optionOf<my_bool>(handle, MYSQL_OPT_SSL_ENFORCE) != 0 ||
                          optionOf<my_bool>(handle, MYSQL_OPT_SSL_VERIFY_SERVER_CERT) != 0 ||
                          optionOf<const char*>(handle, MYSQL_OPT_SSL_CA) != nullptr;
    // The file's wishes for these do not count: a session that came back by itself would be another one.
    const my_bool off = 0;
    const unsigned int localFiles = parameters->allowsLocalFiles ? 1 : 0;
    mysql_options(handle, MYSQL_OPT_RECONNECT, &off);
    mysql_options(handle, MYSQL_OPT_LOCAL_INFILE, &localFiles);
    if (isWanted && !isEncrypted) {
        return failureWith(eFail, CR_SSL_CONNECTION_ERROR, "TLS is wanted, and the server has not got it.");
    }
    platform::watchPeer(socket);
    if (isEncrypted) {
        platform::limitBlocking(socket, blockingTime);
    }
    if (std::string_view(mysql_character_set_name(handle)) != "utf8mb4" &&
        mysql_set_character_set(handle, "utf8mb4") != 0) {
        return failureOf(handle);
    }
    return {};
}

void Wire::close() noexcept {
    const NoCall noWaits;
    connection.reset();
    isEncrypted = false;
}

bool Wire::hasEnded() const noexcept {
    return waitForSocket(mysql_get_socket(connection.get()), Wait::toRead, std::chrono::milliseconds(0));
}

/// Whatever fails there, the session is given up when its time is over.
void Wire::killQuery(const std::shared_ptr<const Parameters>& with, const Parameters::Host& at,
                     const std::string& text) noexcept {
    try {
        const Deadline deadline(cancellingTime);
        Wire other;
        other.parameters = with;
        if (!other.connectTo(at, deadline)) {
            const Call call(other, deadline);
            mysql_real_query(other.get(), text.data(), text.size());
        }
        other.close();
    } catch (...) { // no memory for it
        return;
    }
}

/// Over a connection of its own, in a thread of its own, because connecting may take its time.
void Wire::cancel() noexcept {
    try {
        auto done = std::make_shared<std::promise<void>>();
        std::future<void> outcome = done->get_future();
        const std::string text = "KILL QUERY " + std::to_string(mysql_thread_id(connection.get()));
        std::thread([with = parameters, at = parameters->hosts[host], text, done] {
            killQuery(with, at, text);
            done->set_value();
        }).detach();
        cancelling = std::move(outcome);
    } catch (...) { // nothing is cancelled then, and the session is given up when its time is over
        return;
    }
}

bool Wire::settleCancelling() noexcept {
    if (!cancelling.valid()) {
        return false;
    }
    cancelling.wait_for(std::chrono::seconds(cancellingTime));
    cancelling = {};
    return true;
}

} // namespace orvel::engines::mariadb
