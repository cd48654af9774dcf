#ifndef ORVEL_PLATFORM_ADO_VARIANT_H
#define ORVEL_PLATFORM_ADO_VARIANT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// The values that travel through the object model, and how one kind becomes another.
//
// Texts are UTF-8. No conversion follows the locale: the decimal separator is a point, and there are no
// separators between thousands, because a comma could as well be another locale's decimal one.

namespace orvel::platform::ado {

/// A decimal number: magnitude of 96 bits divided by 10 to the scale.
struct Decimal {
    static constexpr std::uint8_t negative = 0x80;
    static constexpr int maximumScale = 28;

    std::uint64_t low = 0;  ///< the low 64 bits of the magnitude
    std::uint32_t high = 0; ///< the high 32 bits
    std::uint8_t scale = 0; ///< digits behind the point, 0 to 28. 1.0 and 1.00 are different here.
    std::uint8_t sign = 0;  ///< 0 or `negative`; 0 for zero

    friend bool operator==(const Decimal&, const Decimal&) = default;
};

/// A date, a time of day, or both. Kept in parts: a count of days would lose microseconds.
struct Date {
    enum class Parts : std::uint8_t { date, time, both };

    Parts parts = Parts::both;
    std::int16_t year = 1899; ///< a time alone belongs to the day 0 of the count
    std::uint8_t month = 12;
    std::uint8_t day = 30;
    std::uint8_t hour = 0;
    std::uint8_t minute = 0;
    std::uint8_t second = 0;
    std::uint32_t nanosecond = 0;

    friend bool operator==(const Date&, const Date&) = default;
};

using Bytes = std::vector<std::byte>;

struct Empty {
    friend bool operator==(const Empty&, const Empty&) = default;
};
struct Null {
    friend bool operator==(const Null&, const Null&) = default;
};
/// An optional argument that was left out.
struct Missing {
    friend bool operator==(const Missing&, const Missing&) = default;
};

using Variant = std::variant<Empty, Null, Missing, bool, std::int64_t, std::uint64_t, float, double, Decimal,
                             Date, std::string, Bytes>;

/// No value: empty or NULL.
inline bool isEmptyOrNull(const Variant& value) noexcept {
    return std::holds_alternative<Empty>(value) || std::holds_alternative<Null>(value);
}

/// Up to this size, memory is kept for the next execution.
inline constexpr std::size_t worthKeeping = std::size_t{64} * 1024;

/// Makes NULL of a value that takes more memory than that.
inline void forgetLargeValue(Variant& value) noexcept {
    const auto* const text = std::get_if<std::string>(&value);
    const auto* const bytes = std::get_if<Bytes>(&value);
    if ((text != nullptr && text->capacity() > worthKeeping) ||
        (bytes != nullptr && bytes->capacity() > worthKeeping)) {
        value = Null{};
    }
}

/// Conversions. All raise ComError: DISP_E_TYPEMISMATCH for NULL, a missing argument, bytes, and a text that
/// is not a number; DISP_E_OVERFLOW for a value that the target cannot hold. Empty is 0 or an empty
/// text. True is -1. A date counts as its days since 1899-12-30.

/// Fractions are rounded half to even: 2.5 is 2, 3.5 is 4.
std::int32_t toInt32(const Variant& value);
double toDouble(const Variant& value);
/// Doubles have at most 15 digits, floats 7; a decimal has all its digits, those of its scale included; a
/// date is written YYYY-MM-DD hh:mm:ss, with a fraction of a second only when there is one.
std::string toText(const Variant& value);
/// Digits of the fraction that do not fit are rounded half to even.
Decimal toDecimal(const Variant& value);

/// The decimal that `text` writes, exactly: false when it is no number, or has more digits than a decimal
/// holds.
bool parseExact(std::string_view text, Decimal& decimal);

/// The date that `text` writes as toText does: false for anything else.
bool parseDate(std::string_view text, Date& date) noexcept;

Decimal decimalOf(std::int64_t value) noexcept;

/// What engines make of a value that comes as a text. The memory of `value` is used again where it can be.
void assignText(Variant& value, std::string_view text);
/// A decimal; what none can hold stays the text that it is.
void assignNumeric(Variant& value, std::string_view text);
/// A date; what is none of the calendar or the clock stays the text that it is: infinities, hours beyond a day.
void assignDate(Variant& value, std::string_view text);

} // namespace orvel::platform::ado

#endif
