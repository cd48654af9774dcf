#include "engines/odbc/parameter_buffer.h"

#include <algorithm>

#include "engines/odbc/statement.h"
#include "platform/ado/command_checks.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::engines::odbc {

void ParameterBuffer::take(const ado::ParameterObject& parameter, SQLUSMALLINT number, Statement& statement) {
    const ado::Variant& value = parameter.value();
    Binding binding;
    switch (parameter.type()) {
    case ado::adInteger:
        binding = takeInteger(value);
        break;
    case ado::adDouble:
        binding = takeReal(value);
        break;
    case ado::adDecimal:
        binding = takeDecimal(parameter);
        break;
    case ado::adBSTR:
        binding = takeText(value, statement);
        break;
    default:
        binding = takeBytes(value);
        break;
    }
    if (binding != bound) {
        statement.check(SQLBindParameter(statement.get(), number, SQL_PARAM_INPUT, binding.transferType,
                                         binding.sqlType, binding.size, binding.digits,
                                         const_cast<void*>(binding.data), binding.capacity, &length));
        bound = binding;
    }
}

void ParameterBuffer::releaseLargeMemory() noexcept {
    if (bytes.capacity() > ado::worthKeeping) {
        std::vector<char>().swap(bytes);
        forgetBinding();
    }
}

bool ParameterBuffer::takeNull(const ado::Variant& value) {
    const bool isNull = std::holds_alternative<ado::Null>(value);
    length = isNull ? SQL_NULL_DATA : 0;
    return isNull;
}

ParameterBuffer::Binding ParameterBuffer::takeInteger(const ado::Variant& value) {
    if (!takeNull(value)) {
        integer = ado::toInt32(value);
    }
    return {SQL_C_SLONG, SQL_INTEGER, 10, 0, &integer, sizeof integer};
}

ParameterBuffer::Binding ParameterBuffer::takeReal(const ado::Variant& value) {
    if (!takeNull(value)) {
        real = std::get<double>(value);
    }
    return {SQL_C_DOUBLE, SQL_DOUBLE, 15, 0, &real, sizeof real};
}

/// A whole number of 64 bits goes as what it is: an engine compares a decimal with a column of integers by
/// converting the column, which no index serves. Anything else goes as text, in which nothing is lost.
ParameterBuffer::Binding ParameterBuffer::takeDecimal(const ado::ParameterObject& parameter) {
    const bool isNull = takeNull(parameter.value());
    if (isNull ? parameter.scale() == 0 : ado::fitsInt64(std::get<ado::Decimal>(parameter.value()))) {
        bigInteger = isNull ? 0 : ado::int64Of(std::get<ado::Decimal>(parameter.value()));
        return {SQL_C_SBIGINT, SQL_BIGINT, 19, 0, &bigInteger, sizeof bigInteger};
    }
    const std::string text = isNull ? std::string() : ado::toText(parameter.value());
    Binding binding = takeRaw(text.data(), text.size(), SQL_C_CHAR, SQL_DECIMAL);
    binding.size = std::max<SQLULEN>(parameter.precision(), text.size());
    binding.digits = isNull ? parameter.scale() : std::get<ado::Decimal>(parameter.value()).scale;
    length = isNull ? SQL_NULL_DATA : length;
    return binding;
}

ParameterBuffer::Binding ParameterBuffer::takeText(const ado::Variant& value, const Statement& statement) {
    if (takeNull(value)) {
        return takeRaw(nullptr, 0, SQL_C_CHAR, SQL_VARCHAR);
    }
    const auto& text = std::get<std::string>(value);
    const bool keepsZeros = statement.session().traits().engine == Engine::mariadb;
    if (!keepsZeros && text.find('\0') != std::string::npos) {
        throw ComError(ado::dbCantConvertValue, "The engine cannot hold a text with a zero character.");
    }
    return takeRaw(text.data(), text.size(), SQL_C_CHAR, SQL_VARCHAR);
}

ParameterBuffer::Binding ParameterBuffer::takeBytes(const ado::Variant& value) {
    if (takeNull(value)) {
        return takeRaw(nullptr, 0, SQL_C_BINARY, SQL_LONGVARBINARY);
    }
    const auto& content = std::get<ado::Bytes>(value);
    return takeRaw(reinterpret_cast<const char*>(content.data()), content.size(), SQL_C_BINARY,
                   SQL_LONGVARBINARY);
}

/// The memory grows ahead of the values, so that it seldom moves.
ParameterBuffer::Binding ParameterBuffer::takeRaw(const char* data, std::size_t size,
                                                  SQLSMALLINT transferType, SQLSMALLINT sqlType) {
    constexpr std::size_t leastCapacity = 256;
    ado::requireValueLength(size);
    if (bytes.size() < size || bytes.empty()) {
        bytes.resize(std::max({leastCapacity, size, bytes.size() * 2}));
    }
    std::copy_n(data, size, bytes.data());
    length = data == nullptr ? SQL_NULL_DATA : static_cast<SQLLEN>(size);
    return {transferType, sqlType, bytes.size(), 0, bytes.data(), static_cast<SQLLEN>(bytes.size())};
}

} // namespace orvel::engines::odbc
