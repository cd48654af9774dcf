#ifndef ORVEL_SQLITE_STATEMENT_H
#define ORVEL_SQLITE_STATEMENT_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "QD_OrvelHandle.h"

struct sqlite3;
struct sqlite3_stmt;

/// One positional parameter of a command. Texts and blobs are copies; SQLite reads them where they are.
struct QD_SQOrvelParameter {
    struct Text {
        std::unique_ptr<char[]> utf8; // zero-terminated
    };
    struct Blob {
        std::unique_ptr<unsigned char[]> bytes;
        int size;
    };
    std::variant<std::monostate, int, long long, double, Text, Blob> value; // the first one is NULL

    /// Binds to marker `index`, counted from 1; answers SQLite's result code.
    int bind(sqlite3_stmt* statement, int index) const;
    /// SQLite has the value's address, not the value.
    bool isReadInPlace() const noexcept {
        return std::holds_alternative<Text>(value) || std::holds_alternative<Blob>(value);
    }
};

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
    explicit SqliteStatement(sqlite3_stmt* compiled) noexcept : statement(compiled) {}
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;
    ~SqliteStatement() override;

    sqlite3_stmt* get() const { return statement; }

    /// Finalizes the statement and takes `compiled`, possibly null, in its place.
    void replace(sqlite3_stmt* compiled) noexcept;

    void addCommand() noexcept { hasCommand = true; }
    void dropCommand() noexcept { hasCommand = false; }
    void addQuery() noexcept { ++queries; }
    void dropQuery() noexcept;
    bool isRead() const noexcept { return queries > 0; }

    /// True once the command's parameters are bound for the coming run, or for the one that queries still read.
    bool isBound() const noexcept { return bound; }
    void setBound(bool value) noexcept { bound = value; }

    /// The first column of the result that has this name, in UTF-8; -1 when none has.
    int columnNamed(const char* name);

    /// Keeps parameter values alive that the command discards while a query still reads with them.
    void keep(std::vector<QD_SQOrvelParameter>&& parameters) noexcept;

private:
    struct NamedColumn {
        std::string name;
        int column;
    };

    sqlite3_stmt* statement;
    int queries = 0;
    bool hasCommand = false;
    bool bound = false;
    std::vector<std::vector<QD_SQOrvelParameter>> kept;
    /// What was found by name, in the order in which it was asked for first: a loop over rows asks for the same
    /// columns in the same order, and SQLite's own names cost as much as a value.
    std::vector<NamedColumn> found;
    std::size_t likelyNext = 0;
};

} // namespace orvel

#endif
