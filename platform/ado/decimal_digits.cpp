#include "platform/ado/decimal_digits.h"

#include <array>
#include <charconv>
#include <ranges>

namespace {

using namespace orvel::platform::ado;

constexpr int largestExponent = 1000;
constexpr std::size_t longestNumber = 1'000'000; // no engine's has as many digits, and scales fit an int

/// The magnitude of a decimal, lowest word first.
using Words = std::array<std::uint32_t, 3>;

bool appendDigit(Words& words, char digit) noexcept {
    std::uint64_t carry = static_cast<unsigned char>(digit - '0');
    for (std::uint32_t& word : words) {
        carry += std::uint64_t{word} * 10;
        word = static_cast<std::uint32_t>(carry);
        carry >>= 32;
    }
    return carry == 0;
}

char removeDigit(Words& words) noexcept {
    std::uint64_t rest = 0;
    for (std::uint32_t& word : words | std::views::reverse) {
        rest = (rest << 32) | word;
        word = static_cast<std::uint32_t>(rest / 10);
        rest %= 10;
    }
    return static_cast<char>('0' + rest);
}

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Takes the sign off the front; true for a minus.
bool takeSign(std::string_view& text) noexcept {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    return negative;
}

/// Takes an exponent off the front of what stands behind the digits; false when there is something else.
bool takeExponent(std::string_view rest, int& exponent) noexcept {
    exponent = 0;
    if (rest.empty()) {
        return true;
    }
    if (rest.front() != 'e' && rest.front() != 'E') {
        return false;
    }
    rest.remove_prefix(1);
    const bool negative = takeSign(rest);
    if (rest.empty() || !isDigit(rest.front())) {
        return false;
    }
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), exponent);
    if (error != std::errc() || end != rest.data() + rest.size() || exponent > largestExponent) {
        return false;
    }
    exponent = negative ? -exponent : exponent;
    return true;
}

void dropLeadingZeros(std::string& digits) { digits.erase(0, digits.find_first_not_of('0')); }

/// Whether the digits behind `kept` round what stands before them up.
bool roundsUp(const std::string& digits, std::size_t kept) noexcept {
    if (digits[kept] != '5') {
        return digits[kept] > '5';
    }
    const bool exactHalf = digits.find_first_not_of('0', kept + 1) == std::string::npos;
    const bool odd = kept > 0 && (digits[kept - 1] - '0') % 2 == 1;
    return !exactHalf || odd;
}

void increment(std::string& digits) {
    for (char& digit : digits | std::views::reverse) {
        if (digit != '9') {
            ++digit;
            return;
        }
        digit = '0';
    }
    digits.insert(digits.begin(), '1');
}

} // namespace

namespace orvel::platform::ado {

bool DecimalDigits::parse(std::string_view text) {
    text = trimmed(text);
    if (text.size() > longestNumber) {
        return false;
    }
    negative = takeSign(text);
    digits.clear();
    scale = 0;
    bool point = false;
    std::size_t position = 0;
    std::size_t count = 0;
    for (; position < text.size(); ++position) {
        if (isDigit(text[position])) {
            digits += text[position];
            scale += point ? 1 : 0;
            ++count;
        } else if (text[position] == '.' && !point) {
            point = true;
        } else {
            break;
        }
    }
    int exponent = 0;
    if (count == 0 || !takeExponent(text.substr(position), exponent)) {
        return false;
    }
    dropLeadingZeros(digits);
    scale -= exponent;
    if (scale < 0) {
        digits.append(digits.empty() ? 0 : static_cast<std::size_t>(-scale), '0');
        scale = 0;
    }
    return true;
}

DecimalDigits DecimalDigits::of(const Decimal& decimal) {
    Words words{static_cast<std::uint32_t>(decimal.low), static_cast<std::uint32_t>(decimal.low >> 32),
                decimal.high};
    DecimalDigits result;
    while (words != Words{}) {
        result.digits.insert(result.digits.begin(), removeDigit(words));
    }
    result.scale = decimal.scale;
    result.negative = decimal.sign == Decimal::negative;
    return result;
}

DecimalDigits DecimalDigits::rounded(int newScale) const {
    if (scale <= newScale) {
        return *this;
    }
    const auto dropped = static_cast<std::size_t>(scale - newScale);
    DecimalDigits result{{}, newScale, negative};
    if (dropped > digits.size()) {
        return result;
    }
    const std::size_t kept = digits.size() - dropped;
    result.digits = digits.substr(0, kept);
    if (roundsUp(digits, kept)) {
        increment(result.digits);
    }
    return result;
}

bool DecimalDigits::fits(Decimal& decimal) const noexcept {
    if (scale > Decimal::maximumScale) {
        return false;
    }
    Words words{};
    for (const char digit : digits) {
        if (!appendDigit(words, digit)) {
            return false;
        }
    }
    decimal.low = (std::uint64_t{words[1]} << 32) | words[0];
    decimal.high = words[2];
    decimal.scale = static_cast<std::uint8_t>(scale);
    decimal.sign = negative && !digits.empty() ? Decimal::negative : std::uint8_t{0};
    return true;
}

std::string DecimalDigits::text() const {
    const auto fraction = static_cast<std::size_t>(scale);
    std::string text = digits;
    if (text.size() <= fraction) {
        text.insert(0, fraction + 1 - text.size(), '0');
    }
    if (fraction > 0) {
        text.insert(text.size() - fraction, 1, '.');
    }
    if (negative && !digits.empty()) {
        text.insert(text.begin(), '-');
    }
    return text;
}

} // namespace orvel::platform::ado
