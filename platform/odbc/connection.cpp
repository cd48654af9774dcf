#include "platform/odbc/connection.h"

#include <algorithm>
#include <limits>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/odbc/connection_string.h"
#include "platform/odbc/recordset.h"
#include "platform/odbc/statement.h"
#include "platform/secret_text.h"

namespace orvel::platform::ado {

Ref<Connection> makeConnection() { return std::make_shared<odbc::Connection>(); }

} // namespace orvel::platform::ado

namespace orvel::platform::odbc {

Connection::~Connection() {
    if (session != nullptr) {
        session->disconnect(); // though a cursor may still share the session
    }
}

void Connection::setConnectionTimeout(std::int32_t seconds) { connectionTimeout = std::max(seconds, 0); }

void Connection::setCommandTimeout(std::int32_t seconds) { commandTimeout = std::max(seconds, 0); }

void Connection::open(const std::string& connectionString, const std::string& userId,
                      const std::string& password, std::int32_t options) {
    errorList().clear();
    if (session != nullptr) {
        throw ComError(ado::adErrObjectOpen, "The connection is open.");
    }
    if (options != 0) {
        throw ComError(ado::adErrInvalidArgument, "A connection opens without options.");
    }
    const SecretText whole(driverConnectionString(connectionString, userId, password));
    auto opened = std::make_shared<Session>(whole.text, connectionTimeout, errorsOfLastCall);
    if (isolationLevel != 0) {
        opened->setIsolationLevel(isolationLevel);
    }
    driverName = opened->traits().driverName;
    driverVersion = opened->traits().driverVersion;
    session = std::move(opened);
}

std::int32_t Connection::state() { return session != nullptr ? ado::adStateOpen : ado::adStateClosed; }

Session& Connection::requireOpen() {
    errorList().clear();
    if (session == nullptr) {
        throw ComError(ado::adErrObjectClosed, "The connection is closed.");
    }
    return *session;
}

void Connection::close() {
    requireOpen().disconnect();
    direct.reset();
    session.reset();
}

std::string Connection::provider() { return driverName; }

std::string Connection::version() { return driverVersion; }

ado::Ref<ado::Recordset> Connection::execute(const std::string& commandText, ado::Variant* recordsAffected,
                                             std::int32_t options) {
    requireOpen();
    const auto& statement = directStatement();
    try {
        statement->executeDirectly(commandText);
        return deliver(statement, recordsAffected, options);
    } catch (...) {
        statement->closeCursor();
        throw;
    }
}

const std::shared_ptr<Statement>& Connection::directStatement() {
    if (direct == nullptr || direct.use_count() > 1 || !direct->isUsable()) {
        direct.reset();
        direct = std::make_shared<Statement>(session);
    }
    direct->setTimeout(commandTimeout);
    return direct;
}

ado::Ref<ado::Recordset> Connection::deliver(const std::shared_ptr<Statement>& statement,
                                             ado::Variant* recordsAffected, std::int32_t options) {
    const SQLSMALLINT columns = statement->columnCount();
    if (recordsAffected != nullptr) {
        constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
        *recordsAffected = columns > 0 ? std::int64_t{-1} : std::min(statement->changedRows(), most);
    }
    const bool rowsWanted = (options & ado::adExecuteNoRecords) == 0;
    if (columns > 0 && rowsWanted) {
        return std::make_shared<Recordset>(shared_from_this(), statement, columns);
    }
    if (columns > 0) {
        statement->discardRows();
    }
    statement->drainResults();
    statement->closeCursor();
    return rowsWanted ? std::make_shared<Recordset>(shared_from_this(), nullptr, SQLSMALLINT{0}) : nullptr;
}

void Connection::setIsolationLevel(std::int32_t level) {
    errorList().clear();
    if (session != nullptr) {
        session->setIsolationLevel(level);
    }
    isolationLevel = level;
}

std::int32_t Connection::beginTrans() {
    requireOpen().begin();
    return 1;
}

void Connection::commitTrans() { requireOpen().commit(); }

void Connection::rollbackTrans() { requireOpen().rollback(); }

ado::Ref<ado::Errors> Connection::errors() { return errorsOfLastCall; }

} // namespace orvel::platform::odbc
