#include "character_record.h"

#include <charconv>
#include <stdexcept>

namespace {

constexpr std::size_t fieldCount = 15;

std::vector<std::string_view> split(std::string_view line, char separator) {
    std::vector<std::string_view> fields;
    for (std::size_t end = line.find(separator); end != std::string_view::npos; end = line.find(separator)) {
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end + 1);
    }
    fields.push_back(line);
    return fields;
}

template <class Number>
Number number(std::string_view text, int base) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error("\"" + std::string(text) + "\" is not a number");
    }
    return value;
}

std::optional<std::uint32_t> optionalCodePoint(std::string_view text) {
    return text.empty() ? std::nullopt : std::optional(number<std::uint32_t>(text, 16));
}

/// Whole numbers and fractions such as "-1/2".
void parseNumericValue(std::string_view text, CharacterRecord& record) {
    if (text.empty()) {
        return;
    }
    const std::vector<std::string_view> parts = split(text, '/');
    const auto numerator = number<long long>(parts.front(), 10);
    if (parts.size() == 1) {
        record.wholeValue = numerator;
        record.numericValue = static_cast<double>(numerator);
    } else {
        record.numericValue =
            static_cast<double>(numerator) / static_cast<double>(number<long long>(parts.at(1), 10));
    }
}

bool isSurrogate(std::uint32_t codePoint) { return codePoint >= 0xD800 && codePoint <= 0xDFFF; }

char tail(std::uint32_t codePoint, unsigned int shift) {
    return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
}

void appendUnit(std::vector<unsigned char>& bytes, std::uint32_t unit) {
    bytes.push_back(static_cast<unsigned char>(unit >> 8U));
    bytes.push_back(static_cast<unsigned char>(unit & 0xFFU));
}

} // namespace

CharacterRecord parseRecord(std::string_view line) {
    const std::vector<std::string_view> fields = split(line, ';');
    if (fields.size() != fieldCount) {
        throw std::runtime_error(std::to_string(fields.size()) + " fields instead of " +
                                 std::to_string(fieldCount));
    }
    CharacterRecord record;
    record.codePoint = number<std::uint32_t>(fields[0], 16);
    record.name = fields[1];
    record.category = fields[2];
    record.combiningClass = number<int>(fields[3], 10);
    record.decomposition = fields[5];
    parseNumericValue(fields[8], record);
    record.uppercase = optionalCodePoint(fields[12]);
    record.lowercase = optionalCodePoint(fields[13]);
    return record;
}

std::string utf8(std::uint32_t codePoint) {
    if (codePoint == 0 || isSurrogate(codePoint)) {
        return {};
    }
    if (codePoint < 0x80) {
        return {static_cast<char>(codePoint)};
    }
    if (codePoint < 0x800) {
        return {static_cast<char>(0xC0U | (codePoint >> 6U)), tail(codePoint, 0)};
    }
    if (codePoint < 0x10000) {
        return {static_cast<char>(0xE0U | (codePoint >> 12U)), tail(codePoint, 6), tail(codePoint, 0)};
    }
    return {static_cast<char>(0xF0U | (codePoint >> 18U)), tail(codePoint, 12), tail(codePoint, 6),
            tail(codePoint, 0)};
}

std::vector<unsigned char> utf16BigEndian(std::uint32_t codePoint) {
    std::vector<unsigned char> bytes;
    if (codePoint < 0x10000) {
        appendUnit(bytes, codePoint);
    } else {
        appendUnit(bytes, 0xD800U + ((codePoint - 0x10000U) >> 10U));
        appendUnit(bytes, 0xDC00U + ((codePoint - 0x10000U) & 0x3FFU));
    }
    return bytes;
}
