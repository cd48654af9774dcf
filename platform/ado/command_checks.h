#ifndef ORVEL_PLATFORM_ADO_COMMAND_CHECKS_H
#define ORVEL_PLATFORM_ADO_COMMAND_CHECKS_H

#include <cstddef>

// What every engine refuses before anything is sent.

namespace orvel::platform::ado {

/// Texts and values are shorter than this: servers take no message of 1 GiB.
inline constexpr std::size_t lengthLimit = std::size_t{1} << 30U;

/// @param bytes  of a statement's text
/// @throws ComError  3001 from the limit on
void requireTextLength(std::size_t bytes);

/// @param bytes  of a parameter's value
/// @throws ComError  DB_E_DATAOVERFLOW from the limit on
void requireValueLength(std::size_t bytes);

/// @throws ComError  3708 for more values than markers, DB_E_PARAMNOTOPTIONAL for fewer
[[noreturn]] void failForMarkers(std::size_t markers, std::size_t values);

/// @throws ComError  unless there are as many of both
inline void requireValueForEachMarker(std::size_t markers, std::size_t values) {
    if (values != markers) {
        failForMarkers(markers, values);
    }
}

} // namespace orvel::platform::ado

#endif
