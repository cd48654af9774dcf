#include "engines/postgresql/session.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "engines/postgresql/provider.h"
#include "engines/postgresql/statement.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace {

constexpr const char* commitTag = "COMMIT";

// The plans of what guards a statement.
constexpr const char* savepointPlan = "orvel_savepoint";
constexpr const char* releasePlan = "orvel_release";

// So many plans of statements that are gone are worth a trip of their own.
constexpr std::size_t enoughPlans = 32;

} // namespace

namespace orvel::engines::postgresql {

std::shared_ptr<ado::Session> openSession(const ado::Login& login) {
    return std::make_shared<Session>(login);
}

Session::Session(const ado::Login& login) : errors(login.errors) {
    const Parameters parameters = parametersOf(login);
    savepoints = parameters.savepoints;
    timeout = login.timeout;
    if (Failure failure = wire.connect(parameters)) {
        raise(std::move(failure));
    }
    const int number = PQlibVersion();
    version = std::to_string(number / 10000) + "." + std::to_string(number % 10000);
    link = Link::connected;
}

Session::~Session() { disconnect(); }

void Session::disconnect() noexcept {
    if (running != nullptr) {
        std::exchange(running, nullptr)->loseConnection();
    }
    link = Link::closed;
    transaction.lose();
    wire.close();
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

bool Session::escapesInStrings() const noexcept {
    const char* const conforming = PQparameterStatus(wire.get(), "standard_conforming_strings");
    return conforming != nullptr && *conforming == 'o' && conforming[1] == 'f';
}

void Session::claim() {
    requireConnected();
    if (running != nullptr) {
        std::exchange(running, nullptr)->storeRest();
        requireConnected();
    }
    wire.settleCancelling();
    if (droppedPlans.size() >= enoughPlans && wire.transactionStatus() == PQTRANS_IDLE) {
        dropPlans();
        requireConnected();
    }
    while (PGnotify* const notification = PQnotifies(wire.get())) { // nobody here asks for them
        PQfreemem(notification);
    }
}

std::string Session::newPlanName() { return "orvel" + std::to_string(++plans); }

void Session::dropPlan(std::string plan) noexcept {
    try {
        droppedPlans.push_back(std::move(plan));
    } catch (...) { // the server keeps it until the session ends
        return;
    }
}

/// In one text: when one of them is gone already, the rest of them stays with the server until the session ends.
void Session::dropPlans() noexcept {
    try {
        std::string text;
        for (const std::string& plan : std::exchange(droppedPlans, {})) {
            text += "DEALLOCATE " + plan + ";";
        }
        perform(text);
    } catch (...) { // no memory for it now
        return;
    }
}

void Session::nameSavepoint(std::uint64_t number) {
    if (number != savepointNumber) {
        std::string text = "SAVEPOINT orvel" + (number == 0 ? std::string() : std::to_string(number));
        renewText = "RELEASE " + text + ";" + text;
        savepointText = std::move(text);
        savepointNumber = number;
    }
}

bool Session::sendGuard(Guard guard) const {
    const auto sendPlan = [this](const char* plan) {
        return PQsendQueryPrepared(wire.get(), plan, 0, nullptr, nullptr, nullptr, 0) == 1;
    };
    const auto sendText = [this](const std::string& text) {
        return PQsendQueryParams(wire.get(), text.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) == 1;
    };
    if (savepointNumber == 0) {
        return (guard != Guard::renew || sendPlan(releasePlan)) && sendPlan(savepointPlan);
    }
    return (guard != Guard::renew || sendText("RELEASE " + savepointText)) && sendText(savepointText);
}

Failure Session::prepareGuards() {
    if (hasGuards || savepointNumber != 0) {
        return {};
    }
    return performWithGuards({});
}

/// A text that may be empty, and the plans, in one trip.
Failure Session::performWithGuards(const std::string& text) {
    const auto prepare = [this](const char* plan, const char* guard) {
        return PQsendPrepare(wire.get(), plan, guard, 0, nullptr) == 1;
    };
    const auto send = [&] {
        return text.empty() ||
               PQsendQueryParams(wire.get(), text.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0) == 1;
    };
    if (!wire.beginPipeline() || !send() || !prepare(releasePlan, "RELEASE SAVEPOINT orvel") ||
        !prepare(savepointPlan, "SAVEPOINT orvel") || !wire.endPipeline()) {
        Failure failure = connectionFailure(wire.get());
        lose();
        return failure;
    }
    Failure failure = readAll(true);
    hasGuards = !failure;
    return failure;
}

/// Runs a text of the session's own. No rows are expected from it.
Failure Session::perform(const std::string& text, bool mayCancel) {
    if (PQsendQuery(wire.get(), text.c_str()) == 0) {
        Failure failure = connectionFailure(wire.get());
        lose();
        return failure;
    }
    return readAll(mayCancel);
}

Failure Session::readAll(bool mayCancel) {
    Patience patience(timeout, mayCancel);
    Failure failure;
    try {
        while (const Result result = failure.isLoss ? nullptr : wire.next(patience)) {
            if (PQresultStatus(result.get()) == PGRES_FATAL_ERROR && !failure) {
                failure = failureOf(wire.get(), result.get());
            }
        }
    } catch (const NoAnswer&) {
        return giveUp();
    } catch (...) { // without memory for the reason: what is left of the answer must not be taken for another
        lose();
        throw;
    }
    if (failure.isLoss) {
        lose();
    }
    return failure;
}

Failure Session::giveUp() {
    lose(); // first: there may be no memory for the words
    Failure failure = failureWith(ado::dbAbortLimitReached, "08006",
                                  "The server has not answered in time; the session was given up.");
    failure.isLoss = true;
    return failure;
}

/// The connection is closed at once, so that the server lets the locks of its transaction go.
void Session::lose() noexcept {
    link = link == Link::connected ? Link::lost : link;
    wire.close();
    transaction.lose();
    hasSavepoint = false;
}

void Session::keepDateStyle() {
    const char* const style = PQparameterStatus(wire.get(), "DateStyle");
    if (running == nullptr && style != nullptr && !std::string_view(style).starts_with("ISO")) {
        if (Failure failure = perform("SET datestyle TO ISO")) {
            raise(std::move(failure));
        }
    }
}

Guard Session::guardFor(const TextTraits& text) {
    if (!isInTransaction()) {
        hasSavepoint = false;
        nameSavepoint(0);
        return Guard::none;
    }
    if (!savepoints || text.setsTransaction) {
        return Guard::none;
    }
    const bool isFirst = transaction.state() == ado::TransactionState::clean;
    if (!hasSavepoint && !isFirst) { // the caller's own control has moved it, or the transaction is his own
        if (Failure failure = perform(guardText(Guard::first))) {
            raise(std::move(failure));
        }
        hasSavepoint = true;
    }
    if (text.controlsTransaction) {
        return Guard::none;
    }
    return hasSavepoint ? Guard::renew : Guard::first;
}

void Session::finishTrip(Guard guard, const TextTraits& text, bool wasInTransaction, const Failure& failure) {
    running = nullptr;
    if (failure.isLoss) {
        lose();
        return;
    }
    if (!failure) {
        hasSavepoint = guard != Guard::none || (hasSavepoint && !text.controlsTransaction);
        transaction.noteWork(); // first: there may be no memory for the name
        nameSavepoint(savepointNumber + (text.controlsTransaction ? 1 : 0));
        return;
    }
    undoFailure(wasInTransaction);
}

void Session::finishPreparing(bool wasInTransaction, const Failure& failure) {
    running = nullptr;
    if (failure.isLoss) {
        lose();
    } else if (failure) {
        undoFailure(wasInTransaction);
    }
}

/// Without memory for the way back, the transaction is taken for one that the failure has ended.
void Session::undoFailure(bool wasInTransaction) noexcept {
    const PGTransactionStatusType status = wire.transactionStatus();
    const bool isFirst = transaction.state() == ado::TransactionState::clean;
    const bool canGoBack = status == PQTRANS_INERROR && savepoints && (hasSavepoint || isFirst);
    try {
        if (canGoBack &&
            !perform(hasSavepoint ? "ROLLBACK TO " + savepointText : "ROLLBACK;" + beginText())) {
            return;
        }
    } catch (...) {
        transaction.spoil();
        return;
    }
    // Still failed; or ended, with a failure of the caller's own COMMIT.
    if (status == PQTRANS_INERROR || (wasInTransaction && status == PQTRANS_IDLE)) {
        transaction.spoil();
    }
}

void Session::setIsolationLevel(std::int32_t level) {
    if (level != ado::adXactReadCommitted && level != ado::adXactSerializable) {
        throw ComError(ado::adErrInvalidArgument, "There is no such isolation level.");
    }
    isolation = level;
}

std::string Session::beginText() const {
    switch (isolation) {
    case ado::adXactReadCommitted:
        return "BEGIN ISOLATION LEVEL READ COMMITTED";
    case ado::adXactSerializable:
        return "BEGIN ISOLATION LEVEL SERIALIZABLE";
    default:
        return "BEGIN";
    }
}

void Session::begin() {
    transaction.requireNone();
    claim();
    const bool needsGuards = savepoints && !hasGuards;
    if (Failure failure = needsGuards ? performWithGuards(beginText()) : perform(beginText())) {
        abandonTransaction(); // it may have begun before the failure
        raise(std::move(failure));
    }
    transaction.begin();
    hasSavepoint = false;
    nameSavepoint(0);
}

/// What the server has said since the last call, such as that it shuts down: before the commit, this is a loss with
/// nothing kept, and behind it a doubt.
void Session::noticeLoss() noexcept {
    if (link == Link::connected && running != nullptr) {
        std::exchange(running, nullptr)->storeRest();
    }
    if (link == Link::connected && PQconsumeInput(wire.get()) == 0) {
        lose();
    }
    wire.settleCancelling();
    if (link != Link::connected) {
        transaction.lose();
    }
}

/// Where somebody has dropped the plans of the guards, the failure names one.
void Session::noticeDroppedPlan(const Failure& failure) noexcept {
    if (!failure.diagnostics.empty() &&
        failure.diagnostics.front().text.find("\"orvel_") != std::string::npos) {
        hasGuards = false;
    }
}

void Session::commit() {
    noticeLoss();
    try {
        transaction.requireCommittable();
    } catch (const ComError&) {
        abandonTransaction();
        throw;
    }
    Result answer;
    Failure failure;
    try {
        failure = sendCommit(answer);
    } catch (...) { // without memory for the answer, it is not known whether the server has committed
        lose();
        abandonTransaction();
        throw ComError(ado::xactInDoubt, {});
    }
    if (failure || answer == nullptr) {
        failCommit(std::move(failure));
    }
    transaction.end();
    hasSavepoint = false;
    if (PQcmdStatus(answer.get()) != std::string_view(commitTag)) {
        throw ComError(ado::xactAborted, "The server rolled the transaction back: nothing was kept.");
    }
}

/// @param answer  gets what the server says
Failure Session::sendCommit(Result& answer) {
    if (PQsendQuery(wire.get(), commitTag) == 0) {
        return connectionFailure(wire.get());
    }
    Patience patience(timeout, false);
    Failure failure;
    try {
        while (Result result = failure.isLoss ? nullptr : wire.next(patience)) {
            if (PQresultStatus(result.get()) == PGRES_FATAL_ERROR) {
                failure = failureOf(wire.get(), result.get());
            }
            answer = std::move(result);
        }
    } catch (const NoAnswer&) {
        return giveUp();
    }
    return failure;
}

void Session::failCommit(Failure failure) {
    if (!failure) { // no answer at all, and no reason for it
        failure = failureWith(eFail, "08006", "The server has not answered.");
        failure.isLoss = true;
    }
    if (failure.isLoss) {
        lose();
        failure.status = ado::xactInDoubt;
    } else {
        constexpr std::int32_t failedCommitting = 110; // as the engine's ODBC driver numbers it
        failure.diagnostics.front().nativeError = failedCommitting;
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
    hasSavepoint = false;
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
    hasSavepoint = false;
    transaction.end();
}

} // namespace orvel::engines::postgresql
