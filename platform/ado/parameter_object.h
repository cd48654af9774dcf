#ifndef ORVEL_PLATFORM_ADO_PARAMETER_OBJECT_H
#define ORVEL_PLATFORM_ADO_PARAMETER_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/ado/Command.h"
#include "platform/ado/constants.h"

namespace orvel::platform::ado {

class ParameterObject final : public Parameter {
public:
    /// Makes it a new parameter.
    void assign(std::int32_t newType, std::int32_t newSize, Variant&& newValue);

    void setPrecision(std::uint8_t digits) override { declaredPrecision = digits; }
    void setNumericScale(std::uint8_t digits) override { declaredScale = digits; }
    void appendChunk(std::span<const std::byte> data) override;

    std::int32_t type() const noexcept { return dataType; }
    /// Of the parameter's type, or NULL.
    /// @throws ComError  DB_E_PARAMNOTOPTIONAL when it was to follow and did not
    const Variant& value() const {
        if (isMissing) {
            failMissing();
        }
        return content;
    }
    std::uint8_t precision() const noexcept { return declaredPrecision; }
    std::uint8_t scale() const noexcept { return declaredScale; }

    /// Gives up a value that is too large to be kept until the parameter is used again.
    void forgetLargeValue() noexcept { ado::forgetLargeValue(content); }

    /// The size says how long a text or a binary may be: without one, neither can be appended.
    bool isComplete() const noexcept {
        return size > 0 || (dataType != adBSTR && dataType != adLongVarBinary);
    }

private:
    std::int32_t dataType = 0;
    std::int32_t size = 0;
    Variant content;        ///< of the parameter's type, or NULL
    bool isMissing = false; ///< the content is to follow
    std::uint8_t declaredPrecision = 0;
    std::uint8_t declaredScale = 0;

    [[noreturn]] static void failMissing();
};

/// A decimal that is a whole number of 64 bits.
bool fitsInt64(const Decimal& decimal) noexcept;
/// @pre fitsInt64(decimal)
std::int64_t int64Of(const Decimal& decimal) noexcept;

/// Commands that run often get all their parameters anew each time: what was removed is used again.
class ParameterList final : public Parameters {
public:
    void append(const Ref<Parameter>& parameter) override;
    std::int32_t count() override { return static_cast<std::int32_t>(used); }
    void remove(std::int32_t index) override;

    /// A parameter that nobody else holds, to be filled and appended.
    std::shared_ptr<ParameterObject> make();
    std::span<const std::shared_ptr<ParameterObject>> all() const noexcept { return {slots.data(), used}; }

private:
    std::vector<std::shared_ptr<ParameterObject>> slots; ///< the parameters, and behind them what was removed
    std::size_t used = 0;

    const std::shared_ptr<ParameterObject>& spare() {
        if (used == slots.size()) {
            grow();
        }
        return slots[used];
    }
    void grow();
};

} // namespace orvel::platform::ado

#endif
