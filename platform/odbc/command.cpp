#include "platform/odbc/command.h"

#include <algorithm>
#include <limits>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::platform::ado {

Ref<Command> makeCommand() { return std::make_shared<odbc::Command>(); }

} // namespace orvel::platform::ado

namespace {

/// What drivers count in 16 bits with a sign. Beyond it they crash, or lose the session.
constexpr std::size_t mostParameters = std::numeric_limits<SQLSMALLINT>::max();

} // namespace

namespace orvel::platform::odbc {

void Command::setActiveConnection(const ado::Ref<ado::Connection>& newConnection) {
    auto own = std::dynamic_pointer_cast<Connection>(newConnection.shared());
    if (own == nullptr && newConnection) {
        throw ComError(ado::adErrInvalidConnection, "The connection belongs to another implementation.");
    }
    connection = std::move(own);
    markers.reset(); // another driver may read the text in another way
    forgetStatements();
}

ado::Ref<ado::Connection> Command::activeConnection() { return connection; }

void Command::setCommandTimeout(std::int32_t seconds) { timeout = std::max(seconds, 0); }

void Command::setCommandText(const std::string& newText) {
    text = newText;
    questionMarks = static_cast<std::size_t>(std::ranges::count(text, '?'));
    markers.reset();
    forgetStatements();
    executedBefore = false;
}

void Command::forgetStatements() noexcept {
    for (Execution& execution : executions) {
        execution.statement.reset();
    }
}

/// An engine's errors are those of the call that comes now, also when it never gets to the engine.
void Command::beginCall() const noexcept {
    if (connection != nullptr) {
        connection->errorList().clear();
    }
}

ado::Ref<ado::Parameter> Command::createParameter(std::string_view /*name*/, std::int32_t type,
                                                  std::int32_t direction, std::int32_t size,
                                                  ado::Variant&& value) {
    beginCall();
    if (direction != ado::adParamInput) {
        throw ComError(ado::adErrInvalidArgument, "Parameters are for input only.");
    }
    auto parameter = parameterList.make();
    parameter->assign(type, size, std::move(value));
    return parameter;
}

ado::Parameters& Command::parameters() {
    beginCall();
    return parameterList;
}

ado::Ref<ado::Recordset> Command::execute(ado::Variant* recordsAffected, std::int32_t options) {
    if (connection == nullptr) {
        throw ComError(ado::adErrInvalidConnection, "The command has no connection.");
    }
    beginCall();
    if (parameterList.all().size() > mostParameters) {
        throw ComError(ado::adErrInvalidParamInfo, "The command has more than 32767 parameters.");
    }
    Execution& execution = freeExecution();
    try {
        requireMarkers(execution);
        bindParameters(execution);
        run(execution);
        auto rows = connection->deliver(execution.statement, recordsAffected, options);
        if (execution.isFree()) { // a driver may look at parameters for as long as rows come
            std::ranges::for_each(execution.buffers, &ParameterBuffer::releaseLargeMemory);
        }
        return rows;
    } catch (...) {
        execution.statement->closeCursor();
        throw;
    }
}

/// One whose rows nobody reads and whose session is not gone.
Command::Execution& Command::freeExecution() {
    const std::shared_ptr<Session>& session = connection->currentSession();
    if (session == nullptr) {
        throw ComError(ado::adErrInvalidConnection, "The command's connection is closed.");
    }
    auto found = std::ranges::find_if(executions, &Execution::isFree);
    if (found == executions.end()) {
        const auto isUnused = [](const Execution& execution) {
            return execution.statement == nullptr || !execution.statement->isUsable();
        };
        found = std::ranges::find_if(executions, isUnused);
        found = found != executions.end() ? found : executions.begin();
        found->statement = std::make_shared<Statement>(session);
        found->prepared = false;
        found->forgetBindings();
    }
    found->statement->setTimeout(timeout);
    return *found;
}

void Command::Execution::forgetBindings() noexcept {
    for (ParameterBuffer& buffer : buffers) {
        buffer.forgetBinding();
    }
}

/// Drivers ignore parameters without a marker: where a reset was forgotten, the old values would go in again.
void Command::requireMarkers(Execution& execution) {
    const std::size_t given = parameterList.all().size();
    if (given == 0) {
        return;
    }
    if (!markers) {
        markers = countMarkers(execution);
    }
    if (given > *markers || *markers > mostParameters) {
        throw ComError(ado::adErrInvalidParamInfo, "The command has " + std::to_string(given) +
                                                       " parameters for " + std::to_string(*markers) +
                                                       " markers.");
    }
}

/// As the driver reads the text, which no other reader of strings, names and comments would know for sure.
std::size_t Command::countMarkers(Execution& execution) const {
    const std::size_t counted = execution.statement->countMarkers(text);
    execution.prepared = execution.statement->session().traits().directPreparesAnyway;
    constexpr std::size_t wrapsAfter = std::size_t{1} << 16U;
    return counted + wrapsAfter <= questionMarks ? questionMarks
                                                 : counted; // of so many, any number is suspect
}

void Command::bindParameters(Execution& execution) const {
    const auto parameters = parameterList.all();
    auto& [statement, buffers, prepared] = execution;
    if (parameters.size() < buffers.size()) {
        // A marker without a parameter must fail, not run with the value of the execution before.
        statement->check(SQLFreeStmt(statement->get(), SQL_RESET_PARAMS));
        execution.forgetBindings();
    } else if (statement->session().traits().bindingFixesLengths) {
        execution.forgetBindings();
    }
    buffers.resize(parameters.size());
    for (std::size_t index = 0; index < parameters.size(); ++index) {
        buffers[index].take(*parameters[index], static_cast<SQLUSMALLINT>(index + 1), *statement);
    }
}

void Command::run(Execution& execution) {
    // A marker in a text without parameters is told apart only by preparing: sent directly it breaks the
    // protocol there.
    const EngineTraits& traits = execution.statement->session().traits();
    const bool preparesAnyway =
        traits.directPreparesAnyway && (!execution.buffers.empty() || questionMarks != 0);
    const bool again = std::exchange(executedBefore, true) && questionMarks <= traits.mostPreparedMarkers;
    if (execution.prepared || again || preparesAnyway) {
        runPrepared(execution);
    } else {
        execution.statement->executeDirectly(text);
    }
}

void Command::runPrepared(Execution& execution) const {
    Statement& statement = *execution.statement;
    if (!execution.prepared) {
        statement.prepare(text);
        execution.prepared = true;
        statement.execute();
        return;
    }
    try {
        statement.execute();
    } catch (const ComError&) {
        const auto& reasons = connection->errorList().all();
        const Session& session = statement.session();
        if (reasons.empty() || session.transactionState() == ado::TransactionState::spoiled ||
            !meansPlanOutdated(reasons.front(), session.traits().engine)) {
            throw;
        }
        connection->errorList().clear();
        statement.prepare(text);
        statement.execute();
    }
}

} // namespace orvel::platform::odbc
