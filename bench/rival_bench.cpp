// Runs one workload of one rival:
//
//     orvel_rival_bench                                 lists engines, rivals
//     orvel_rival_bench ENGINE RIVAL WORKLOAD TIMES     prints the checksum and the nanoseconds of one time

#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "rival.h"

namespace {

using namespace bench;

constexpr const char* tables =
    "CREATE TABLE parts (id INTEGER PRIMARY KEY, serial INTEGER, price REAL, name TEXT, data BLOB);"
    "CREATE TABLE copies (id INTEGER PRIMARY KEY, serial INTEGER, price REAL, name TEXT, data BLOB);"
    "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) INSERT INTO parts "
    "SELECT i, i * 1000000007, i / 7.0, 'part number ' || i, zeroblob(40) FROM n;";

void connect(const Entry& entry, const Place& place, int times, Sum& sum) {
    for (int i = 0; i < times; ++i) {
        entry.open(place)->oneShot(1, sum);
    }
}

void run(const Entry& entry, std::string_view workload, int times) {
    const Place place;
    Sum sum;
    const std::unique_ptr<Rival> rival = workload != "connect" ? entry.open(place) : nullptr;
    const auto start = std::chrono::steady_clock::now();
    if (workload == "insert") {
        rival->insert(times, sum);
    } else if (workload == "scan") {
        rival->scan(times, sum);
    } else if (workload == "scan-names") {
        rival->scanByName(times, sum);
    } else if (workload == "lookup") {
        rival->lookup(times, sum);
    } else if (workload == "one-shot") {
        rival->oneShot(times, sum);
    } else if (workload == "connect") {
        connect(entry, place, times, sum);
    } else {
        throw std::runtime_error("no such workload");
    }
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
    std::cout << sum.value() << " " << spent.count() / times << "\n";
}

} // namespace

bench::Place::Place() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvel-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    directory = pattern;
    std::ofstream(directory / "OrvelConfig.xml")
        << "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>"
           "<DefaultProvider>SQLite</DefaultProvider><DefaultTimeout>5000</DefaultTimeout></CommonSection></"
           "Orvel>";
    sqlite3* file = nullptr;
    const bool filled = sqlite3_open(database().c_str(), &file) == SQLITE_OK &&
                        sqlite3_exec(file, tables, nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(file);
    if (!filled) {
        throw std::runtime_error("the tables cannot be made");
    }
}

bench::Place::~Place() {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

std::string bench::setting(const char* name) {
    const char* const text = std::getenv(name);
    if (text == nullptr) {
        throw std::runtime_error(std::string(name) + " is not set");
    }
    return text;
}

std::vector<bench::Entry>& bench::rivals() {
    static std::vector<Entry> entries;
    return entries;
}

int main(int count, char** arguments) {
    try {
        for (const Entry& entry : rivals()) {
            if (count == 1) {
                std::cout << entry.engine << " " << entry.name << "\n";
            } else if (count == 5 && entry.engine == arguments[1] && entry.name == arguments[2]) {
                run(entry, arguments[3], std::atoi(arguments[4]));
                return 0;
            }
        }
        if (count == 1) {
            return 0;
        }
        std::cerr << "usage: orvel_rival_bench [ENGINE RIVAL WORKLOAD TIMES]\n";
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
    }
    return 1;
}
