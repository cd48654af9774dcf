#include "engines/postgresql/values.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::engines::postgresql;
using namespace orvel::platform::ado;

// In the order of their numbers in the server's catalogue. A single column of a type that is not known in binary makes
// its whole result one in text.
constexpr TypeInfo types[] = {
    {16, adBoolean, Kind::boolean, true},
    {17, adLongVarBinary, Kind::bytes, true},
    {18, adChar, Kind::text, false},
    {19, adVarChar, Kind::text, true},
    {20, adBigInt, Kind::int64, true},
    {21, adSmallInt, Kind::int16, true},
    {23, adInteger, Kind::int32, true},
    {25, adLongVarChar, Kind::text, true},
    {26, adUnsignedInt, Kind::uint32, true},
    {28, adUnsignedInt, Kind::uint32, true},
    {114, adVarChar, Kind::text, true},
    {142, adLongVarChar, Kind::text, false},
    {700, adSingle, Kind::single, true},
    {701, adDouble, Kind::real, true},
    {705, adLongVarChar, Kind::text, true},
    {1042, adChar, Kind::text, true},
    {1043, adVarChar, Kind::text, true},
    {1082, adDBDate, Kind::date, true},
    {1083, adDBTime, Kind::time, true},
    {1114, adDBTimeStamp, Kind::timestamp, true},
    {1184, adDBTimeStamp, Kind::timestamp, false},
    {1700, adNumeric, Kind::numeric, true},
    {2950, adGUID, Kind::uuid, true},
    {3802, adVarChar, Kind::jsonb, true},
};
static_assert(std::ranges::is_sorted(types, {}, &TypeInfo::oid));

/// Enumerations, arrays, ranges, money and everything else: as the server writes it.
constexpr TypeInfo otherType{0, adVarChar, Kind::text, false};

[[noreturn]] void malformed() {
    throw orvel::platform::ComError(orvel::platform::eUnexpected, "The server sent a malformed value.");
}

template <class Number>
Number bigEndian(std::string_view raw) {
    if (raw.size() != sizeof(Number)) {
        malformed();
    }
    std::uint64_t number = 0;
    for (std::size_t place = 0; place < sizeof(Number); ++place) {
        number = number << 8U | static_cast<unsigned char>(raw[place]);
    }
    return static_cast<Number>(number);
}

template <class Number>
Number parsed(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        malformed();
    }
    return number;
}

template <class Number>
Number integer(Format format, std::string_view raw) {
    return format == Format::binary ? bigEndian<Number>(raw) : parsed<Number>(raw);
}

template <class Real, class Bits>
Real real(Format format, std::string_view raw) {
    return format == Format::binary ? std::bit_cast<Real>(bigEndian<Bits>(raw)) : parsed<Real>(raw);
}

/// The server's own form of a numeric: digits to the base of 10,000, the first of which stands `weight` places before the
/// point.
std::string numericText(std::string_view raw) {
    constexpr std::size_t headSize = 8;
    if (raw.size() < headSize || raw.size() % 2 != 0) {
        malformed();
    }
    const auto word = [raw](std::size_t index) { return bigEndian<std::int16_t>(raw.substr(index * 2, 2)); };
    const int count = word(0);
    const int weight = word(1);
    const auto sign = static_cast<std::uint16_t>(word(2));
    const int scale = word(3);
    constexpr std::uint16_t negative = 0x4000, notANumber = 0xC000, infinity = 0xD000, minusInfinity = 0xF000;
    if (sign == notANumber) {
        return "NaN";
    }
    if (sign == infinity || sign == minusInfinity) {
        return sign == infinity ? "Infinity" : "-Infinity";
    }
    if (static_cast<std::size_t>(count) * 2 + headSize != raw.size()) {
        malformed();
    }
    std::string text = sign == negative ? "-" : "";
    const auto group = [&](int place) { // of four digits, that many before the point, less one
        const int index = weight - place;
        const int digits = index >= 0 && index < count ? word(4 + static_cast<std::size_t>(index)) : 0;
        std::array<char, 8> written{};
        std::snprintf(written.data(), written.size(), "%04d", digits);
        text.append(written.data(), 4);
    };
    const std::size_t first = text.size();
    for (int place = std::max(weight, 0); place >= 0; --place) {
        group(place);
    }
    const std::size_t significant = std::min(text.find_first_not_of('0', first), text.size() - 1);
    text.erase(first, significant - first);
    if (scale > 0) {
        text += '.';
        const std::size_t end = text.size() + static_cast<std::size_t>(scale);
        for (int place = -1; text.size() < end; --place) {
            group(place);
        }
        text.resize(end);
    }
    return text;
}

// What the server counts dates and times from.
constexpr std::chrono::sys_days epoch = std::chrono::year(2000) / 1 / 1;
constexpr std::int64_t microsecondsOfDay = 86'400'000'000;

std::string timeText(std::int64_t microseconds) {
    std::array<char, 32> buffer{};
    const std::int64_t seconds = microseconds / 1'000'000;
    std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d.%06d", static_cast<int>(seconds / 3600),
                  static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60),
                  static_cast<int>(microseconds % 1'000'000));
    std::string text = buffer.data();
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

