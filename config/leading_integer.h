#ifndef ORVEL_LEADING_INTEGER_H
#define ORVEL_LEADING_INTEGER_H

#include <string_view>

namespace orvel {

/// The number that a text begins with, as `atoi` reads it: white space, a sign, decimal digits up to the
/// first other character; 0 without any. What an int cannot hold becomes its nearest limit.
int leadingInteger(std::string_view text) noexcept;

} // namespace orvel

#endif
