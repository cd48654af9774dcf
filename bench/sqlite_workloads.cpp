#include <orvel/QD_OrvelInterface.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "workloads.h"

namespace {

using bench::scannedRows;
using bench::use;

constexpr const char* createTable =
    "CREATE TABLE parts (id INTEGER PRIMARY KEY, serial INTEGER, price REAL, name TEXT, data BLOB);"
    "CREATE TABLE copies (id INTEGER PRIMARY KEY, serial INTEGER, price REAL, name TEXT, data BLOB);"
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) INSERT INTO parts "
    "SELECT i, i * 1000000007, i / 7.0, 'part number ' || i, zeroblob(40) FROM n;";
constexpr const char* insertFive =
    "INSERT INTO copies (id, serial, price, name, data) VALUES (?, ?, ?, ?, ?)";
constexpr const char* selectAll = "SELECT id, serial, price, name, data FROM parts";
constexpr const char* selectOne = "SELECT serial, price, name FROM parts WHERE id = ?";
constexpr const char* countOne = "SELECT serial % 1000 FROM parts WHERE id = 77";
constexpr const char* partName = "a part like any other";
constexpr unsigned char partData[40] = {1, 2, 3};

/// A directory with a database and a configuration, which go with it.
struct Place {
    std::filesystem::path directory;

    Place() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orvel-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        directory = pattern;
        std::ofstream(directory / "OrvelConfig.xml")
            << "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>"
               "<DefaultProvider>SQLite</DefaultProvider><DefaultTimeout>5000</DefaultTimeout>"
               "</CommonSection></Orvel>";
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    std::string database() const { return (directory / "Bench.db3").string(); }
    std::string configuration() const { return (directory / "OrvelConfig.xml").string(); }
};

void check(int code) {
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
        throw std::runtime_error(sqlite3_errstr(code));
    }
}

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

void execute(sqlite3* database, const char* sql) {
    check(sqlite3_exec(database, sql, nullptr, nullptr, nullptr));
}

Database openRaw(const std::string& file) {
    sqlite3* database = nullptr;
    check(sqlite3_open(file.c_str(), &database));
    sqlite3_busy_timeout(database, 5000);
    return Database(database);
}

Statement prepare(const Database& database, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(database.get(), sql, -1, &statement, nullptr));
    return Statement(statement);
}

bool hasValue(const Statement& row, int column) {
    return sqlite3_column_type(row.get(), column) != SQLITE_NULL;
}

void assign(std::string& text, const Statement& row, int column) {
    const void* const utf8 = sqlite3_column_text(row.get(), column);
    text.assign(static_cast<const char*>(utf8),
                static_cast<std::size_t>(sqlite3_column_bytes(row.get(), column)));
}

struct Filled : Place {
    Filled() {
        const Database database = openRaw(this->database());
        execute(database.get(), createTable);
    }
};

void rawInsert(int times) {
    const Filled place;
    const Database database = openRaw(place.database());
    execute(database.get(), "BEGIN");
    const Statement insert = prepare(database, insertFive);
    for (int i = 1; i <= times; ++i) {
        check(sqlite3_bind_int(insert.get(), 1, i));
        check(sqlite3_bind_int64(insert.get(), 2, i * 1000000007LL));
        check(sqlite3_bind_double(insert.get(), 3, i / 7.0));
        check(sqlite3_bind_text(insert.get(), 4, partName, -1, SQLITE_STATIC));
        check(sqlite3_bind_blob(insert.get(), 5, partData, sizeof partData, SQLITE_STATIC));
        check(sqlite3_step(insert.get()));
        use(sqlite3_changes(database.get()));
        check(sqlite3_reset(insert.get()));
    }
    execute(database.get(), "COMMIT");
}

void rawScan(int times) {
    const Filled place;
    const Database database = openRaw(place.database());
    std::string name;
    unsigned char data[sizeof partData];
    for (; times > 0; --times) {
        const Statement rows = prepare(database, selectAll);
        for (int step = sqlite3_step(rows.get()); step != SQLITE_DONE; step = sqlite3_step(rows.get())) {
            check(step);
            if (hasValue(rows, 0)) {
                use(sqlite3_column_int(rows.get(), 0));
            }
            if (hasValue(rows, 1)) {
                use(sqlite3_column_int64(rows.get(), 1));
            }
            if (hasValue(rows, 2)) {
                use(static_cast<long long>(sqlite3_column_double(rows.get(), 2)));
            }
            if (hasValue(rows, 3)) {
                assign(name, rows, 3);
            }
            if (hasValue(rows, 4)) {
                const void* const bytes = sqlite3_column_blob(rows.get(), 4);
                std::memcpy(data, bytes, static_cast<std::size_t>(sqlite3_column_bytes(rows.get(), 4)));
            }
            use(name.back() + data[0]);
        }
    }
}

