#include "sqlite/column_names.h"

#include <sqlite3.h>

#include <bit>
#include <cstdint>
#include <new>

namespace {

std::uint32_t hashOf(const char* name) noexcept { // FNV-1a
    std::uint32_t hash = 2166136261U;
    for (; *name != '\0'; ++name) {
        hash = (hash ^ static_cast<unsigned char>(*name)) * 16777619U;
    }
    return hash ^ (hash >> 15U);
}

} // namespace

namespace orvel {

int ColumnNames::search(sqlite3_stmt* statement, const char* name) {
    if (names.empty()) {
        read(statement);
    }
    const int column = table[slotOf(name)];
    return column < 0 ? column : found(&names[static_cast<std::size_t>(column)]);
}

/// Where the name stands in the table, or would stand.
std::size_t ColumnNames::slotOf(const char* name) const noexcept {
    std::size_t slot = hashOf(name) & (table.size() - 1);
    while (table[slot] >= 0 && std::strcmp(name, names[static_cast<std::size_t>(table[slot])]) != 0) {
        slot = (slot + 1) & (table.size() - 1);
    }
    return slot;
}

void ColumnNames::read(sqlite3_stmt* statement) {
    try {
        const auto count = static_cast<std::size_t>(sqlite3_column_count(statement));
        std::vector<std::size_t> begins(count);
        text.clear();
        for (std::size_t column = 0; column < count; ++column) {
            const char* const name = sqlite3_column_name(statement, static_cast<int>(column));
            if (name == nullptr) { // for want of memory, which must not pass for a column without this name
                throw std::bad_alloc();
            }
            begins[column] = text.size();
            text.append(name).push_back('\0');
        }
        table.assign(std::bit_ceil(2 * count + 1), -1); // never full, so that a search ends
        for (const std::size_t begin : begins) {
            names.push_back(text.data() + begin);
        }
    } catch (...) {
        forget();
        throw;
    }
    for (std::size_t column = 0; column < names.size(); ++column) {
        int& known = table[slotOf(names[column])];
        if (known < 0) {
            known = static_cast<int>(column);
        } else {
            names[column] =
                ""; // the first of the name is the one to be found, and no search is for an empty name
        }
    }
}

} // namespace orvel
