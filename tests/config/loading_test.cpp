#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <utility>

#include "tests/config/config_fixture.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
namespace fs = std::filesystem;

constexpr unsigned long invalidPointer = 2147500035UL;
constexpr const char* parseTrace =
    "QD_OrvelConfig::loadXMLDOMDocument <- QD_OrvelConfig::loadXMLDOMDocument <- "
    "QD_OrvelConfig::getCommonDefault";
const Error outdatedWithoutMaster{1, 0, "", "QD_OrvelConfig::getCommonDefault", invalidPointer};

class Loading : public ConfigTest {
protected:
    static Error loadError(QD_OrvelConfig& config) {
        std::string value;
        return errorOf([&] { config.getCommonDefault("Key", value); });
    }
    static Error loadError(const std::string& file) {
        QD_OrvelConfig config(file.c_str());
        return loadError(config);
    }
    int mode(const std::string& file) const { return directory.mode(fs::path(file).filename()); }
    std::string content(const std::string& file) const { return directory.read(fs::path(file).filename()); }
    std::size_t filesInDirectory() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(directory.path()), fs::directory_iterator()));
    }
};

TEST_F(Loading, nothingIsReadBeforeTheFirstLookup) {
    QD_OrvelConfig config(directory.file("later.xml").c_str());
    directory.write("later.xml", configurationOf("late"));
    EXPECT_EQ(commonDefault(config), "late");
    EXPECT_STREQ(config.getFileName(), directory.file("later.xml").c_str());
    EXPECT_STREQ(QD_OrvelConfig(nullptr).getFileName(), "");
}

TEST_F(Loading, laterObjectsSeeWhatWasReadFirstUntilTheCacheIsFlushed) {
    const std::string file = makeFile(configurationOf("old"));
    QD_OrvelConfig first(file.c_str());
    EXPECT_EQ(commonDefault(first), "old");
    directory.write(fs::path(file).filename(), configurationOf("new"));
    EXPECT_EQ(commonDefaultOf(file), "old");
    fs::remove(file); // not even looked at
    EXPECT_EQ(commonDefaultOf(file), "old");

    QD_OrvelConfig::flushCache();
    directory.write(fs::path(file).filename(), configurationOf("newest"));
    EXPECT_EQ(commonDefaultOf(file), "newest");
    EXPECT_EQ(commonDefault(first), "old");
    EXPECT_EQ(commonDefault(first, " Key"), "old"); // on its own copy
}

TEST_F(Loading, theNameAsGivenIsTheKeyOfTheCache) {
    const fs::path before = fs::current_path();
    fs::current_path(directory.path());
    directory.write("a.xml", configurationOf("first"));
    EXPECT_EQ(commonDefaultOf("a.xml"), "first");
    directory.write("a.xml", configurationOf("second"));
    directory.write("A.xml", configurationOf("capital"));
    EXPECT_EQ(commonDefaultOf(directory.file("a.xml")), "second");
    EXPECT_EQ(commonDefaultOf(".\\a.xml"), "second");
    EXPECT_EQ(commonDefaultOf("A.xml"), "capital");
    EXPECT_EQ(commonDefaultOf("a.xml"), "first");
    fs::current_path(before);
}

TEST_F(Loading, onlyMajorVersion0WithAMinorOneFrom2IsCurrent) {
    struct Case {
        const char* versions;
        bool current;
    };
    for (const Case& version :
         {Case{"<MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion>", true},
          Case{"<MajorVersion>0</MajorVersion><MinorVersion>3</MinorVersion>", true},
          Case{"<a><MinorVersion>10</MinorVersion><MajorVersion>0</MajorVersion></a>", true},
          Case{"<MinorVersion> 3abc</MinorVersion>", true},
          Case{"<MajorVersion>x</MajorVersion><MinorVersion>4294967298</MinorVersion>", true},
          Case{"<MajorVersion>0</MajorVersion><MinorVersion>1</MinorVersion>", false},
          Case{"<MajorVersion>0</MajorVersion><MinorVersion>x3</MinorVersion>", false},
          Case{"<MajorVersion>0</MajorVersion><MinorVersion>-2</MinorVersion>", false},
          Case{"<MajorVersion>1</MajorVersion><MinorVersion>0</MinorVersion>", false},
          Case{"<MajorVersion>1</MajorVersion><MinorVersion>5</MinorVersion>", false},
          Case{"<MajorVersion>-1</MajorVersion><MinorVersion>5</MinorVersion>", false},
          Case{"<MajorVersion>0</MajorVersion>", false}, Case{"", false}}) {
        const std::string file = makeFile("<r>" + std::string(version.versions) + "</r>");
        const Error expected =
            version.current ? Error{-1, 0, "nothing was thrown", "", 0} : outdatedWithoutMaster;
        EXPECT_EQ(loadError(file), expected) << version.versions;
    }
    EXPECT_EQ(loadError(makeFile("<r xmlns='u'><MinorVersion>2</MinorVersion></r>")), outdatedWithoutMaster);
}

