#include "engines/postgresql/wire.h"

#include <array>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/ado/status.h"

namespace {

using orvel::platform::Deadline;
using orvel::platform::Wait;
using orvel::platform::waitForSocket;

constexpr std::chrono::seconds longestCancelling{2};

void ignoreNotice(void* /*argument*/, const char* /*message*/) {}

} // namespace

namespace orvel::engines::postgresql {

Failure Wire::connect(const Parameters& parameters) {
    std::vector<const char*> names;
    std::vector<const char*> values;
    for (std::size_t index = 0; index < parameters.names.size(); ++index) {
        names.push_back(parameters.names[index].c_str());
        values.push_back(parameters.values[index].c_str());
    }
    names.push_back(nullptr);
    values.push_back(nullptr);
    const Deadline deadline(parameters.timeout); // for all hosts together
    constexpr int nameIsPlain = 0;               // the database's name is no connection string
    connection.reset(PQconnectStartParams(names.data(), values.data(), nameIsPlain));
    if (connection == nullptr) {
        return failureWith(eOutOfMemory, "HY001", "There is no memory for a connection.");
    }
    PQsetNoticeProcessor(connection.get(), &ignoreNotice, nullptr);
    PQsetErrorVerbosity(connection.get(), PQERRORS_VERBOSE);
    PostgresPollingStatusType status = PGRES_POLLING_WRITING;
    while (PQstatus(connection.get()) != CONNECTION_BAD && status != PGRES_POLLING_OK) {
        const Wait what = status == PGRES_POLLING_WRITING ? Wait::toWrite : Wait::toRead;
        if (!waitForSocket(PQsocket(connection.get()), what, deadline)) {
            return failureWith(ado::dbAbortLimitReached, "08001",
                               "No server has answered within the connection timeout.");
        }
        status = PQconnectPoll(connection.get());
    }
    if (status != PGRES_POLLING_OK) {
        return connectionFailure(connection.get());
    }
    PQsetErrorVerbosity(connection.get(), PQERRORS_DEFAULT);
    if (PQsetnonblocking(connection.get(), 1) != 0) {
        return connectionFailure(connection.get());
    }
    return {};
}

void Wire::close() noexcept {
    connection.reset();
    pipeline = false;
}

Result Wire::next(Patience& patience) {
    for (;;) {
        await(patience);
        Result result(PQgetResult(connection.get()));
        if (result == nullptr) {
            if (!pipeline || PQstatus(connection.get()) == CONNECTION_BAD) {
                return result;
            }
            continue; // one command of several is answered, without a word
        }
        if (!pipeline) {
            return result;
        }
        if (PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC) {
            pipeline = false;
            PQexitPipelineMode(connection.get());
            return nullptr;
        }
        if (PQresultStatus(result.get()) != PGRES_SINGLE_TUPLE) {
            Result(PQgetResult(connection.get())); // null, at once: the end of this command
        }
        return result;
    }
}

void Wire::await(Patience& patience) {
    while (isBusy() && awaitInput(patience)) {
    }
}

bool Wire::awaitInput(Patience& patience) {
    if (PQsocket(connection.get()) < 0) {
        return false;
    }
    const Wait what = PQflush(connection.get()) == 1 ? Wait::toReadOrWrite : Wait::toRead;
    while (!patience.wait(PQsocket(connection.get()), what)) {
        if (!patience.turnsToCancelling()) {
            throw NoAnswer{};
        }
        cancel();
    }
    return PQconsumeInput(connection.get()) == 1; // otherwise the result tells of the loss
}

/// In a thread of its own, because it blocks for as long as the server accepts no connection.
void Wire::cancel() noexcept {
    try {
        auto done = std::make_shared<std::promise<void>>();
        std::future<void> outcome = done->get_future();
        std::thread([handle = std::shared_ptr<PGcancel>(PQgetCancel(connection.get()), Release{}), done] {
            std::array<char, 256> reason{};
            PQcancel(handle.get(), reason.data(), static_cast<int>(reason.size()));
            done->set_value();
        }).detach();
        cancelling = std::move(outcome);
    } catch (...) { // nothing is cancelled then, and the session is given up when its time is over
        return;
    }
}

void Wire::settleCancelling() noexcept {
    if (cancelling.valid()) {
        cancelling.wait_for(longestCancelling);
        cancelling = {};
    }
}

} // namespace orvel::engines::postgresql