/// As the server writes it, years before the first included.
std::string dayText(std::int64_t year, std::chrono::year_month_day day, const std::string& time) {
    std::array<char, 32> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02u",
                  static_cast<int>(year > 0 ? year : 1 - year), static_cast<unsigned int>(day.month()),
                  static_cast<unsigned int>(day.day()));
    return std::string(buffer.data()) + (time.empty() ? "" : " " + time) + (year > 0 ? "" : " BC");
}

/// Days and, within the day, microseconds from the server's epoch; `parts` says which of them count.
void assignMoment(Variant& value, std::int64_t days, std::int64_t microseconds, Date::Parts parts) {
    // Beyond the years that the calendar of the standard library has: up to 294,276 with the server, whose days
    // repeat every 400 years.
    constexpr std::int64_t daysOf400Years = 146'097;
    const std::int64_t cycles = days / daysOf400Years;
    const std::chrono::year_month_day day{epoch + std::chrono::days(days % daysOf400Years)};
    const std::int64_t year = static_cast<int>(day.year()) + cycles * 400;
    if (year < 1 || year > 9999) {
        assignText(value,
                   dayText(year, day, parts != Date::Parts::date ? timeText(microseconds) : std::string()));
        return;
    }
    Date date;
    date.parts = parts;
    date.year = static_cast<std::int16_t>(year);
    date.month = static_cast<std::uint8_t>(static_cast<unsigned int>(day.month()));
    date.day = static_cast<std::uint8_t>(static_cast<unsigned int>(day.day()));
    const std::int64_t seconds = microseconds / 1'000'000;
    date.hour = static_cast<std::uint8_t>(seconds / 3600);
    date.minute = static_cast<std::uint8_t>(seconds / 60 % 60);
    date.second = static_cast<std::uint8_t>(seconds % 60);
    date.nanosecond = static_cast<std::uint32_t>(microseconds % 1'000'000 * 1000);
    value = date;
}

template <class Count>
bool isInfinite(Count count, Variant& value) {
    if (count != std::numeric_limits<Count>::max() && count != std::numeric_limits<Count>::min()) {
        return false;
    }
    assignText(value, count > 0 ? "infinity" : "-infinity");
    return true;
}

void assignBinaryDate(Variant& value, std::string_view raw) {
    const auto days = bigEndian<std::int32_t>(raw);
    if (!isInfinite(days, value)) {
        assignMoment(value, days, 0, Date::Parts::date);
    }
}

void assignBinaryTimestamp(Variant& value, std::string_view raw) {
    const auto microseconds = bigEndian<std::int64_t>(raw);
    if (isInfinite(microseconds, value)) {
        return;
    }
    std::int64_t days = microseconds / microsecondsOfDay;
    std::int64_t rest = microseconds % microsecondsOfDay;
    if (rest < 0) {
        rest += microsecondsOfDay;
        --days;
    }
    assignMoment(value, days, rest, Date::Parts::both);
}

std::string_view jsonText(Format format, std::string_view raw) {
    return format == Format::binary && !raw.empty() ? raw.substr(1) : raw; // behind the number of the form
}

std::string uuidText(std::string_view raw) {
    constexpr std::size_t size = 16;
    if (raw.size() != size) {
        malformed();
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t index = 0; index < size; ++index) {
        const auto byte = static_cast<unsigned char>(raw[index]);
        text.append(index == 4 || index == 6 || index == 8 || index == 10 ? "-" : "");
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

/// A timestamp is told in the time zone of the session, without saying which. Years before the first stay as they are.
std::string_view withoutZone(std::string_view text) noexcept {
    const std::size_t zone = text.find_first_of("+-", std::min(text.find(':'), text.size()));
    return zone == std::string_view::npos || text.ends_with(" BC") ? text : text.substr(0, zone);
}

void assignTimestamp(Variant& value, const TypeInfo& type, std::string_view text) {
    Date date;
    if (!type.isKnownInBinary && parseDate(withoutZone(text), date)) { // the one with a time zone
        value = date;
    } else {
        assignDate(value, text);
    }
}

constexpr std::uint8_t noDigit = 0x80;

/// The value of each character as a hexadecimal digit.
constexpr auto digitValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(noDigit);
    constexpr std::string_view digits = "0123456789abcdef";
    for (std::size_t value = 0; value < digits.size(); ++value) {
        values[static_cast<unsigned char>(digits[value])] = static_cast<std::uint8_t>(value);
    }
    return values;
}();

void readHexadecimal(const char* digits, Bytes& bytes) {
    unsigned int seen = 0;
    for (std::byte& byte : bytes) {
        const unsigned int high = digitValues[static_cast<unsigned char>(digits[0])];
        const unsigned int low = digitValues[static_cast<unsigned char>(digits[1])];
        seen |= high | low;
        byte = static_cast<std::byte>(high << 4U | low);
        digits += 2;
    }
    if ((seen & noDigit) != 0) {
        malformed();
    }
}

constexpr std::string_view hexadecimalMark = "\\x";

/// The bytes that a text writes with backslashes: the form of bytea_output = escape.
Bytes unescaped(std::string_view text) {
    Bytes bytes;
    for (std::size_t position = 0; position < text.size(); ++position) {
        auto byte = static_cast<unsigned char>(text[position]);
        if (byte == '\\' && text.substr(position + 1).starts_with('\\')) {
            ++position;
        } else if (byte == '\\' && text.size() - position > 3) {
            const auto octal = [&](std::size_t index) {
                return static_cast<unsigned int>(text[position + index] - '0');
            };
            byte = static_cast<unsigned char>(octal(1) * 64 + octal(2) * 8 + octal(3));
            position += 3;
        }
        bytes.push_back(std::byte{byte});
    }
    return bytes;
}

std::size_t sizeOfBytes(Format format, const RawValue& raw) {
    if (format == Format::binary) {
        return raw.size;
    }
    return raw.text().starts_with(hexadecimalMark) ? (raw.size - hexadecimalMark.size()) / 2
                                                   : unescaped(raw.text()).size();
}

} // namespace

