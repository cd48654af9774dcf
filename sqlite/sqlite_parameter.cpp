#include "sqlite/sqlite_parameter.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// Up to this size, memory is kept for the next values.
constexpr std::size_t worthKeeping = std::size_t{64} * 1024;

int bindOne(sqlite3_stmt* statement, int index, const QD_SQOrvelParameter& parameter) {
    switch (parameter.kind) {
    case QD_ORVEL_DATA_INT:
        return sqlite3_bind_int(statement, index, parameter.integer);
    case QD_ORVEL_DATA_INT64:
        return sqlite3_bind_int64(statement, index, parameter.wide);
    case QD_ORVEL_DATA_DOUBLE:
        return sqlite3_bind_double(statement, index, parameter.real);
    case QD_ORVEL_DATA_STRING:
        return sqlite3_bind_text64(statement, index, reinterpret_cast<const char*>(parameter.bytes.get()),
                                   parameter.size, SQLITE_STATIC, SQLITE_UTF8);
    case QD_ORVEL_DATA_BLOB:
        return sqlite3_bind_blob64(statement, index, parameter.bytes.get(), parameter.size, SQLITE_STATIC);
    default:
        return sqlite3_bind_null(statement, index);
    }
}

} // namespace

void QD_SQOrvelParameter::reserve(std::size_t length) {
    if (capacity <= length) {
        const std::size_t larger = std::max<std::size_t>(length + 1, 32);
        bytes = std::make_unique_for_overwrite<unsigned char[]>(larger);
        capacity = larger;
    }
}

namespace orvel {

bool SqliteParameters::anyIsReadInPlace() const noexcept {
    return std::any_of(slots.begin(), slots.begin() + static_cast<std::ptrdiff_t>(used),
                       [](const QD_SQOrvelParameter& parameter) { return parameter.isReadInPlace(); });
}

int SqliteParameters::bind(sqlite3_stmt* statement, int markers) const {
    int index = 0;
    int result = SQLITE_OK;
    for (auto slot = slots.begin(); result == SQLITE_OK && index < static_cast<int>(used); ++slot) {
        result = bindOne(statement, ++index, *slot);
    }
    while (result == SQLITE_OK && index < markers) {
        result = sqlite3_bind_null(statement, ++index);
    }
    return result;
}

void SqliteParameters::addCopy(int kind, const void* data, std::size_t size) {
    QD_SQOrvelParameter& slot = next();
    slot.reserve(size);
    std::memcpy(slot.bytes.get(), data, size);
    slot.bytes[size] = 0;
    slot.kind = kind;
    slot.size = size;
    anyIsLarge = anyIsLarge || slot.capacity > worthKeeping;
    add();
}

void SqliteParameters::dropLargeMemory() noexcept {
    for (QD_SQOrvelParameter& slot : slots) {
        if (slot.capacity > worthKeeping) {
            slot.bytes.reset();
            slot.capacity = 0;
        }
    }
    anyIsLarge = false;
}

std::vector<QD_SQOrvelParameter> SqliteParameters::release() noexcept {
    used = 0;
    return std::exchange(slots, {});
}

} // namespace orvel
