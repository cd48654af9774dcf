#ifndef CHARACTER_RECORD_H
#define CHARACTER_RECORD_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One line of UnicodeData.txt, as far as the catalogue keeps it.
struct CharacterRecord {
    std::uint32_t codePoint = 0;
    std::string name;
    std::string category;
    int combiningClass = 0;
    std::string decomposition;           // empty when there is none
    std::optional<double> numericValue;  // fractions as well
    std::optional<long long> wholeValue; // the largest needs more than 32 bits
    std::optional<std::uint32_t> uppercase;
    std::optional<std::uint32_t> lowercase;
};

/// Throws std::runtime_error for a line that is none.
CharacterRecord parseRecord(std::string_view line);

/// Empty for what cannot be text on its own: U+0000 and the surrogates.
std::string utf8(std::uint32_t codePoint);

std::vector<unsigned char> utf16BigEndian(std::uint32_t codePoint);

#endif
