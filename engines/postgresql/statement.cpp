#include "engines/postgresql/statement.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "platform/ado/ascii_case.h"
#include "platform/ado/command_checks.h"
#include "platform/ado/status.h"

namespace {

constexpr const char* copyRefusal = "Rows cannot be copied between the client and the server.";

constexpr int inText = 0;
constexpr int inBinary = 1;

/// SET and RESET, and what begins like them.
bool mayChangeSettings(std::string_view text) noexcept {
    const std::string_view beginning = text.substr(0, 3);
    return orvel::platform::ado::equalIgnoringCase(beginning, "SET") ||
           orvel::platform::ado::equalIgnoringCase(beginning, "RES");
}

bool beginsReading(std::string_view text) noexcept {
    constexpr std::string_view reading = "SELECT";
    return orvel::platform::ado::equalIgnoringCase(text.substr(0, reading.size()), reading);
}

/// -1 for what counts no rows.
std::int64_t countOf(PGresult* result) noexcept {
    const std::string_view count = PQcmdTuples(result);
    std::int64_t number = -1;
    std::from_chars(count.data(), count.data() + count.size(), number);
    return number;
}

} // namespace

namespace orvel::engines::postgresql {

Statement::~Statement() {
    closeCursor();
    forgetPlan();
}

void Statement::setTimeout(std::int32_t seconds) {
    timeout = seconds;
    session->noteTimeout(seconds);
}

/// Ends the answer before and frees the connection.
void Statement::begin() {
    closeCursor();
    session->claim();
    changed = -1;
    wasInTransaction = session->isInTransaction();
    transactionOfRows = session->transactionNumber();
}

void Statement::executeText(const std::string& text) {
    ado::requireTextLength(text.size());
    begin();
    traits = {};
    const bool mayDropPlans = !text.empty() && (text.front() == 'D' || text.front() == 'd');
    if (mayDropPlans ||
        (wasInTransaction && session->usesSavepoints())) { // elsewhere nothing depends on its words
        traits = readText(text, false, session->escapesInStrings());
    }
    if (wasInTransaction) {
        refuseCopies();
    }
    if (traits.dropsPlans) {
        session->forgetGuards();
    }
    onlyReads = beginsReading(text);
    runText(text);
}

/// In a pipeline, a copy would leave the client library and the server out of step.
void Statement::refuseCopies() const {
    if (traits.copies) {
        throw ComError(ado::dbNotSupported, copyRefusal);
    }
}

void Statement::runText(const std::string& text) {
    guard = session->guardFor(traits);
    Failure reason;
    if (!sendText(text)) {
        failSending(reason);
    } else if (receiveFirst(true, reason)) {
        if (mayChangeSettings(text)) {
            session->keepDateStyle();
        }
        return;
    }
    raise(std::move(reason));
}

/// A text of any number of statements. What guards them stands behind a line feed, as the text may end in a comment.
bool Statement::sendText(const std::string& text) {
    PGconn* const connection = session->connection();
    expectAnswer();
    if (guard == Guard::none) {
        return PQsendQuery(connection, text.c_str()) == 1 && PQsetSingleRowMode(connection) == 1;
    }
    guarded.assign(text).append("\n;").append(session->guardText(guard));
    const bool isSent = PQsendQuery(connection, guarded.c_str()) == 1 && PQsetSingleRowMode(connection) == 1;
    if (guarded.size() > ado::worthKeeping) {
        std::string().swap(guarded);
    }
    return isSent;
}

/// The client library could not send: whatever has reached the server, nothing may follow it.
void Statement::failSending(Failure& reason) {
    reason = connectionFailure(session->connection());
    endAnswer(reason);
}

void Statement::expectAnswer() {
    isAnswering = true;
    isBehindRows = false;
    session->expectAnswerFor(*this);
}

void Statement::executeCommand(ado::CommandText& command, ado::ParameterValues values) {
    ado::requireTextLength(command.text.size());
    if (!isRead) {
        traits = readText(command.text, true, session->escapesInStrings());
        onlyReads = beginsReading(command.text);
        isRead = true;
    }
    requireMarkers(values.size());
    begin();
    runCommand(command, values);
}

void Statement::requireMarkers(std::size_t given) const {
    constexpr std::size_t most = 65535; // the protocol counts them in 16 bits
    if (traits.markers > most) {
        throw ComError(ado::adErrInvalidParamInfo, "The command has more than 65535 parameters.");
    }
    ado::requireValueForEachMarker(traits.markers, given);
    refuseCopies();
}

void Statement::runCommand(ado::CommandText& command, ado::ParameterValues values) {
    const bool again = std::exchange(command.ranBefore, true);
    if (traits.markers == 0 && (!again || traits.statements > 1)) {
        runText(traits.numbered);
        return;
    }
    parameters.take(values, !isUntyped);
    Failure reason;
    if (attempt(again ? Way::planned : Way::once, reason)) {
        return;
    }
    if (isPlanOutdated(reason)) {
        reason = {};
        begin();
        if (attempt(Way::once, reason)) {
            return;
        }
    }
    if (isMistyped(reason) && session->isUsable()) {
        begin();
        parameters.take(values, false);
        Failure second;
        if (attempt(Way::once, second)) {
            isUntyped = true;
            return;
        }
    }
    raise(std::move(reason));
}

/// The columns have changed under the plan, or somebody has dropped it.
bool Statement::isPlanOutdated(const Failure& reason) noexcept {
    const bool isDropped = reason.sqlState() == "26000";
    if (!isDropped && (plan.empty() || reason.sqlState() != "0A000")) {
        return false;
    }
    if (isDropped) {
        plan.clear();
        session->noticeDroppedPlan(reason);
    }
    forgetPlan();
    return true;
}

/// No function, operator or assignment takes a number here: a text may be what the server can read.
bool Statement::isMistyped(const Failure& reason) const noexcept {
    return (reason.sqlState() == "42883" || reason.sqlState() == "42804") && !isUntyped &&
           parameters.isTyped();
}

bool Statement::attempt(Way way, Failure& reason) {
    if (way == Way::planned && (plan.empty() || planTypes != parameters.types())) {
        forgetPlan();
        preparePlan(reason);
        if (reason) {
            return false;
        }
    }
    guard = session->guardFor(traits);
    if (guard != Guard::none) {
        reason = session->prepareGuards();
        if (reason) {
            return false;
        }
    }
    if (!send(way)) {
        failSending(reason);
        return false;
    }
    return receiveFirst(way == Way::once, reason);
}

/// With its columns, in one trip.
void Statement::preparePlan(Failure& reason) {
    std::string name = session->newPlanName();
    planTypes = parameters.types();
    static_cast<void>(session->guardFor(traits)); // sets the savepoint that a failure here goes back to
    guard = Guard::none;
    PGconn* const connection = session->connection();
    expectAnswer();
    if (!session->answers().beginPipeline() ||
        PQsendPrepare(connection, name.c_str(), traits.numbered.c_str(), parameters.count(),
                      planTypes.data()) != 1 ||
        PQsendDescribePrepared(connection, name.c_str()) != 1 || !session->answers().endPipeline()) {
        failSending(reason);
        return;
    }
    while (const Result result = reason.isLoss ? nullptr : receive(reason)) {
        if (PQresultStatus(result.get()) == PGRES_COMMAND_OK) {
            describe(result.get()); // the second of the two has the columns
        } else if (!reason) {
            reason = failureOf(connection, result.get());
        }
    }
    isAnswering = false;
    session->finishPreparing(wasInTransaction, reason);
    if (!reason) {
        plan = std::move(name);
        isBinary =
            std::ranges::all_of(columns, [](const Column& column) { return column.info->isKnownInBinary; });
    }
}

/// With the savepoint behind it in one trip, where there is one.
bool Statement::send(Way way) {
    PGconn* const connection = session->connection();
    format = way == Way::planned && isBinary ? Format::binary : Format::text;
    expectAnswer();
    if (guard != Guard::none && !session->answers().beginPipeline()) {
        return false;
    }
    const int isSent =
        way == Way::once
            ? PQsendQueryParams(connection, traits.numbered.c_str(), parameters.count(),
                                parameters.types().data(), parameters.values(), parameters.lengths(),
                                parameters.formats(), inText)
            : PQsendQueryPrepared(connection, plan.c_str(), parameters.count(), parameters.values(),
                                  parameters.lengths(), parameters.formats(),
                                  format == Format::binary ? inBinary : inText);
    const bool hasRows = way == Way::once || !columns.empty();
    return isSent == 1 && (!hasRows || PQsetSingleRowMode(connection) == 1) &&
           (guard == Guard::none || (session->sendGuard(guard) && session->answers().endPipeline()));
}

/// The next result of the answer; null at its end, also when there is no answer any more.
Result Statement::receive(Failure& reason) {
    Patience patience(timeout);
    return receive(patience, reason);
}

Result Statement::receive(Patience& patience, Failure& reason) {
    try {
        return session->answers().next(patience);
    } catch (const NoAnswer&) {
        reason = session->giveUp();
        return nullptr;
    }
}

bool Statement::receiveFirst(bool describes, Failure& reason) {
    Result result = receive(reason);
    const ExecStatusType status = PQresultStatus(result.get());
    switch (status) {
    case PGRES_SINGLE_TUPLE:
    case PGRES_TUPLES_OK:
        if (describes) {
            describe(result.get());
        }
        isBehindRows = status == PGRES_TUPLES_OK;
        if (!isBehindRows) {
            ahead.push_back(std::move(result));
        }
        return lookAhead(reason);
    case PGRES_COMMAND_OK:
    case PGRES_EMPTY_QUERY:
        columns.clear(); // a plan without rows has none
        changed = countOf(result.get());
        isBehindRows = true;
        return lookAhead(reason);
    case PGRES_COPY_IN:
    case PGRES_COPY_OUT:
    case PGRES_COPY_BOTH:
        refuseCopy(result.get(), reason);
        break;
    default:
        if (result != nullptr) {
            reason = failureOf(session->connection(), result.get());
        } else if (!reason) {
            reason = connectionFailure(session->connection());
        }
        break;
    }
    readToEnd(reason);
    return false;
}

/// Takes what has come with the first row. A failure in it is one of the execution, and not of a scan, whose reader would
/// not be told; a short answer is read to its end.
bool Statement::lookAhead(Failure& reason) {
    constexpr std::size_t mostAhead = 64;
    while (!isBehindRows && ahead.size() < mostAhead && !session->answers().isBusy()) {
        if (Result next = receiveRow(reason)) {
            ahead.push_back(std::move(next));
        }
    }
    if (isBehindRows) {
        readToEnd(reason);
    }
    return !reason;
}

void Statement::describe(const PGresult* result) {
    const auto count = static_cast<std::size_t>(PQnfields(result));
    columns.resize(count);
    for (std::size_t index = 0; index < count; ++index) {
        const int number = static_cast<int>(index);
        columns[index].name.assign(PQfname(result, number));
        columns[index].info = &typeInfo(PQftype(result, number));
    }
}

/// What the server wants to send is passed over, what it wants to have is refused.
void Statement::refuseCopy(const PGresult* result, Failure& reason) {
    PGconn* const connection = session->connection();
    reason = failureWith(ado::dbNotSupported, "0A000", copyRefusal);
    if (PQresultStatus(result) != PGRES_COPY_OUT) {
        PQputCopyEnd(connection, "not supported");
        return;
    }
    char* data = nullptr;
    Patience patience(timeout);
    try {
        for (int size = 0; (size = PQgetCopyData(connection, &data, 1)) >= 0;) {
            if (size > 0) {
                PQfreemem(data);
            } else if (!session->answers().awaitInput(patience)) {
                return;
            }
        }
    } catch (const NoAnswer&) {
        reason = session->giveUp();
    }
}

/// Reads what is left of the answer, rows included, and ends it. There is time for all of it together.
void Statement::readToEnd(Failure& reason) {
    Patience patience(timeout);
    while (const Result result = reason.isLoss ? nullptr : receive(patience, reason)) {
        const ExecStatusType status = PQresultStatus(result.get());
        if (status == PGRES_FATAL_ERROR && (!reason || reason.isLoss)) {
            reason = failureOf(session->connection(), result.get());
        } else if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT) {
            refuseCopy(result.get(), reason);
        }
    }
    endAnswer(reason);
}

