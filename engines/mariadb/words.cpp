#include "engines/mariadb/words.h"

#include <algorithm>
#include <iterator>

#include "platform/ado/ascii_case.h"

namespace {

using orvel::platform::ado::equalIgnoringCase;

bool isLetter(char character) noexcept {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

/// What is no letter of ASCII may be one of another alphabet, or end a name in quotes.
bool isPartOfName(char character) noexcept {
    constexpr std::string_view others = " \t\r\n(),=<>!+-*/%|&;";
    return others.find(character) == std::string_view::npos;
}

std::string_view takeWord(std::string_view& text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const auto* const end = std::ranges::find_if_not(text, isLetter);
    const std::string_view word = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(word.size());
    return word;
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) noexcept {
    return std::ranges::any_of(words, [word](std::string_view one) { return equalIgnoringCase(one, word); });
}

bool contains(std::string_view text, std::string_view word) noexcept {
    return !std::ranges::search(text, word, [](char left, char right) {
                return equalIgnoringCase({&left, 1}, {&right, 1});
            }).empty();
}

} // namespace

namespace orvel::engines::mariadb {

TextKind kindOf(std::string_view text) noexcept {
    const std::string_view first = takeWord(text);
    if (isOneOf(first, {"SELECT", "WITH"})) {
        return TextKind::query;
    }
    if (isOneOf(first, {"INSERT", "UPDATE", "DELETE", "REPLACE"})) {
        return contains(text, "RETURNING") ? TextKind::other : TextKind::silent;
    }
    if (isOneOf(first, {"COMMIT", "ROLLBACK", "SAVEPOINT", "RELEASE", "DO"})) {
        return TextKind::silent;
    }
    if (isOneOf(first, {"CREATE", "ALTER", "DROP", "TRUNCATE", "RENAME", "OPTIMIZE", "REPAIR", "ANALYZE",
                        "CHECK", "GRANT", "REVOKE", "LOCK", "UNLOCK", "FLUSH"})) {
        return TextKind::definition;
    }
    if (isOneOf(first, {"SET", "BEGIN", "START"})) { // SET STATEMENT ... FOR, BEGIN NOT ATOMIC
        return isOneOf(takeWord(text), {"STATEMENT", "NOT"}) ? TextKind::other : TextKind::silent;
    }
    return TextKind::other;
}

bool mayRunTwice(std::string_view text) noexcept {
    for (std::size_t place = text.find('('); place != std::string_view::npos;
         place = text.find('(', place + 1)) {
        std::string_view before = text.substr(0, place);
        before = before.substr(0, before.find_last_not_of(" \t\r\n") + 1);
        std::size_t begin = before.size();
        while (begin > 0 && isPartOfName(before[begin - 1])) {
            --begin;
        }
        const std::string_view name = before.substr(begin);
        if (!name.empty() && !isOneOf(name, {"COUNT", "SUM", "MIN", "MAX", "AVG", "IN"})) {
            return false;
        }
    }
    return true;
}

} // namespace orvel::engines::mariadb
