#include "platform/ado/connection_object.h"

#include <algorithm>
#include <limits>

#include "platform/ado/class_factory.h"
#include "platform/ado/connection_string.h"
#include "platform/ado/constants.h"
#include "platform/ado/recordset_object.h"
#include "platform/ado/status.h"
#include "platform/secret_text.h"

namespace orvel::platform::ado {

Ref<Connection> makeConnection() { return std::make_shared<ConnectionObject>(); }

ConnectionObject::ConnectionObject() = default;

ConnectionObject::~ConnectionObject() {
    if (session != nullptr) {
        session->disconnect(); // though a cursor may still share the session
    }
}

void ConnectionObject::setConnectionTimeout(std::int32_t seconds) {
    connectionTimeout = std::max(seconds, 0);
}

void ConnectionObject::setCommandTimeout(std::int32_t seconds) { commandTimeout = std::max(seconds, 0); }

void ConnectionObject::open(const std::string& connectionString, const std::string& userId,
                            const std::string& password, std::int32_t options) {
    errorList().clear();
    if (session != nullptr) {
        throw ComError(adErrObjectOpen, "The connection is open.");
    }
    if (options != 0) {
        throw ComError(adErrInvalidArgument, "A connection opens without options.");
    }
    SecretText rest;
    const std::string name = takeProvider(connectionString, rest.text);
    const Provider* const found = findProvider(name);
    if (found == nullptr) {
        throw ComError(adErrProviderNotFound, "There is no provider \"" + name + "\" in this build.");
    }
    auto opened = found->open({rest.text, userId, password, connectionTimeout, errorsOfLastCall});
    if (isolationLevel != 0) {
        opened->setIsolationLevel(isolationLevel);
    }
    clientName = opened->clientName();
    clientVersion = opened->clientVersion();
    session = std::move(opened);
}

std::int32_t ConnectionObject::state() { return session != nullptr ? adStateOpen : adStateClosed; }

Session& ConnectionObject::requireOpen() {
    errorList().clear();
    if (session == nullptr) {
        throw ComError(adErrObjectClosed, "The connection is closed.");
    }
    return *session;
}

void ConnectionObject::close() {
    requireOpen().disconnect();
    direct.reset();
    session.reset();
}

std::string ConnectionObject::provider() { return clientName; }

std::string ConnectionObject::version() { return clientVersion; }

Ref<Recordset> ConnectionObject::execute(const std::string& commandText, Variant* recordsAffected,
                                         std::int32_t options) {
    requireOpen();
    const auto& statement = directStatement();
    try {
        statement->executeText(commandText);
        return deliver(statement, recordsAffected, options);
    } catch (...) {
        statement->closeCursor();
        throw;
    }
}

const std::shared_ptr<Statement>& ConnectionObject::directStatement() {
    if (direct == nullptr || direct.use_count() > 1 || !direct->isUsable()) {
        direct.reset();
        direct = session->makeStatement();
    }
    direct->setTimeout(commandTimeout);
    return direct;
}

Ref<Recordset> ConnectionObject::deliver(const std::shared_ptr<Statement>& statement,
                                         Variant* recordsAffected, std::int32_t options) {
    const std::int32_t columns = statement->columnCount();
    if (recordsAffected != nullptr) {
        constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
        *recordsAffected = columns > 0 ? std::int64_t{-1} : std::min(statement->changedRows(), most);
    }
    const bool rowsWanted = (options & adExecuteNoRecords) == 0;
    if (columns > 0 && rowsWanted) {
        return std::make_shared<RecordsetObject>(shared_from_this(), statement, columns);
    }
    statement->finish();
    return rowsWanted ? std::make_shared<RecordsetObject>(shared_from_this(), nullptr, 0) : nullptr;
}

std::vector<FieldObject> ConnectionObject::takeSpareFields() noexcept {
    return std::exchange(spareFields, {});
}

void ConnectionObject::keepSpareFields(std::vector<FieldObject>&& fields) noexcept {
    constexpr std::size_t most = 64;
    if (fields.size() <= most) {
        std::ranges::for_each(fields, &FieldObject::forgetLargeValues);
        spareFields = std::move(fields);
    }
}

void ConnectionObject::setIsolationLevel(std::int32_t level) {
    errorList().clear();
    if (session != nullptr) {
        session->setIsolationLevel(level);
    }
    isolationLevel = level;
}

std::int32_t ConnectionObject::beginTrans() {
    requireOpen().begin();
    return 1;
}

void ConnectionObject::commitTrans() { requireOpen().commit(); }

void ConnectionObject::rollbackTrans() { requireOpen().rollback(); }

Ref<Errors> ConnectionObject::errors() { return errorsOfLastCall; }

} // namespace orvel::platform::ado
