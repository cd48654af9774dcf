#ifndef ORVEL_ENGINES_MARIADB_WORDS_H
#define ORVEL_ENGINES_MARIADB_WORDS_H

#include <cstdint>
#include <string_view>

namespace orvel::engines::mariadb {

/// What a text is, by its words.
enum class TextKind : std::uint8_t {
    query,      ///< reads rows: it may be run twice
    silent,     ///< changes rows, or the session, and answers with no rows of its own
    definition, ///< of tables, accounts and the like: the server commits what is open before it tries
    other       ///< anything else
};

TextKind kindOf(std::string_view text) noexcept;

/// No function is called in it but those that have no effects.
bool mayRunTwice(std::string_view text) noexcept;

} // namespace orvel::engines::mariadb

#endif