TEST_F(Loading, aMissingFileIsReplacedByTheMasterWhateverItsVersion) {
    const std::string master = makeFile(configurationOf("master", "1"));
    fs::permissions(master, fs::perms(0644));
    setMaster(master);
    const std::string file = directory.file("made.xml");
    EXPECT_EQ(commonDefaultOf(file), "master");
    EXPECT_EQ(content(file), content(master));
    EXPECT_EQ(mode(file), 0444);
    EXPECT_EQ(mode(master), 0644);
    EXPECT_EQ(filesInDirectory(), 2U);
    // Its version counts again when it is read as a file that was there.
    QD_OrvelConfig::flushCache();
    setMaster("");
    EXPECT_EQ(loadError(file), outdatedWithoutMaster);
}

TEST_F(Loading, anOutdatedFileIsReplacedByTheMasterOnce) {
    for (const char* masterVersion : {"2", "1"}) {
        const std::string master = makeFile(configurationOf("master", masterVersion));
        setMaster(master);
        const std::string file = makeFile(configurationOf("outdated", "1"));
        fs::permissions(file, fs::perms(0440));
        EXPECT_EQ(commonDefaultOf(file), "master");
        EXPECT_EQ(content(file), content(master));
        EXPECT_EQ(mode(file), 0440);
    }
    EXPECT_EQ(filesInDirectory(), 4U);
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST_F(Loading, aCurrentFileAndOneThatCannotBeParsedAreLeftAlone) {
    setMaster(makeFile(configurationOf("master")));
    for (const std::string& text : {configurationOf("own"), std::string("<r>")}) {
        const std::string file = makeFile(text);
        fs::permissions(file, fs::perms(0600));
        loadError(file);
        EXPECT_EQ(content(file), text);
        EXPECT_EQ(mode(file), 0600);
    }
}

TEST_F(Loading, anOutdatedFileWithoutAMasterFailsEveryLoadAndIsWritableThen) {
    const std::string file = makeFile(configurationOf("outdated", "1"));
    fs::permissions(file, fs::perms(0444));
    QD_OrvelConfig config(file.c_str());
    EXPECT_EQ(loadError(config), outdatedWithoutMaster);
    EXPECT_EQ(mode(file), 0644);
    EXPECT_EQ(content(file), configurationOf("outdated", "1"));
    EXPECT_THAT(DiagnosticLines::all(),
                ElementsAre(MatchesRegex("CATCH ... : QD_OrvelConfig, Line [0-9]+, "
                                         "QD_OrvelConfig::getCommonDefault - Invalid pointer\n")));
    EXPECT_EQ(loadError(config), outdatedWithoutMaster);
    EXPECT_EQ(loadError(file), outdatedWithoutMaster);
    directory.write(fs::path(file).filename(), configurationOf("mended"));
    EXPECT_EQ(commonDefault(config), "mended"); // unlike after a failed parse
}

TEST_F(Loading, aFileThatIsItsOwnMasterIsAFailedCopy) {
    const std::string file = makeFile(configurationOf("outdated", "1"));
    const std::string other = directory.file("link.xml");
    const auto link =
        std::array{+[](const fs::path& to, const fs::path& from) { fs::create_hard_link(to, from); },
                   +[](const fs::path& to, const fs::path& from) { fs::create_symlink(to, from); }};
    for (const auto& make : link) {
        make(file, other);
        setMaster(other);
        EXPECT_EQ(loadError(file), outdatedWithoutMaster);
        EXPECT_EQ(content(file), configurationOf("outdated", "1"));
        fs::remove(other);
    }
    EXPECT_EQ(filesInDirectory(), 1U);
}

TEST_F(Loading, aFileThatCannotBeReadIsCode1WithTheReason) {
    struct Case {
        std::string file;
        const char* reason;
    };
    const std::string missing = directory.file("missing.xml");
    setMaster(directory.file("no-master.xml"));
    for (const Case& unreadable :
         {Case{missing, "No such file or directory"}, Case{directory.path().string(), "Is a directory"},
          Case{"/dev/null", "Operation not supported"}, Case{"", "No such file or directory"}}) {
        const Error error = loadError(unreadable.file);
        EXPECT_EQ(error, (Error{1, 0, error.provText, parseTrace, error.hr}));
        EXPECT_NE(error.hr, 0U);
        EXPECT_EQ(error.provText, "Cannot read " + unreadable.file + ": " + unreadable.reason);
    }
    for (const char* text : {"", "<r>", "<r/><r/>", "<r/>text", "<r a='1' a='2'/>", "<r>&undeclared;</r>",
                             "<r>a & b</r>", "<r>\x01</r>", "<r>\xff</r>", "no markup"}) {
        const Error error = loadError(makeFile(text));
        EXPECT_EQ(error, (Error{1, 0, error.provText, parseTrace, error.hr})) << text;
        EXPECT_NE(error.hr, 0U) << text;
        EXPECT_NE(error.provText, "") << text;
    }
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST_F(Loading, anObjectWhoseFileCouldNotBeParsedStaysEmpty) {
    const std::string file = makeFile("<r>");
    QD_OrvelConfig config(file.c_str());
    EXPECT_THAT(loadError(config).trace, StartsWith(parseTrace));
    directory.write(fs::path(file).filename(), configurationOf("mended"));
    EXPECT_EQ(commonDefault(config), "");
    std::string value;
    EXPECT_EQ(errorOf([&] { config.getDBTableCommand("SQLite", "t", "CreateTable", value, true); }).code, 24);
    EXPECT_EQ(errorOf([&] { config.getDBTableCommand("SQLite", "[", "CreateTable", value, true); }).code, 1);
    EXPECT_EQ(commonDefaultOf(file), "mended"); // nothing was cached
}

struct Slots {
    std::string file, master;
    int primary = 0, secondary = 0, trace = 0;
    friend bool operator==(const Slots&, const Slots&) = default;
};

Slots slots() {
    Slots all;
    QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_CONFIG_FILE, &all.file, nullptr);
    QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, nullptr, &all.primary);
    QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, nullptr, &all.secondary);
    QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_SQL_TRACE, nullptr, &all.trace);
    QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, &all.master, nullptr);
    return all;
}

