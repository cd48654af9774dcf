#include "sqlite/sqlite_statement.h"

#include <sqlite3.h>

namespace orvel {

void SqliteFinalizer::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement); }

void SqliteStatement::replace(sqlite3_stmt* compiled) noexcept {
    if (statement != nullptr) {
        sqlite3_finalize(statement);
    }
    statement = compiled;
    bound = false;
    kept.clear();
    names.forget();
}

int SqliteStatement::markers() const noexcept { return sqlite3_bind_parameter_count(statement); }

int SqliteStatement::dropQuery(bool databaseStaysOpen) noexcept {
    --queries;
    if (queries > 0) {
        return SQLITE_OK;
    }
    const bool isUnneeded = !hasCommand && databaseStaysOpen;
    const int result =
        isUnneeded ? sqlite3_finalize(std::exchange(statement, nullptr)) : sqlite3_reset(statement);
    bound = false;
    kept.clear();
    return result;
}

void SqliteStatement::keep(std::vector<QD_SQOrvelParameter>&& parameters) noexcept {
    if (kept.size() < kept.capacity()) { // otherwise they were never bound
        kept.push_back(std::move(parameters));
    }
}

} // namespace orvel
