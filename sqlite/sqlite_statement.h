#ifndef ORVEL_SQLITE_STATEMENT_H
#define ORVEL_SQLITE_STATEMENT_H

#include <memory>
#include <utility>
#include <vector>

#include "QD_OrvelHandle.h"
#include "sqlite/column_names.h"
#include "sqlite/sqlite_parameter.h"

struct sqlite3;
struct sqlite3_stmt;

namespace orvel {

struct SqliteFinalizer {
    void operator()(sqlite3_stmt* statement) const noexcept;
};
using OwnedSqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteFinalizer>;

/// A compiled statement, owned in common by the command that compiled it and the queries that read it,
/// together with the parameter values bound to it.
///
/// While queries read it, the command's next run steps it onward. When the last of them closes, it is reset,
/// which gives its locks back, and the command's next run binds anew and begins at the first row. The last
/// owner finalizes it. A statement that failed for good is finalized under all its owners, who see null from then on.
class SqliteStatement : public QD_OrvelHandableClass {
public:
    /// Takes `compiled` over; null is a statement that has failed for good.
    explicit SqliteStatement(sqlite3_stmt* compiled) noexcept { replace(compiled); }
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;
    ~SqliteStatement() override;

    sqlite3_stmt* get() const { return statement; }

    /// Finalizes the statement and takes `compiled`, possibly null, in its place.
    void replace(sqlite3_stmt* compiled) noexcept;

    void addCommand() noexcept { hasCommand = true; }
    void dropCommand() noexcept { hasCommand = false; }
    void addQuery() noexcept { ++queries; }
    /// Ends the statement's run with the last query; finalizes it at once where no command needs it and the database stays open
    /// without it. Answers SQLite's code of that, which may commit what the statement has changed.
    int dropQuery(bool databaseStaysOpen) noexcept;
    bool isRead() const noexcept { return queries > 0; }
    /// It has ended with its last query, and can take another statement.
    bool isSpare() const noexcept { return statement == nullptr && queries == 0 && !hasCommand; }

    /// True once the command's parameters are bound for the coming run, or for the one that queries still read.
    bool isBound() const noexcept { return bound; }
    void setBound(bool value) noexcept { bound = value; }

    /// The first column of the result that has this name, in UTF-8; -1 when none has.
    int columnNamed(const char* name) { return names.find(statement, name); }

    /// How many markers it has.
    int markers() const noexcept;

    /// Parameter values that the command discards while a query still reads with them are kept alive. Room for them is made
    /// before they are bound: later, a failure would leave SQLite with the addresses of freed memory.
    void makeRoomToKeep() { kept.reserve(kept.size() + 1); }
    void keep(std::vector<QD_SQOrvelParameter>&& parameters) noexcept;

private:
    sqlite3_stmt* statement = nullptr;
    int queries = 0;
    bool hasCommand = false;
    bool bound = false;
    std::vector<std::vector<QD_SQOrvelParameter>> kept;
    ColumnNames names;
};

} // namespace orvel

#endif
