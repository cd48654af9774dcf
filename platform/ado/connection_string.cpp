#include "platform/ado/connection_string.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <system_error>

#include "platform/ado/ascii_case.h"
#include "platform/ado/engine.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "platform/secret_text.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

[[noreturn]] void refuse(std::string_view reason) {
    throw ComError(adErrInvalidArgument, "The connection string is malformed: " + std::string(reason) + ".");
}

/// The brace that ends the value which begins behind `opening`; npos when there is none.
std::size_t closingBrace(std::string_view text, std::size_t opening) noexcept {
    std::size_t closing = text.find('}', opening);
    while (closing != std::string_view::npos && text.substr(closing + 1).starts_with('}')) {
        closing = text.find('}', closing + 2); // two of them stand for one
    }
    return closing;
}

std::string undoubled(std::string_view text) {
    std::string value;
    for (std::size_t position = 0; position < text.size(); ++position) {
        value += text[position];
        if (text[position] == '}') {
            ++position; // two of them stand for one
        }
    }
    return value;
}

std::string doubled(std::string_view text) {
    std::string value;
    for (const char character : text) {
        value.append(character == '}' ? 2 : 1, character);
    }
    return value;
}

std::string valueOf(std::string_view text) {
    if (!text.starts_with('{')) {
        return std::string(text);
    }
    if (closingBrace(text, 1) != text.size() - 1) {
        refuse("braces enclose a whole value, and a closing one in it is written twice");
    }
    return undoubled(text.substr(1, text.size() - 2));
}

std::string loweredText(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), lowered);
    return lower;
}

/// How a text may go on behind the part of a connection string that stands before it.
struct Place {
    bool inBraces;
    bool beginsValue;
};

Place placeBehind(std::string_view before) {
    while (endOfEntry(before) != std::string_view::npos) {
        before.remove_prefix(endOfEntry(before) + 1);
    }
    const std::size_t equals = before.find('=');
    if (equals == std::string_view::npos) {
        return {false, false};
    }
    const std::string_view value = trimmed(before.substr(equals + 1));
    return {value.starts_with('{'), value.empty()};
}

std::string written(std::string_view value, Place place, bool endsValue) {
    if (place.inBraces) {
        return doubled(value);
    }
    const bool isPlain = value.find_first_of(";{}") == std::string_view::npos && trimmed(value) == value;
    if (isPlain) {
        return std::string(value);
    }
    if (!place.beginsValue || !endsValue) {
        refuse("a value with a semicolon, a brace or blanks around it cannot be a part of another");
    }
    return "{" + doubled(value) + "}";
}

} // namespace

namespace orvel::platform::ado {

std::size_t endOfEntry(std::string_view connectionString) noexcept {
    const std::size_t end = connectionString.find(';');
    const std::size_t equals = connectionString.find('=');
    if (equals == std::string_view::npos || equals > end) {
        return end;
    }
    const std::size_t value = connectionString.find_first_not_of(blanks, equals + 1);
    if (value == std::string_view::npos || connectionString[value] != '{') {
        return end;
    }
    const std::size_t closing = closingBrace(connectionString, value + 1);
    return closing == std::string_view::npos ? end : connectionString.find(';', closing);
}

std::string takeProvider(std::string_view connectionString, std::string& rest) {
    rest.reserve(connectionString.size());
    std::string_view left = connectionString;
    while (!left.empty()) {
        const std::string_view entry = left.substr(0, endOfEntry(left));
        const std::size_t equals = entry.find('=');
        left.remove_prefix(std::min(entry.size() + 1, left.size()));
        if (equals != std::string_view::npos &&
            equalIgnoringCase(trimmed(entry.substr(0, equals)), "Provider")) {
            rest.append(left);
            return valueOf(trimmed(entry.substr(equals + 1)));
        }
        rest.append(entry).append(left.empty() ? "" : ";");
    }
    rest.assign(connectionString);
    return {};
}

std::vector<ConnectionEntry> parseConnectionString(std::string_view connectionString) {
    std::vector<ConnectionEntry> entries;
    while (!connectionString.empty()) {
        const std::string_view entry = connectionString.substr(0, endOfEntry(connectionString));
        connectionString.remove_prefix(std::min(entry.size() + 1, connectionString.size()));
        if (trimmed(entry).empty()) {
            continue;
        }
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos || trimmed(entry.substr(0, equals)).empty()) {
            refuse("an entry has no keyword");
        }
        entries.push_back(
            {loweredText(trimmed(entry.substr(0, equals))), valueOf(trimmed(entry.substr(equals + 1)))});
    }
    return entries;
}

bool isOn(const ConnectionEntry& entry) {
    const auto isOneOf = [&entry](std::initializer_list<std::string_view> words) {
        return std::ranges::any_of(
            words, [&](std::string_view word) { return equalIgnoringCase(entry.value, word); });
    };
    if (!isOneOf({"on", "off", "1", "0", "yes", "no", "true", "false"})) {
        refuse("\"" + entry.keyword + "\" is on or off");
    }
    return isOneOf({"on", "1", "yes", "true"});
}

std::int32_t numberOf(const ConnectionEntry& entry) {
    std::int32_t number = 0;
    const char* const end = entry.value.data() + entry.value.size();
    if (std::from_chars(entry.value.data(), end, number) != std::from_chars_result{end, std::errc()}) {
        refuse("\"" + entry.keyword + "\" is not a whole number");
    }
    return number;
}

std::string placedValue(std::string_view connectionString, std::string_view placeholder,
                        std::string_view value) {
    SecretText rest;
    const Provider* const provider = findProvider(takeProvider(connectionString, rest.text));
    const std::size_t position = connectionString.find(placeholder);
    if (provider == nullptr || !provider->hasOwnSyntax || position == std::string_view::npos) {
        return std::string(value);
    }
    const std::string_view behind = trimmed(connectionString.substr(position + placeholder.size()));
    return written(value, placeBehind(connectionString.substr(0, position)),
                   behind.empty() || behind.starts_with(';'));
}

} // namespace orvel::platform::ado
