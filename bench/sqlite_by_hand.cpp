// What the fastest plain program would do with SQLite's own functions: no type is asked, no setting is made.

#include <sqlite3.h>

#include <cstring>
#include <stdexcept>

#include "rival.h"

namespace {

using namespace bench;

void check(int code) {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
        throw std::runtime_error(sqlite3_errstr(code));
    }
}

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

void assign(std::string& text, sqlite3_stmt* row, int column) {
    const void* const utf8 = sqlite3_column_text(row, column);
    text.assign(static_cast<const char*>(utf8), static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

template <int Flags>
class ByHand : public Rival {
public:
    explicit ByHand(const Place& place) {
        check(sqlite3_open_v2(place.database().c_str(), &db, Flags, nullptr));
        sqlite3_busy_timeout(db, 5000);
    }
    ~ByHand() override { sqlite3_close(db); }

    void insert(int times, Sum& sum) override {
        execute("BEGIN");
        const Statement statement = prepare(insertFive);
        sqlite3_stmt* const row = statement.get();
        for (int id = 1; id <= times; ++id) {
            check(sqlite3_bind_int(row, 1, id));
            check(sqlite3_bind_int64(row, 2, serialOf(id)));
            check(sqlite3_bind_double(row, 3, priceOf(id)));
            check(sqlite3_bind_text(row, 4, partName, -1, SQLITE_STATIC));
            check(sqlite3_bind_blob(row, 5, partData, sizeof partData, SQLITE_STATIC));
            check(sqlite3_step(row));
            sum.add(static_cast<long long>(sqlite3_changes(db)));
            check(sqlite3_reset(row));
        }
        execute("ROLLBACK");
    }

    void scan(int times, Sum& sum) override {
        std::string name;
        unsigned char data[sizeof partData];
        for (; times > 0; --times) {
            const Statement statement = prepare(selectAll);
            sqlite3_stmt* const row = statement.get();
            for (int step = sqlite3_step(row); step != SQLITE_DONE; step = sqlite3_step(row)) {
                check(step);
                sum.add(static_cast<long long>(sqlite3_column_int(row, 0)));
                sum.add(sqlite3_column_int64(row, 1));
                sum.add(sqlite3_column_double(row, 2));
                assign(name, row, 3);
                sum.add(name);
                const void* const bytes = sqlite3_column_blob(row, 4);
                const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, 4));
                std::memcpy(data, bytes, size);
                sum.add(data, size);
            }
        }
    }

    void lookup(int times, Sum& sum) override {
        execute("BEGIN");
        const Statement statement = prepare(selectOne);
        sqlite3_stmt* const row = statement.get();
        std::string name;
        for (int n = 0; n < times; ++n) {
            check(sqlite3_bind_int(row, 1, wanted(n)));
            check(sqlite3_step(row));
            sum.add(sqlite3_column_int64(row, 0));
            sum.add(sqlite3_column_double(row, 1));
            assign(name, row, 2);
            sum.add(name);
            check(sqlite3_reset(row));
        }
        execute("ROLLBACK");
    }

    void oneShot(int times, Sum& sum) override {
        const bool inTransaction = times > 1;
        if (inTransaction) {
            execute("BEGIN");
        }
        for (; times > 0; --times) {
            const Statement row = prepare(countOne);
            check(sqlite3_step(row.get()));
            sum.add(static_cast<long long>(sqlite3_column_int(row.get(), 0)));
        }
        if (inTransaction) {
            execute("ROLLBACK");
        }
    }

private:
    sqlite3* db = nullptr;

    void execute(const char* sql) const { check(sqlite3_exec(db, sql, nullptr, nullptr, nullptr)); }
    Statement prepare(const char* sql) const {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(db, sql, -1, &statement, nullptr));
        return Statement(statement);
    }
};

constexpr int plain = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;

const Registered entries(Entry{"sqlite", "by-hand", opened<ByHand<plain>>},
                         Entry{"sqlite", "by-hand-nomutex", opened<ByHand<plain | SQLITE_OPEN_NOMUTEX>>});

} // namespace
