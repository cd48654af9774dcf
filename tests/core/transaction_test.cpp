#include "QD_OrvelTransaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "QD_OrvelException.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#else
namespace {
void __lsan_disable() {} // NOLINT(bugprone-reserved-identifier): the sanitizer's own names
void __lsan_enable() {}  // NOLINT(bugprone-reserved-identifier)
} // namespace
#endif

namespace {

using orvel::tests::DiagnosticLines;
using orvel::tests::Error;
using orvel::tests::errorOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

using Calls = std::vector<std::string>;

/// A connection that notes the transaction calls that reach it and fails the one it is told to.
class Scripted : public QD_OrvelConnection {
public:
    explicit Scripted(Calls& noted) : calls(noted) {}
    Scripted(const Scripted&) = delete;
    Scripted& operator=(const Scripted&) = delete;
    ~Scripted() override { calls.emplace_back("gone"); }

    std::string failing;

    void open(const char*, const char*, unsigned int) override {}
    bool isOpen() const override { return true; }
    void close() override {}
    int getTables(std::vector<std::string>&) override { return 0; }
    int getTableColumnNames(const char*, std::vector<std::string>&) override { return 0; }
    int getTableRowCount(const char*) override { return 0; }
    bool tableExists(const char*) override { return false; }
    void createTable(const char*, const char*) override {}
    void alterTable(const char*, unsigned int, const char*) override {}
    void dropTable(const char*) override {}
    int execNoQuery(const char*, unsigned int) override { return 0; }
    QD_OrvelQueryHandle execQuery(const char*, unsigned int) override { return QD_OrvelQueryHandle(); }
    int execQueryScalar(const char*, unsigned int) override { return 0; }
    QD_OrvelCommandHandle createCommand(const char*, unsigned int) override {
        return QD_OrvelCommandHandle();
    }
    void setBusyTimeout(int) override {}
    long long getLastInsertedId() override { return 0; }
    const char* getProvider() const override { return ""; }
    const char* getVersion() const override { return ""; }
    bool isClientServer() const override { return false; }
    void compressDatabase() override {}
    bool databaseExists(const char*, const char*) override { return false; }
    void createDatabase(const char*, const char*, const char*, unsigned int) override {}
    void dropDatabase(const char*, const char*) override {}
    void getDBCommand(const char*, std::string&, bool) override {}

protected:
    void beginTransaction(unsigned int flags, const char* name) override {
        note("begin", " " + std::to_string(flags) + " " + name);
    }
    void commitTransaction(const char* name) override { note("commit", std::string(" ") + name); }
    void abortTransaction(const char* name) override { note("abort", std::string(" ") + name); }

private:
    Calls& calls;

    void note(const std::string& operation, const std::string& arguments) {
        calls.push_back(operation + arguments);
        if (operation == failing) {
            throw QD_OrvelException(QD_ORVEL_ERR_BUSY, "Scripted", 5, "locked", 0);
        }
    }
};

class Transaction : public testing::Test {
protected:
    Calls calls;
    Scripted* scripted = new Scripted(calls);
    QD_OrvelConnectionHandle connection{scripted};
};

TEST_F(Transaction, reachesTheProviderOnceForEachChangeOfState) {
    struct Case {
        const char* steps; // b, c and a call begin, commit and abort; B begins in the constructor
        std::vector<std::string> expected;
    };
    for (const Case& item :
         {Case{"", {}}, Case{"B", {"begin 6 n", "abort n"}}, Case{"Bcc", {"begin 6 n", "commit n"}},
          Case{"bbca", {"begin 6 n", "commit n"}}, Case{"ca", {}}, Case{"Baa", {"begin 6 n", "abort n"}},
          Case{"bcb", {"begin 6 n", "commit n", "begin 6 n", "abort n"}}}) {
        calls.clear();
        {
            QD_OrvelTransaction transaction(connection, 6, *item.steps == 'B', "n");
            for (const char* step = item.steps; *step != '\0'; ++step) {
                switch (*step) {
                case 'b':
                    transaction.begin();
                    break;
                case 'c':
                    transaction.commit();
                    break;
                case 'a':
                    transaction.abort();
                    break;
                default:
                    break;
                }
            }
        }
        EXPECT_EQ(calls, item.expected) << item.steps;
    }
}

TEST_F(Transaction, aNullNameIsEmpty) {
    {
        const QD_OrvelTransaction transaction(connection, 0, true, nullptr);
    }
    EXPECT_THAT(calls, ElementsAre("begin 0 ", "abort "));
}

TEST_F(Transaction, aFailedCommitLeavesItActiveForItsEndToAbort) {
    {
        QD_OrvelTransaction transaction(connection, 0, true, "");
        scripted->failing = "commit";
        EXPECT_EQ(errorOf([&] { transaction.commit(); }), (Error{31, 5, "locked", "Scripted", 0}));
    }
    EXPECT_THAT(calls, ElementsAre("begin 0 ", "commit ", "abort "));
}

TEST_F(Transaction, aFailedAbortAtItsEndIsLoggedAndSwallowed) {
    const DiagnosticLines lines;
    scripted->failing = "abort";
    {
        const QD_OrvelTransaction transaction(connection, 0, true, "");
    }
    EXPECT_THAT(calls, ElementsAre("begin 0 ", "abort "));
    EXPECT_THAT(
        DiagnosticLines::all(),
        ElementsAre(MatchesRegex("CATCH\\.\\.\\. : QD_OrvelInterface, Line [0-9]+, "
                                 "QD_OrvelTransaction::~QD_OrvelTransaction - Runtime exception caught\n")));
}

TEST_F(Transaction, withoutAConnectionItCannotBeginButEndsQuietly) {
    QD_OrvelConnectionHandle none;
    const DiagnosticLines lines;
    const Error notOpen{12, 0, "", "QD_OrvelTransaction::begin", 0};
    {
        QD_OrvelTransaction transaction(none, 0, false, "");
        EXPECT_EQ(errorOf([&] { transaction.begin(); }), notOpen);
    }
    __lsan_disable(); // the state of a begin that fails in the constructor is kept for good
    EXPECT_EQ(errorOf([&] { const QD_OrvelTransaction transaction(none, 0, true, ""); }), notOpen);
    __lsan_enable();
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST_F(Transaction, keepsItsConnectionAliveUntilItHasAborted) {
    {
        const QD_OrvelTransaction transaction(connection, 0, true, "");
        connection.release();
        EXPECT_THAT(calls, ElementsAre("begin 0 "));
    }
    EXPECT_THAT(calls, ElementsAre("begin 0 ", "abort ", "gone"));
}

TEST(TransactionInConstruction, aBeginThatFailsKeepsTheConnectionForGood) {
    static Calls calls; // outlived by the connection
    __lsan_disable();
    auto* scripted = new Scripted(calls);
    QD_OrvelConnectionHandle connection(scripted);
    scripted->failing = "begin";
    EXPECT_EQ(errorOf([&] { const QD_OrvelTransaction transaction(connection, 0, true, ""); }),
              (Error{31, 5, "locked", "Scripted", 0}));
    __lsan_enable();
    connection.release();
    EXPECT_THAT(calls, ElementsAre("begin 0 "));
}

static_assert(sizeof(QD_OrvelTransaction) == sizeof(void*));

} // namespace
