#include "engines/odbc/statement.h"

#include <algorithm>
#include <string_view>

#include "platform/ado/ascii_case.h"
#include "platform/ado/command_checks.h"
#include "platform/ado/status.h"

namespace {

using orvel::engines::odbc::Engine;
using orvel::platform::ado::equalIgnoringCase;

/// Whether a text may have more results than one. It is asked of every statement, so what is certain saves a
/// call.
bool mayHaveSeveralResults(std::string_view text, Engine engine) noexcept {
    if (engine == Engine::other || engine == Engine::sqlServer) {
        return true; // there, even a trigger may answer
    }
    const std::size_t separator = text.find(';');
    if (separator != std::string_view::npos &&
        text.find_first_not_of(" \t\r\n", separator + 1) != std::string_view::npos) {
        return true;
    }
    const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n("));
    constexpr std::string_view answerOnce[] = {"SELECT", "INSERT", "UPDATE", "DELETE"};
    return std::ranges::none_of(answerOnce,
                                [word](std::string_view each) { return equalIgnoringCase(word, each); });
}

/// Cut to 32 bits, the length of a longer text would be that of its beginning.
SQLINTEGER lengthOf(const std::string& text) {
    orvel::platform::ado::requireTextLength(text.size());
    return static_cast<SQLINTEGER>(text.size());
}

} // namespace

namespace orvel::engines::odbc {

Statement::Statement(std::shared_ptr<Session> ofSession)
    : owner(std::move(ofSession)), handle(owner->allocateStatement()), rows(*this) {
    owner->enlist(*this);
}

Statement::~Statement() { owner->dismiss(*this); }

void Statement::check(SQLRETURN code) {
    if (!succeeded(code) || (code == SQL_SUCCESS_WITH_INFO && wasRefused())) {
        owner->fail(SQL_HANDLE_STMT, handle.get());
    }
}

bool Statement::wasRefused() {
    const Engine engine = owner->traits().engine;
    return engine == Engine::mariadb &&
           std::ranges::any_of(readDiagnostics(SQL_HANDLE_STMT, handle.get()),
                               [engine](const Diagnostic& record) { return meansRefused(record, engine); });
}

void Statement::setTimeout(std::int32_t seconds) {
    if (seconds == timeout || !owner->takesTimeout()) {
        return;
    }
    timeout = seconds;
    const SQLRETURN code =
        SQLSetStmtAttr(handle.get(), SQL_ATTR_QUERY_TIMEOUT, sqlNumber(static_cast<SQLUINTEGER>(seconds)), 0);
    if (code != SQL_SUCCESS) {
        owner->refuseTimeout();
    }
}

void Statement::begin(const std::string& text) noexcept {
    owner->noteText();
    severalResults = mayHaveSeveralResults(text, owner->traits().engine);
    executions = 0;
    planHasNoColumns = false;
    cursorOpen = false;
}

void Statement::executeText(const std::string& text) {
    const SQLINTEGER length = lengthOf(text);
    owner->prepareForStatement();
    begin(text);
    finishExecution(SQLExecDirect(handle.get(), sqlText(text), length));
}

void Statement::prepare(const std::string& text) {
    const SQLINTEGER length = lengthOf(text);
    owner->prepareForStatement();
    begin(text);
    rows.forgetBindings();
    check(SQLPrepare(handle.get(), sqlText(text), length));
}

void Statement::execute() {
    owner->prepareForStatement();
    finishExecution(SQLExecute(handle.get()));
    ++executions;
}

/// Changing no row is a success to which some drivers answer "no data". A failure has opened no cursor: MariaDB's
/// driver, told to close one all the same, waits for ever for a result in its next execution.
void Statement::finishExecution(SQLRETURN code) {
    changedNothing = code == SQL_NO_DATA;
    if (!changedNothing) {
        check(code);
    }
    owner->noteSuccess();
    transactionOfCursor = owner->currentTransaction();
    cursorOpen = true; // until it is known better
}

std::int32_t Statement::columnCount() {
    columns = 0;
    if (changedNothing) {
        return 0; // which tells nothing of the next execution: rows may have been asked for, and found none
    }
    SQLSMALLINT count = planHasNoColumns ? SQLSMALLINT{0} : SQLSMALLINT{-1};
    if (!planHasNoColumns) {
        check(SQLNumResultCols(handle.get(), &count));
    }
    if (count < 0) { // rows would be lost in silence
        throw ComError(eFail, "The driver did not say how many columns the result has.");
    }
    planHasNoColumns = count == 0 && executions > 0 && !severalResults; // a procedure may answer next time
    cursorOpen = count > 0 || severalResults;
    columns = count;
    return count;
}

std::int64_t Statement::changedRows() {
    SQLLEN count = changedNothing ? 0 : -1;
    if (!changedNothing) {
        check(SQLRowCount(handle.get(), &count));
    }
    return count;
}

void Statement::finish() {
    if (cursorOpen && columns > 0) {
        discardRows();
    }
    drainResults();
    closeCursor();
}

void Statement::discardRows() {
    rows.unbind();
    for (SQLRETURN code = SQL_SUCCESS; code != SQL_NO_DATA; code = SQLFetch(handle.get())) {
        check(code);
    }
}

void Statement::drainResults() {
    SQLRETURN code = severalResults ? SQL_SUCCESS : SQL_NO_DATA;
    while (isUsable() && code != SQL_NO_DATA) {
        code = SQLMoreResults(handle.get());
        if (code != SQL_NO_DATA) {
            check(code);
        }
    }
}

void Statement::beginRows() {
    rows.begin(columns, executions > 1); // what runs is what ran before, prepared
}

/// At the end, results that follow are passed over for their errors.
bool Statement::nextRow() {
    const bool hasRow = rows.next();
    if (!hasRow) {
        drainResults();
    }
    return hasRow;
}

const std::string& Statement::columnName(std::size_t column) const {
    return rows.columns()[column].description.name;
}

std::int32_t Statement::columnType(std::size_t column) const { return rows.columns()[column].type; }

void Statement::readValue(std::size_t column, ado::Variant& value) const {
    readCell(rows.columns()[column], rows.cell(column), value);
}

std::int32_t Statement::valueSize(std::size_t column) const {
    return actualSize(rows.columns()[column], rows.cell(column));
}

bool Statement::readBytes(std::size_t column, std::size_t most, ado::Variant& value) const {
    if (rows.columns()[column].kind != CellKind::bytes) {
        return false;
    }
    Cell cell = rows.cell(column);
    cell.length =
        cell.length == SQL_NULL_DATA ? cell.length : std::min(cell.length, static_cast<SQLLEN>(most));
    readCell(rows.columns()[column], cell, value);
    return true;
}

void Statement::closeCursor() noexcept {
    rows.end();
    if (isUsable() && std::exchange(cursorOpen, false)) {
        if (transactionOfCursor != owner->currentTransaction()) {
            owner->doubtTransaction(); // the server's cursor may have gone with its own transaction
        }
        if (!succeeded(SQLFreeStmt(handle.get(), SQL_CLOSE))) {
            abandon(); // whatever came next on this handle would meet the old cursor
            owner->doubtTransaction();
        }
    }
}

} // namespace orvel::engines::odbc
