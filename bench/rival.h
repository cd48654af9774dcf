#ifndef ORVEL_BENCH_RIVAL_H
#define ORVEL_BENCH_RIVAL_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The same work by several libraries and by hand. Every rival reads the same values and adds them to a checksum, which
// script/bench compares: who reads less shows.

namespace bench {

constexpr int rows = 10'000; ///< in the table `parts`

constexpr const char* insertFive =
    "INSERT INTO copies (id, serial, price, name, data) VALUES (?, ?, ?, ?, ?)";
constexpr const char* selectAll = "SELECT id, serial, price, name, data FROM parts";
constexpr const char* selectOne = "SELECT serial, price, name FROM parts WHERE id = ?";
constexpr const char* countOne = "SELECT COUNT(*) FROM parts WHERE id = 77";
constexpr const char* partName = "a part like any other";
constexpr unsigned char partData[40] = {1, 2, 3};

constexpr long long serialOf(int id) { return id * 1000000007LL; }
constexpr double priceOf(int id) { return id / 7.0; }
/// Which row the n-th lookup wants.
constexpr int wanted(int n) { return 1 + n * 7 % rows; }

/// What was read. Cheap, so that it does not hide what reading costs.
class Sum {
public:
    void add(long long value) { sum = sum * 31 + static_cast<std::uint64_t>(value); }
    void add(double value) { add(static_cast<long long>(value)); }
    void add(std::string_view text) { add(static_cast<long long>(text.size()) * 256 + text.back()); }
    void add(const void* bytes, std::size_t size) {
        add(std::string_view(static_cast<const char*>(bytes), size));
    }
    std::uint64_t value() const { return sum; }

private:
    std::uint64_t sum = 0;
};

/// Where SQLite's file lies: a directory of its own, which goes with it. Other engines are where
/// ORVEL_BENCH_CONNECTION (or ORVEL_BENCH_HOST and its like) says, with the tables that script/bench makes.
struct Place {
    std::filesystem::path directory;

    Place();
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();
    std::string database() const { return (directory / "Bench.db3").string(); }
    std::string configuration() const { return (directory / "OrvelConfig.xml").string(); }
};

/// What stands in a variable of the environment that script/bench sets.
std::string setting(const char* name);

/// One library with a connection. Each operation does its work `times` times, the writing ones and the lookups in one
/// transaction that is rolled back.
class Rival {
public:
    Rival() = default;
    Rival(const Rival&) = delete;
    Rival& operator=(const Rival&) = delete;
    virtual ~Rival() = default;

    /// Five values by a prepared statement; the count of changed rows is asked each time.
    virtual void insert(int times, Sum& sum) = 0;
    /// All rows of `parts`, five columns.
    virtual void scan(int times, Sum& sum) = 0;
    virtual void scanByName(int /*times*/, Sum& /*sum*/) { throw std::runtime_error("no access by name"); }
    /// Three columns of a row by its key, by a prepared statement.
    virtual void lookup(int times, Sum& sum) = 0;
    /// One number by a text that is compiled each time.
    virtual void oneShot(int times, Sum& sum) = 0;
};

struct Entry {
    std::string_view engine;
    std::string_view name;
    std::unique_ptr<Rival> (*open)(const Place& place);
};

/// Those that were built in.
std::vector<Entry>& rivals();

template <class Library>
std::unique_ptr<Rival> opened(const Place& place) {
    return std::make_unique<Library>(place);
}

/// Enters a rival while the program starts.
struct Registered {
    template <class... Entries>
    explicit Registered(Entries... entries) {
        (rivals().push_back(entries), ...);
    }
};

} // namespace bench

#endif
