#include "engines/mariadb/statement.h"

#include <algorithm>
#include <utility>

#include "platform/ado/command_checks.h"
#include "platform/ado/status.h"

namespace orvel::engines::mariadb {

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
    runText(text);
}

void Statement::runText(const std::string& text) {
    forgetPlan();
    kind = kindOf(text);
    if (kind == TextKind::other || kind == TextKind::definition) {
        session->forgetTexts(); // it may change tables
    }
    Failure reason;
    bool isDone = false;
    if (kind == TextKind::silent || session->isKnownWithoutSingles(text)) {
        isDone = sendText(text, reason);
        if (isDone && columns.haveSingles()) { // a table has changed
            session->forgetTexts();
            begin();
            isDone = runOnce(text, reason);
        }
    } else {
        isDone = runOnce(text, reason);
        // Of many rows, numbers cost less as they are than in text.
        if (isDone && !isAnswering && kind == TextKind::query && !columns.haveSingles() &&
            mayRunTwice(text)) {
            session->noteWithoutSingles(text);
        }
    }
    if (!isDone) {
        raise(std::move(reason));
    }
}

bool Statement::sendText(const std::string& text, Failure& reason) {
    MYSQL* const connection = session->connection();
    const Call call(session->answers(), timeout);
    expectAnswer(Format::text);
    if (mysql_real_query(connection, text.data(), text.size()) != 0) {
        return fail(call, failureOf(connection), reason);
    }
    if (mysql_field_count(connection) != 0) {
        result.reset(mysql_use_result(connection));
        if (result == nullptr) {
            return fail(call, failureOf(connection), reason);
        }
    }
    return receiveFirst(reason);
}

/// As a plan that is made and run in one trip. What the server cannot plan, nor read because it has markers, goes as a text.
bool Statement::runOnce(const std::string& text, Failure& reason) {
    makePlan();
    isCommand = false;
    {
        const Call call(session->answers(), timeout);
        expectAnswer(Format::binary);
        if (mariadb_stmt_execute_direct(plan.get(), text.data(), text.size()) == 0) {
            return receiveFirst(reason);
        }
        fail(call, failureOf(plan.get()), reason);
    }
    if (!meansNoPlan(reason)) {
        return false;
    }
    reason = {};
    begin();
    return sendText(text, reason);
}

void Statement::executeCommand(ado::CommandText& command, ado::ParameterValues values) {
    ado::requireTextLength(command.text.size());
    begin();
    const bool again = std::exchange(command.ranBefore, true);
    if (values.empty() && !again && command.text.find('?') == std::string::npos) {
        runText(command.text);
        return;
    }
    kindOfCommand = kindOfCommand ? kindOfCommand : kindOf(command.text);
    kind = *kindOfCommand;
    if (kind == TextKind::other || kind == TextKind::definition) {
        session->forgetTexts();
    }
    Failure reason;
    if (runCommand(command.text, values, reason)) {
        return;
    }
    if (meansNoPlan(reason) && values.empty()) {
        begin();
        runText(command.text);
        return;
    }
    if (isPlanOutdated(reason)) {
        reason = {};
        begin();
        if (runCommand(command.text, values, reason)) {
            return;
        }
    }
    raise(std::move(reason));
}

bool Statement::runCommand(const std::string& text, ado::ParameterValues values, Failure& reason) {
    if (plan == nullptr && !prepare(text, reason)) {
        return false;
    }
    ado::requireValueForEachMarker(mysql_stmt_param_count(plan.get()), values.size());
    // Its columns may change between two runs, and the client library tells that when it has run.
    isCommand = kind == TextKind::query || kind == TextKind::silent;
    parameters.take(values);
    if (!parameters.bind(plan.get())) {
        reason = failureOf(plan.get());
        return false;
    }
    const Call call(session->answers(), timeout);
    expectAnswer(Format::binary);
    if (mysql_stmt_execute(plan.get()) != 0) {
        return fail(call, failureOf(plan.get()), reason);
    }
    return receiveFirst(reason);
}

bool Statement::prepare(const std::string& text, Failure& reason) {
    makePlan();
    isCommand = true;
    const Call call(session->answers(), timeout);
    expectAnswer(Format::binary);
    if (mysql_stmt_prepare(plan.get(), text.data(), text.size()) != 0) {
        isCommand = false;
        return fail(call, failureOf(plan.get()), reason);
    }
    isAnswering = false;
    session->expectNoAnswer();
    return true;
}

/// The columns have changed under the plan, or the server has forgotten it.
bool Statement::isPlanOutdated(const Failure& reason) {
    bool hasRun = false;
    if (!session->isUsable() || !meansPlanOutdated(reason, hasRun)) {
        return false;
    }
    forgetPlan();
    return !hasRun || kind == TextKind::query;
}

void Statement::makePlan() {
    forgetPlan();
    plan.reset(mysql_stmt_init(session->connection()));
    if (plan == nullptr) {
        throw ComError(eOutOfMemory, {});
    }
    parameters.forget();
    columns.forgetBinds();
}

