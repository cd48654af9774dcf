#ifndef ORVEL_PLATFORM_ADO_COMMAND_H
#define ORVEL_PLATFORM_ADO_COMMAND_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/ado/Connection.h"
#include "platform/ado/Recordset.h"
#include "platform/ado/Ref.h"
#include "platform/ado/Variant.h"

namespace orvel::platform::ado {

/// A value for a marker of a command's text.
class Parameter {
public:
    virtual ~Parameter() = default;

    /// Of a decimal.
    virtual void setPrecision(std::uint8_t digits) = 0;
    virtual void setNumericScale(std::uint8_t digits) = 0;
    /// Adds bytes to the value of a binary parameter.
    /// @throws ComError  3001 for a parameter of another type
    virtual void appendChunk(std::span<const std::byte> data) = 0;
};

/// The parameters of a command: the n-th belongs to the n-th marker.
class Parameters {
public:
    virtual ~Parameters() = default;

    /// @throws ComError  3001 for an empty reference, 3708 for a text or binary parameter without a size
    virtual void append(const Ref<Parameter>& parameter) = 0;
    virtual std::int32_t count() = 0;
    /// ADO's Delete.
    /// @throws ComError  3265 when there is none at `index` (from 0)
    virtual void remove(std::int32_t index) = 0;
};

/// A text that can be run many times with different parameters. What is wrong with the text shows when it is
/// run.
class Command {
public:
    virtual ~Command() = default;

    virtual void setActiveConnection(const Ref<Connection>& connection) = 0;
    virtual Ref<Connection> activeConnection() = 0;
    /// Whole seconds, 0 for no limit. Never fails.
    virtual void setCommandTimeout(std::int32_t seconds) = 0;
    virtual void setCommandText(const std::string& text) = 0;

    /// @param type       adInteger, adDouble, adDecimal, adBSTR or adLongVarBinary
    /// @param direction  adParamInput
    /// @param value      empty or NULL for no value; missing when it follows by appendChunk
    /// @throws ComError  3001 for another type or direction, 13 or 6 for a value that is none of its type
    virtual Ref<Parameter> createParameter(std::string_view name, std::int32_t type, std::int32_t direction,
                                           std::int32_t size, Variant&& value) = 0;
    /// Lives as long as the command.
    virtual Parameters& parameters() = 0;

    /// @param recordsAffected, options  as of Connection::execute; adCmdText goes without saying
    /// @throws ComError  3709 when the connection is missing or closed
    virtual Ref<Recordset> execute(Variant* recordsAffected, std::int32_t options) = 0;
};

} // namespace orvel::platform::ado

#endif
