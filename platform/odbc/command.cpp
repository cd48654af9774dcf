#include "platform/odbc/command.h"

#include <algorithm>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::platform::ado {

Ref<Command> makeCommand() { return std::make_shared<odbc::Command>(); }

} // namespace orvel::platform::ado

namespace orvel::platform::odbc {

void Command::setActiveConnection(const ado::Ref<ado::Connection>& newConnection) {
    auto own = std::dynamic_pointer_cast<Connection>(newConnection.shared());
    if (own == nullptr && newConnection) {
        throw ComError(ado::adErrInvalidConnection, "The connection belongs to another implementation.");
    }
    connection = std::move(own);
    statement.reset();
}

ado::Ref<ado::Connection> Command::activeConnection() { return connection; }

void Command::setCommandTimeout(std::int32_t seconds) { timeout = std::max(seconds, 0); }

void Command::setCommandText(const std::string& newText) {
    text = newText;
    statement.reset();
    executedBefore = false;
}

ado::Ref<ado::Parameter> Command::createParameter(const std::string& /*name*/, std::int32_t type,
                                                  std::int32_t direction, std::int32_t size,
                                                  const ado::Variant& value) {
    if (direction != ado::adParamInput) {
        throw ComError(ado::adErrInvalidArgument, "Parameters are for input only.");
    }
    auto parameter = parameterList->make();
    parameter->assign(type, size, value);
    return parameter;
}

ado::Ref<ado::Parameters> Command::parameters() { return parameterList; }

ado::Ref<ado::Recordset> Command::execute(ado::Variant* recordsAffected, std::int32_t options) {
    if (connection == nullptr) {
        throw ComError(ado::adErrInvalidConnection, "The command has no connection.");
    }
    connection->errorList().clear();
    requireStatement();
    try {
        bindParameters();
        run();
        return connection->deliver(statement, recordsAffected, options);
    } catch (...) {
        statement->closeCursor();
        throw;
    }
}

/// The statement of the execution before, unless a recordset has kept it or its session is gone.
void Command::requireStatement() {
    const std::shared_ptr<Session>& session = connection->currentSession();
    if (session == nullptr) {
        throw ComError(ado::adErrInvalidConnection, "The command's connection is closed.");
    }
    if (statement == nullptr || statement.use_count() > 1 || !statement->isUsable()) {
        statement = std::make_shared<Statement>(session);
        prepared = false;
        forgetBindings();
    }
    statement->setTimeout(timeout);
}

void Command::forgetBindings() noexcept {
    for (ParameterBuffer& buffer : buffers) {
        buffer.forgetBinding();
    }
}

void Command::bindParameters() {
    const auto& parameters = parameterList->all();
    if (parameters.size() < buffers.size()) {
        // A marker without a parameter must fail, not run with the value of the execution before.
        statement->check(SQLFreeStmt(statement->get(), SQL_RESET_PARAMS));
        forgetBindings();
    } else if (statement->session().traits().bindingFixesLengths) {
        forgetBindings();
    }
    buffers.resize(parameters.size());
    for (std::size_t index = 0; index < parameters.size(); ++index) {
        buffers[index].take(*parameters[index], static_cast<SQLUSMALLINT>(index + 1), *statement);
    }
}

void Command::run() {
    // A marker in a text without parameters is told apart only by preparing: sent directly it breaks the
    // protocol there.
    const bool preparesAnyway = statement->session().traits().directPreparesAnyway &&
                                (!buffers.empty() || text.find('?') != std::string::npos);
    const bool again = std::exchange(executedBefore, true);
    if (prepared || again || preparesAnyway) {
        runPrepared();
    } else {
        statement->executeDirectly(text);
    }
}

void Command::runPrepared() {
    if (!prepared) {
        statement->prepare(text);
        prepared = true;
        statement->execute();
        return;
    }
    try {
        statement->execute();
    } catch (const ComError&) {
        const auto& reasons = connection->errorList().all();
        const Session& session = statement->session();
        if (reasons.empty() || session.transactionSpoiled() ||
            !meansPlanOutdated(reasons.front(), session.traits().engine)) {
            throw;
        }
        connection->errorList().clear();
        statement->prepare(text);
        statement->execute();
    }
}

} // namespace orvel::platform::odbc
