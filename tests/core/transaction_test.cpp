#include "QD_OrvelTransaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "QD_SQOrvelConnection.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#else
namespace {
void __lsan_disable() {} // NOLINT(bugprone-reserved-identifier): the sanitizer's own names
void __lsan_enable() {}  // NOLINT(bugprone-reserved-identifier): the sanitizer's own name
} // namespace
#endif

namespace {

using orvel::tests::DiagnosticLines;
using orvel::tests::Error;
using orvel::tests::errorOf;
using testing::ElementsAre;
using testing::MatchesRegex;

std::string calls; // outlives every connection

/// Notes the transaction calls that reach it and fails the one it is told to.
class Scripted : public QD_SQOrvelConnection {
public:
    Scripted(const char* configFile, const char* failingCall)
        : QD_SQOrvelConnection(configFile), failing(failingCall) {}
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
        if (operation == failing) {
            throw QD_OrvelException(QD_ORVEL_ERR_BUSY, "Scripted", 5, "locked", 0);
        }
    }
};

class Transaction : public orvel::tests::SqliteTest {
protected:
    /// Begins in its construction for "B"; b, c and a call begin, commit and abort; errors are noted, too.
    static void run(QD_OrvelConnectionHandle connection, const std::string& steps, const char* name) {
        calls.clear();
        const Error error = errorOf([&] {
            QD_OrvelTransaction transaction(connection, 6, steps.starts_with('B'), name);
            connection.release(); // the transaction keeps it
            for (const char step : steps) {
                const Error failure = errorOf([&] {
                    step == 'b'   ? transaction.begin()
                    : step == 'c' ? transaction.commit()
                    : step == 'a' ? transaction.abort()
                                  : void();
                });
                calls += failure.code < 0 ? "" : std::to_string(failure.code) + " " + failure.trace + ";";
            }
        });
        calls += error.code < 0 ? "" : "throws " + std::to_string(error.code) + " " + error.trace;
    }
};

TEST_F(Transaction, reachesTheProviderOnceForEachChangeOfState) {
    using Row = std::tuple<const char*, const char*, const char*>;
    for (const auto& [steps, failing, expected] :
         {Row{"", "", ""}, Row{"B", "", "begin 6n;abort n;"}, Row{"Bcc", "", "begin 6n;commit n;"},
          Row{"bbca", "", "begin 6n;commit n;"}, Row{"ca", "", ""}, Row{"Baa", "", "begin 6n;abort n;"},
          Row{"bcb", "", "begin 6n;commit n;begin 6n;abort n;"},
          Row{"Bc", "commit", "begin 6n;commit n;31 Scripted;abort n;"},
          Row{"b", "begin", "begin 6n;31 Scripted;"}}) {
        run(QD_OrvelConnectionHandle(new Scripted(config.c_str(), failing)), steps, "n");
        EXPECT_EQ(calls, std::string(expected) + "gone;") << steps;
    }
}

TEST_F(Transaction, aFailedAbortAtItsEndIsLoggedAndSwallowed) {
    const DiagnosticLines lines;
    run(QD_OrvelConnectionHandle(new Scripted(config.c_str(), "abort")), "B", nullptr);
    EXPECT_EQ(calls, "begin 6;abort ;gone;");
    EXPECT_THAT(
        DiagnosticLines::all(),
        ElementsAre(MatchesRegex("CATCH\\.\\.\\. : QD_OrvelInterface, Line [0-9]+, "
                                 "QD_OrvelTransaction::~QD_OrvelTransaction - Runtime exception caught\n")));
}

TEST_F(Transaction, aBeginThatFailsInItsConstructionKeepsTheConnectionForGood) {
    const DiagnosticLines lines;
    __lsan_disable();
    run(QD_OrvelConnectionHandle(new Scripted(config.c_str(), "begin")), "B", "");
    EXPECT_EQ(calls, "begin 6;throws 31 Scripted");
    run(QD_OrvelConnectionHandle(), "B", "");
    EXPECT_EQ(calls, "throws 12 QD_OrvelTransaction::begin");
    __lsan_enable();
    run(QD_OrvelConnectionHandle(), "b", "");
    EXPECT_EQ(calls, "12 QD_OrvelTransaction::begin;");
    EXPECT_EQ(DiagnosticLines::all().size(), 0U);
}

static_assert(sizeof(QD_OrvelTransaction) == sizeof(void*));

} // namespace
