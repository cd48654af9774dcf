#ifndef ORVEL_PLATFORM_ADO_COMMAND_OBJECT_H
#define ORVEL_PLATFORM_ADO_COMMAND_OBJECT_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/ado/Command.h"
#include "platform/ado/connection_object.h"
#include "platform/ado/parameter_object.h"

namespace orvel::platform::ado {

/// Of two statements it uses one that no recordset reads from, so that a caller who still holds the rows of the
/// execution before costs no new plan.
class CommandObject final : public Command {
public:
    void setActiveConnection(const Ref<Connection>& newConnection) override;
    Ref<Connection> activeConnection() override;
    void setCommandTimeout(std::int32_t seconds) override;
    void setCommandText(const std::string& newText) override;
    Ref<Parameter> createParameter(std::string_view name, std::int32_t type, std::int32_t direction,
                                   std::int32_t size, Variant&& value) override;
    Parameters& parameters() override;
    Ref<Recordset> execute(Variant* recordsAffected, std::int32_t options) override;

private:
    std::shared_ptr<ConnectionObject> connection;
    CommandText command;
    std::int32_t timeout = 0;
    ParameterList parameterList;
    std::array<std::shared_ptr<Statement>, 2> statements;

    const std::shared_ptr<Statement>& freeStatement();
    void forgetStatements() noexcept;
    /// An engine's errors are those of the call that comes now, also when it never gets to the engine.
    void beginCall() const noexcept {
        if (connection != nullptr) {
            connection->errorList().clear();
        }
    }
};

} // namespace orvel::platform::ado

#endif
