#include "engines/mariadb/parameter_binds.h"

#include <cstring>

#include "platform/ado/command_checks.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::engines::mariadb {

void ParameterBinds::take(ado::ParameterValues values) {
    if (binds.size() != values.size()) {
        hasChanged = true;
        binds.assign(values.size(), {});
        places.resize(values.size());
    }
    for (std::size_t index = 0; index < values.size(); ++index) {
        const ado::ParameterObject& parameter = *values[index];
        const ado::Variant& value = parameter.value();
        const bool isNull = std::holds_alternative<ado::Null>(value);
        places[index].isNull = isNull ? 1 : 0;
        isNull ? takeNull(index, parameter) : takeValue(index, value);
    }
}

bool ParameterBinds::bind(MYSQL_STMT* plan) {
    if (hasChanged && mysql_stmt_bind_param(plan, binds.data()) != 0) {
        return false;
    }
    hasChanged = false;
    return true;
}

/// Of the type that a value has had there, if any: another one would have to be told.
void ParameterBinds::takeNull(std::size_t index, const ado::ParameterObject& parameter) noexcept {
    if (binds[index].buffer != nullptr) {
        return;
    }
    switch (parameter.type()) {
    case ado::adInteger:
        set(index, MYSQL_TYPE_LONG, places[index].number.data(), 0);
        break;
    case ado::adDouble:
        set(index, MYSQL_TYPE_DOUBLE, places[index].number.data(), 0);
        break;
    case ado::adDecimal:
        set(index, parameter.scale() == 0 ? MYSQL_TYPE_LONGLONG : MYSQL_TYPE_NEWDECIMAL,
            places[index].number.data(), 0);
        break;
    case ado::adBSTR:
        set(index, MYSQL_TYPE_STRING, places[index].number.data(), 0);
        break;
    default:
        set(index, MYSQL_TYPE_BLOB, places[index].number.data(), 0);
        break;
    }
}

void ParameterBinds::takeValue(std::size_t index, const ado::Variant& value) {
    if (const auto* const text = std::get_if<std::string>(&value)) {
        setText(index, MYSQL_TYPE_STRING, text->data(), text->size());
    } else if (const auto* const bytes = std::get_if<ado::Bytes>(&value)) {
        setText(index, MYSQL_TYPE_BLOB, reinterpret_cast<const char*>(bytes->data()), bytes->size());
    } else if (const auto* const decimal = std::get_if<ado::Decimal>(&value)) {
        if (ado::fitsInt64(*decimal)) {
            setNumber(index, MYSQL_TYPE_LONGLONG, ado::int64Of(*decimal));
        } else {
            const std::string digits = ado::toText(*decimal);
            setText(index, MYSQL_TYPE_NEWDECIMAL, digits.data(), digits.size());
        }
    } else if (const auto* const real = std::get_if<double>(&value)) {
        setNumber(index, MYSQL_TYPE_DOUBLE, *real);
    } else {
        setNumber(index, MYSQL_TYPE_LONG, ado::toInt32(value));
    }
}

template <class Number>
void ParameterBinds::setNumber(std::size_t index, enum_field_types type, Number number) noexcept {
    auto& place = places[index].number;
    static_assert(sizeof number <= sizeof place);
    std::memcpy(place.data(), &number, sizeof number);
    set(index, type, place.data(), sizeof number);
}

/// A short one is copied, to a place that stays; a long one is taken from where it lies.
void ParameterBinds::setText(std::size_t index, enum_field_types type, const char* data, std::size_t size) {
    ado::requireValueLength(size);
    if (size > ado::worthKeeping) {
        set(index, type, data, size);
        return;
    }
    std::string& text = places[index].text;
    text.assign(data, size);
    set(index, type, text.data(), size);
}

void ParameterBinds::set(std::size_t index, enum_field_types type, const void* buffer,
                         std::size_t size) noexcept {
    MYSQL_BIND& bind = binds[index];
    Place& place = places[index];
    place.length = size;
    if (bind.buffer_type == type && bind.buffer == buffer) {
        return;
    }
    hasChanged = true;
    bind.buffer_type = type;
    bind.buffer =
        const_cast<void*>(buffer); // NOLINT(cppcoreguidelines-pro-type-const-cast): the library reads it
    bind.length = &place.length;
    bind.is_null = &place.isNull;
}

} // namespace orvel::engines::mariadb
