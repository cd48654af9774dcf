#include "engines/odbc/column.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <span>

#include "engines/odbc/statement.h"
#include "platform/ado/constants.h"

namespace {

using namespace orvel::engines::odbc;
using namespace orvel::platform::ado;
using orvel::engines::odbc::Statement;

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

SQLLEN numberAttribute(Statement& statement, SQLUSMALLINT number, SQLUSMALLINT attribute) {
    SQLLEN value = 0;
    statement.check(SQLColAttribute(statement.get(), number, attribute, nullptr, 0, nullptr, &value));
    return value;
}

std::string typeName(Statement& statement, SQLUSMALLINT number) {
    std::array<char, 128> name{};
    statement.check(SQLColAttribute(statement.get(), number, SQL_DESC_TYPE_NAME, name.data(),
                                    static_cast<SQLSMALLINT>(name.size()), nullptr, nullptr));
    return name.data();
}

constexpr std::size_t commonNameSize = 256;

// Values above this are not worth a place in a block of rows.
constexpr SQLLEN largestBound = 1024;

/// Dates and times are read as text, with room for what no calendar has: MariaDB's hours beyond a day, "BC".
constexpr std::size_t dateBound = 64;

/// Sign, point, a zero before it and the terminator.
constexpr std::size_t decimalExtra = 4;

std::size_t decimalBound(const Description& description, const EngineTraits& traits) {
    // A scale beyond the size, or below zero, moves the point out of the digits.
    const bool plain = description.scale >= 0 && static_cast<SQLULEN>(description.scale) <= description.size;
    return plain && description.size > 0 && description.size < traits.unlimitedDecimalSize
               ? description.size + decimalExtra
               : 0;
}

std::size_t textBound(Statement& statement, SQLUSMALLINT number, const Description& description,
                      SQLLEN octets) {
    const EngineTraits& traits = statement.session().traits();
    if (description.size == 0 || description.size >= traits.unlimitedTextSize || octets > largestBound) {
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
    const SQLULEN bytes = std::max(description.size * longestCharacter, static_cast<SQLULEN>(octets));
    return bytes + 1;
}

std::size_t bytesBound(SQLLEN octets, const EngineTraits& traits) {
    const bool honest = traits.engine == Engine::mariadb;
    return honest && octets > 0 && octets <= largestBound ? static_cast<std::size_t>(octets) : 0;
}

std::size_t boundOf(Statement& statement, SQLUSMALLINT number, const Column& column, SQLLEN octets) {
    constexpr std::size_t guidBound = 64;
    const EngineTraits& traits = statement.session().traits();
    const Description& description = column.description;
    switch (column.kind) {
    case CellKind::boolean:
        return sizeof(unsigned char);
    case CellKind::decimal:
        return decimalBound(description, traits);
    case CellKind::date:
        return traits.engine != Engine::sqlite ? dateBound : 0;
    case CellKind::bytes:
        return bytesBound(octets, traits);
    case CellKind::text:
        return description.sqlType == SQL_GUID ? guidBound
                                               : textBound(statement, number, description, octets);
    default:
        return sizeof(std::int64_t);
    }
}

/// Asks with room for a name of `name.size()`; afterwards `name` is the name, or too short for it.
SQLRETURN ask(SQLHSTMT statement, SQLUSMALLINT number, std::span<char> name, SQLSMALLINT& length,
              Description& description) {
    SQLSMALLINT nullable = 0;
    return SQLDescribeCol(statement, number, reinterpret_cast<SQLCHAR*>(name.data()),
                          static_cast<SQLSMALLINT>(name.size()), &length, &description.sqlType,
                          &description.size, &description.scale, &nullable);
}

Description describe(Statement& statement, SQLUSMALLINT number) {
    Description description;
    std::string name(commonNameSize, '\0');
    SQLSMALLINT length = 0;
    statement.check(ask(statement.get(), number, name, length, description));
    if (static_cast<std::size_t>(length) >= name.size()) {
        name.resize(static_cast<std::size_t>(length) + 1);
        statement.check(ask(statement.get(), number, name, length, description));
    }
    name.resize(std::strlen(name.c_str()));
    description.name = std::move(name);
    return description;
}

} // namespace

namespace orvel::engines::odbc {

Column describeColumn(Statement& statement, SQLUSMALLINT number) {
    Column column;
    column.description = describe(statement, number);
    const TypeMapping& mapping = mappingOf(column.description.sqlType);
    column.type = mapping.type;
    column.kind = mapping.kind;
    if (mapping.kind == CellKind::integer &&
        numberAttribute(statement, number, SQL_DESC_UNSIGNED) == SQL_TRUE) {
        column.type = mapping.unsignedType;
        column.kind = CellKind::unsignedInteger;
    }
    SQLLEN octets = 0;
    if (mapping.kind == CellKind::text || mapping.kind == CellKind::bytes) {
        octets = numberAttribute(statement, number, SQL_DESC_OCTET_LENGTH);
    }
    column.bound = boundOf(statement, number, column, octets);
    return column;
}

bool isDescribedAs(SQLHSTMT statement, SQLUSMALLINT number, const Column& column) {
    std::array<char, commonNameSize> name{};
    SQLSMALLINT length = 0;
    Description now;
    return succeeded(ask(statement, number, name, length, now)) &&
           now.sqlType == column.description.sqlType && now.size == column.description.size &&
           now.scale == column.description.scale && column.description.name == name.data();
}

SQLSMALLINT Column::transferType() const noexcept {
    switch (kind) {
    case CellKind::integer:
        return SQL_C_SBIGINT;
    case CellKind::unsignedInteger:
        return SQL_C_UBIGINT;
    case CellKind::single: // MariaDB's driver writes blocks of singles as if each had 8 bytes
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

} // namespace orvel::engines::odbc