void Statement::forgetPlan() noexcept {
    if (plan != nullptr) {
        session->drop(std::move(plan));
    }
}

void Statement::expectAnswer(Format format) noexcept {
    isAnswering = true;
    isBehindRows = true; // until there are some
    standOn(Place::nowhere);
    answerFormat = format;
    session->expectAnswerFor(*this);
}

/// Nothing more of the answer is to come. @return false
bool Statement::fail(const Call& call, Failure failed, Failure& reason) {
    reason = call.hasRunOut() ? session->giveUp() : std::move(failed);
    endAnswer(reason);
    return false;
}

bool Statement::receiveFirst(Failure& reason) {
    MYSQL* const connection = session->connection();
    const bool isText = answerFormat == Format::text;
    const unsigned int count = isText ? (result != nullptr ? mysql_num_fields(result.get()) : 0)
                                      : mysql_stmt_field_count(plan.get());
    if (count == 0) {
        columns.clear();
        changed = static_cast<std::int64_t>(isText ? mysql_affected_rows(connection)
                                                   : mysql_stmt_affected_rows(plan.get()));
        readToEnd(reason);
        return !reason;
    }
    // The names of a plan's columns are those of its first run; the connection has those of this one.
    columns.describe({isText ? mysql_fetch_fields(result.get()) : connection->fields, count}, answerFormat);
    isBehindRows = false;
    lookAhead(reason);
    return !reason;
}

/// Takes what has come with the first row. A failure in it is one of the execution, and not of a scan, whose reader would
/// not be told; a short answer is read to its end.
void Statement::lookAhead(Failure& reason) {
    constexpr int mostRows = 64;
    constexpr std::size_t mostBytes = std::size_t{12} * 1024; // the server does not send less at a time
    const Call call(session->answers(), timeout);
    for (int rows = 0; fetchRow(call, reason); ++rows) {
        if (rows + 1 == mostRows || store.bytes() + columns.rowSize() > mostBytes) {
            isPending = true;
            return;
        }
        storeRow();
    }
    readToEnd(reason);
}

bool Statement::fetchRow(const Call& call, Failure& reason) {
    if (answerFormat == Format::text) {
        if (MYSQL_ROW values = mysql_fetch_row(result.get())) {
            columns.take(values, mysql_fetch_lengths(result.get()));
            return true;
        }
        isBehindRows = true;
        if (mysql_errno(session->connection()) != 0) {
            reason = call.hasRunOut() ? session->giveUp() : failureOf(session->connection());
        }
        return false;
    }
    const int outcome = columns.bind(plan.get()) ? mysql_stmt_fetch(plan.get()) : 1;
    if (outcome == 0 || outcome == MYSQL_DATA_TRUNCATED) {
        columns.take(plan.get());
        return true;
    }
    isBehindRows = true;
    if (outcome != MYSQL_NO_DATA) {
        reason = call.hasRunOut() ? session->giveUp() : failureOf(plan.get());
    }
    return false;
}

/// Of several results, those behind the first: for the errors that may be in them.
void Statement::passFurtherResults(const Call& call, Failure& reason) {
    if (answerFormat == Format::text) {
        passFurtherTexts(call, reason);
        return;
    }
    int outcome = 0;
    while (mysql_stmt_more_results(plan.get()) != 0 && (outcome = mysql_stmt_next_result(plan.get())) == 0) {
        columns.forgetBinds(); // they are not those of the first result
        const unsigned int count = mysql_stmt_field_count(plan.get());
        ResultColumns later;
        later.describe({session->connection()->fields, count}, Format::binary);
        outcome = count == 0 ? MYSQL_NO_DATA : later.bind(plan.get()) ? 0 : 1;
        while (outcome == 0 || outcome == MYSQL_DATA_TRUNCATED) {
            outcome = mysql_stmt_fetch(plan.get());
        }
        if (outcome != MYSQL_NO_DATA) {
            break;
        }
    }
    if (outcome == 1) {
        reason = call.hasRunOut() ? session->giveUp() : failureOf(plan.get());
    }
}

void Statement::passFurtherTexts(const Call& call, Failure& reason) {
    MYSQL* const connection = session->connection();
    result.reset();
    while (mysql_more_results(connection) != 0 && mysql_next_result(connection) == 0) {
        result.reset(mysql_use_result(connection));
        while (result != nullptr && mysql_fetch_row(result.get()) != nullptr) {
        }
        if (mysql_errno(connection) != 0) {
            break; // the next call would forget it
        }
        result.reset();
    }
    if (mysql_errno(connection) != 0) {
        reason = call.hasRunOut() ? session->giveUp() : failureOf(connection);
    }
}

/// Reads what is left of the answer, and ends it. There is time for all of it together.
void Statement::readToEnd(Failure& reason) {
    const Call call(session->answers(), timeout);
    while (!isBehindRows) {
        fetchRow(call, reason);
    }
    if (!reason && session->isUsable()) {
        passFurtherResults(call, reason);
    }
    endAnswer(reason);
}

