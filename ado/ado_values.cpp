#include "ado/ado_values.h"

#include <algorithm>
#include <array>
#include <limits>

#include "platform/ado/constants.h"

namespace ado = orvel::platform::ado;

namespace {

struct TypeName {
    std::int32_t type;
    const char* name;
};

constexpr std::array typeNames = {
    TypeName{ado::adEmpty, "adEmpty"},
    TypeName{ado::adSmallInt, "adSmallInt"},
    TypeName{ado::adInteger, "adInteger"},
    TypeName{ado::adSingle, "adSingle"},
    TypeName{ado::adDouble, "adDouble"},
    TypeName{ado::adCurrency, "adCurrency"},
    TypeName{ado::adDate, "adDate"},
    TypeName{ado::adBSTR, "adBSTR"},
    TypeName{ado::adIDispatch, "adIDispatch"},
    TypeName{ado::adError, "adError"},
    TypeName{ado::adBoolean, "adBoolean"},
    TypeName{ado::adVariant, "adVariant"},
    TypeName{ado::adIUnknown, "adIUnknown"},
    TypeName{ado::adDecimal, "adDecimal"},
    TypeName{ado::adTinyInt, "adTinyInt"},
    TypeName{ado::adUnsignedTinyInt, "adUnsignedTinyInt"},
    TypeName{ado::adUnsignedSmallInt, "adUnsignedSmallInt"},
    TypeName{ado::adUnsignedInt, "adUnsignedInt"},
    TypeName{ado::adBigInt, "adBigInt"},
    TypeName{ado::adUnsignedBigInt, "adUnsignedBigInt"},
    TypeName{ado::adFileTime, "adFileTime"},
    TypeName{ado::adGUID, "adGUID"},
    TypeName{ado::adBinary, "adBinary"},
    TypeName{ado::adChar, "adChar"},
    TypeName{ado::adWChar, "adWChar"},
    TypeName{ado::adNumeric, "adNumeric"},
    TypeName{ado::adUserDefined, "adUserDefined"},
    TypeName{ado::adDBDate, "adDBDate"},
    TypeName{ado::adDBTime, "adDBTime"},
    TypeName{ado::adDBTimeStamp, "adDBTimeStamp"},
    TypeName{ado::adChapter, "adChapter"},
    TypeName{ado::adPropVariant, "adPropVariant"},
    TypeName{ado::adVarNumeric, "adVarNumeric"},
    TypeName{ado::adVarChar, "adVarChar"},
    TypeName{ado::adLongVarChar, "adLongVarChar"},
    TypeName{ado::adVarWChar, "adVarWChar"},
    TypeName{ado::adLongVarWChar, "adLongVarWChar"},
    TypeName{ado::adVarBinary, "adVarBinary"},
    TypeName{ado::adLongVarBinary, "adLongVarBinary"},
    TypeName{ado::adArray, "adArray"},
};

} // namespace

namespace orvel {

int rowsAffected(const ado::Variant& count) {
    if (const auto* const wide = std::get_if<std::int64_t>(&count)) {
        return static_cast<int>(std::clamp<std::int64_t>(*wide, 0, std::numeric_limits<int>::max()));
    }
    return std::max(0, ado::toInt32(count));
}

const char* dataTypeName(std::int32_t type) noexcept {
    const auto known = std::find_if(typeNames.begin(), typeNames.end(),
                                    [type](const TypeName& entry) { return entry.type == type; });
    return known != typeNames.end() ? known->name : "adUnknown";
}

} // namespace orvel
