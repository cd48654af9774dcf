// The configuration store from outside. Tables of names and documents, with what they mean, lie in
// tests/data.

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <map>
#include <thread>

#include "QD_OrvelConfig.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/locale.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace orvel::tests;
using namespace testing;
using std::chrono::steady_clock;
namespace fs = std::filesystem;

void setDefault(int kind, int value, const std::string& text) {
    QD_OrvelConfig::setAppDefaultValue(static_cast<QD_OrvelAppDefault>(kind), value, text.c_str());
}
void setMaster(const std::string& name) { setDefault(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, 0, name); }

/// Works in a directory of its own. Leaves nothing cached and the initial defaults.
class Config : public Test {
protected:
    ~Config() override {
        QD_OrvelConfig::flushCache();
        for (int kind = QD_ORVEL_APPDEF_CONFIG_FILE; kind <= QD_ORVEL_APPDEF_MASTER_CONFIG_FILE; ++kind) {
            setDefault(kind, kind == QD_ORVEL_APPDEF_SQL_TRACE ? 0 : 4, kind == 1 ? "OrvelConfig.xml" : "");
        }
    }

    TemporaryDirectory directory;
    DiagnosticLines lines;
    QD_OrvelConfig samples{ORVEL_TEST_DATA "lookup.xml"};
    std::string value;

    static auto filesHere() { return std::distance(fs::directory_iterator("."), {}); }
    static int mode(const char* name) { return static_cast<int>(fs::status(name).permissions()); }
};

std::string keyed(const std::string& value, const std::string& minorVersion = "2") {
    return "<r><MinorVersion>" + minorVersion + "</MinorVersion><CommonSection><Key>" + value +
           "</Key><Other>" + value + "</Other></CommonSection></r>";
}

/// A common default, or the whole error in words, which begin with its code.
std::string valueOf(QD_OrvelConfig& config, const std::string& key = "Key") {
    std::string value = "left over";
    bool found = false;
    const Error error = errorOf([&] { found = config.getCommonDefault(key.c_str(), value); });
    EXPECT_EQ(found, !value.empty()) << key;
    return error.code == -1 ? value : PrintToString(error);
}

/// "Key" as an object sees it that is made now.
std::string valueAt(const std::string& file) {
    QD_OrvelConfig config(file.c_str());
    return valueOf(config);
}

constexpr auto outdated = R"(1, provider 0 "", hr 2147500035, trace "QD_OrvelConfig::getCommonDefault")";

auto isUnreadable(const std::string& reason) {
    const std::string trace = "(QD_OrvelConfig::loadXMLDOMDocument <- ){2}QD_OrvelConfig::getCommonDefault";
    return MatchesRegex("1, provider 0 \"" + reason + "\", hr [1-9][0-9]*, trace \"" + trace + "\"");
}

/// A value or error as the tables have it.
std::string brief(const std::string& value) {
    return value == outdated ? "outdated" : value.starts_with("1, ") ? "error" : value;
}

std::map<std::string, std::string> table(const std::string& name) {
    std::ifstream file(ORVEL_TEST_DATA + name);
    std::map<std::string, std::string> rows;
    for (std::string left, right; std::getline(file, left, '\t') && std::getline(file, right);) {
        rows.emplace(left, right);
    }
    EXPECT_THAT(rows, Not(IsEmpty())) << name;
    return rows;
}