namespace orvel::engines::postgresql {

const TypeInfo& typeInfo(std::uint32_t oid) noexcept {
    const auto* const found = std::ranges::lower_bound(types, oid, {}, &TypeInfo::oid);
    return found != std::end(types) && found->oid == oid ? *found : otherType;
}

void readValue(const TypeInfo& type, Format format, const RawValue& raw, Variant& value) {
    if (raw.data == nullptr) {
        value = Null{};
        return;
    }
    const std::string_view text = raw.text();
    const bool isBinary = format == Format::binary;
    switch (type.kind) {
    case Kind::int16:
        value = std::int64_t{integer<std::int16_t>(format, text)};
        break;
    case Kind::int32:
        value = std::int64_t{integer<std::int32_t>(format, text)};
        break;
    case Kind::int64:
        value = integer<std::int64_t>(format, text);
        break;
    case Kind::uint32:
        value = std::uint64_t{integer<std::uint32_t>(format, text)};
        break;
    case Kind::single:
        value = real<float, std::uint32_t>(format, text);
        break;
    case Kind::real:
        value = real<double, std::uint64_t>(format, text);
        break;
    case Kind::boolean:
        value = isBinary ? text == std::string_view("\1", 1) : text == "t";
        break;
    case Kind::numeric:
        assignNumeric(value, isBinary ? numericText(text) : std::string(text));
        break;
    case Kind::date:
        isBinary ? assignBinaryDate(value, text) : assignDate(value, text);
        break;
    case Kind::time:
        assignDate(value, isBinary ? timeText(bigEndian<std::int64_t>(text)) : std::string(text));
        break;
    case Kind::timestamp:
        isBinary ? assignBinaryTimestamp(value, text) : assignTimestamp(value, type, text);
        break;
    case Kind::text:
        assignText(value, text);
        break;
    case Kind::jsonb:
        assignText(value, jsonText(format, text));
        break;
    case Kind::uuid:
        assignText(value, isBinary ? uuidText(text) : std::string(text));
        break;
    case Kind::bytes:
        readBytes(format, raw, raw.size, value);
        break;
    }
}

void readBytes(Format format, const RawValue& raw, std::size_t most, Variant& value) {
    if (raw.data == nullptr) {
        value = Null{};
        return;
    }
    const bool isHexadecimal = format == Format::text && raw.text().starts_with(hexadecimalMark);
    if (format == Format::text && !isHexadecimal) {
        Bytes bytes = unescaped(raw.text());
        bytes.resize(std::min(bytes.size(), most));
        value = std::move(bytes);
        return;
    }
    if (!std::holds_alternative<Bytes>(value)) {
        value.emplace<Bytes>();
    }
    auto& bytes = std::get<Bytes>(value);
    const std::size_t size = std::min(sizeOfBytes(format, raw), most);
    if (!isHexadecimal) {
        const auto* const first = reinterpret_cast<const std::byte*>(raw.data);
        bytes.assign(first, first + size);
        return;
    }
    bytes.resize(size);
    readHexadecimal(raw.data + hexadecimalMark.size(), bytes);
}

std::size_t valueSize(const TypeInfo& type, Format format, const RawValue& raw) {
    if (raw.data == nullptr) {
        return 0;
    }
    switch (type.kind) {
    case Kind::int16:
    case Kind::boolean:
        return 2;
    case Kind::int32:
    case Kind::uint32:
    case Kind::single:
        return 4;
    case Kind::int64:
    case Kind::real:
        return 8;
    case Kind::text:
        return raw.size;
    case Kind::bytes:
        return sizeOfBytes(format, raw);
    default:
        break;
    }
    if (format == Format::text) {
        return raw.size;
    }
    Variant value;
    readValue(type, format, raw, value);
    return toText(value).size();
}

} // namespace orvel::engines::postgresql
