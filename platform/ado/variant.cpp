#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "platform/ado/Variant.h"
#include "platform/ado/decimal_digits.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::platform::ado;
using orvel::platform::ComError;

[[noreturn]] void mismatch() { throw ComError(dispTypeMismatch, "The value has another type."); }
[[noreturn]] void overflow() { throw ComError(dispOverflow, "The value does not fit."); }

DecimalDigits digitsOf(std::string_view text) {
    DecimalDigits digits;
    if (!digits.parse(text)) {
        mismatch();
    }
    return digits;
}

/// As many digits of the fraction as a decimal has room for.
Decimal fitted(const DecimalDigits& digits) {
    Decimal decimal;
    const int most = std::min(digits.scale, Decimal::maximumScale);
    const int surplus =
        static_cast<int>(digits.digits.size()) - 30; // a decimal never holds more than 29 digits
    for (int scale = std::min(most, digits.scale - surplus); scale >= 0; --scale) {
        if (digits.rounded(scale).fits(decimal)) {
            return decimal;
        }
    }
    overflow();
}

double doubleOf(const Date& date) {
    using namespace std::chrono;
    constexpr sys_days origin = year(1899) / 12 / 30;
    const auto day = sys_days(year(date.year) / month(date.month) / std::chrono::day(date.day));
    const auto time = hours(date.hour) + minutes(date.minute) + seconds(date.second);
    const double fraction =
        (static_cast<double>(seconds(time).count()) + static_cast<double>(date.nanosecond) / 1e9) / 86400.0;
    const auto whole = static_cast<double>((day - origin).count());
    return whole < 0 ? whole - fraction : whole + fraction; // the time of day counts away from day 0
}

double doubleOf(std::string_view text) {
    const DecimalDigits digits = digitsOf(text);
    const std::string plain = (digits.negative ? "-" : "") + (digits.digits.empty() ? "0" : digits.digits) +
                              "e-" + std::to_string(digits.scale);
    double value = 0;
    if (std::from_chars(plain.data(), plain.data() + plain.size(), value).ec == std::errc()) {
        return value;
    }
    if (digits.scale < static_cast<int>(digits.digits.size())) {
        overflow();
    }
    return 0; // too small to tell from it
}

std::int32_t int32Of(double value) {
    const double rounded = std::nearbyint(value); // half to even: nobody changes the rounding mode under us
    if (std::isnan(rounded) || rounded < std::numeric_limits<std::int32_t>::min() ||
        rounded > std::numeric_limits<std::int32_t>::max()) {
        overflow();
    }
    return static_cast<std::int32_t>(rounded);
}

template <class Integer>
std::int32_t int32OfInteger(Integer value) {
    if (!std::in_range<std::int32_t>(value)) {
        overflow();
    }
    return static_cast<std::int32_t>(value);
}

std::int32_t int32Of(const Decimal& decimal) {
    const DecimalDigits whole = DecimalDigits::of(decimal).rounded(0);
    constexpr std::size_t widest = 10;
    return whole.digits.size() > widest ? int32OfInteger(std::numeric_limits<std::int64_t>::max())
                                        : int32OfInteger(std::stoll(whole.text()));
}

template <class Real>
std::string textOfReal(Real value, int precision) {
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value == 0 ? Real{} : value,
                                   std::chars_format::general, precision)
                         .ptr;
    std::string text(buffer.data(), end);
    for (char& character : text) {
        character =
            character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
    }
    return text;
}

std::string textOf(const Date& date) {
    std::array<char, 40> buffer{};
    std::string text;
    if (date.parts != Date::Parts::time) {
        std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d", date.year, date.month, date.day);
        text = buffer.data();
    }
    if (date.parts == Date::Parts::date) {
        return text;
    }
    std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d.%09u", date.hour, date.minute, date.second,
                  static_cast<unsigned int>(date.nanosecond));
    std::string time = buffer.data();
    time.erase(time.find_last_not_of('0') + 1);
    if (time.ends_with('.')) {
        time.pop_back();
    }
    return text.empty() ? time : text + ' ' + time;
}

/// What no conversion accepts, and what is nothing, in every target.
template <class Target>
struct Conversion {
    Target operator()(Empty) const { return Target{}; }
    Target operator()(Null) const { mismatch(); }
    Target operator()(Missing) const { mismatch(); }
    Target operator()(const Bytes&) const { mismatch(); }
};

