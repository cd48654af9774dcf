#include <chrono>
#include <fstream>
#include <iostream>

#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool memoryCanBeMeasured = false; // a sanitizer keeps what is freed
#else
constexpr bool memoryCanBeMeasured = true;
#endif

/// A figure of this process's memory, in KiB, by its name in the system's table.
long memoryFigure(const std::string& name) {
    std::ifstream status("/proc/self/status");
    long figure = -1;
    for (std::string word; figure < 0 && status >> word;) {
        word == name + ':' ? status >> figure : status;
    }
    return figure;
}

/// On PostgreSQL alone: other drivers read a result into memory.
class BehaviourScan : public Behaviour {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourScan, testing::Values(postgresqlContext), contextName);

TEST_P(BehaviourScan, ofAMillionRowsNeedsLittleMemory) {
    std::ofstream("/proc/self/clear_refs") << 5; // the peak is counted from here
    const long before = memoryFigure("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    const auto rows = query("SELECT n AS id, n::bigint * 1000000000 AS large, n / 7.0::float8 AS part, "
                            "('name ' || n)::varchar(40) AS name, repeat('x', n % 200)::text AS words "
                            "FROM generate_series(1, 1000000) n");
    int count = 0;
    std::string words;
    for (; !rows->eof(); rows->nextRow()) {
        int id = 0;
        long long large = 0;
        double part = 0;
        ASSERT_TRUE(rows->getIntField(0, id) && id == ++count);
        ASSERT_TRUE(rows->getInt64Field(1, large) && large == id * 1000000000LL);
        ASSERT_TRUE(rows->getDoubleField(2, part) && part == id / 7.0);
        ASSERT_TRUE(rows->getStringField(4, words) && words.size() == static_cast<std::size_t>(id % 200))
            << id;
    }
    EXPECT_EQ(count, 1'000'000);
    const long growth = memoryFigure("VmHWM") - before;
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::cout << count << " rows of 5 columns in " << seconds << " s, peak memory + "
              << static_cast<double>(growth) / 1024 << " MiB\n";
    if (memoryCanBeMeasured) {
        EXPECT_LT(growth, 32 * 1024);
    }
}

} // namespace
