#include <chrono>
#include <fstream>
#include <iostream>

#include "tests/platform/odbc/engine.h"

#if defined(__has_feature)
#define ORVEL_HAS_FEATURE(feature) __has_feature(feature)
#else
#define ORVEL_HAS_FEATURE(feature) 0
#endif

namespace {

using namespace orvel::tests;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || ORVEL_HAS_FEATURE(address_sanitizer) || \
    ORVEL_HAS_FEATURE(thread_sanitizer)
constexpr bool memoryCanBeMeasured = false; // a sanitizer keeps what is freed
#else
constexpr bool memoryCanBeMeasured = true;
#endif

/// A figure of this process's memory, in KiB, by its name in the system's table.
long memoryFigure(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name + ':') {
            long figure = 0;
            status >> figure;
            return figure;
        }
    }
    return -1;
}

class OdbcScan : public EngineTest {};

TEST_P(OdbcScan, ofAMillionRowsNeedsLittleMemory) {
    constexpr int rowCount = 1'000'000;
    std::ofstream("/proc/self/clear_refs") << 5; // the peak is counted from here
    const long before = memoryFigure("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    const auto rows =
        connection->execute("SELECT n AS id, n::bigint * 1000000000 AS large, n / 7.0::float8 AS part, "
                            "('name ' || n)::varchar(40) AS name, repeat('x', n % 200)::text AS words "
                            "FROM generate_series(1, 1000000) n",
                            nullptr, 0);
    std::int64_t sum = 0;
    std::size_t letters = 0;
    int count = 0;
    for (; !rows->eof(); rows->moveNext(), ++count) {
        const auto fields = rows->fields();
        sum += ado::toInt32(fields->item(0)->value());
        letters += static_cast<std::size_t>(fields->item(4)->actualSize());
        ASSERT_EQ(std::get<std::int64_t>(fields->item(1)->value()), (count + 1) * std::int64_t{1000000000});
        ASSERT_EQ(std::get<double>(fields->item(2)->value()), (count + 1) / 7.0);
    }
    EXPECT_EQ(count, rowCount);
    EXPECT_EQ(sum, std::int64_t{rowCount} * (rowCount + 1) / 2);
    EXPECT_EQ(letters, 99'500'000U);
    const long growth = memoryFigure("VmHWM") - before;
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << engine().name << ": 1,000,000 rows of 5 columns in " << seconds << " s, peak memory + "
              << static_cast<double>(growth) / 1024 << " MiB\n";
    if (memoryCanBeMeasured) {
        EXPECT_LT(growth, 32 * 1024);
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcScan, testing::Values(postgresqlCursorsEngine), nameOf);

} // namespace
