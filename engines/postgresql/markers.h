#ifndef ORVEL_ENGINES_POSTGRESQL_MARKERS_H
#define ORVEL_ENGINES_POSTGRESQL_MARKERS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace orvel::engines::postgresql {

/// What a text holds, as the server reads it: strings, quoted names, comments and dollar quotes are passed over.
struct TextTraits {
    std::string numbered;    ///< the text with $1, $2 ... in the places of its markers, and ? in those of ??
    std::size_t markers = 0; ///< each a ? of its own
    std::size_t statements = 0; ///< that are not empty
    /// Begins, ends or saves a transaction: no savepoint of ours may stand around it.
    bool controlsTransaction = false;
    /// Sets properties that a transaction takes before any savepoint alone.
    bool setsTransaction = false;
    /// Drops plans, ours perhaps among them.
    bool dropsPlans = false;
    /// Copies rows between the server and the client, which nobody here could take or give.
    bool copies = false;
};

/// @param number   false leaves `numbered` empty, and counts no markers
/// @param escapes  a backslash in a plain string takes the next character along (standard_conforming_strings is off)
TextTraits readText(std::string_view text, bool number, bool escapes);

} // namespace orvel::engines::postgresql

#endif
