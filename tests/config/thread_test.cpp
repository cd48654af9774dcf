#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/config/config_fixture.h"

namespace {

using namespace orvel::tests;
using std::chrono::steady_clock;

class Threads : public ConfigTest {};
class Killed : public ConfigTest {};

/// ORVEL_STRESS_SECONDS makes the test longer than what a run of all tests can bear.
std::chrono::seconds stressTime() {
    const char* const seconds = std::getenv("ORVEL_STRESS_SECONDS"); // NOLINT(concurrency-mt-unsafe)
    return std::chrono::seconds(seconds != nullptr ? std::stol(seconds) : 1);
}

std::string pairOf(int number) {
    const std::string n = std::to_string(number);
    return configuration("<CommonSection><Key>" + n + "</Key><Other>" + n + "</Other></CommonSection>");
}

TEST_F(Threads, eachObjectSeesOneVersionOfTheFileWhileOthersFlushAndSetDefaults) {
    const std::string file = makeFile(pairOf(0));
    std::atomic<bool> stop = false;
    std::atomic<int> inconsistent = 0;
    std::atomic<int> lookups = 0;
    const auto reader = [&](unsigned int seed) {
        std::minstd_rand random(seed);
        while (!stop) {
            QD_OrvelConfig config(file.c_str());
            const std::string key = commonDefault(config);
            const char* const other = random() % 4 == 0 ? "*[2]" : "Other";
            inconsistent += key.empty() || key != commonDefault(config, other);
            ++lookups;
            const int number = static_cast<int>(random() % 1000);
            switch (number % 16) {
            case 0:
                directory.write("next" + std::to_string(seed), pairOf(number));
                std::filesystem::rename(directory.file("next" + std::to_string(seed)), file);
                break;
            case 1:
            case 2:
                QD_OrvelConfig::flushCache();
                break;
            default:
                const std::string name(static_cast<std::size_t>(number % 100), 'n');
                QD_OrvelConfig::setAppDefaultValue(static_cast<QD_OrvelAppDefault>(number % 4 + 1), number,
                                                   name.c_str());
                std::string text;
                int value = 0;
                QD_OrvelConfig::getAppDefaultValue(static_cast<QD_OrvelAppDefault>(number % 5 + 1), &text,
                                                   &value);
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned int seed = 1; seed <= 8; ++seed) {
        threads.emplace_back(reader, seed);
    }
    std::this_thread::sleep_for(stressTime());
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(inconsistent, 0);
    EXPECT_GT(lookups, 100);
}

/// Replaces an outdated file by the master in a process of its own, which is killed after `delay`.
void replaceAndDie(const std::string& file, std::chrono::microseconds delay) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::string value;
        QD_OrvelConfig config(file.c_str());
        ::_exit(config.getCommonDefault("Key", value) ? 0 : 1);
    }
    std::this_thread::sleep_for(delay);
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
}

TEST_F(Killed, duringACopyLeavesTheOldFileOrTheWholeNewOne) {
    const std::string master = configurationOf(std::string(300'000, 'm'));
    setMaster(directory.write("master.xml", master));
    const std::string outdated = configurationOf(std::string(30'000, 'o'), "1");
    const std::string file = directory.file("config.xml");

    directory.write("config.xml", outdated);
    const auto start = steady_clock::now();
    EXPECT_EQ(commonDefaultOf(file).size(), 300'000U);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - start);
    QD_OrvelConfig::flushCache();

    std::mt19937 random(20); // NOLINT(cert-msc51-cpp): the same moments every time, as far as they can be
    std::uniform_int_distribution<long> moment(0, whole.count() * 3 / 2);
    int replaced = 0;
    for (int i = 0; i < 200; ++i) {
        std::filesystem::remove(file);
        directory.write("config.xml", outdated);
        replaceAndDie(file, std::chrono::microseconds(moment(random)));
        const std::string left = directory.read("config.xml");
        ASSERT_TRUE(left == outdated || left == master) << "round " << i << ": " << left.size() << " bytes";
        replaced += left == master;
    }
    EXPECT_GT(replaced, 0);
    EXPECT_LT(replaced, 200);
    RecordProperty("replaced", replaced);
}

} // namespace
