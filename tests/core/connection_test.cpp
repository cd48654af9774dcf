// What all providers share: the factory with the application defaults, and the transaction object.

#include <gmock/gmock.h>

#include <functional>
#include <tuple>

#include "QD_OrvelTransaction.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/leaks.h"
#include "tests/support/sqlite_test.h"

namespace {

using namespace orvel::tests;

std::string errorAfter(const std::string& functions) {
    return "26 " + traceOf(functions + " QD_OrvelConnection::create", "QD_OrvelConfig");
}
const std::string missing = errorAfter("getProviderDefault getProviderDefault");
const std::string passedOn = errorAfter("getDBProperty getDBProperty"); // the provider misses something else

class Factory : public testing::Test {
protected:
    ~Factory() override {
        set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "OrvelConfig.xml");
        set(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, 4);
        set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 4);
    }

    TemporaryDirectory directory;

    static void set(int slot, int value, const char* text = nullptr) {
        QD_OrvelConnection::setAppDefault(static_cast<QD_OrvelAppDefault>(slot), value, text);
    }
    void write(const std::string& common, const std::string& defaults = "") const {
        QD_OrvelConnection::flushDBConfig();
        directory.write("c.xml", "<c><MinorVersion>2</MinorVersion><CommonSection>" + common +
                                     "</CommonSection><ProviderSection><ADO><Defaults>" + defaults +
                                     "</Defaults></ADO></ProviderSection></c>");
    }

    /// The provider's name, or the error.
    static std::string made(int provider, const char* file = "c.xml", const char* database = nullptr,
                            const char* instance = nullptr) {
        std::string name;
        const Error error = errorOf([&] {
            const auto kind = static_cast<QD_OrvelProvider>(provider);
            name = QD_OrvelConnection::create(kind, file, nullptr, database, instance)->getProvider();
        });
        return error.code < 0 ? name : std::to_string(error.code) + " " + error.trace + error.provText;
    }
};

TEST_F(Factory, providersComeFromTheArgumentTheSlotsOrTheFile) {
    const std::string refused = "2 QD_OrvelConnection::create <- QD_OrvelConnection::create";
    write("<DefaultProvider>SQLite</DefaultProvider>");
    for (const int provider : {1, 2, 3, 4}) EXPECT_EQ(made(provider), "SQLITE") << provider;
    for (const int provider : {0, 6, -1}) EXPECT_EQ(made(provider), refused) << provider;
    for (const int slot : {0, 1, 2, 6}) {
        set(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, slot);
        EXPECT_EQ(made(1) + made(2), refused + "SQLITE") << slot << " is not resolved again";
    }
    set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 3);
    for (const auto& [text, expected] :
         {std::pair("ADO", missing), {"aDo", missing}, {"ADO2", "SQLITE"}, {"A", "SQLITE"}, {"", "SQLITE"}}) {
        write(std::string("<DefaultProvider>") + text + "</DefaultProvider>");
        EXPECT_EQ(made(3) + made(2), expected + expected) << text;
    }
    write("");
    EXPECT_EQ(made(3), "SQLITE");
    set(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, 5);
    EXPECT_EQ(made(2), missing);
}

TEST_F(Factory, adoNeedsADatabaseAndAnInstanceButNoServer) {
    const std::string database = "<Database>Engine</Database>", instance = "<Instance>i</Instance>";
    using Row = std::tuple<std::string, const char*, const char*, std::string>;
    for (const auto& [defaults, databaseArgument, instanceArgument, expected] :
         {Row{database, nullptr, nullptr, missing}, Row{instance, nullptr, nullptr, missing},
          Row{database + instance, nullptr, nullptr, passedOn}, Row{"", "", nullptr, missing},
          Row{instance, "", nullptr, passedOn}, Row{database, nullptr, "", passedOn},
          Row{"", "", "", passedOn}}) {
        write("", defaults);
        EXPECT_EQ(made(5, "c.xml", databaseArgument, instanceArgument), expected) << defaults;
    }
}

TEST_F(Factory, theFileNameComesFromTheArgumentOrElseFromItsSlot) {
    write("");
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "none.xml");
    EXPECT_EQ(made(4), "SQLITE");
    for (const char* empty : {"", static_cast<const char*>(nullptr)}) EXPECT_EQ(made(4, empty)[0], '1');
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "c.xml");
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, nullptr); // leaves it as it is
    for (const int unknown : {0, 6, -1}) set(unknown, 9, "nowhere");
    EXPECT_EQ(made(1, ""), "SQLITE");
    set(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "");
    EXPECT_EQ(made(4, "")[0], '1') << "the empty name is tried as it is";
}