void Statement::endAnswer(const Failure& reason) {
    isAnswering = false;
    isBehindRows = true;
    session->finishTrip(guard, traits, wasInTransaction, reason);
}

void Statement::dropRows() noexcept {
    ahead.clear();
    aheadTaken = 0;
    store.reset();
    row.reset();
}

void Statement::finish() {
    dropRows();
    if (!isAnswering) {
        return;
    }
    Failure reason;
    readToEnd(reason);
    if (reason) {
        raise(std::move(reason));
    }
}

bool Statement::nextRow() {
    isFromStore = false;
    if (aheadTaken < ahead.size()) {
        row = std::move(ahead[aheadTaken++]);
        return true;
    }
    if (isAnswering && !isBehindRows) {
        if (Result next = receiveRow(failure)) {
            row = std::move(next);
            return true;
        }
        if (failure) {
            readToEnd(failure);
        }
    }
    if (store != nullptr && store->next(columns.size())) {
        isFromStore = true;
        return true;
    }
    store.reset();
    if (failure.status == ado::adErrInvalidConnection) {
        throw ComError(ado::adErrInvalidConnection,
                       "The connection was closed before the last row was read.");
    }
    if (failure) {
        raise(std::exchange(failure, {}));
    }
    finish();
    return false;
}

/// Null behind the last one.
Result Statement::receiveRow(Failure& reason) {
    Result next = receive(reason);
    const ExecStatusType status = PQresultStatus(next.get());
    if (status == PGRES_SINGLE_TUPLE) {
        return next;
    }
    isBehindRows = true;
    if (next == nullptr && !reason) {
        reason = connectionFailure(session->connection());
    } else if (status == PGRES_FATAL_ERROR) {
        reason = failureOf(session->connection(), next.get());
    }
    return nullptr;
}

