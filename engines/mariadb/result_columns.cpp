#include "engines/mariadb/result_columns.h"

#include <algorithm>

#include "platform/ado/parameter_object.h"

namespace {

/// So much of a text comes without another call.
constexpr unsigned long firstRoom = 512;

} // namespace

namespace orvel::engines::mariadb {

bool ResultColumns::haveSingles() const noexcept {
    return std::ranges::any_of(columns,
                               [](const Column& column) { return column.type.kind == Kind::single; });
}

bool ResultColumns::areAs(std::span<const MYSQL_FIELD> fields) const noexcept {
    if (fields.size() != columns.size()) {
        return false;
    }
    for (std::size_t index = 0; index < fields.size(); ++index) {
        const Column& column = columns[index];
        const MYSQL_FIELD& field = fields[index];
        if (column.type.fieldType != field.type || column.type.decimals != field.decimals ||
            column.declaredLength != field.length || column.flags != field.flags ||
            column.characters != field.charsetnr ||
            column.name != std::string_view(field.name, field.name_length)) {
            return false;
        }
    }
    return true;
}

void ResultColumns::describe(std::span<const MYSQL_FIELD> fields, Format newFormat) {
    if (format == newFormat && areAs(fields)) {
        return;
    }
    isBound = false;
    format = newFormat;
    columns.clear();
    columns.resize(fields.size());
    cells.assign(fields.size(), {});
    for (std::size_t index = 0; index < fields.size(); ++index) {
        Column& column = columns[index];
        column.name.assign(fields[index].name, fields[index].name_length);
        column.type = columnType(fields[index]);
        column.declaredLength = fields[index].length;
        column.flags = fields[index].flags;
        column.characters = fields[index].charsetnr;
        if (format == Format::binary && !column.hasNumber()) {
            column.bytes.resize(std::clamp(fields[index].length, 1UL, firstRoom));
        }
    }
}

bool ResultColumns::bind(MYSQL_STMT* plan) {
    if (isBound) {
        return true;
    }
    binds.assign(columns.size(), {});
    for (std::size_t index = 0; index < columns.size(); ++index) {
        Column& column = columns[index];
        MYSQL_BIND& bind = binds[index];
        const bool isText = !column.hasNumber();
        bind.buffer_type = isText ? MYSQL_TYPE_BLOB : column.type.fieldType;
        bind.buffer = isText ? column.bytes.data() : column.number.data();
        bind.buffer_length = isText ? column.bytes.size() : column.number.size();
        bind.is_unsigned = column.type.kind == Kind::uint8 || column.type.kind == Kind::uint16 ||
                                   column.type.kind == Kind::uint32 || column.type.kind == Kind::uint64
                               ? 1
                               : 0;
        bind.length = &column.length;
        bind.is_null = &column.isNull;
        bind.error = &column.isCut;
    }
    isBound = mysql_stmt_bind_result(plan, binds.data()) == 0;
    return isBound;
}

void ResultColumns::take(MYSQL_ROW row, const unsigned long* lengths) noexcept {
    for (std::size_t index = 0; index < cells.size(); ++index) {
        cells[index] = {row[index], lengths[index]};
    }
}

void ResultColumns::take(MYSQL_STMT* plan) {
    for (std::size_t index = 0; index < cells.size(); ++index) {
        const Column& column = columns[index];
        if (column.isNull != 0) {
            cells[index] = {};
        } else if (column.hasNumber()) {
            cells[index] = {column.number.data(), column.type.binarySize};
        } else if (column.length <= column.bytes.size()) {
            cells[index] = {column.bytes.data(), column.length};
        } else {
            cells[index] = takeCut(plan, index);
        }
    }
}

/// There was less room than the value needs.
std::string_view ResultColumns::takeCut(MYSQL_STMT* plan, std::size_t index) {
    Column& column = columns[index];
    if (column.length > ado::worthKeeping) {
        return {&largeMark, column.length};
    }
    column.bytes.resize(column.length);
    fetchLarge(plan, index, column.bytes);
    isBound = false; // the larger room is to be used from the next row on
    return {column.bytes.data(), column.length};
}

std::size_t ResultColumns::rowSize() const noexcept {
    std::size_t sum = 0;
    for (const std::string_view cell : cells) {
        sum += cell.size();
    }
    return sum;
}

void ResultColumns::fetchLarge(MYSQL_STMT* plan, std::size_t index, std::span<char> into) noexcept {
    MYSQL_BIND bind{};
    unsigned long length = 0;
    my_bool isNull = 0;
    my_bool isCut = 0;
    bind.buffer_type = MYSQL_TYPE_BLOB;
    bind.buffer = into.data();
    bind.buffer_length = into.size();
    bind.length = &length;
    bind.is_null = &isNull;
    bind.error = &isCut;
    mysql_stmt_fetch_column(plan, &bind, static_cast<unsigned int>(index), 0);
}

} // namespace orvel::engines::mariadb