std::string calls; // outlives every connection

/// Notes the transaction calls that reach it and fails the one it is told to.
class Scripted : public QD_SQOrvelConnection {
public:
    Scripted(const std::string& configFile, const char* failingCall)
        : QD_SQOrvelConnection(configFile.c_str()), failing(failingCall) {}
    ~Scripted() override { calls += "gone;"; }

protected:
    void beginTransaction(unsigned int flags, const char* name) override {
        note("begin", std::to_string(flags) + name);
    }
    void commitTransaction(const char* name) override { note("commit", name); }
    void abortTransaction(const char* name) override { note("abort", name); }

private:
    std::string failing;

    void note(const std::string& operation, const std::string& arguments) const {
        calls += operation + " " + arguments + ";";
        if (operation == failing) throw QD_OrvelException(QD_ORVEL_ERR_BUSY, "Scripted", 5, "locked", 0);
    }
};

class Transaction : public SqliteTest {
protected:
    const DiagnosticLines lines;

    QD_OrvelConnectionHandle scripted(const char* failing) const {
        return QD_OrvelConnectionHandle(new Scripted(config, failing));
    }
    static void noteErrorOf(const std::function<void()>& body) {
        const Error error = errorOf(body);
        calls += error.code < 0 ? "" : "throws " + std::to_string(error.code) + " " + error.trace + ";";
    }
    /// The calls and errors of a transaction that begins in its construction for "B"; b, c and a call begin,
    /// commit and abort.
    static std::string lifeOf(QD_OrvelConnectionHandle handle, const std::string& steps, const char* name) {
        calls.clear();
        noteErrorOf([&] {
            QD_OrvelTransaction transaction(handle, 6, steps.starts_with('B'), name);
            handle.release(); // the transaction keeps it
            for (const char step : steps) {
                if (step == 'b') noteErrorOf([&] { transaction.begin(); });
                if (step == 'c') noteErrorOf([&] { transaction.commit(); });
                if (step == 'a') noteErrorOf([&] { transaction.abort(); });
            }
        });
        handle.release(); // if its construction failed
        return calls;
    }
};

TEST_F(Transaction, reachesTheProviderOnceForEachChangeOfState) {
    using Row = std::tuple<const char*, const char*, const char*>;
    for (const auto& [steps, failing, expected] :
         {Row{"", "", ""}, Row{"B", "", "begin 6n;abort n;"}, Row{"Bcc", "", "begin 6n;commit n;"},
          Row{"bbca", "", "begin 6n;commit n;"}, Row{"ca", "", ""}, Row{"Baa", "", "begin 6n;abort n;"},
          Row{"bcb", "", "begin 6n;commit n;begin 6n;abort n;"},
          Row{"Bc", "commit", "begin 6n;commit n;throws 31 Scripted;abort n;"},
          Row{"b", "begin", "begin 6n;throws 31 Scripted;"}}) {
        EXPECT_EQ(lifeOf(scripted(failing), steps, "n"), std::string(expected) + "gone;") << steps;
    }
    EXPECT_EQ(lifeOf(QD_OrvelConnectionHandle(), "b", ""), "throws 12 QD_OrvelTransaction::begin;");
    const LeaksAllowed here; // what a begin that fails in the construction keeps for good
    EXPECT_EQ(lifeOf(QD_OrvelConnectionHandle(), "B", ""), "throws 12 QD_OrvelTransaction::begin;");
    EXPECT_EQ(lifeOf(scripted("begin"), "B", ""), "begin 6;throws 31 Scripted;");
    EXPECT_EQ(DiagnosticLines::all().size(), 0U);
}

TEST_F(Transaction, aFailedAbortAtItsEndIsLoggedAndSwallowed) {
    EXPECT_EQ(lifeOf(scripted("abort"), "B", nullptr), "begin 6;abort ;gone;");
    const auto* const line = "CATCH\\.\\.\\. : QD_OrvelInterface, Line [0-9]+, "
                             "QD_OrvelTransaction::~QD_OrvelTransaction - Runtime exception caught\n";
    EXPECT_THAT(DiagnosticLines::all(), testing::ElementsAre(testing::MatchesRegex(line)));
}

static_assert(sizeof(QD_OrvelTransaction) == sizeof(void*));

} // namespace
