#ifndef ORVEL_PLATFORM_ADO_ASCII_CASE_H
#define ORVEL_PLATFORM_ADO_ASCII_CASE_H

#include <algorithm>
#include <string_view>

namespace orvel::platform::ado {

constexpr char lowered(char character) noexcept {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// Equal but for the case of ASCII letters, whatever the locale.
constexpr bool equalIgnoringCase(std::string_view one, std::string_view other) noexcept {
    return std::ranges::equal(one, other, {}, lowered, lowered);
}

} // namespace orvel::platform::ado

#endif
