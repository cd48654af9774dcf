#ifndef ORVEL_PLATFORM_ODBC_PARAMETER_H
#define ORVEL_PLATFORM_ODBC_PARAMETER_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ado/Command.h"
#include "platform/odbc/driver_manager.h"

namespace orvel::platform::odbc {

class Statement;

class Parameter final : public ado::Parameter {
public:
    /// Makes it a new parameter.
    void assign(std::int32_t newType, std::int32_t newSize, ado::Variant&& newValue);

    void setPrecision(std::uint8_t digits) override { precision = digits; }
    void setNumericScale(std::uint8_t digits) override { scale = digits; }
    void appendChunk(const ado::Variant& data) override;

    /// Lets a value go that is not worth its memory until the parameter is used again.
    void forgetLargeValue() noexcept;

    /// The size says how long a text or a binary may be: without one, neither can be appended.
    bool isComplete() const noexcept;

private:
    friend class ParameterBuffer;

    std::int32_t type = 0;
    std::int32_t size = 0;
    ado::Variant value; ///< of the parameter's type, NULL, or missing
    std::uint8_t precision = 0;
    std::uint8_t scale = 0;
};

/// Commands that run often get all their parameters anew each time: what was removed is used again.
class ParameterList final : public ado::Parameters {
public:
    void append(ado::Ref<ado::Parameter> parameter) override;
    std::int32_t count() override { return static_cast<std::int32_t>(used); }
    void remove(std::int32_t index) override;

    /// A parameter that nobody else holds, to be filled and appended.
    std::shared_ptr<Parameter> make();
    std::span<const std::shared_ptr<Parameter>> all() const noexcept { return {slots.data(), used}; }

private:
    std::vector<std::shared_ptr<Parameter>> slots; ///< the parameters, and behind them what was removed
    std::size_t used = 0;

    const std::shared_ptr<Parameter>& spare();
};

/// The memory that a marker is bound to. It is bound once; values of the same kind change it in place.
class ParameterBuffer {
public:
    /// Takes a value over; binds the marker (from 1) again only when something else than the value has
    /// changed.
    void take(const Parameter& parameter, SQLUSMALLINT number, Statement& statement);
    void forgetBinding() noexcept { bound = {}; }
    /// Gives memory back that a large value took. The marker is bound again before it is used again.
    void releaseLargeMemory() noexcept;

private:
    /// What the driver knows of the marker.
    struct Binding {
        SQLSMALLINT transferType = 0;
        SQLSMALLINT sqlType = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        const void* data = nullptr;
        SQLLEN capacity = 0;

        friend bool operator==(const Binding&, const Binding&) = default;
    };

    Binding bound;
    std::int32_t integer = 0;
    std::int64_t bigInteger = 0;
    double real = 0;
    std::vector<char> bytes;
    SQLLEN length = SQL_NULL_DATA;

    Binding takeInteger(const ado::Variant& value);
    Binding takeReal(const ado::Variant& value);
    Binding takeDecimal(const Parameter& parameter);
    Binding takeText(const ado::Variant& value, const Statement& statement);
    Binding takeBytes(const ado::Variant& value);
    Binding takeRaw(const char* data, std::size_t size, SQLSMALLINT transferType, SQLSMALLINT sqlType);
    bool takeNull(const ado::Variant& value);
};

} // namespace orvel::platform::odbc

#endif
