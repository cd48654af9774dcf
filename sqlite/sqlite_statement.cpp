#include "sqlite/sqlite_statement.h"

#include <sqlite3.h>

#include <cstring>
#include <new>

namespace {

/// Binds one kind of value each.
struct Binder {
    sqlite3_stmt* statement;
    int index;

    int operator()(std::monostate) const { return sqlite3_bind_null(statement, index); }
    int operator()(int value) const { return sqlite3_bind_int(statement, index, value); }
    int operator()(long long value) const { return sqlite3_bind_int64(statement, index, value); }
    int operator()(double value) const { return sqlite3_bind_double(statement, index, value); }
    int operator()(const QD_SQOrvelParameter::Text& text) const {
        return sqlite3_bind_text(statement, index, text.utf8.get(), -1, SQLITE_STATIC);
    }
    int operator()(const QD_SQOrvelParameter::Blob& blob) const {
        return sqlite3_bind_blob(statement, index, blob.bytes.get(), blob.size, SQLITE_STATIC);
    }
};

} // namespace

int QD_SQOrvelParameter::bind(sqlite3_stmt* statement, int index) const {
    return std::visit(Binder{statement, index}, value);
}

namespace orvel {

void SqliteFinalizer::operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement); }

void SqliteStatement::replace(sqlite3_stmt* compiled) noexcept {
    sqlite3_finalize(statement);
    statement = compiled;
    bound = false;
    kept.clear();
    found.clear();
    likelyNext = 0;
}

int SqliteStatement::columnNamed(const char* name) {
    for (std::size_t tried = 0; tried < found.size(); ++tried) {
        const NamedColumn& likely = found[likelyNext];
        likelyNext = likelyNext + 1 < found.size() ? likelyNext + 1 : 0;
        if (std::strcmp(likely.name.c_str(), name) == 0) {
            return likely.column;
        }
    }
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        const char* const candidate = sqlite3_column_name(statement, column);
        if (candidate != nullptr && std::strcmp(candidate, name) == 0) {
            found.push_back({name, column});
            likelyNext = 0;
            return column;
        }
    }
    return -1;
}

void SqliteStatement::dropQuery() noexcept {
    --queries;
    // Without a command, the handle that goes now finalizes it.
    if (queries > 0 || !hasCommand) {
        return;
    }
    sqlite3_reset(statement);
    bound = false;
    kept.clear();
}

void SqliteStatement::keep(std::vector<QD_SQOrvelParameter>&& parameters) noexcept {
    try {
        kept.push_back(std::move(parameters));
    } catch (const std::bad_alloc&) {
        replace(nullptr); // better at its end than reading freed memory
    }
}

} // namespace orvel
