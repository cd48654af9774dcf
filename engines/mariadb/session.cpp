#include "engines/mariadb/session.h"

#include "engines/mariadb/provider.h"
#include "engines/mariadb/statement.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::engines::mariadb {

std::shared_ptr<ado::Session> openSession(const ado::Login& login) {
    return std::make_shared<Session>(login);
}

Session::Session(const ado::Login& login)
    : errors(login.errors), version(mysql_get_client_info()), timeout(login.timeout) {
    const auto parameters = std::make_shared<const Parameters>(parametersOf(login));
    if (Failure failure = wire.connect(parameters)) {
        raise(std::move(failure));
    }
    link = Link::connected;
    // A reader may take his time: the server would end the connection of one that pauses for a minute.
    Failure failure = perform("SET SESSION net_write_timeout = 31536000");
    if (!failure && !parameters->initialStatement.empty()) {
        failure = perform(parameters->initialStatement);
    }
    if (failure) {
        raise(std::move(failure));
    }
}

Session::~Session() { disconnect(); }

void Session::disconnect() noexcept {
    lose();
    link = Link::closed;
}

std::shared_ptr<ado::Statement> Session::makeStatement() {
    requireConnected();
    return std::make_shared<Statement>(shared_from_this());
}

void Session::requireConnected() const {
    if (link != Link::connected) {
        throw ComError(eFail, "The connection was lost.");
    }
}

void Session::claim() {
    requireConnected();
    storeRunning();
    requireConnected();
    if (wire.settleCancelling()) {
        static_cast<void>(perform("DO 0")); // what a late cancelling may hit
        requireConnected();
    }
    if (!droppedPlans.empty()) {
        closePlans();
    }
}

/// It stays the running one meanwhile: a failure closes the connection, and its reading has to end before.
void Session::storeRunning() noexcept {
    if (running != nullptr) {
        running->storeRest();
        running = nullptr;
    }
}

void Session::drop(Plan plan) noexcept {
    if (running == nullptr) {
        const Call call(wire, timeout);
        plan.reset();
        return;
    }
    try {
        droppedPlans.push_back(std::move(plan));
    } catch (...) { // without memory to wait for it, its rows have to be fetched now
        storeRunning();
        const Call call(wire, timeout);
        plan.reset();
    }
}

void Session::closePlans() noexcept {
    const Call call(wire, timeout);
    droppedPlans.clear();
}

void Session::noteWithoutSingles(const std::string& text) {
    constexpr std::size_t longest = 4096;
    constexpr std::size_t most = 256;
    if (text.size() > longest) {
        return;
    }
    if (withoutSingles.size() >= most) {
        withoutSingles.clear();
    }
    withoutSingles.insert(text);
}

/// Runs a text of the session's own. No rows are expected from it.
Failure Session::perform(const std::string& text, bool mayCancel) {
    MYSQL* const handle = wire.get();
    const Call call(wire, timeout, mayCancel);
    Failure failure;
    if (mysql_real_query(handle, text.data(), text.size()) != 0) {
        failure = call.hasRunOut() ? giveUp() : failureOf(handle);
    } else { // the initial statement of a connection may be anything
        do {
            Result(mysql_store_result(handle));
        } while (mysql_more_results(handle) != 0 && mysql_next_result(handle) == 0);
        if (mysql_errno(handle) != 0) {
            failure = call.hasRunOut() ? giveUp() : failureOf(handle);
        }
    }
    if (failure.isLoss) {
        lose();
    }
    return failure;
}

Failure Session::giveUp() {
    lose();
    return failureWith(ado::dbAbortLimitReached, CR_SERVER_LOST,
                       "The server has not answered in time; the session was given up.");
}

/// The connection is closed at once, so that the server lets the locks of its transaction go. What reads from it has to end
/// before: the client library does not look after that.
void Session::lose() noexcept {
    const NoCall noWaits;
    link = link == Link::connected ? Link::lost : link;
    if (running != nullptr) {
        std::exchange(running, nullptr)->loseConnection();
    }
    droppedPlans.clear();
    wire.close();
    transaction.lose();
}

