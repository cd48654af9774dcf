#include "platform/odbc/parameter.h"

#include <algorithm>
#include <limits>
#include <typeinfo>

#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/odbc/statement.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

/// Puts a value into one of the parameter's own type; moved where it is of that type already.
void convert(std::int32_t type, Variant&& from, Variant& to) {
    switch (type) {
    case adInteger:
        to = std::int64_t{toInt32(from)};
        break;
    case adDouble:
        to = toDouble(from);
        break;
    case adDecimal:
        to = toDecimal(from);
        break;
    case adBSTR:
        if (!std::holds_alternative<std::string>(from)) {
            from = toText(from);
        }
        to = std::move(from);
        break;
    case adLongVarBinary:
        if (!std::holds_alternative<Bytes>(from)) {
            throw ComError(dispTypeMismatch, "The value of a binary parameter is no byte array.");
        }
        to = std::move(from);
        break;
    default:
        throw ComError(adErrInvalidArgument, "Parameters of this type are not supported.");
    }
}

bool fitsBigInteger(const Decimal& decimal) noexcept {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    const std::uint64_t limit = decimal.sign == Decimal::negative ? most + 1 : most;
    return decimal.high == 0 && decimal.scale == 0 && decimal.low <= limit;
}

// Up to this size, memory is kept for the next execution.
constexpr std::size_t worthKeeping = std::size_t{64} * 1024;

std::int64_t bigIntegerOf(const Decimal& decimal) noexcept {
    return static_cast<std::int64_t>(decimal.sign == Decimal::negative ? 0 - decimal.low : decimal.low);
}

} // namespace

namespace orvel::platform::odbc {

void Parameter::assign(std::int32_t newType, std::int32_t newSize, ado::Variant&& newValue) {
    if (isEmptyOrNull(newValue)) {
        value = Null{};
    } else if (std::holds_alternative<Missing>(newValue)) {
        value = Missing{};
    } else {
        convert(newType, std::move(newValue), value);
    }
    type = newType;
    size = newSize;
    precision = 0;
    scale = 0;
}

void Parameter::appendChunk(const ado::Variant& data) {
    const auto* chunk = std::get_if<ado::Bytes>(&data);
    if (type != adLongVarBinary || chunk == nullptr) {
        throw ComError(adErrInvalidArgument, "Only bytes can be appended, and only to a binary parameter.");
    }
    if (auto* whole = std::get_if<ado::Bytes>(&value)) {
        whole->insert(whole->end(), chunk->begin(), chunk->end());
    } else {
        value = *chunk;
    }
}

void Parameter::forgetLargeValue() noexcept {
    const auto* text = std::get_if<std::string>(&value);
    const auto* data = std::get_if<ado::Bytes>(&value);
    if ((text != nullptr && text->capacity() > worthKeeping) ||
        (data != nullptr && data->capacity() > worthKeeping)) {
        value = ado::Null{};
    }
}

bool Parameter::isComplete() const noexcept {
    return size > 0 || (type != adBSTR && type != adLongVarBinary);
}

void ParameterList::append(ado::Ref<ado::Parameter> parameter) {
    const ado::Parameter* given = parameter.get();
    if (given == nullptr || typeid(*given) != typeid(Parameter)) {
        throw ComError(adErrInvalidArgument, "There is no parameter to append.");
    }
    if (!static_cast<const Parameter*>(given)->isComplete()) {
        throw ComError(adErrInvalidParamInfo, "A text or binary parameter needs a size.");
    }
    if (spare().get() != given) {
        slots[used] = std::static_pointer_cast<Parameter>(parameter.shared());
    }
    ++used;
}

void ParameterList::remove(std::int32_t index) {
    if (index < 0 || index >= count()) {
        throw ComError(adErrItemNotFound, "There is no parameter at this position.");
    }
    const auto position = slots.begin() + index;
    (*position)->forgetLargeValue();
    std::rotate(position, position + 1, slots.begin() + count());
    --used;
}

const std::shared_ptr<Parameter>& ParameterList::spare() {
    if (used == slots.size()) {
        slots.push_back(std::make_shared<Parameter>());
    }
    return slots[used];
}

std::shared_ptr<Parameter> ParameterList::make() {
    if (spare().use_count() > 1) {
        slots[used] = std::make_shared<Parameter>();
    }
    return slots[used];
}

void ParameterBuffer::take(const Parameter& parameter, SQLUSMALLINT number, Statement& statement) {
    if (std::holds_alternative<ado::Missing>(parameter.value)) {
        throw ComError(dbParamNotOptional, "A parameter has no value.");
    }
    Binding binding;
    switch (parameter.type) {
    case adInteger:
        binding = takeInteger(parameter.value);
        break;
    case adDouble:
        binding = takeReal(parameter.value);
        break;
    case adDecimal:
        binding = takeDecimal(parameter);
        break;
    case adBSTR:
        binding = takeText(parameter.value, statement);
        break;
    default:
        binding = takeBytes(parameter.value);
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
    if (bytes.capacity() > worthKeeping) {
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
ParameterBuffer::Binding ParameterBuffer::takeDecimal(const Parameter& parameter) {
    const bool isNull = takeNull(parameter.value);
    if (isNull ? parameter.scale == 0 : fitsBigInteger(std::get<ado::Decimal>(parameter.value))) {
        bigInteger = isNull ? 0 : bigIntegerOf(std::get<ado::Decimal>(parameter.value));
        return {SQL_C_SBIGINT, SQL_BIGINT, 19, 0, &bigInteger, sizeof bigInteger};
    }
    const std::string text = isNull ? std::string() : ado::toText(parameter.value);
    Binding binding = takeRaw(text.data(), text.size(), SQL_C_CHAR, SQL_DECIMAL);
    binding.size = std::max<SQLULEN>(parameter.precision, text.size());
    binding.digits = isNull ? parameter.scale : std::get<ado::Decimal>(parameter.value).scale;
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
        throw ComError(dbCantConvertValue, "The engine cannot hold a text with a zero character.");
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
    if (size >= lengthLimit) {
        throw ComError(dbDataOverflow, "The value of a parameter has 1 GiB or more.");
    }
    if (bytes.size() < size || bytes.empty()) {
        bytes.resize(std::max({leastCapacity, size, bytes.size() * 2}));
    }
    std::copy_n(data, size, bytes.data());
    length = data == nullptr ? SQL_NULL_DATA : static_cast<SQLLEN>(size);
    return {transferType, sqlType, bytes.size(), 0, bytes.data(), static_cast<SQLLEN>(bytes.size())};
}

} // namespace orvel::platform::odbc