struct ToInt32 : Conversion<std::int32_t> {
    using Conversion::operator();
    std::int32_t operator()(bool value) const { return value ? -1 : 0; }
    std::int32_t operator()(std::int64_t value) const { return int32OfInteger(value); }
    std::int32_t operator()(std::uint64_t value) const { return int32OfInteger(value); }
    std::int32_t operator()(float value) const { return int32Of(double{value}); }
    std::int32_t operator()(double value) const { return int32Of(value); }
    std::int32_t operator()(const Decimal& value) const { return int32Of(value); }
    std::int32_t operator()(const Date& value) const { return int32Of(doubleOf(value)); }
    std::int32_t operator()(const std::string& value) const { return int32Of(doubleOf(value)); }
};

struct ToDouble : Conversion<double> {
    using Conversion::operator();
    double operator()(bool value) const { return value ? -1 : 0; }
    double operator()(std::int64_t value) const { return static_cast<double>(value); }
    double operator()(std::uint64_t value) const { return static_cast<double>(value); }
    double operator()(float value) const { return double{value}; }
    double operator()(double value) const { return value; }
    double operator()(const Decimal& value) const { return doubleOf(DecimalDigits::of(value).text()); }
    double operator()(const Date& value) const { return doubleOf(value); }
    double operator()(const std::string& value) const { return doubleOf(value); }
};

struct ToText : Conversion<std::string> {
    using Conversion::operator();
    std::string operator()(bool value) const { return value ? "-1" : "0"; }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(std::uint64_t value) const { return std::to_string(value); }
    std::string operator()(float value) const { return textOfReal(value, 7); }
    std::string operator()(double value) const { return textOfReal(value, 15); }
    std::string operator()(const Decimal& value) const { return DecimalDigits::of(value).text(); }
    std::string operator()(const Date& value) const { return textOf(value); }
    std::string operator()(const std::string& value) const { return value; }
};

struct ToDecimal : Conversion<Decimal> {
    using Conversion::operator();
    Decimal operator()(bool value) const { return decimalOf(value ? -1 : 0); }
    Decimal operator()(std::int64_t value) const { return decimalOf(value); }
    Decimal operator()(std::uint64_t value) const { return {value, 0, 0, 0}; }
    Decimal operator()(float value) const { return ofReal(textOfReal(value, 7)); }
    Decimal operator()(double value) const { return ofReal(textOfReal(value, 15)); }
    Decimal operator()(const Decimal& value) const { return value; }
    Decimal operator()(const Date& value) const { return (*this)(doubleOf(value)); }
    Decimal operator()(const std::string& value) const { return fitted(digitsOf(value)); }

private:
    /// Infinities and what is not a number have no decimal.
    static Decimal ofReal(const std::string& text) {
        DecimalDigits digits;
        return digits.parse(text) ? fitted(digits) : throw ComError(dispOverflow, "The value does not fit.");
    }
};

} // namespace

namespace orvel::platform::ado {

std::int32_t toInt32(const Variant& value) { return std::visit(ToInt32{}, value); }
double toDouble(const Variant& value) { return std::visit(ToDouble{}, value); }
std::string toText(const Variant& value) { return std::visit(ToText{}, value); }
Decimal toDecimal(const Variant& value) { return std::visit(ToDecimal{}, value); }

bool parseExact(std::string_view text, Decimal& decimal) {
    DecimalDigits digits;
    return digits.parse(text) && digits.fits(decimal);
}

void assignText(Variant& value, std::string_view text) {
    if (auto* old = std::get_if<std::string>(&value)) {
        old->assign(text);
    } else {
        value.emplace<std::string>(text);
    }
}

void assignNumeric(Variant& value, std::string_view text) {
    Decimal decimal;
    if (parseExact(text, decimal)) {
        value = decimal;
    } else {
        assignText(value, text);
    }
}

void assignDate(Variant& value, std::string_view text) {
    Date date;
    if (parseDate(text, date)) {
        value = date;
    } else {
        assignText(value, text);
    }
}

Decimal decimalOf(std::int64_t value) noexcept {
    const auto bits = static_cast<std::uint64_t>(value);
    // Negated without a sign: the magnitude of the smallest number has no signed form.
    return value < 0 ? Decimal{0 - bits, 0, 0, Decimal::negative} : Decimal{bits, 0, 0, 0};
}

} // namespace orvel::platform::ado
