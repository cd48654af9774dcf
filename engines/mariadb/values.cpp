#include "engines/mariadb/values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>

#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::engines::mariadb;
using namespace orvel::platform::ado;

struct TypeInfo {
    enum_field_types fieldType;
    std::int32_t type;
    std::int32_t otherType; ///< of unsigned numbers, and of texts that are bytes
    Kind kind;
    Kind otherKind;
};

constexpr TypeInfo types[] = {
    {MYSQL_TYPE_TINY, adTinyInt, adUnsignedTinyInt, Kind::int8, Kind::uint8},
    {MYSQL_TYPE_SHORT, adSmallInt, adUnsignedSmallInt, Kind::int16, Kind::uint16},
    {MYSQL_TYPE_YEAR, adSmallInt, adUnsignedSmallInt, Kind::int16, Kind::uint16},
    {MYSQL_TYPE_INT24, adInteger, adUnsignedInt, Kind::int32, Kind::uint32},
    {MYSQL_TYPE_LONG, adInteger, adUnsignedInt, Kind::int32, Kind::uint32},
    {MYSQL_TYPE_LONGLONG, adBigInt, adUnsignedBigInt, Kind::int64, Kind::uint64},
    {MYSQL_TYPE_FLOAT, adSingle, adSingle, Kind::single, Kind::single},
    {MYSQL_TYPE_DOUBLE, adDouble, adDouble, Kind::real, Kind::real},
    {MYSQL_TYPE_DECIMAL, adNumeric, adNumeric, Kind::numeric, Kind::numeric},
    {MYSQL_TYPE_NEWDECIMAL, adNumeric, adNumeric, Kind::numeric, Kind::numeric},
    {MYSQL_TYPE_DATE, adDBDate, adDBDate, Kind::date, Kind::date},
    {MYSQL_TYPE_NEWDATE, adDBDate, adDBDate, Kind::date, Kind::date},
    {MYSQL_TYPE_TIME, adDBTime, adDBTime, Kind::date, Kind::date},
    {MYSQL_TYPE_DATETIME, adDBTimeStamp, adDBTimeStamp, Kind::date, Kind::date},
    {MYSQL_TYPE_TIMESTAMP, adDBTimeStamp, adDBTimeStamp, Kind::date, Kind::date},
    {MYSQL_TYPE_STRING, adChar, adBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_ENUM, adChar, adBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_SET, adChar, adBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_VARCHAR, adVarChar, adVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_VAR_STRING, adVarChar, adVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_BLOB, adLongVarChar, adLongVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_TINY_BLOB, adLongVarChar, adLongVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_MEDIUM_BLOB, adLongVarChar, adLongVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_LONG_BLOB, adLongVarChar, adLongVarBinary, Kind::text, Kind::bytes},
    {MYSQL_TYPE_JSON, adLongVarChar, adLongVarChar, Kind::text, Kind::text},
    {MYSQL_TYPE_GEOMETRY, adLongVarBinary, adLongVarBinary, Kind::bytes, Kind::bytes},
    {MYSQL_TYPE_BIT, adBinary, adBinary, Kind::bytes, Kind::bytes},
};

constexpr TypeInfo otherType{MYSQL_TYPE_NULL, adVarChar, adVarChar, Kind::text, Kind::text};

/// The character set of what is no text.
constexpr unsigned int binaryCharacters = 63;

[[noreturn]] void malformed() {
    throw orvel::platform::ComError(orvel::platform::eUnexpected, "The server sent a malformed value.");
}

template <class Number>
Number numberOf(Format format, std::string_view data) {
    Number number{};
    if (format == Format::binary) {
        data.copy(reinterpret_cast<char*>(&number), sizeof number);
        return number;
    }
    const auto [end, error] = std::from_chars(data.data(), data.data() + data.size(), number);
    if (error != std::errc() || end != data.data() + data.size()) {
        malformed();
    }
    return number;
}

template <class Number>
void assignSigned(Variant& value, Format format, std::string_view data) {
    value = std::int64_t{numberOf<Number>(format, data)};
}

template <class Number>
void assignUnsigned(Variant& value, Format format, std::string_view data) {
    value = std::uint64_t{numberOf<Number>(format, data)};
}

void assignBytes(Variant& value, std::string_view data) {
    auto* bytes = std::get_if<Bytes>(&value);
    bytes = bytes != nullptr ? bytes : &value.emplace<Bytes>();
    const auto* const first = reinterpret_cast<const std::byte*>(data.data());
    bytes->assign(first, first + data.size());
}

MYSQL_TIME momentOf(std::string_view data) noexcept {
    MYSQL_TIME moment;
    data.copy(reinterpret_cast<char*>(&moment), sizeof moment);
    return moment;
}

/// As the server writes it.
std::string momentText(const MYSQL_TIME& moment, const ColumnType& type) {
    std::array<char, 64> buffer{};
    std::string text;
    const bool isTime = type.type == adDBTime; // the library does not say so of midnight
    if (!isTime) {
        std::snprintf(buffer.data(), buffer.size(), "%04u-%02u-%02u", moment.year, moment.month, moment.day);
        text = buffer.data();
    }
    if (type.type == adDBDate) {
        return text;
    }
    const unsigned int hours = moment.hour + (isTime ? moment.day * 24 : 0);
    std::snprintf(buffer.data(), buffer.size(), "%s%02u:%02u:%02u.%06lu", moment.neg != 0 ? "-" : "", hours,
                  moment.minute, moment.second, moment.second_part);
    text.append(text.empty() ? "" : " ").append(buffer.data());
    constexpr std::size_t mostDecimals = 6;
    const std::size_t decimals = std::min<std::size_t>(type.decimals, mostDecimals);
    text.resize(text.size() - (mostDecimals - decimals) - (decimals == 0 ? 1 : 0));
    return text;
}

