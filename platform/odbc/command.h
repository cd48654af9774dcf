#ifndef ORVEL_PLATFORM_ODBC_COMMAND_H
#define ORVEL_PLATFORM_ODBC_COMMAND_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "platform/ado/Command.h"
#include "platform/odbc/connection.h"
#include "platform/odbc/parameter.h"
#include "platform/odbc/statement.h"

namespace orvel::platform::odbc {

/// Runs its text directly the first time and prepares it when it is run again. The statement is used again
/// unless a recordset still reads from it.
class Command final : public ado::Command {
public:
    void setActiveConnection(const ado::Ref<ado::Connection>& newConnection) override;
    ado::Ref<ado::Connection> activeConnection() override;
    void setCommandTimeout(std::int32_t seconds) override;
    void setCommandText(const std::string& newText) override;
    ado::Ref<ado::Parameter> createParameter(const std::string& name, std::int32_t type,
                                             std::int32_t direction, std::int32_t size,
                                             const ado::Variant& value) override;
    ado::Ref<ado::Parameters> parameters() override;
    ado::Ref<ado::Recordset> execute(ado::Variant* recordsAffected, std::int32_t options) override;

private:
    std::shared_ptr<Connection> connection;
    std::string text;
    std::int32_t timeout = 0;
    std::shared_ptr<ParameterList> parameterList = std::make_shared<ParameterList>();
    std::deque<ParameterBuffer> buffers; ///< bound memory does not move
    std::shared_ptr<Statement> statement;
    bool executedBefore = false;
    bool prepared = false;

    void requireStatement();
    void bindParameters();
    void run();
    void runPrepared();
    void forgetBindings() noexcept;
};

} // namespace orvel::platform::odbc

#endif
