#include "platform/odbc/column.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include "platform/ado/constants.h"
#include "platform/odbc/session.h"

namespace {

using namespace orvel::platform::odbc;
using namespace orvel::platform::ado;

struct TypeMapping { // NOLINT(clang-analyzer-optin.performance.Padding): in the order in which it is read
    SQLSMALLINT sqlType;
    std::int32_t type;
    std::int32_t unsignedType;
    CellKind kind;
};

// Types of one server, which its drivers report as they are.
constexpr SQLSMALLINT sqlServerVariant = -150;
constexpr SQLSMALLINT sqlServerUserType = -151;
constexpr SQLSMALLINT sqlServerXml = -152;
constexpr SQLSMALLINT sqlServerTime = -154;
constexpr SQLSMALLINT sqlServerTimeStampOffset = -155;

constexpr TypeMapping mappings[] = {
    {SQL_CHAR, adChar, adChar, CellKind::text},
    {SQL_VARCHAR, adVarChar, adVarChar, CellKind::text},
    {SQL_LONGVARCHAR, adLongVarChar, adLongVarChar, CellKind::text},
    {SQL_WCHAR, adWChar, adWChar, CellKind::text},
    {SQL_WVARCHAR, adVarWChar, adVarWChar, CellKind::text},
    {SQL_WLONGVARCHAR, adLongVarWChar, adLongVarWChar, CellKind::text},
    {SQL_DECIMAL, adNumeric, adNumeric, CellKind::decimal},
    {SQL_NUMERIC, adNumeric, adNumeric, CellKind::decimal},
    {SQL_BIT, adBoolean, adBoolean, CellKind::boolean},
    {SQL_TINYINT, adTinyInt, adUnsignedTinyInt, CellKind::integer},
    {SQL_SMALLINT, adSmallInt, adUnsignedSmallInt, CellKind::integer},
    {SQL_INTEGER, adInteger, adUnsignedInt, CellKind::integer},
    {SQL_BIGINT, adBigInt, adUnsignedBigInt, CellKind::integer},
    {SQL_REAL, adSingle, adSingle, CellKind::single},
    {SQL_FLOAT, adDouble, adDouble, CellKind::real},
    {SQL_DOUBLE, adDouble, adDouble, CellKind::real},
    {SQL_BINARY, adBinary, adBinary, CellKind::bytes},
    {SQL_VARBINARY, adVarBinary, adVarBinary, CellKind::bytes},
    {SQL_LONGVARBINARY, adLongVarBinary, adLongVarBinary, CellKind::bytes},
    {SQL_TYPE_DATE, adDBDate, adDBDate, CellKind::date},
    {SQL_TYPE_TIME, adDBTime, adDBTime, CellKind::date},
    {SQL_TYPE_TIMESTAMP, adDBTimeStamp, adDBTimeStamp, CellKind::date},
    {SQL_GUID, adGUID, adGUID, CellKind::text},
    {sqlServerVariant, adVariant, adVariant, CellKind::text},
    {sqlServerUserType, adLongVarBinary, adLongVarBinary, CellKind::bytes},
    {sqlServerXml, adLongVarWChar, adLongVarWChar, CellKind::text},
    {sqlServerTime, adDBTime, adDBTime, CellKind::date},
    {sqlServerTimeStampOffset, adDBTimeStamp, adDBTimeStamp, CellKind::date},
};

/// Intervals and whatever a driver invents are read as text.
constexpr TypeMapping otherType{0, adVarChar, adVarChar, CellKind::text};

const TypeMapping& mappingOf(SQLSMALLINT sqlType) noexcept {
    const auto mapping = std::ranges::find(mappings, sqlType, &TypeMapping::sqlType);
    return mapping != std::end(mappings) ? *mapping : otherType;
}

struct Description {
    std::string name;
    SQLSMALLINT sqlType = 0;
    SQLULEN size = 0;
    SQLSMALLINT scale = 0;
    SQLLEN octets = 0;
};

SQLLEN numberAttribute(SQLHSTMT statement, SQLUSMALLINT number, SQLUSMALLINT attribute) {
    SQLLEN value = 0;
    SQLColAttribute(statement, number, attribute, nullptr, 0, nullptr, &value);
    return value;
}

std::string typeName(SQLHSTMT statement, SQLUSMALLINT number) {
    std::array<char, 128> name{};
    SQLColAttribute(statement, number, SQL_DESC_TYPE_NAME, name.data(), static_cast<SQLSMALLINT>(name.size()),
                    nullptr, nullptr);
    return name.data();
}

// Values above this are not worth a place in a block of rows.
constexpr SQLLEN largestBound = 1024;

/// Dates and times are read as text, with room for what no calendar has: MariaDB's hours beyond a day, "BC".
constexpr std::size_t dateBound = 64;

/// Sign, point, a zero before it and the terminator.
constexpr std::size_t decimalExtra = 4;

std::size_t decimalBound(const Description& description, const EngineTraits& traits) {
    const bool honest = traits.engine != Engine::other && traits.engine != Engine::sqlite;
    // A scale beyond the size, or below zero, moves the point out of the digits.
    const bool plain = description.scale >= 0 && static_cast<SQLULEN>(description.scale) <= description.size;
    return honest && plain && description.size > 0 && description.size != traits.unlimitedDecimalSize
               ? description.size + decimalExtra
               : 0;
}

std::size_t textBound(SQLHSTMT statement, SQLUSMALLINT number, const Description& description,
                      const EngineTraits& traits) {
    if (description.size == 0 || description.size >= traits.unlimitedTextSize ||
        description.octets > largestBound) {
        return 0;
    }
    if (traits.engine == Engine::postgresql) {
        // Arrays, documents and more go by the name of varchar there, with sizes that are no limits.
        const std::string type = typeName(statement, number);
        if (type != "varchar" && type != "bpchar") {
            return 0;
        }
    }
    constexpr SQLULEN longestCharacter = 4;
    const SQLULEN bytes =
        std::max(description.size * longestCharacter, static_cast<SQLULEN>(description.octets));
    return bytes + 1;
}

std::size_t bytesBound(const Description& description, const EngineTraits& traits) {
    const bool honest = traits.engine == Engine::mariadb;
    return honest && description.octets > 0 && description.octets <= largestBound
               ? static_cast<std::size_t>(description.octets)
               : 0;
}

std::size_t boundOf(SQLHSTMT statement, SQLUSMALLINT number, const Description& description, CellKind kind,
                    const EngineTraits& traits) {
    constexpr std::size_t guidBound = 64;
    switch (kind) {
    case CellKind::boolean:
        return sizeof(unsigned char);
    case CellKind::single:
        return sizeof(float);
    case CellKind::decimal:
        return decimalBound(description, traits);
    case CellKind::date:
        return traits.engine != Engine::sqlite ? dateBound : 0;
    case CellKind::bytes:
        return bytesBound(description, traits);
    case CellKind::text:
        return description.sqlType == SQL_GUID ? guidBound
                                               : textBound(statement, number, description, traits);
    default:
        return sizeof(std::int64_t);
    }
}

Description describe(SQLHSTMT statement, SQLUSMALLINT number) {
    Description description;
    std::string name(256, '\0');
    SQLSMALLINT length = 0;
    SQLSMALLINT nullable = 0;
    const auto ask = [&] {
        return SQLDescribeCol(statement, number, sqlText(name), static_cast<SQLSMALLINT>(name.size()),
                              &length, &description.sqlType, &description.size, &description.scale,
                              &nullable);
    };
    SQLRETURN code = ask();
    if (succeeded(code) && static_cast<std::size_t>(length) >= name.size()) {
        name.resize(static_cast<std::size_t>(length) + 1);
        code = ask();
    }
    if (!succeeded(code)) {
        description.sqlType = SQL_UNKNOWN_TYPE;
    }
    name.resize(std::strlen(name.c_str()));
    description.name = std::move(name);
    return description;
}

std::string_view viewOf(const Cell& cell) { return {cell.data, static_cast<std::size_t>(cell.length)}; }

template <class Number>
Number numberOf(const Cell& cell) noexcept {
    Number number;
    std::memcpy(&number, cell.data, sizeof number);
    return number;
}

void assignText(Variant& value, std::string_view text) {
    if (auto* old = std::get_if<std::string>(&value)) {
        old->assign(text);
    } else {
        value.emplace<std::string>(text);
    }
}

/// The driver writes decimals as its locale has them; what no Decimal can hold stays the text that it is.
void readDecimal(const Cell& cell, Variant& value) {
    std::string text(viewOf(cell));
    std::ranges::replace(text, ',', '.');
    Decimal decimal;
    if (parseExact(text, decimal)) {
        value = decimal;
    } else {
        assignText(value, text);
    }
}

/// Engines have dates and times that are none here (infinity, hours beyond a day): those stay texts.
void readDate(const Cell& cell, Variant& value) {
    Date date;
    if (parseDate(viewOf(cell), date)) {
        value = date;
    } else {
        assignText(value, viewOf(cell));
    }
}

void readBytes(const Cell& cell, Variant& value) {
    const auto* first = reinterpret_cast<const std::byte*>(cell.data); // NOLINT: bytes of any object
    const auto* last = first + cell.length;
    if (auto* old = std::get_if<Bytes>(&value)) {
        old->assign(first, last);
    } else {
        value.emplace<Bytes>(first, last);
    }
}

} // namespace

