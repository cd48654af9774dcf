#ifndef ORVEL_PLATFORM_ADO_CONNECTION_STRING_H
#define ORVEL_PLATFORM_ADO_CONNECTION_STRING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Connection strings: entries `keyword=value` between semicolons. A value in braces holds semicolons; a closing brace in
// it is written twice. Keywords have no case.

namespace orvel::platform::ado {

/// Where the first entry ends: at a semicolon, but not at one in braces; npos: with the string.
std::size_t endOfEntry(std::string_view connectionString) noexcept;

/// The value of the keyword Provider, empty when there is none. `rest` gets the string without that entry.
std::string takeProvider(std::string_view connectionString, std::string& rest);

struct ConnectionEntry {
    std::string keyword; ///< in lower case
    std::string value;
};

/// The entries of a provider with our own syntax. Blanks around keywords and around values without braces are dropped.
/// @throws ComError  3001 for an entry without a keyword, and for braces that do not enclose a value
std::vector<ConnectionEntry> parseConnectionString(std::string_view connectionString);

/// on, off, 1, 0, yes, no, true or false.
/// @throws ComError  3001 for anything else
bool isOn(const ConnectionEntry& entry);
/// A whole number.
/// @throws ComError  3001 for anything else
std::int32_t numberOf(const ConnectionEntry& entry);

/// What to put in the place of `placeholder` so that `value` arrives as it is, whatever is in it, where the string's
/// provider has our own syntax; the value itself for other providers.
/// @throws ComError  3001 for a value that cannot stand where the placeholder does
std::string placedValue(std::string_view connectionString, std::string_view placeholder,
                        std::string_view value);

} // namespace orvel::platform::ado

#endif
