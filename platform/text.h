#ifndef ORVEL_PLATFORM_TEXT_H
#define ORVEL_PLATFORM_TEXT_H

#include <string>
#include <string_view>

// The process's narrow encoding: the codeset of the locale in force, asked at every call because an
// application may call setlocale late. In "C" and "POSIX" it is UTF-8. Conversions raise std::runtime_error
// for a text that is not valid in its encoding or cannot be represented in the other one; they never replace
// characters.

namespace orvel::platform {

/// True when narrow text needs no conversion: its bytes then pass untouched, valid or not.
bool narrowIsUtf8() noexcept;

std::string narrowToUtf8(std::string_view narrow);
std::string utf8ToNarrow(std::string_view utf8);

/// The same into a string that exists, whose room is used again; left as it is when the conversion fails.
void assignNarrow(std::string& narrow, std::string_view utf8);

/// True when the last character of narrow text is this one of ASCII, which must not be a mere byte of another's.
bool narrowEndsWith(std::string_view narrow, char character) noexcept;

/// Units of UTF-16 that a UTF-8 text needs.
std::size_t utf16Length(std::string_view utf8) noexcept;

/// For the words of an error: in UTF-8 as they are when the narrow encoding cannot take them, so that an error does
/// not get lost over its words.
std::string messageToNarrow(std::string_view utf8);

/// Letter case of ASCII alone, whatever the locale.
bool equalIgnoringCase(std::string_view one, std::string_view other) noexcept;

} // namespace orvel::platform

#endif
