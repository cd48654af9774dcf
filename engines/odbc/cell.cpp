#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "engines/odbc/column.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::engines::odbc;
using namespace orvel::platform::ado;
using orvel::platform::ComError;

std::string_view viewOf(const Cell& cell) { return {cell.data, static_cast<std::size_t>(cell.length)}; }

template <class Number>
Number numberOf(const Cell& cell) noexcept {
    Number number;
    std::memcpy(&number, cell.data, sizeof number);
    return number;
}

/// The driver writes decimals as its locale has them; what no Decimal can hold stays the text that it is.
void readDecimal(const Cell& cell, Variant& value) {
    std::string text(viewOf(cell));
    std::ranges::replace(text, ',', '.');
    assignNumeric(value, text);
}

/// Engines have dates and times that are none here (infinity, hours beyond a day): those stay texts.
void readDate(const Cell& cell, Variant& value) { assignDate(value, viewOf(cell)); }

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

namespace orvel::engines::odbc {

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
        value = static_cast<float>(numberOf<double>(cell));
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

std::int32_t actualSize(const Column& column, const Cell& cell) {
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
        return std::in_range<std::int32_t>(cell.length)
                   ? static_cast<std::int32_t>(cell.length)
                   : throw ComError(dbDataOverflow, "The value has 2 GiB or more.");
    }
}

} // namespace orvel::engines::odbc
