#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/support/temporary_directory.h"

TEST(Copy, thatFailsLeavesTheTargetAndNoLitter) {
    const orvel::tests::TemporaryDirectory directory;
    directory.write("too large", std::string(200'000, 'x'));
    std::filesystem::create_hard_link(directory.write("target", "old"), directory.file("alias"));
    std::filesystem::create_directory(directory.file("directory"));
    ASSERT_EQ(::mkfifo(directory.file("pipe").c_str(), 0600), 0);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limited{100'000, before.rlim_max}; // as if the disk were full
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    for (const auto& [from, to] : {std::pair("missing", "target"),
                                   {"directory", "target"},
                                   {"pipe", "target"},
                                   {"alias", "target"},
                                   {"too large", "target"},
                                   {"target", "directory"},
                                   {"target", "missing/target"}}) {
        EXPECT_FALSE(orvel::platform::replaceByCopy(directory.file(from).c_str(), directory.file(to).c_str()))
            << from;
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(directory.read("target"), "old");
    EXPECT_EQ(directory.count(), 5U);
}
