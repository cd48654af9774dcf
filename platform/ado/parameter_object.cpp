#include "platform/ado/parameter_object.h"

#include <algorithm>
#include <limits>
#include <type_traits>
#include <typeinfo>

#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

/// Into the memory of the value before, which mostly is of the same type.
template <class Value>
void put(Variant& to, Value&& value) {
    if (auto* old = std::get_if<std::remove_cvref_t<Value>>(&to)) {
        *old = std::forward<Value>(value);
    } else {
        to = std::forward<Value>(value);
    }
}

/// Puts a value into one of the parameter's own type; moved where it is of that type already.
void convert(std::int32_t type, Variant&& from, Variant& to) {
    switch (type) {
    case adInteger:
        put(to, std::int64_t{toInt32(from)});
        break;
    case adDouble:
        put(to, toDouble(from));
        break;
    case adDecimal:
        if (auto* decimal = std::get_if<Decimal>(&from)) {
            put(to, *decimal);
        } else {
            put(to, toDecimal(from));
        }
        break;
    case adBSTR:
        if (auto* text = std::get_if<std::string>(&from)) {
            put(to, std::move(*text));
        } else {
            put(to, toText(from));
        }
        break;
    case adLongVarBinary:
        if (auto* bytes = std::get_if<Bytes>(&from)) {
            put(to, std::move(*bytes));
        } else {
            throw ComError(dispTypeMismatch, "The value of a binary parameter is no byte array.");
        }
        break;
    default:
        throw ComError(adErrInvalidArgument, "Parameters of this type are not supported.");
    }
}

} // namespace

namespace orvel::platform::ado {

void ParameterObject::assign(std::int32_t newType, std::int32_t newSize, Variant&& newValue) {
    isMissing = std::holds_alternative<Missing>(newValue);
    if (isMissing) {
        if (auto* const bytes = std::get_if<Bytes>(&content)) {
            bytes->clear(); // its memory is for what follows
        } else {
            content = Null{};
        }
    } else if (isEmptyOrNull(newValue)) {
        content = Null{};
    } else {
        convert(newType, std::move(newValue), content);
    }
    dataType = newType;
    size = newSize;
    declaredPrecision = 0;
    declaredScale = 0;
}

void ParameterObject::appendChunk(std::span<const std::byte> data) {
    if (dataType != adLongVarBinary) {
        throw ComError(adErrInvalidArgument, "Bytes can be appended to a binary parameter only.");
    }
    auto* const begun = std::get_if<Bytes>(&content);
    Bytes& bytes = begun != nullptr ? *begun : content.emplace<Bytes>();
    bytes.insert(bytes.end(), data.begin(), data.end());
    isMissing = false;
}

void ParameterObject::failMissing() { throw ComError(dbParamNotOptional, "A parameter has no value."); }

bool fitsInt64(const Decimal& decimal) noexcept {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    const std::uint64_t limit = decimal.sign == Decimal::negative ? most + 1 : most;
    return decimal.high == 0 && decimal.scale == 0 && decimal.low <= limit;
}

std::int64_t int64Of(const Decimal& decimal) noexcept {
    return static_cast<std::int64_t>(decimal.sign == Decimal::negative ? 0 - decimal.low : decimal.low);
}

void ParameterList::append(const Ref<Parameter>& parameter) {
    const Parameter* const given = parameter.get();
    const bool isMade = given != nullptr && given == spare().get(); // by `make`, as it mostly is
    if (!isMade && (given == nullptr || typeid(*given) != typeid(ParameterObject))) {
        throw ComError(adErrInvalidArgument, "There is no parameter to append.");
    }
    if (!static_cast<const ParameterObject*>(given)->isComplete()) {
        throw ComError(adErrInvalidParamInfo, "A text or binary parameter needs a size.");
    }
    if (!isMade) {
        slots[used] = std::static_pointer_cast<ParameterObject>(parameter.shared());
    }
    ++used;
}

void ParameterList::remove(std::int32_t index) {
    if (index < 0 || index >= count()) {
        throw ComError(adErrItemNotFound, "There is no parameter at this position.");
    }
    const auto position = slots.begin() + index;
    (*position)->forgetLargeValue();
    if (index + 1 < count()) { // mostly it is the last
        std::rotate(position, position + 1, slots.begin() + count());
    }
    --used;
}

void ParameterList::grow() { slots.push_back(std::make_shared<ParameterObject>()); }

std::shared_ptr<ParameterObject> ParameterList::make() {
    if (spare().use_count() > 1) {
        slots[used] = std::make_shared<ParameterObject>();
    }
    return slots[used];
}

} // namespace orvel::platform::ado