/// Set while static objects of the program are made, when the library has to be ready.
struct SetBeforeMain {
    SetBeforeMain() { QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, 0, "early"); }
    ~SetBeforeMain() { QD_OrvelConfig::flushCache(); }
    Slots seen = slots();
} const setBeforeMain; // NOLINT(cert-err58-cpp)

TEST(ApplicationDefaults, areThereBeforeAnyCodeOfTheApplication) {
    EXPECT_EQ(setBeforeMain.seen, (Slots{"OrvelConfig.xml", "", 4, 4, 0}));
}

class Defaults : public ConfigTest {};

TEST_F(Defaults, aSlotTakesTheArgumentOfItsTypeAndNoNullText) {
    for (int kind = -1; kind <= 6; ++kind) {
        QD_OrvelConfig::setAppDefaultValue(static_cast<QD_OrvelAppDefault>(kind), kind + 10, nullptr);
    }
    EXPECT_EQ(slots(), (Slots{"OrvelConfig.xml", "", 12, 13, 14}));
    QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_CONFIG_FILE, 99, "");
    QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, 99, "m");
    QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, -7, "text");
    EXPECT_EQ(slots(), (Slots{"", "m", -7, 13, 14}));
    for (int kind = -1; kind <= 6; ++kind) { // the other type's argument, and none at all
        std::string text = "untouched";
        int value = 77;
        const bool isText = kind == QD_ORVEL_APPDEF_CONFIG_FILE || kind == QD_ORVEL_APPDEF_MASTER_CONFIG_FILE;
        QD_OrvelConfig::getAppDefaultValue(static_cast<QD_OrvelAppDefault>(kind), isText ? nullptr : &text,
                                           isText ? &value : nullptr);
        EXPECT_EQ(std::pair(text, value), std::pair(std::string("untouched"), 77)) << kind;
    }
}

} // namespace
