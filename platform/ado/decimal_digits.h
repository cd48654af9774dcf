#ifndef ORVEL_PLATFORM_ADO_DECIMAL_DIGITS_H
#define ORVEL_PLATFORM_ADO_DECIMAL_DIGITS_H

#include <string>
#include <string_view>

#include "platform/ado/Variant.h"

namespace orvel::platform::ado {

/// A decimal number of any length, as text arithmetic wants it: value = +-digits / 10^scale.
struct DecimalDigits {
    std::string digits; ///< without leading zeros; empty for zero
    int scale = 0;      ///< never negative
    bool negative = false;

    /// Reads an optional sign, digits with an optional point, and an optional exponent; blanks around do no
    /// harm. False when `text` is anything else, has an exponent of more than a thousand or more than a million characters.
    bool parse(std::string_view text);

    static DecimalDigits of(const Decimal& decimal);

    /// The same number with at most `newScale` digits behind the point, rounded half to even.
    DecimalDigits rounded(int newScale) const;

    /// False when the digits need more than 96 bits or the scale is too large.
    bool fits(Decimal& decimal) const noexcept;

    /// All digits, those of the scale included; no exponent.
    std::string text() const;
};

} // namespace orvel::platform::ado

#endif