namespace orvel::platform::odbc {

Column describeColumn(SQLHSTMT statement, SQLUSMALLINT number, const EngineTraits& traits) {
    Description description = describe(statement, number);
    const TypeMapping& mapping = mappingOf(description.sqlType);
    Column column{std::move(description.name), mapping.type, mapping.kind, 0};
    if (mapping.kind == CellKind::integer) {
        const bool isUnsigned = numberAttribute(statement, number, SQL_DESC_UNSIGNED) == SQL_TRUE;
        column.type = isUnsigned ? mapping.unsignedType : mapping.type;
        column.kind = isUnsigned ? CellKind::unsignedInteger : CellKind::integer;
    }
    if (mapping.kind == CellKind::text || mapping.kind == CellKind::bytes) {
        description.octets = numberAttribute(statement, number, SQL_DESC_OCTET_LENGTH);
    }
    column.bound = boundOf(statement, number, description, column.kind, traits);
    return column;
}

SQLSMALLINT Column::transferType() const noexcept {
    switch (kind) {
    case CellKind::integer:
        return SQL_C_SBIGINT;
    case CellKind::unsignedInteger:
        return SQL_C_UBIGINT;
    case CellKind::single:
        return SQL_C_FLOAT;
    case CellKind::real:
        return SQL_C_DOUBLE;
    case CellKind::boolean:
        return SQL_C_BIT;
    case CellKind::bytes:
        return SQL_C_BINARY;
    default:
        return SQL_C_CHAR;
    }
}

std::size_t Column::terminator() const noexcept { return transferType() == SQL_C_CHAR ? 1 : 0; }

void readCell(const Column& column, const Cell& cell, Variant& value) {
    if (cell.length == SQL_NULL_DATA) {
        value = Null{};
        return;
    }
    switch (column.kind) {
    case CellKind::integer:
        value = numberOf<std::int64_t>(cell);
        break;
    case CellKind::unsignedInteger:
        value = numberOf<std::uint64_t>(cell);
        break;
    case CellKind::single:
        value = numberOf<float>(cell);
        break;
    case CellKind::real:
        value = numberOf<double>(cell);
        break;
    case CellKind::boolean:
        value = numberOf<unsigned char>(cell) != 0;
        break;
    case CellKind::decimal:
        readDecimal(cell, value);
        break;
    case CellKind::date:
        readDate(cell, value);
        break;
    case CellKind::text:
        assignText(value, viewOf(cell));
        break;
    case CellKind::bytes:
        readBytes(cell, value);
        break;
    }
}

std::int32_t actualSize(const Column& column, const Cell& cell) noexcept {
    if (cell.length == SQL_NULL_DATA) {
        return 0;
    }
    switch (column.type) {
    case adTinyInt:
    case adUnsignedTinyInt:
        return 1;
    case adSmallInt:
    case adUnsignedSmallInt:
    case adBoolean:
        return 2;
    case adInteger:
    case adUnsignedInt:
    case adSingle:
        return 4;
    case adBigInt:
    case adUnsignedBigInt:
    case adDouble:
        return 8;
    default:
        return static_cast<std::int32_t>(cell.length);
    }
}

} // namespace orvel::platform::odbc
