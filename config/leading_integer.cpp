#include "config/leading_integer.h"

#include <algorithm>
#include <limits>

namespace orvel {

int leadingInteger(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    using Limits = std::numeric_limits<int>;
    long long number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        number = std::min(number * 10 + (c - '0'), -static_cast<long long>(Limits::min()));
    }
    return static_cast<int>(negative ? -number : std::min<long long>(number, Limits::max()));
}

} // namespace orvel