TEST_F(Config, aLookupFindsTheValueOfItsPlaceOrRaisesItsOwnErrorWithADoubledTrace) {
    const auto check = [this](int code, const std::string& name, auto lookup, auto... names) {
        const auto find = [&](const char* key, bool required) {
            return (samples.*lookup)(names..., key, value, required);
        };
        value = "Key"; // the output may hold the name
        EXPECT_TRUE(find(value.c_str(), true) && value == name) << name;
        EXPECT_TRUE(!find("Absent", false) && value.empty()) << name;
        expectError([&] { find("Absent", true); },
                    {code, 0, "", traceOf(name + " " + name, "QD_OrvelConfig")});
    };
    check(26, "getProviderDefault", &QD_OrvelConfig::getProviderDefault);
    check(26, "getProviderDBProperty", &QD_OrvelConfig::getProviderDBProperty, "Engine");
    check(26, "getDBCommand", &QD_OrvelConfig::getDBCommand, "Engine");
    check(26, "getDBProperty", &QD_OrvelConfig::getDBProperty, "Engine");
    check(25, "getDBDatabaseCommand", &QD_OrvelConfig::getDBDatabaseCommand, "Engine", "Id");
    check(24, "getDBTableCommand", &QD_OrvelConfig::getDBTableCommand, "Engine", "Id");
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST_F(Config, namesTakeTheWayThatTheirPathHasAsAnExpression) {
    for (const auto& [name, expected] : table("names.tsv")) {
        EXPECT_EQ(brief(valueOf(samples, name)), expected) << name;
        EXPECT_EQ(brief(valueOf(samples, " " + name)), expected) << name; // always an expression
    }
    EXPECT_EQ(valueOf(samples, "Lines"), "CREATE TABLE $(tableName)\n        (id INTEGER)");
    EXPECT_TRUE(samples.getDBCommand("Engine", "a/b", value, true) && value == "deeper");
    EXPECT_TRUE(samples.getProviderDBProperty(nullptr, "Key", value, true)); // "//" leads anywhere
    EXPECT_EQ(errorOf([&] { samples.getDBTableCommand("Engine", "[", "Key", value, true); }).code, 1);
    EXPECT_EQ(valueOf(samples, "["), "1, provider 0 \"The path is not valid: (//CommonSection)[1]/[[1]\", hr "
                                     "2147500037, trace \"QD_OrvelConfig::getCommonDefault\"");
    int timeout = 0;
    EXPECT_TRUE(samples.getDefaultTimeout(timeout) && timeout == -5);
}

TEST_F(Config, aDocumentIsReadByItsVersionAndItsEntitiesAndWithoutAnyOtherFile) {
    directory.write("secret.txt", "secret");
    directory.write("secret.dtd", "<!ENTITY e 'from the dtd'>");
    for (const auto& [content, expected] : table("documents.tsv")) {
        QD_OrvelConfig::flushCache();
        EXPECT_EQ(brief(valueAt(directory.write("document", content))), expected) << content;
    }
    for (const fs::path& bomb : fs::directory_iterator(ORVEL_TEST_DATA "bombs")) {
        EXPECT_THAT(valueAt(bomb), isUnreadable(".+")) << bomb; // it would expand without measure
    }
}

TEST_F(Config, aDocumentIsReadInItsDeclaredEncodingAndHandedOutInTheNarrowOne) {
    for (const fs::path& sample : fs::directory_iterator(ORVEL_TEST_DATA "encodings")) {
        QD_OrvelConfig::flushCache();
        fs::copy(sample, "copy");
        QD_OrvelConfig config("copy");
        EXPECT_EQ(valueOf(config), valueOf(config, "Expected")) << sample;
        fs::remove("copy"); // the next object finds the cache alone
        EXPECT_EQ(valueAt("copy"), valueOf(config, "Expected")) << sample;
    }
    ASSERT_EQ(valueOf(samples, "Missing"), "") << "is read now: the path to it may not be ISO-8859-1";
    const Locale latin1("de_DE.ISO-8859-1");
    EXPECT_EQ(valueOf(samples, "Gr\xf6\xdf\x65"), "gro\xdf");
    EXPECT_EQ(valueOf(samples, "Euro"),
              R"(1, provider 1 "Runtime Exception", hr 0, trace "QD_OrvelConfig::getCommonDefault")");
    EXPECT_EQ(valueAt(directory.write("outdated", keyed("k", "1&#8364;"))), outdated);
    EXPECT_EQ(valueAt(directory.write("current", keyed("k", "2&#8364;"))), "k") << "the version needs none";
}

TEST_F(Config, aDocumentHasAValueNoneOrCode1WhicheverByteIsWrong) {
    const std::string whole = directory.read(ORVEL_TEST_DATA "4KiB.xml");
    std::map<std::string, int> seen;
    internal::CaptureStderr();
    for (std::size_t i = 0; i < whole.size(); ++i) {
        std::string flipped = whole;
        flipped[i] = static_cast<char>(flipped[i] ^ (1 << i % 8));
        for (const std::string& content : {flipped, whole.substr(0, i)}) {
            QD_OrvelConfig::flushCache();
            QD_OrvelConfig config(directory.write("damaged", content).c_str());
            for (const char* name : {"Key", " Key"}) {
                const std::string found = brief(valueOf(config, name));
                ++seen[found == "error" || found == "outdated" || found.empty() ? found : "value"];
            }
        }
    }
    EXPECT_EQ(internal::GetCapturedStderr(), "");
    EXPECT_THAT(seen, UnorderedElementsAre(Pair("", Gt(20)), Pair("error", Gt(1000)), Pair("outdated", Gt(1)),
                                           Pair("value", Gt(500))));
}

TEST_F(Config, isLoadedOnceForEachNameUntilTheCacheIsFlushed) {
    QD_OrvelConfig first("a.xml");
    directory.write("a.xml", keyed("old"));
    EXPECT_EQ(valueOf(first), "old");
    directory.write("a.xml", keyed("new"));
    directory.write("A.xml", keyed("capital"));
    EXPECT_EQ(valueAt("a.xml"), "old");
    EXPECT_EQ(valueAt("A.xml"), "capital");
    EXPECT_EQ(valueAt(".\\a.xml"), "new");
    QD_OrvelConfig::flushCache();
    EXPECT_EQ(valueAt("a.xml"), "new");
    EXPECT_EQ(valueOf(first) + valueOf(first, " Key"), "oldold");
}

TEST_F(Config, aLookupCostsTheSameAmongAnyNumberOfSiblings) {
    std::string siblings;
    for (int i = 0; i < 20'000; ++i) siblings += "<T" + std::to_string(i) + ">t</T" + std::to_string(i) + ">";
    directory.write("file", "<r><MinorVersion>2</MinorVersion><CommonSection>" + siblings +
                                "<T0>second</T0></CommonSection></r>");
    QD_OrvelConfig config("file");
    const auto timeOf = [&config](const std::string& key) {
        auto best = steady_clock::duration::max();
        for (int round = 0; round < 200; ++round) {
            const auto start = steady_clock::now();
            EXPECT_EQ(valueOf(config, key), "t") << key;
            best = std::min(best, steady_clock::now() - start);
        }
        return best;
    };
    const auto first = timeOf("T0");
    EXPECT_LT(timeOf("T19999"), 10 * first);
}

TEST_F(Config, aMissingOrOutdatedFileIsReplacedByTheMasterWhateverItsVersion) {
    for (const char* version : {"2", "1"}) {
        QD_OrvelConfig::flushCache();
        setMaster(directory.write("master", keyed("master", version)));
        fs::permissions("master", fs::perms(0644));
        fs::permissions(directory.write("outdated", keyed("outdated", "1")), fs::perms(0575));
        fs::create_symlink("outdated", "link");
        for (const auto& [file, expected] : {std::pair("missing", 0444), std::pair("link", 0555)}) {
            EXPECT_EQ(valueAt(file), "master");
            EXPECT_EQ(directory.read(file), keyed("master", version));
            EXPECT_EQ(mode(file), expected);
        }
        EXPECT_TRUE(fs::is_symlink("link") && fs::remove("link") && fs::remove("missing"));
    }
    EXPECT_EQ(filesHere(), 2) << "no litter";
}

TEST_F(Config, aReaderMeetsTheOldFileOrTheWholeNewOneWhenever) {
    const std::string master = keyed(std::string(300'000, 'm')), old = keyed(std::string(30'000, 'o'), "1");
    setMaster(directory.write("master", master));
    directory.write("file", old);
    std::atomic<bool> reads = true;
    const std::jthread copying([&] {
        for (int round = 0; round < 100; ++round) {
            fs::rename(directory.write("next", old), "file");
            QD_OrvelConfig::flushCache();
            EXPECT_EQ(valueAt("file").size(), 300'000U);
        }
        reads = false;
    });
    while (reads) {
        const std::string seen = directory.read("file");
        ASSERT_TRUE(seen == old || seen == master) << seen.size() << " bytes";
    }
}

TEST_F(Config, anOutdatedFileWithoutAUsableMasterFailsEveryLoadAndIsWritableThen) {
    fs::create_hard_link(directory.write("file", keyed("outdated", "1")), "alias");
    directory.write("too large", std::string(200'000, 'x'));
    ASSERT_EQ(::mkfifo("pipe", 0600), 0);
    fs::permissions("file", fs::perms(0444));
    QD_OrvelConfig config("file");
    EXPECT_EQ(valueOf(config), outdated);
    const auto* const line =
        "CATCH ... : QD_OrvelConfig, Line [0-9]+, .*getCommonDefault - Invalid pointer\n";
    EXPECT_THAT(DiagnosticLines::all(), ElementsAre(MatchesRegex(line)));
    EXPECT_EQ(mode("file"), 0644);
    const rlimit limited{100'000, RLIM_INFINITY}; // as if the disk were full
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    EXPECT_TRUE(::getrlimit(RLIMIT_FSIZE, &usual) == 0 && ::setrlimit(RLIMIT_FSIZE, &limited) == 0);
    for (const char* master : {"missing", ".", "pipe", "alias", "too large"}) {
        setMaster(master);
        EXPECT_EQ(valueAt("file"), outdated) << master;
        EXPECT_EQ(directory.read("file"), keyed("outdated", "1")) << master;
    }
    ::setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(filesHere(), 4) << "no litter";
    directory.write("file", keyed("mended"));
    EXPECT_EQ(valueOf(config), "mended") << "unlike after a failed parse";
}

TEST_F(Config, aFileThatCannotBeReadIsCode1WithTheReasonAndLeftAlone) {
    setMaster("no master");
    EXPECT_THAT(valueAt("missing"), isUnreadable("Cannot read missing: No such file or directory"));
    EXPECT_THAT(valueAt("."), isUnreadable("Cannot read .: Is a directory"));
    EXPECT_THAT(valueAt("/dev/zero"), isUnreadable("Cannot read /dev/zero: Operation not supported"));
    QD_OrvelConfig unnamed(nullptr);
    EXPECT_THAT(valueOf(unnamed), isUnreadable("Cannot read : No such file or directory"));
    setMaster(directory.write("master", keyed("master")));
    directory.write("file", "<r>\n");
    QD_OrvelConfig config("file");
    EXPECT_THAT(valueOf(config), isUnreadable("Cannot read file: .+ \\(line 2\\)"));
    EXPECT_EQ(directory.read("file"), "<r>\n");
    directory.write("file", keyed("mended"));
    EXPECT_EQ(valueOf(config), "") << "it stays empty";
    EXPECT_EQ(brief(valueOf(config, "[")), "error");
    int timeout = 1;
    EXPECT_TRUE(!config.getDefaultTimeout(timeout) && timeout == 0);
    EXPECT_EQ(valueAt("file"), "mended") << "nothing was cached";
    directory.write("twice", "<r>\n<a b='1' b='2'/>\n<c xmlns='relative'/></r>");
    EXPECT_THAT(valueAt("twice"), isUnreadable("Cannot read twice: Attribute b redefined \\(line 2\\)"))
        << "the error, not the remark behind it";
}

TEST_F(Config, anApplicationDefaultTakesAndHandsOutTheValueOfItsType) {
    std::string seen;
    for (int kind : {1, 2, 3, 4, 5, 1, 2, 3, 4, 5}) {
        int number = -1;
        value = "-";
        QD_OrvelConfig::getAppDefaultValue(static_cast<QD_OrvelAppDefault>(kind), &value, &number);
        setDefault(kind, 10 * kind, "text" + std::to_string(kind));
        seen += value + std::to_string(number) + " ";
    }
    EXPECT_EQ(seen, "OrvelConfig.xml-1 -4 -4 -0 -1 text1-1 -20 -30 -40 text5-1 ");
}

/// ORVEL_STRESS_SECONDS makes it longer than what a run of all tests can bear.
TEST_F(Config, threadsSeeOneVersionOfTheFileEachWhileOthersFlushAndSetDefaults) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread runs yet
    const char* const seconds = std::getenv("ORVEL_STRESS_SECONDS");
    const auto end = steady_clock::now() + std::chrono::seconds(seconds != nullptr ? std::stol(seconds) : 1);
    directory.write("file", keyed("0"));
    std::vector<std::jthread> threads;
    threads.reserve(8);
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, next = std::to_string(thread)] {
            for (int round = 0; steady_clock::now() < end; ++round) {
                QD_OrvelConfig config("file");
                const std::string key = valueOf(config);
                EXPECT_TRUE(QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, "file").isValid());
                EXPECT_THAT(key, AllOf(Ne(""), valueOf(config, round % 4 == 0 ? "*[2]" : "Other")));
                if (round % 8 == 0) {
                    fs::rename(directory.write(next, keyed(std::to_string(round))), "file");
                    QD_OrvelConfig::flushCache();
                }
                setDefault(round % 5 + 1, round, key);
            }
        });
    }
}

} // namespace
