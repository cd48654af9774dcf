// What the library costs on SQLite as things grow, in nanoseconds; every line is: what, how many, by hand, library.
//
//     orvel_growth_bench rows|columns|threads [MOST]

#include <orvel/QD_OrvelInterface.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr const char* configuration =
    "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion></Orvel>";
constexpr int rounds = 5;

volatile long long sink = 0;

QD_OrvelConnectionHandle opened() {
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, "OrvelConfig.xml");
    connection->open("Growth", nullptr, 0);
    return connection;
}

struct Statement {
    sqlite3* db = nullptr;
    sqlite3_stmt* row = nullptr;

    explicit Statement(const std::string& sql) {
        if (sqlite3_open("Growth.db3", &db) != SQLITE_OK ||
            sqlite3_prepare_v2(db, sql.c_str(), -1, &row, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(db));
        }
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement() {
        sqlite3_finalize(row);
        sqlite3_close(db);
    }
};

/// The best of some rounds, in nanoseconds: what else the machine does makes none of them faster.
double best(const std::function<void()>& work) {
    double least = std::numeric_limits<double>::max();
    for (int round = 0; round < rounds; ++round) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
        least = std::min(least, spent.count());
    }
    return least;
}

long long scanByHand(const std::string& sql, int columns) {
    const Statement statement(sql);
    long long sum = 0;
    while (sqlite3_step(statement.row) == SQLITE_ROW) {
        for (int column = 0; column < columns; ++column) {
            sum += sqlite3_column_int64(statement.row, column);
        }
    }
    return sum;
}

template <class Column>
long long scan(const QD_OrvelConnectionHandle& connection, const std::string& sql,
               const std::vector<Column>& columns) {
    long long sum = 0;
    for (auto row = connection->execQuery(sql.c_str(), 0); !row->eof(); row->nextRow()) {
        for (const Column& column : columns) {
            long long value = 0;
            if constexpr (std::is_same_v<Column, std::string>) {
                row->getInt64Field(column.c_str(), value);
            } else {
                row->getInt64Field(column, value);
            }
            sum += value;
        }
    }
    return sum;
}

std::string series(long long count, const std::string& columns) {
    return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
           std::to_string(count) + ") SELECT " + columns + " FROM n";
}

/// A row of a table of so many.
void rows(long long most) {
    const auto connection = opened();
    for (long long count = 1000; count <= most; count *= 10) {
        connection->execNoQuery("DROP TABLE IF EXISTS g", 0);
        connection->execNoQuery(
            ("CREATE TABLE g AS " + series(count, "i AS a, i * 7 AS b, i * 11 AS c")).c_str(), 0);
        const std::string all = "SELECT a, b, c FROM g";
        const std::vector<int> columns = {0, 1, 2};
        const auto each = static_cast<double>(count);
        std::cout << "rows " << count << " " << best([&] { sink = scanByHand(all, 3); }) / each << " "
                  << best([&] { sink = scan(connection, all, columns); }) / each << "\n";
    }
}

/// A field of a row of so many columns: by index, by name in order, and by name in an order that changes.
void columns(long long most) {
    const auto connection = opened();
    for (int count = 1; count <= most; count *= 10) {
        std::string list;
        std::vector<int> indices;
        std::vector<std::string> names;
        for (int column = 0; column < count; ++column) {
            indices.push_back(column);
            names.push_back("column_" + std::to_string(column));
            list += (column > 0 ? ", i AS " : "i AS ") + names.back();
        }
        std::vector<std::string> shuffled = names;
        for (std::size_t i = 0; i < shuffled.size(); ++i) {
            std::swap(shuffled[i], shuffled[i * 7919 % shuffled.size()]);
        }
        const int fetched = std::max(200, 200000 / count);
        const std::string all = series(fetched, list);
        const auto each = static_cast<double>(fetched) * count;
        std::cout << "columns " << count << " " << best([&] { sink = scanByHand(all, count); }) / each << " "
                  << best([&] { sink = scan(connection, all, indices); }) / each << "\n"
                  << "names " << count << " " << best([&] { sink = scan(connection, all, names); }) / each
                  << " " << best([&] { sink = scan(connection, all, shuffled); }) / each << "\n";
    }
}

/// A row, all threads together, each with a connection of its own.
void threads(long long most) {
    constexpr int each = 200'000;
    const std::string all = series(each, "i, i * 7, i * 11");
    const auto together = [&](long long count, const std::function<void()>& work) {
        return best([&] {
                   std::vector<std::thread> running;
                   running.reserve(static_cast<std::size_t>(count));
                   for (long long i = 0; i < count; ++i) {
                       running.emplace_back(work);
                   }
                   for (std::thread& thread : running) {
                       thread.join();
                   }
               }) /
               static_cast<double>(each * count);
    };
    const std::vector<int> indices = {0, 1, 2};
    for (long long count = 1; count <= most; count *= 2) {
        std::cout << "threads " << count << " " << together(count, [&] {
            sink = scanByHand(all, 3);
        }) << " " << together(count, [&] {
            const auto connection = opened();
            sink = scan(connection, all, indices);
        }) << "\n";
    }
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view what = count > 1 ? arguments[1] : "";
    const long long most = count > 2 ? std::atoll(arguments[2]) : 0;
    std::string pattern = (std::filesystem::temp_directory_path() / "orvel-growth-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr || chdir(pattern.c_str()) != 0) {
        return 1;
    }
    int result = 0;
    try {
        std::ofstream("OrvelConfig.xml") << configuration;
        if (what == "rows") {
            rows(most > 0 ? most : 1'000'000);
        } else if (what == "columns") {
            columns(most > 0 ? most : 1'000);
        } else if (what == "threads") {
            threads(most > 0 ? most : 8);
        } else {
            std::cerr << "usage: orvel_growth_bench rows|columns|threads [MOST]\n";
            result = 1;
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        result = 1;
    }
    std::filesystem::remove_all(pattern);
    return result;
}
