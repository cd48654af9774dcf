#include "engines/mariadb/statement.h"

#include <algorithm>
#include <utility>

#include "platform/ado/status.h"

namespace {

void requireLength(const std::string& text) {
    if (text.size() >= orvel::platform::ado::lengthLimit) {
        throw orvel::platform::ComError(orvel::platform::ado::adErrInvalidArgument,
                                        "The text of the statement has 1 GiB or more.");
    }
}

void requireMarkers(std::size_t markers, std::size_t given) {
    if (given == markers) {
        return;
    }
    const std::string reason = "The command has " + std::to_string(given) + " parameters for " +
                               std::to_string(markers) + " markers.";
    throw orvel::platform::ComError(given > markers ? orvel::platform::ado::adErrInvalidParamInfo
                                                    : orvel::platform::ado::dbParamNotOptional,
                                    reason);
}

} // namespace

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
}

void Statement::executeText(const std::string& text) {
    requireLength(text);
    begin();
    runText(text);
}

void Statement::runText(const std::string& text) {
    forgetPlan();
    const TextKind kind = kindOf(text);
    if (kind == TextKind::other) {
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
        if (isDone && !isAnswering && kind == TextKind::query && !columns.haveSingles()) {
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
    requireLength(command.text);
    begin();
    const bool again = std::exchange(command.ranBefore, true);
    if (values.empty() && !again && command.text.find('?') == std::string::npos) {
        runText(command.text);
        return;
    }
    kindOfCommand = kindOfCommand ? kindOfCommand : kindOf(command.text);
    if (kindOfCommand == TextKind::other) {
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
    requireMarkers(mysql_stmt_param_count(plan.get()), values.size());
    // Its columns may change between two runs, and the client library tells that when it has run.
    isCommand = kindOfCommand != TextKind::other;
    if (parameters.take(values) && mysql_stmt_bind_param(plan.get(), parameters.all()) != 0) {
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
    return !hasRun || kindOfCommand == TextKind::query;
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
    for (int rows = 0; fetchRow(reason); ++rows) {
        if (rows + 1 == mostRows || store.bytes() + columns.rowSize() > mostBytes) {
            isPending = true;
            return;
        }
        storeRow();
    }
    readToEnd(reason);
}

bool Statement::fetchRow(Failure& reason) {
    const Call call(session->answers(), timeout);
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
void Statement::passFurtherResults(Failure& reason) {
    MYSQL* const connection = session->connection();
    if ((answerFormat == Format::binary ? mysql_stmt_more_results(plan.get())
                                        : mysql_more_results(connection)) == 0) {
        return;
    }
    const Call call(session->answers(), timeout);
    int outcome = 0;
    if (answerFormat == Format::text) {
        result.reset();
        while ((outcome = mysql_next_result(connection)) == 0) {
            if (mysql_field_count(connection) != 0) {
                result.reset(mysql_use_result(connection));
                while (mysql_fetch_row(result.get()) != nullptr) {
                }
                result.reset();
            }
        }
    } else {
        while ((outcome = mysql_stmt_next_result(plan.get())) == 0 && mysql_errno(connection) == 0) {
            columns.forgetBinds(); // they are not those of the first result
        }
    }
    if (outcome > 0 || mysql_errno(connection) != 0) {
        reason = call.hasRunOut() ? session->giveUp() : failureOf(connection);
    }
}

/// Reads what is left of the answer, and ends it.
void Statement::readToEnd(Failure& reason) {
    while (!isBehindRows) {
        fetchRow(reason);
    }
    if (!reason && session->isUsable()) {
        passFurtherResults(reason);
    }
    endAnswer(reason);
}

void Statement::endAnswer(const Failure& reason) noexcept {
    isAnswering = false;
    isBehindRows = true;
    isPending = false;
    standOn(place == Place::answer ? Place::nowhere : place);
    result.reset();
    if (reason.isLoss) {
        const NoCall noWaits;
        plan.reset();
    }
    session->finishTrip(wasInTransaction, reason);
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
    if (std::exchange(isPending, false) || (!isBehindRows && fetchRow(failure))) {
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

void Statement::storeRest() noexcept {
    if (!isAnswering) {
        return;
    }
    Failure reason;
    try {
        const bool isRead = storeCurrentRow();
        while (!isBehindRows) {
            if (fetchRow(reason)) {
                storeRow();
            }
        }
        const Place kept = isRead && store.next(columns.count()) ? Place::store : place;
        readToEnd(reason);
        standOn(kept);
        failure = std::move(reason);
    } catch (const ComError& error) {
        loseRest(error.hresult());
    } catch (...) {
        loseRest(eOutOfMemory);
    }
}

/// The row that is in the answer's memory, which is about to be used for others.
/// @return true when its reader stands on it
bool Statement::storeCurrentRow() {
    const bool isRead = place == Place::answer;
    if (std::exchange(isPending, false) || isRead) {
        storeRow();
    }
    return isRead;
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
    store.clear();
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
        if (isAnswering && storeCurrentRow() && store.next(columns.count())) {
            standOn(Place::store);
        }
    } catch (...) { // without memory for it, the row is lost with the others
        dropRows();
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
            Failure reason;
            readToEnd(reason);
            if (reason && wasInTransaction) {
                session->noteBrokenScan();
            }
        } catch (...) {
            isAnswering = false;
            session->lose();
        }
    }
    dropRows();
    if (failure) {
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
std::string_view Statement::cell(std::size_t column) const noexcept {
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