void Statement::endAnswer(const Failure& reason) noexcept {
    isAnswering = false;
    isBehindRows = true;
    isPending = false;
    standOn(place == Place::answer ? Place::lost : place);
    result.reset();
    if (reason.isLoss) {
        const NoCall noWaits;
        plan.reset();
    }
    session->finishTrip(wasInTransaction, kind, reason);
    if (!isCommand) {
        forgetPlan();
    }
}

void Statement::dropRows() noexcept {
    store.clear();
    isPending = false;
    standOn(Place::nowhere);
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
    standOn(Place::nowhere);
    if (store.next(columns.count())) {
        standOn(Place::store);
        return true;
    }
    if (std::exchange(isPending, false) || (!isBehindRows && fetchNext())) {
        standOn(Place::answer);
        return true;
    }
    if (isAnswering && failure) {
        readToEnd(failure);
    }
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

bool Statement::fetchNext() {
    const Call call(session->answers(), timeout);
    return fetchRow(call, failure);
}

void Statement::storeRest() noexcept {
    if (!isAnswering) {
        return;
    }
    Failure reason;
    try {
        storeCurrentRow();
        while (!isBehindRows) { // each row has its own time: its reader is to have it
            const Call call(session->answers(), timeout);
            if (fetchRow(call, reason)) {
                storeRow();
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

/// The row that is in the answer's memory, which is about to be used for others. Its reader stands on the stored one then.
void Statement::storeCurrentRow() {
    const bool isRead = place == Place::answer;
    if (std::exchange(isPending, false) || isRead) {
        storeRow();
    }
    if (isRead && store.next(columns.count())) {
        standOn(Place::store);
    }
}

void Statement::storeRow() {
    store.beginRow(columns.count(), columns.rowSize());
    std::vector<char> large;
    for (std::size_t column = 0; column < columns.count(); ++column) {
        std::string_view value = columns.row()[column];
        if (ResultColumns::isLarge(value)) {
            large.resize(value.size());
            ResultColumns::fetchLarge(plan.get(), column, large);
            value = {large.data(), large.size()};
        }
        value.data() == nullptr ? store.addNull() : store.addValue(value);
    }
    store.endRow();
}

/// What cannot be kept is read all the same: the connection is wanted.
void Statement::loseRest(std::uint32_t status) noexcept {
    store.dropWaiting();
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
    try {
        if (isAnswering) {
            storeCurrentRow();
        }
    } catch (...) { // without memory for it, the row is lost with the others
        store.dropWaiting();
        standOn(Place::lost);
    }
    isAnswering = false;
    result.reset();
    plan.reset();
    if (!std::exchange(isBehindRows, true)) {
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
        const bool hasOwnEnd = kind == TextKind::query && failure.status == ado::dbAbortLimitReached;
        if (!hasOwnEnd) {
            noteBrokenScan();
        }
        failure = {};
    }
}

void Statement::standOn(Place where) noexcept {
    place = where;
    row = where == Place::answer  ? columns.row()
          : where == Place::store ? store.row()
                                  : std::span<const std::string_view>();
}

/// Null data for NULL.
std::string_view Statement::cell(std::size_t column) const {
    if (place == Place::lost) {
        throw ComError(eOutOfMemory, "There was no memory to keep the row.");
    }
    return column < row.size() ? row[column] : std::string_view();
}

void Statement::readValue(std::size_t column, ado::Variant& value) const {
    const std::string_view data = cell(column);
    const ColumnType& type = columns.type(column);
    if (data.data() == nullptr) {
        value = ado::Null{};
    } else if (!ResultColumns::isLarge(data)) {
        mariadb::readValue(type, answerFormat, data, value);
    } else if (type.kind == Kind::bytes) {
        readBytes(column, data.size(), value);
    } else {
        std::string text(data.size(), '\0');
        ResultColumns::fetchLarge(plan.get(), column, text);
        value = std::move(text);
    }
}

std::int32_t Statement::valueSize(std::size_t column) const {
    const std::string_view data = cell(column);
    return data.data() == nullptr
               ? 0
               : static_cast<std::int32_t>(mariadb::valueSize(columns.type(column), answerFormat, data));
}

bool Statement::readBytes(std::size_t column, std::size_t most, ado::Variant& value) const {
    const std::string_view data = cell(column);
    if (columns.type(column).kind != Kind::bytes) {
        return false;
    }
    if (data.data() == nullptr) {
        value = ado::Null{};
    } else if (ResultColumns::isLarge(data)) {
        ado::Bytes bytes(std::min(data.size(), most));
        ResultColumns::fetchLarge(plan.get(), column, {reinterpret_cast<char*>(bytes.data()), bytes.size()});
        value = std::move(bytes);
    } else {
        mariadb::readValue(columns.type(column), answerFormat, data.substr(0, most), value);
    }
    return true;
}

} // namespace orvel::engines::mariadb
