#ifndef ORVEL_PLATFORM_ODBC_COMMAND_H
#define ORVEL_PLATFORM_ODBC_COMMAND_H

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "platform/ado/Command.h"
#include "platform/odbc/connection.h"
#include "platform/odbc/parameter.h"
#include "platform/odbc/statement.h"

namespace orvel::platform::odbc {

/// Runs its text directly the first time and prepares it when it is run again. Of two statements it uses one that no
/// recordset reads from, so that a caller who still holds the rows of the execution before costs no new plan.
class Command final : public ado::Command {
public:
    void setActiveConnection(const ado::Ref<ado::Connection>& newConnection) override;
    ado::Ref<ado::Connection> activeConnection() override;
    void setCommandTimeout(std::int32_t seconds) override;
    void setCommandText(const std::string& newText) override;
    ado::Ref<ado::Parameter> createParameter(std::string_view name, std::int32_t type, std::int32_t direction,
                                             std::int32_t size, ado::Variant&& value) override;
    ado::Parameters& parameters() override;
    ado::Ref<ado::Recordset> execute(ado::Variant* recordsAffected, std::int32_t options) override;

private:
    std::shared_ptr<Connection> connection;
    std::string text;
    std::size_t questionMarks = 0;      ///< of the text: at least one for each marker
    std::optional<std::size_t> markers; ///< known once a parameter was given for one
    std::int32_t timeout = 0;
    ParameterList parameterList;
    /// A statement with what is bound to it.
    struct Execution {
        std::shared_ptr<Statement> statement;
        std::deque<ParameterBuffer> buffers; ///< bound memory does not move
        bool prepared = false;

        bool isFree() const noexcept { return statement.use_count() == 1 && statement->isUsable(); }
        void forgetBindings() noexcept;
    };
    std::array<Execution, 2> executions;
    bool executedBefore = false;

    Execution& freeExecution();
    void forgetStatements() noexcept;
    void beginCall() const noexcept;
    void requireMarkers(Execution& execution);
    std::size_t countMarkers(Execution& execution) const;
    void bindParameters(Execution& execution) const;
    void run(Execution& execution);
    void runPrepared(Execution& execution) const;
};

} // namespace orvel::platform::odbc

#endif
