#include "platform/files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "tests/support/temporary_directory.h"

namespace {

using namespace orvel::platform;
namespace fs = std::filesystem;

class Files : public testing::Test {
protected:
    orvel::tests::TemporaryDirectory directory;

    bool copy(const std::string& from, const std::string& to) const {
        return replaceByCopy(directory.file(from).c_str(), directory.file(to).c_str());
    }
    std::size_t count() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
    }
};

TEST_F(Files, aCopyTakesThePlaceOfItsTargetWhole) {
    const std::string content(200'000, 'x');
    fs::permissions(directory.write("master", content), fs::perms(0640));
    directory.write("target", "old");
    fs::permissions(directory.file("target"), fs::perms(0400));
    EXPECT_TRUE(copy("master", "target"));
    EXPECT_TRUE(copy("master", "made"));
    EXPECT_EQ(directory.read("target"), content);
    EXPECT_EQ(directory.read("made"), content);
    EXPECT_EQ(directory.mode("target"), 0400); // what the target had
    EXPECT_EQ(directory.mode("made"), 0640);   // what the master has
    EXPECT_EQ(count(), 3U);
}

TEST_F(Files, aLinkToTheTargetStaysALink) {
    directory.write("master", "new");
    directory.write("target", "old");
    fs::create_symlink("target", directory.file("link"));
    EXPECT_TRUE(copy("master", "link"));
    EXPECT_TRUE(fs::is_symlink(directory.file("link")));
    EXPECT_EQ(directory.read("target"), "new");
}

TEST_F(Files, aFailedCopyLeavesTheTargetAndNoLitter) {
    directory.write("target", "old");
    fs::create_directory(directory.file("directory"));
    ASSERT_EQ(::mkfifo(directory.file("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(copy("missing", "target"));
    EXPECT_FALSE(copy("directory", "target"));
    EXPECT_FALSE(copy("pipe", "target"));
    EXPECT_FALSE(copy("target", "target"));
    EXPECT_FALSE(copy("target", "directory"));
    EXPECT_FALSE(copy("target", "missing/target"));
    EXPECT_FALSE(replaceByCopy("", directory.file("target").c_str()));
    EXPECT_FALSE(replaceByCopy(directory.file("target").c_str(), ""));
    EXPECT_EQ(directory.read("target"), "old");
    EXPECT_EQ(count(), 3U);
}

TEST_F(Files, aFullDiskLeavesTheTargetAndNoLitter) {
    directory.write("master", std::string(100'000, 'x'));
    directory.write("target", "old");
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limited{4096, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    const bool copied = copy("master", "target");
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(copied);
    EXPECT_EQ(directory.read("target"), "old");
    EXPECT_EQ(count(), 2U);
}

TEST_F(Files, marksChangeTheWriteBitsOnly) {
    const std::string file = directory.write("file", "");
    fs::permissions(file, fs::perms(0775));
    EXPECT_TRUE(setReadOnly(file.c_str()));
    EXPECT_EQ(directory.mode("file"), 0555);
    EXPECT_TRUE(setReadWrite(file.c_str()));
    EXPECT_EQ(directory.mode("file"), 0755);
    EXPECT_FALSE(setReadOnly(directory.file("missing").c_str()));
}

TEST_F(Files, readingAnswersTheContentOrTheError) {
    const std::string bytes("a\0b\n", 4);
    std::string content = "left over";
    EXPECT_FALSE(readFile(directory.write("file", bytes).c_str(), content));
    EXPECT_EQ(content, bytes);
    EXPECT_EQ(readFile(directory.file("missing").c_str(), content), std::errc::no_such_file_or_directory);
    EXPECT_EQ(readFile(directory.path().c_str(), content), std::errc::is_a_directory);
    EXPECT_EQ(readFile("/dev/zero", content), std::errc::not_supported);
    EXPECT_EQ(content, "");
}

} // namespace
