#include "engines/postgresql/parameter_arrays.h"

#include <algorithm>
#include <bit>
#include <charconv>

#include "platform/ado/command_checks.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace {

// Numbers of types in the server's catalogue.
constexpr Oid unspecified = 0; ///< the server finds out what the statement needs
constexpr Oid byteaType = 17;
constexpr Oid int8Type = 20;
constexpr Oid int4Type = 23;
constexpr Oid float8Type = 701;
constexpr Oid numericType = 1700;

} // namespace

namespace orvel::engines::postgresql {

void ParameterArrays::take(ado::ParameterValues values, bool typed) {
    if (pointers.size() != values.size()) {
        resize(values.size());
    }
    for (std::size_t index = 0; index < values.size(); ++index) {
        const ado::ParameterObject& parameter = *values[index];
        if (std::holds_alternative<ado::Null>(parameter.value())) {
            takeNull(index, parameter);
        } else {
            takeValue(index, parameter, typed);
        }
        if (!typed &&
            oids[index] !=
                byteaType) { // bytes that went by another type would be read as its own form of a value
            oids[index] = unspecified;
        }
    }
}

/// The array that is looked at for the size comes last: without memory for the others, it is to be done again.
void ParameterArrays::resize(std::size_t count) {
    sizes.resize(count);
    forms.resize(count);
    oids.resize(count);
    numbers.resize(count);
    pointers.resize(count);
}

bool ParameterArrays::isTyped() const noexcept {
    return std::ranges::any_of(oids, [](Oid type) { return type != unspecified; });
}

void ParameterArrays::set(std::size_t index, Oid type, const char* data, std::size_t size, bool isBinary) {
    ado::requireValueLength(size);
    pointers[index] = data;
    sizes[index] = static_cast<int>(size);
    forms[index] = isBinary ? 1 : 0;
    oids[index] = type;
}

void ParameterArrays::setText(std::size_t index, Oid type, std::string text) {
    numbers[index].text = std::move(text);
    set(index, type, numbers[index].text.c_str(), numbers[index].text.size(), false);
}

template <class Unsigned>
void ParameterArrays::setBits(std::size_t index, Oid type, Unsigned bits) {
    auto& bytes = numbers[index].bytes;
    for (std::size_t place = sizeof bits; place > 0; --place) {
        bytes[place - 1] = static_cast<char>(bits & 0xFFU);
        bits = static_cast<Unsigned>(bits >> 8U);
    }
    set(index, type, bytes.data(), sizeof bits, true);
}

void ParameterArrays::takeNull(std::size_t index, const ado::ParameterObject& parameter) {
    switch (parameter.type()) {
    case ado::adInteger:
        set(index, int4Type, nullptr, 0, false);
        break;
    case ado::adDouble:
        set(index, float8Type, nullptr, 0, false);
        break;
    case ado::adDecimal:
        set(index, parameter.scale() == 0 ? int8Type : numericType, nullptr, 0, false);
        break;
    case ado::adBSTR:
        set(index, unspecified, nullptr, 0, false);
        break;
    default:
        set(index, byteaType, nullptr, 0, false);
        break;
    }
}

void ParameterArrays::takeValue(std::size_t index, const ado::ParameterObject& parameter, bool typed) {
    const ado::Variant& value = parameter.value();
    if (const auto* const text = std::get_if<std::string>(&value)) {
        if (text->find('\0') != std::string::npos) {
            throw ComError(ado::dbCantConvertValue, "The engine cannot hold a text with a zero character.");
        }
        // Without a type it is read as whatever the statement needs: a date, a number, a document.
        set(index, unspecified, text->c_str(), text->size(), false);
    } else if (const auto* const bytes = std::get_if<ado::Bytes>(&value)) {
        const char* const data = bytes->empty() ? "" : reinterpret_cast<const char*>(bytes->data());
        set(index, byteaType, data, bytes->size(), true);
    } else if (const auto* const decimal = std::get_if<ado::Decimal>(&value)) {
        takeDecimal(index, *decimal, typed);
    } else if (const auto* const real = std::get_if<double>(&value)) {
        takeReal(index, *real, typed);
    } else if (!typed) {
        setText(index, unspecified, ado::toText(value));
    } else {
        setBits(index, int4Type, static_cast<std::uint32_t>(ado::toInt32(value)));
    }
}

/// As a text with all the digits that tell it from every other.
void ParameterArrays::takeReal(std::size_t index, double real, bool typed) {
    if (typed) {
        setBits(index, float8Type, std::bit_cast<std::uint64_t>(real));
        return;
    }
    std::array<char, 32> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), real).ptr;
    setText(index, unspecified, std::string(digits.data(), end));
}

/// A whole number of 64 bits goes as what it is: compared with a numeric, a column of integers is converted, which no
/// index serves. Anything else goes as text, in which nothing is lost.
void ParameterArrays::takeDecimal(std::size_t index, const ado::Decimal& decimal, bool typed) {
    if (typed && ado::fitsInt64(decimal)) {
        setBits(index, int8Type, static_cast<std::uint64_t>(ado::int64Of(decimal)));
    } else {
        setText(index, numericType, ado::toText(decimal));
    }
}

} // namespace orvel::engines::postgresql