void rawLookup(int times) {
    const Filled place;
    const Database database = openRaw(place.database());
    execute(database.get(), "BEGIN");
    const Statement row = prepare(database, selectOne);
    std::string name;
    for (int i = 0; i < times; ++i) {
        check(sqlite3_bind_int(row.get(), 1, 1 + i * 7 % scannedRows));
        check(sqlite3_step(row.get()));
        if (hasValue(row, 0)) {
            use(sqlite3_column_int64(row.get(), 0));
        }
        if (hasValue(row, 1)) {
            use(static_cast<long long>(sqlite3_column_double(row.get(), 1)));
        }
        if (hasValue(row, 2)) {
            assign(name, row, 2);
        }
        use(name.back());
        check(sqlite3_reset(row.get()));
    }
    execute(database.get(), "COMMIT");
}

int rawScalar(const Database& database) {
    const Statement row = prepare(database, countOne);
    check(sqlite3_step(row.get()));
    return sqlite3_column_int(row.get(), 0);
}

void rawOneShot(int times) {
    const Filled place;
    const Database database = openRaw(place.database());
    for (; times > 0; --times) {
        use(rawScalar(database));
    }
}

void rawConnect(int times) {
    const Filled place;
    for (; times > 0; --times) {
        const Database database = openRaw(place.database());
        execute(database.get(), "PRAGMA encoding='UTF-8'"); // as every connection of the library says
        use(rawScalar(database));
    }
}

struct Connected : Filled {
    QD_OrvelConnectionHandle connection = connect();

    QD_OrvelConnectionHandle connect() const {
        auto made = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, configuration().c_str());
        made->open("Bench", directory.c_str(), 0);
        return made;
    }
};

void insert(int times) {
    Connected place;
    QD_OrvelTransaction transaction(place.connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "insert");
    const auto command = place.connection->createCommand(insertFive, 0);
    for (int i = 1; i <= times; ++i) {
        command->addIntParam(i);
        command->addInt64Param(i * 1000000007LL);
        command->addDoubleParam(i / 7.0);
        command->addStringParam(partName);
        command->addBlobParam(partData, sizeof partData);
        use(command->execNoQuery(0));
        command->resetParams();
    }
    transaction.commit();
}

/// The same five fields, by whatever `first` to `fifth` are: numbers or names.
template <class... Fields>
void scan(int times, Fields... fields) {
    const Connected place;
    std::string name;
    unsigned char data[sizeof partData];
    for (; times > 0; --times) {
        const auto rows = place.connection->execQuery(selectAll, 0);
        const auto read = [&](auto first, auto second, auto third, auto fourth, auto fifth) {
            int id = 0;
            long long serial = 0;
            double price = 0;
            unsigned int size = sizeof data;
            rows->getIntField(first, id);
            rows->getInt64Field(second, serial);
            rows->getDoubleField(third, price);
            rows->getStringField(fourth, name);
            rows->getBlobField(fifth, size, data);
            use(id);
            use(serial);
            use(static_cast<long long>(price));
            use(name.back() + data[0]);
        };
        for (; !rows->eof(); rows->nextRow()) {
            read(fields...);
        }
    }
}

void scanByIndex(int times) { scan(times, 0, 1, 2, 3, 4); }

void scanByName(int times) { scan(times, "id", "serial", "price", "name", "data"); }

void lookup(int times) {
    Connected place;
    bench::lookUp(place.connection, selectOne, times);
}

void oneShot(int times) {
    const Connected place;
    for (; times > 0; --times) {
        use(place.connection->execQueryScalar(countOne, 0));
    }
}

void connect(int times) {
    const Connected place;
    for (; times > 0; --times) {
        use(place.connect()->execQueryScalar(countOne, 0));
    }
}

constexpr bench::Workload workloads[] = {
    {"sqlite.insert/raw", rawInsert},    {"sqlite.insert/orvel", insert},
    {"sqlite.scan/raw", rawScan},        {"sqlite.scan/orvel", scanByIndex},
    {"sqlite.scan-names/raw", rawScan},  {"sqlite.scan-names/orvel", scanByName},
    {"sqlite.lookup/raw", rawLookup},    {"sqlite.lookup/orvel", lookup},
    {"sqlite.one-shot/raw", rawOneShot}, {"sqlite.one-shot/orvel", oneShot},
    {"sqlite.connect/raw", rawConnect},  {"sqlite.connect/orvel", connect},
};

} // namespace

std::span<const bench::Workload> bench::sqliteWorkloads() { return workloads; }
