#ifndef ORVEL_COLUMN_NAMES_H
#define ORVEL_COLUMN_NAMES_H

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

struct sqlite3_stmt;

namespace orvel {

/// Finds the columns of a statement's result by name.
///
/// Loops over rows mostly ask for columns in the order in which they stand, so the column behind the last one found is
/// looked at first; any other order costs a look into a table, whatever the number of columns. The names are copied,
/// because asking SQLite for one costs as much as reading a value.
class ColumnNames {
public:
    /// The first column of this name, in UTF-8; -1 when there is none.
    int find(sqlite3_stmt* statement, const char* name) {
        return likely != nullptr && std::strcmp(name, *likely) == 0 ? found(likely) : search(statement, name);
    }
    /// The statement is another one from now on.
    void forget() noexcept {
        likely = nullptr;
        names.clear();
    }

private:
    std::string text;               // all names, each with its zero
    std::vector<const char*> names; // in the text; none until the first search
    std::vector<int> table;         // columns by hash, -1 for none; its size is a power of two
    const char* const* likely = nullptr;

    int found(const char* const* name) noexcept {
        likely = name + 1 < names.data() + names.size() ? name + 1 : names.data();
        return static_cast<int>(name - names.data());
    }
    int search(sqlite3_stmt* statement, const char* name);
    void read(sqlite3_stmt* statement);
    std::size_t slotOf(const char* name) const noexcept;
};

} // namespace orvel

#endif