bool isOnClock(const MYSQL_TIME& moment) noexcept {
    return moment.neg == 0 && moment.hour < 24 && moment.minute < 60 && moment.second < 60;
}

bool isInCalendar(const MYSQL_TIME& moment) noexcept {
    using namespace std::chrono;
    return moment.year > 0 && moment.year <= 9999 &&
           year_month_day(year(static_cast<int>(moment.year)), month(moment.month), day(moment.day)).ok();
}

/// Days that no calendar has, and hours beyond a day, stay texts.
void assignMoment(Variant& value, const MYSQL_TIME& moment, const ColumnType& type) {
    const bool isTime = type.type == adDBTime;
    if (!isOnClock(moment) || (isTime ? moment.day != 0 : !isInCalendar(moment))) {
        assignText(value, momentText(moment, type));
        return;
    }
    Date date;
    date.parts = isTime ? Date::Parts::time : type.type == adDBDate ? Date::Parts::date : Date::Parts::both;
    if (!isTime) {
        date.year = static_cast<std::int16_t>(moment.year);
        date.month = static_cast<std::uint8_t>(moment.month);
        date.day = static_cast<std::uint8_t>(moment.day);
    }
    constexpr std::uint32_t nanoseconds = 1000;
    date.hour = static_cast<std::uint8_t>(moment.hour);
    date.minute = static_cast<std::uint8_t>(moment.minute);
    date.second = static_cast<std::uint8_t>(moment.second);
    date.nanosecond = static_cast<std::uint32_t>(moment.second_part) * nanoseconds;
    value = date;
}

void assignDateOrTime(Variant& value, Format format, std::string_view data, const ColumnType& type) {
    if (format == Format::binary) {
        assignMoment(value, momentOf(data), type);
    } else {
        assignDate(value, data);
    }
}

std::uint8_t binarySizeOf(Kind kind) noexcept {
    switch (kind) {
    case Kind::int8:
    case Kind::uint8:
    case Kind::boolean:
        return 1;
    case Kind::int16:
    case Kind::uint16:
        return 2;
    case Kind::int32:
    case Kind::uint32:
    case Kind::single:
        return 4;
    case Kind::int64:
    case Kind::uint64:
    case Kind::real:
        return 8;
    case Kind::date:
        return sizeof(MYSQL_TIME);
    default:
        return 0;
    }
}

} // namespace

namespace orvel::engines::mariadb {

ColumnType columnType(const MYSQL_FIELD& field) noexcept {
    const auto* const found = std::ranges::find(types, field.type, &TypeInfo::fieldType);
    const TypeInfo& info = found != std::end(types) ? *found : otherType;
    const bool isText = info.kind == Kind::text;
    const bool isOther = isText ? field.charsetnr == binaryCharacters : (field.flags & UNSIGNED_FLAG) != 0;
    ColumnType type{isOther ? info.otherType : info.type, isOther ? info.otherKind : info.kind, field.type,
                    static_cast<std::uint8_t>(field.decimals), 0};
    if (field.type == MYSQL_TYPE_BIT && field.length == 1) {
        type.type = adBoolean;
        type.kind = Kind::boolean;
    }
    type.binarySize = binarySizeOf(type.kind);
    return type;
}

void readValue(const ColumnType& type, Format format, std::string_view data, Variant& value) {
    switch (type.kind) {
    case Kind::int8:
        return assignSigned<std::int8_t>(value, format, data);
    case Kind::uint8:
        return assignUnsigned<std::uint8_t>(value, format, data);
    case Kind::int16:
        return assignSigned<std::int16_t>(value, format, data);
    case Kind::uint16:
        return assignUnsigned<std::uint16_t>(value, format, data);
    case Kind::int32:
        return assignSigned<std::int32_t>(value, format, data);
    case Kind::uint32:
        return assignUnsigned<std::uint32_t>(value, format, data);
    case Kind::int64:
        return assignSigned<std::int64_t>(value, format, data);
    case Kind::uint64:
        return assignUnsigned<std::uint64_t>(value, format, data);
    case Kind::single:
        value = numberOf<float>(format, data);
        return;
    case Kind::real:
        value = numberOf<double>(format, data);
        return;
    case Kind::boolean:
        value = data != std::string_view("\0", 1);
        return;
    case Kind::numeric:
        return assignNumeric(value, data);
    case Kind::date:
        return assignDateOrTime(value, format, data, type);
    case Kind::text:
        return assignText(value, data);
    case Kind::bytes:
        return assignBytes(value, data);
    }
}

std::size_t valueSize(const ColumnType& type, Format format, std::string_view data) {
    switch (type.kind) {
    case Kind::numeric:
    case Kind::text:
    case Kind::bytes:
        return data.size();
    case Kind::boolean:
        return 2; // as the object model counts it
    case Kind::date: {
        Variant value;
        readValue(type, format, data, value);
        return toText(value).size();
    }
    default:
        return type.binarySize;
    }
}

} // namespace orvel::engines::mariadb
