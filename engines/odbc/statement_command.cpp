// How a statement runs a command: its markers, the parameters bound to them, and the plan.

#include <algorithm>
#include <limits>
#include <utility>

#include "engines/odbc/statement.h"
#include "platform/ado/status.h"

namespace {

/// What drivers count in 16 bits with a sign. Beyond it they crash, or lose the session.
constexpr std::size_t mostParameters = std::numeric_limits<SQLSMALLINT>::max();

} // namespace

namespace orvel::engines::odbc {

void Statement::executeCommand(ado::CommandText& command, ado::ParameterValues values) {
    if (values.size() > mostParameters) {
        throw ComError(ado::adErrInvalidParamInfo, "The command has more than 32767 parameters.");
    }
    if (!questionMarks) {
        questionMarks = static_cast<std::size_t>(std::ranges::count(command.text, '?'));
    }
    requireMarkers(command, values.size());
    bindParameters(values);
    run(command);
}

void Statement::releaseLargeMemory() noexcept {
    std::ranges::for_each(buffers, &ParameterBuffer::releaseLargeMemory);
}

void Statement::forgetBindings() noexcept { std::ranges::for_each(buffers, &ParameterBuffer::forgetBinding); }

/// Drivers ignore parameters without a marker: where a reset was forgotten, the old values would go in again.
void Statement::requireMarkers(ado::CommandText& command, std::size_t given) {
    if (given == 0) {
        return;
    }
    if (!command.markers) {
        command.markers = countMarkers(command.text);
    }
    if (given > *command.markers || *command.markers > mostParameters) {
        throw ComError(ado::adErrInvalidParamInfo, "The command has " + std::to_string(given) +
                                                       " parameters for " + std::to_string(*command.markers) +
                                                       " markers.");
    }
}

/// As the driver reads the text, which no other reader of strings, names and comments would know for sure. Drivers count
/// in 16 bits; with a sign it is only by the type.
std::size_t Statement::countMarkers(const std::string& text) {
    prepare(text);
    SQLSMALLINT count = 0;
    check(SQLNumParams(handle.get(), &count));
    prepared = owner->traits().directPreparesAnyway;
    const std::size_t counted = static_cast<std::uint16_t>(count);
    const std::size_t possible = questionMarks.value_or(counted);
    constexpr std::size_t wrapsAfter = std::size_t{1} << 16U;
    return counted + wrapsAfter <= possible ? possible : counted; // of so many, any number is suspect
}

void Statement::bindParameters(ado::ParameterValues values) {
    if (values.size() < buffers.size()) {
        // A marker without a parameter must fail, not run with the value of the execution before.
        check(SQLFreeStmt(handle.get(), SQL_RESET_PARAMS));
        forgetBindings();
    } else if (owner->traits().bindingFixesLengths) {
        forgetBindings();
    }
    buffers.resize(values.size());
    for (std::size_t index = 0; index < values.size(); ++index) {
        buffers[index].take(*values[index], static_cast<SQLUSMALLINT>(index + 1), *this);
    }
}

void Statement::run(ado::CommandText& command) {
    // A marker in a text without parameters is told apart only by preparing: sent directly it breaks the
    // protocol there.
    const EngineTraits& traits = owner->traits();
    const bool preparesAnyway =
        traits.directPreparesAnyway && (!buffers.empty() || questionMarks != std::size_t{0});
    const bool again = std::exchange(command.ranBefore, true) && questionMarks <= traits.mostPreparedMarkers;
    if (prepared || again || preparesAnyway) {
        runPrepared(command.text);
    } else {
        executeText(command.text);
    }
}

void Statement::runPrepared(const std::string& text) {
    if (!prepared) {
        prepare(text);
        prepared = true;
        execute();
        return;
    }
    try {
        execute();
    } catch (const ComError&) {
        if (!owner->isPlanOutdated()) {
            throw;
        }
        prepare(text);
        execute();
    }
}

} // namespace orvel::engines::odbc
