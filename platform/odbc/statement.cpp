#include "platform/odbc/statement.h"

namespace orvel::platform::odbc {

Statement::Statement(std::shared_ptr<Session> ofSession)
    : owner(std::move(ofSession)), handle(owner->allocateStatement()), rows(*this) {
    owner->enlist(*this);
}

Statement::~Statement() { owner->dismiss(*this); }

void Statement::check(SQLRETURN code) {
    if (!succeeded(code)) {
        owner->fail(SQL_HANDLE_STMT, handle.get());
    }
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

void Statement::executeDirectly(const std::string& text) {
    finishExecution(SQLExecDirect(handle.get(), sqlText(text), static_cast<SQLINTEGER>(text.size())));
}

void Statement::prepare(const std::string& text) {
    rows.forgetBindings();
    check(SQLPrepare(handle.get(), sqlText(text), static_cast<SQLINTEGER>(text.size())));
}

void Statement::execute() { finishExecution(SQLExecute(handle.get())); }

/// Changing no row is a success to which some drivers answer "no data".
void Statement::finishExecution(SQLRETURN code) {
    changedNothing = code == SQL_NO_DATA;
    if (!changedNothing) {
        check(code);
    }
}

SQLSMALLINT Statement::columnCount() {
    SQLSMALLINT count = 0;
    if (!changedNothing) {
        check(SQLNumResultCols(handle.get(), &count));
    }
    return count;
}

std::int64_t Statement::changedRows() {
    SQLLEN count = 0;
    if (!changedNothing) {
        check(SQLRowCount(handle.get(), &count));
    }
    return count;
}

void Statement::drainResults() {
    SQLRETURN code = SQL_SUCCESS;
    while (isUsable() && code != SQL_NO_DATA) {
        code = SQLMoreResults(handle.get());
        if (code != SQL_NO_DATA) {
            check(code);
        }
    }
}

void Statement::closeCursor() noexcept {
    rows.end();
    if (isUsable()) {
        SQLFreeStmt(handle.get(), SQL_CLOSE);
    }
}

} // namespace orvel::platform::odbc
