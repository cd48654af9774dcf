#include "platform/ado/command_object.h"

#include <algorithm>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace {

using orvel::platform::ado::Statement;

/// Nobody reads from it, and its session is there.
bool isFree(const std::shared_ptr<Statement>& statement) noexcept {
    return statement.use_count() == 1 && statement->isUsable();
}

bool isUnused(const std::shared_ptr<Statement>& statement) noexcept {
    return statement == nullptr || !statement->isUsable();
}

} // namespace

namespace orvel::platform::ado {

Ref<Command> makeCommand() { return std::make_shared<CommandObject>(); }

void CommandObject::setActiveConnection(const Ref<Connection>& newConnection) {
    auto own = std::dynamic_pointer_cast<ConnectionObject>(newConnection.shared());
    if (own == nullptr && newConnection) {
        throw ComError(adErrInvalidConnection, "The connection belongs to another implementation.");
    }
    connection = std::move(own);
    command.markers.reset(); // another engine may read the text in another way
    forgetStatements();
}

Ref<Connection> CommandObject::activeConnection() { return connection; }

void CommandObject::setCommandTimeout(std::int32_t seconds) { timeout = std::max(seconds, 0); }

void CommandObject::setCommandText(const std::string& newText) {
    command = {newText, false, {}};
    forgetStatements();
}

void CommandObject::forgetStatements() noexcept { statements = {}; }

Ref<Parameter> CommandObject::createParameter(std::string_view /*name*/, std::int32_t type,
                                              std::int32_t direction, std::int32_t size, Variant&& value) {
    beginCall();
    if (direction != adParamInput) {
        throw ComError(adErrInvalidArgument, "Parameters are for input only.");
    }
    auto parameter = parameterList.make();
    parameter->assign(type, size, std::move(value));
    return parameter;
}

Parameters& CommandObject::parameters() {
    beginCall();
    return parameterList;
}

Ref<Recordset> CommandObject::execute(Variant* recordsAffected, std::int32_t options) {
    if (connection == nullptr) {
        throw ComError(adErrInvalidConnection, "The command has no connection.");
    }
    beginCall();
    const auto& statement = freeStatement();
    try {
        statement->executeCommand(command, parameterList.all());
        auto rows = connection->deliver(statement, recordsAffected, options);
        if (isFree(statement)) { // a client may look at parameters for as long as rows come
            statement->releaseLargeMemory();
        }
        return rows;
    } catch (...) {
        statement->closeCursor();
        throw;
    }
}

const std::shared_ptr<Statement>& CommandObject::freeStatement() {
    const std::shared_ptr<Session>& session = connection->currentSession();
    if (session == nullptr) {
        throw ComError(adErrInvalidConnection, "The command's connection is closed.");
    }
    auto found = std::ranges::find_if(statements, isFree);
    if (found == statements.end()) {
        found = std::ranges::find_if(statements, isUnused);
        found = found != statements.end() ? found : statements.begin();
        *found = session->makeStatement();
    }
    (*found)->setTimeout(timeout);
    return *found;
}

} // namespace orvel::platform::ado