void Statement::storeRest() noexcept {
    if (!isAnswering) {
        return;
    }
    Failure reason;
    try {
        store = isBehindRows ? nullptr : std::make_unique<ado::RowStore>();
        while (!isBehindRows) {
            if (const Result next = receiveRow(reason)) {
                storeRow(next.get());
            }
        }
        readToEnd(reason);
        failure = std::move(reason);
    } catch (const ComError& error) {
        loseRest(error.hresult());
    } catch (...) {
        loseRest(eOutOfMemory);
    }
    if (failure) { // whether its reader gets there before the commit or not
        noteBrokenScan();
    }
}

void Statement::storeRow(const PGresult* result) {
    std::size_t size = 0;
    for (int column = 0; column < PQnfields(result); ++column) {
        size += static_cast<std::size_t>(PQgetlength(result, 0, column)); // 0 for NULL
    }
    store->beginRow(columns.size(), size);
    for (int column = 0; column < PQnfields(result); ++column) {
        if (PQgetisnull(result, 0, column) == 1) {
            store->addNull();
        } else {
            store->addValue(
                {PQgetvalue(result, 0, column), static_cast<std::size_t>(PQgetlength(result, 0, column))});
        }
    }
    store->endRow();
}

/// What cannot be kept is read all the same: the connection is wanted.
void Statement::loseRest(std::uint32_t status) noexcept {
    store.reset();
    failure.status = status;
    try {
        Failure reason;
        readToEnd(reason);
    } catch (...) {
        isAnswering = false;
        session->lose();
    }
}