void Session::finishTrip(bool wasInTransaction, TextKind kind, const Failure& failure) noexcept {
    running = nullptr;
    if (failure.isLoss) {
        lose();
        return;
    }
    try {
        if (failure && wasInTransaction) {
            noticeFailure(kind, failure);
        } else if (!failure) {
            transaction.noteWork();
        }
        if (transaction.isOpen() && !isInTransaction()) {
            keepTransactionOpen();
        }
    } catch (...) { // no memory for an answer
        lose();
    }
}

/// A failing statement may have taken its transaction along: a deadlock does, and what else does is the server's matter. It
/// is asked. What defines something has committed the transaction before it failed.
void Session::noticeFailure(TextKind kind, const Failure& failure) {
    wire.settleCancelling();
    const bool isTold = !perform("DO 0") || !perform("DO 0"); // a late cancelling may hit the first
    const bool isCommitted = kind == TextKind::definition && !meansRollback(failure);
    if (!isTold || (!isInTransaction() && !isCommitted)) {
        transaction.spoil();
    }
}

/// What follows belongs to the transaction all the same, so that it ends as its object does.
void Session::keepTransactionOpen() {
    if (transaction.state() != ado::TransactionState::spoiled && link == Link::connected &&
        perform("START TRANSACTION")) {
        transaction.spoil();
    }
}

void Session::setIsolationLevel(std::int32_t level) {
    if (level != ado::adXactReadCommitted && level != ado::adXactSerializable) {
        throw ComError(ado::adErrInvalidArgument, "There is no such isolation level.");
    }
    isolation = level;
}

Failure Session::applyIsolation() {
    if (isolation == isolationSent) {
        return {};
    }
    Failure failure = perform(isolation == ado::adXactSerializable
                                  ? "SET SESSION TRANSACTION ISOLATION LEVEL SERIALIZABLE"
                                  : "SET SESSION TRANSACTION ISOLATION LEVEL READ COMMITTED");
    isolationSent = failure ? isolationSent : isolation;
    return failure;
}

void Session::begin() {
    transaction.requireNone();
    claim();
    Failure failure = applyIsolation();
    if (!failure) {
        failure = perform("START TRANSACTION");
    }
    if (failure) {
        abandonTransaction(); // it may have begun before the failure
        raise(std::move(failure));
    }
    transaction.begin();
}

/// What the server has said since the last call, such as that it shuts down: before the commit, this is a loss with
/// nothing kept, and behind it a doubt.
void Session::noticeLoss() noexcept {
    storeRunning();
    if (link == Link::connected && wire.hasEnded()) {
        lose();
    }
    wire.settleCancelling();
}

void Session::commit() {
    noticeLoss();
    try {
        transaction.requireCommittable();
    } catch (const ComError&) {
        abandonTransaction();
        throw;
    }
    Failure failure;
    try {
        failure = perform("COMMIT", false);
    } catch (...) { // without memory for the answer, it is not known whether the server has committed
        lose();
        abandonTransaction();
        throw ComError(ado::xactInDoubt, {});
    }
    if (failure) {
        failCommit(std::move(failure));
    }
    transaction.end();
}

void Session::failCommit(Failure failure) {
    if (failure.isLoss) {
        failure.status = ado::xactInDoubt;
    }
    abandonTransaction();
    raise(std::move(failure));
}

void Session::rollback() {
    transaction.requireOpen();
    noticeLoss();
    if (link != Link::connected) {
        transaction.end();
        throw ComError(eFail, "The connection was lost.");
    }
    Failure failure = perform("ROLLBACK", false);
    if (failure) {
        disconnect();
    }
    transaction.end();
    if (failure) {
        raise(std::move(failure));
    }
}

/// Rolls back; where that fails the session is given up, because something later could commit what is still open.
void Session::abandonTransaction() noexcept {
    try {
        if (link != Link::connected || perform("ROLLBACK", false)) {
            disconnect();
        }
    } catch (...) { // no memory for it
        disconnect();
    }
    transaction.end();
}

} // namespace orvel::engines::mariadb