void Statement::loseConnection() noexcept {
    isAnswering = false;
    if (!isBehindRows) {
        failure.status = ado::adErrInvalidConnection;
    }
}

/// A reader may stop early; an error in what he did not read is the transaction's all the same.
void Statement::closeCursor() noexcept {
    if (isAnswering) {
        try {
            readToEnd(failure);
        } catch (...) {
            isAnswering = false;
            session->lose();
        }
    }
    dropRows();
    if (failure) {
        const bool hasOwnEnd = onlyReads && failure.status == ado::dbAbortLimitReached;
        if (!hasOwnEnd) {
            noteBrokenScan();
        }
        failure = {};
    }
}

void Statement::forgetPlan() noexcept {
    if (!plan.empty()) {
        session->dropPlan(std::exchange(plan, {}));
    }
    isBinary = false;
}

RawValue Statement::raw(std::size_t column) const noexcept {
    if (isFromStore) {
        const std::string_view value = store->value(column);
        return {value.data(), value.size()};
    }
    const int number = static_cast<int>(column);
    const int size = PQgetlength(row.get(), 0, number);
    if (size == 0 && PQgetisnull(row.get(), 0, number) == 1) {
        return {};
    }
    return {PQgetvalue(row.get(), 0, number), static_cast<std::size_t>(size)};
}

void Statement::readValue(std::size_t column, ado::Variant& value) const {
    postgresql::readValue(*columns[column].info, format, raw(column), value);
}

std::int32_t Statement::valueSize(std::size_t column) const {
    return static_cast<std::int32_t>(postgresql::valueSize(*columns[column].info, format, raw(column)));
}

bool Statement::readBytes(std::size_t column, std::size_t most, ado::Variant& value) const {
    if (columns[column].info->kind != Kind::bytes) {
        return false;
    }
    postgresql::readBytes(format, raw(column), most, value);
    return true;
}

} // namespace orvel::engines::postgresql
