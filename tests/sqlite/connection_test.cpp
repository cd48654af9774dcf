// Connections, their statements and their transactions on real SQLite files.

#include "QD_SQOrvelConnection.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <chrono>
#include <functional>
#include <tuple>
#include <utility>

#include "QD_SQOrvelException.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/large_text.h"
#include "tests/support/locale.h"
#include "tests/support/sqlite_test.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::string tracedBy(const std::function<void()>& body) {
    testing::internal::CaptureStderr();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
    body();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    return testing::internal::GetCapturedStderr();
}

/// Overrides `close` against its contract.
class ThrowingAtClose : public SqliteProbe {
public:
    using SqliteProbe::SqliteProbe;
    void close() override { throw 1; }
};

using SqliteConnection = SqliteTest;

TEST_F(SqliteConnection, opensTheFileOfThatNameInThatDirectory) {
    using Row = std::tuple<const char*, const char*, const char*>;
    for (const auto& [name, place, expected] :
         {Row{"Parts", "C:\\Data", "C:\\Data\\Parts.db3"}, Row{"Parts", "C:\\Data\\", "C:\\Data\\Parts.db3"},
          Row{"Parts", "C:/Data/", "C:/Data/\\Parts.db3"}, Row{"Parts", nullptr, ".\\Parts.db3"},
          Row{"Parts", "", ".\\Parts.db3"}, Row{nullptr, "\\", "\\.db3"}}) {
        std::string out = "before";
        probe->getDBPathName(name, place, out);
        EXPECT_EQ(out, expected);
    }
    std::filesystem::create_directory("file:x"); // a name like any other, not a URI
    for (const std::string& place : {std::string("file:x"), path, path + "\\", path + "/", std::string()}) {
        connection = closed();
        connection->open("Parts", place.c_str(), 0);
        EXPECT_EQ(connection->getLastInsertedId(), 0);
        run("CREATE TABLE IF NOT EXISTS t (a); INSERT INTO t VALUES (1)");
    }
    EXPECT_EQ(rows(), 4);
    EXPECT_TRUE(std::filesystem::exists("file:x/Parts.db3"));
}

TEST_F(SqliteConnection, aFailingOpenNamesTheFileAndLeavesNothingOpen) {
    const QD_OrvelConnectionHandle throwing(new ThrowingAtClose(config));
    const DiagnosticLines lines;
    for (const auto& opening : {closed(), throwing}) {
        EXPECT_EQ(outcome([&, &on = opening] { on->open("Parts", "missing", 0); }),
                  "4/14 unable to open database file missing\\Parts.db3 [open open]");
        EXPECT_FALSE(opening->isOpen());
        EXPECT_EQ(opening->getLastInsertedId(), 0);
    }
    EXPECT_THAT(DiagnosticLines::all(), ElementsAre(StartsWith("CATCH... : QD_SQOrvelInterface")))
        << "of the close that throws";
    EXPECT_THROW(closed()->open("Parts", "missing", 0), QD_SQOrvelException);
    EXPECT_STREQ(connection->getProvider(), "SQLITE");
    EXPECT_STREQ(connection->getVersion(), "3.3.5");
    EXPECT_FALSE(connection->isClientServer());
}

TEST_F(SqliteConnection, runsEveryStatementOfATextUpToAFailingOne) {
    const QD_OrvelConnectionHandle other = opened();
    for (const auto& [sql, expected] :
         {std::pair("CREATE TABLE t (a UNIQUE); INSERT INTO t VALUES (1);; INSERT INTO t VALUES (2)", "1"),
          {"UPDATE t SET a = a + 10", "2"},
          {"SELECT * FROM t; -- nothing more", "2"},
          {" \n/* a comment */ ", "2"},
          {"INSERT INTO t VALUES (3); CREATE TABL u (a)",
           "34/1 near \"TABL\": syntax error [compile compile execNoQuery]"},
          {"INSERT INTO t VALUES (4); INSERT INTO t VALUES (4); DELETE FROM t",
           "34/19 UNIQUE constraint failed: t.a [execNoQuery execNoQuery]"},
          {"SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)",
           "34/1 integer overflow [execNoQuery execNoQuery]"},
          {"DELETE FROM t", "4"}}) {
        EXPECT_EQ(outcome([&, text = sql] { return run(text); }), expected) << sql;
        other->execNoQuery("CREATE TABLE u (a); DROP TABLE u", 0); // what others change meets no statement
    }
    EXPECT_EQ(connection->getLastInsertedId(), 4);
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(outcome([&] { query("SELECT * FROM missing"); }),
              "34/1 no such table: missing [compile compile execQuery]");
}

TEST_F(SqliteConnection, compilingTellsWhereTheRestBegins) {
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    EXPECT_EQ(probe->compile("SELECT 1; SELECT 2", &statement, &tail) + sqlite3_finalize(statement), 0);
    EXPECT_EQ(errorOf([&] { probe->compile("nonsense", &statement, &tail); }).code, 34);
    EXPECT_EQ(statement, nullptr);
    EXPECT_STREQ(tail, " SELECT 2") << "as it was";
    for (const char* nothing : {"", "-- nothing"}) EXPECT_EQ(probe->compile(nothing), nullptr);
    EXPECT_EQ(outcome([&] { probe->compile(nullptr); }), "22/0 [QD_OrvelTools::throwOnNullString compile]");
}

TEST_F(SqliteConnection, theBusyTimeoutComesFromTheConfigurationAndOutlivesClosing) {
    using Row = std::pair<const char*, int>;
    for (const auto& [value, expected] : {Row{"", 30000}, Row{"2500", 2500}, Row{"2500abc", 2500},
                                          Row{"0", 30000}, Row{"-5", 30000}, Row{"abc", 30000}}) {
        configure("", std::string("<DefaultTimeout>") + value + "</DefaultTimeout>");
        EXPECT_EQ(ask("PRAGMA busy_timeout"), expected) << value;
    }
    connection->close();
    connection->setBusyTimeout(100);
    connection->open("Parts", nullptr, 0);
    reopen();
    const QD_OrvelConnectionHandle writer = opened();
    writer->execNoQuery("BEGIN IMMEDIATE", 0);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(outcome([&] { run("CREATE TABLE t (a)"); }),
              "31/5 database is locked [execNoQuery execNoQuery]");
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(100));
}

TEST_F(SqliteConnection, anotherNarrowEncodingIsConvertedOnEveryWay) {
    {
        const Locale latin1("de_DE.ISO-8859-1");
        connection = opened("Ma\xdf");
        EXPECT_EQ(text("PRAGMA encoding"), "UTF-8");
        run("CREATE TABLE t (ma\xdf TEXT); INSERT INTO t VALUES ('\xe9')");
        with(command("INSERT INTO t SELECT ma\xdf || ? FROM t"), "\xdf\xe4")->execNoQuery(0);
        run("INSERT INTO t VALUES (char(8364))"); // not in ISO-8859-1
        const QD_OrvelQueryHandle found = query("SELECT ma\xdf FROM t");
        found->nextRow();
        EXPECT_EQ(textOf(found, "ma\xdf"), "\xe9\xdf\xe4");
        found->nextRow();
        std::string value = "before";
        EXPECT_FALSE(found->getStringField(0, value)) << "logs a line";
        EXPECT_EQ(value, "");
        found->getFieldName(0, value);
        EXPECT_EQ(value, "ma\xdf");
        std::vector<std::string> names;
        connection->getTableColumnNames("t", names);
        EXPECT_THAT(names, ElementsAre("ma\xdf"));
        EXPECT_EQ(errorOf([&] { run("SELECT 1 FROM \xe9"); }).provText, "no such table: \xe9");
    }
    EXPECT_THAT(directory.read("Ma\u00df.db3"), HasSubstr("\u00e9\u00df\u00e4"));
}

TEST_F(SqliteConnection, closingLeavesLivingStatementsWorkingAndTheLastOfThemClosesTheFile) {
    run("CREATE TABLE t (a); INSERT INTO t VALUES (1), (2)");
    QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (3), (4)");
    probe->beginTransaction(2, "");
    run("DELETE FROM t");
    connection->close();
    EXPECT_FALSE(isLocked()) << "the transaction is rolled back and keeps nobody from writing";
    EXPECT_EQ(outcome([&] { probe->abortTransaction(""); }),
              "12/1000 Null Database pointer [checkDB abortTransaction]");
    connection->open("Parts", nullptr, 0);
    insert = (run("BEGIN IMMEDIATE"), command("INSERT INTO t VALUES (3), (4)"));
    QD_OrvelQueryHandle reading = query("SELECT a FROM t");
    connection->close();
    EXPECT_EQ(insert->execNoQuery(0), 2);
    reading->nextRow();
    EXPECT_EQ(textOf(reading, "a"), "2");
    insert.release();
    EXPECT_TRUE(isLocked()) << "by the query";
    reading->close();
    reading->close();
    EXPECT_FALSE(isLocked());
    EXPECT_EQ(standing(reading), "1 (none)") << "closing does not change what was reported";
    reading->nextRow();
    EXPECT_EQ(standing(reading), "end 1 (none)") << "only the end is set";

    connection->open("Parts", nullptr, 0);
    run("BEGIN IMMEDIATE");
    reading = query("SELECT COUNT(*) FROM t");
    connection.release();
    EXPECT_EQ(textOf(reading), "4");
    EXPECT_TRUE(isLocked()) << "the query keeps the connection";
    reading.release();
    EXPECT_FALSE(isLocked()) << "going closes it";
}

TEST_F(SqliteConnection, closedItTellsWhyItsStatementsFailAllTheSame) {
    run("CREATE TABLE t (a UNIQUE); INSERT INTO t VALUES (1)");
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (1)");
    const QD_OrvelCommandHandle surplus = with(command("DELETE FROM t"), 1);
    const QD_OrvelCommandHandle stale = command("SELECT * FROM t");
    const QD_OrvelQueryHandle failing = query("SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)");
    connection->close();
    tested = "QD_SQOrvelCommand";
    EXPECT_EQ(outcome([&] { insert->execNoQuery(0); }), "34/1 constraint failed [execNoQuery execNoQuery]");
    EXPECT_EQ(outcome([&] { surplus->execNoQuery(0); }),
              "27/25 column index out of range [applyParams execNoQuery]");
    const DiagnosticLines lines;
    failing->nextRow();
    EXPECT_THAT(DiagnosticLines::all(), ElementsAre(HasSubstr("Provider: SQL logic error (1)")));
    opened()->execNoQuery("CREATE TABLE u (a)", 0);
    expectError([&] { stale->execQuery(0); }, notOpenIn("checkDB compile QD_SQOrvelCommand::execQuery"));
}

TEST_F(SqliteConnection, aTextLongerThanSqliteCountsIsRefusedWhole) {
    run("CREATE TABLE t (a); INSERT INTO t VALUES (1)");
    const LargeText sql("DELETE FROM t", "WHERE a = 0");
    EXPECT_EQ(errorOf([&] { connection->execNoQuery(sql.get(), 0); }).provText, "string or blob too big");
    EXPECT_EQ(rows(), 1);
}

TEST_F(SqliteConnection, tracesTheTextAsGivenBeforeItRuns) {
    const QD_OrvelCommandHandle create = command("CREATE TABLE IF NOT EXISTS t (a)");
    EXPECT_EQ(tracedBy([&] {
                  run("");
                  ask("SELECT '%s'");
                  errorOf([&] { run("nonsense"); });
                  create->execNoQuery(0); // writes none
                  create->execQuery(0);
              }),
              "Orvel SQL:\"SELECT '%s'\"\nOrvel SQL:\"nonsense\"\n"
              "Orvel SQL:\"CREATE TABLE IF NOT EXISTS t (a)\"\n");
}

class SqliteTransaction : public SqliteTest {
protected:
    using Way = std::function<void(const char*)>;
    const Way byConnection = [&](const char* sql) { run(sql); };
    const Way byQuery = [&](const char* sql) { query(sql); };
    const Way byCommand = [&](const char* sql) { command(sql)->execNoQuery(0); };
    const Way byReopening = [&](const char*) { reopen(); };
    const Way byCommandsQuery = [&](const char* sql) { command(sql)->execQuery(0); };

    SqliteTransaction() { run("CREATE TABLE t (a UNIQUE); CREATE TABLE u (a)"); }

    /// Begins, commits and aborts for b, c and a; the outcome of the last.
    std::string take(const std::string& steps, unsigned int flags = 0) const {
        std::string last;
        for (const char step : steps) {
            last = outcome([&] {
                step == 'b'   ? probe->beginTransaction(flags, "")
                : step == 'c' ? probe->commitTransaction("")
                              : probe->abortTransaction("");
            });
        }
        return last;
    }
    /// Leaves behind a commit that met a busy database.
    void failCommit() const {
        const QD_OrvelConnectionHandle reader = opened();
        const QD_OrvelQueryHandle reading = reader->execQuery("SELECT 1 FROM sqlite_master", 0);
        connection->setBusyTimeout(0);
        take("b");
        run("INSERT INTO t VALUES (1)");
        EXPECT_EQ(take("c"), "31/5 database is locked [execNoQuery execNoQuery commitTransaction]");
    }
};
const char* const nothingToAbort = "18/0 [abortTransaction]";

TEST_F(SqliteTransaction, onlyTheOutermostReachesSqlite) {
    using Row = std::tuple<unsigned int, std::string, const char*, const char*>;
    for (const auto& [flags, steps, begin, end] :
         {Row{0U, "bbcc", "BEGIN DEFERRED", "COMMIT"}, Row{4U, "bbac", "BEGIN EXCLUSIVE", "COMMIT"},
          Row{1U, "ba", "BEGIN DEFERRED", "ROLLBACK"}, Row{2U, "bbca", "BEGIN IMMEDIATE", "ROLLBACK"},
          Row{6U, "bc", "BEGIN IMMEDIATE", "COMMIT"}}) {
        const std::string traced = tracedBy([&, &way = steps, how = flags] { take(way, how); });
        const std::string before = "Orvel SQL:\"", behind = " TRANSACTION;\"\n";
        EXPECT_EQ(traced, before + begin + behind + before + end + behind) << steps;
    }
}

TEST_F(SqliteTransaction, withoutABeginThereIsNothingToEndAndAFailedOneCounts) {
    connection->close();
    EXPECT_EQ(take("b"), "12/1000 Null Database pointer [checkDB beginTransaction]");
    EXPECT_EQ(take("c"), "12/1000 Null Database pointer [checkDB commitTransaction]");
    EXPECT_EQ(take("c"), "18/0 [commitTransaction]");
    EXPECT_EQ(take("a"), nothingToAbort);
}

TEST_F(SqliteTransaction, aBusyCommitIsUndoneByTheAbortThatFollows) {
    failCommit();
    EXPECT_EQ(rows(), 1) << "still open";
    EXPECT_EQ(take("a"), nothingToAbort);
    EXPECT_EQ(rows(), 0);
    EXPECT_FALSE(isLocked());
}

TEST_F(SqliteTransaction, oneThatTheApplicationOpensItselfIsNotTouched) {
    const Way behindItsBack = [&](const char*) {
        query("ROLLBACK");
        take("b");
        query("COMMIT");
        EXPECT_THAT(take("a"), StartsWith("34/1 cannot rollback"));
    };
    for (const auto& way : {byConnection, byQuery, byCommand}) {
        for (const auto& end : {byConnection, byCommand, byReopening, behindItsBack}) {
            failCommit();
            end("COMMIT");
            way("BEGIN");
            EXPECT_EQ(take("a"), nothingToAbort);
            EXPECT_NO_THROW(run("DELETE FROM t; COMMIT"));
        }
    }
    failCommit();
    run("COMMIT; BEGIN; INSERT INTO t VALUES (2)"); // one text ends the one and begins the other
    EXPECT_EQ(take("a"), nothingToAbort);
    EXPECT_NO_THROW(run("COMMIT"));
    EXPECT_EQ(rows(), 2);
}

TEST_F(SqliteTransaction, oneThatSqliteEndedRunsNothingMoreAndCannotBeCommitted) {
    run("INSERT INTO t VALUES (1);"
        "CREATE TRIGGER r BEFORE INSERT ON u BEGIN SELECT RAISE(ROLLBACK, 'no \u00fc'); END");
    const std::string twice = "UNIQUE constraint failed: t.a", full = "database or disk is full";
    const char* const rollBack = "INSERT OR ROLLBACK INTO t VALUES (1)";
    const Way byNextRow = [&](const char*) { query("INSERT OR ROLLBACK INTO t VALUES (9)")->nextRow(); };
    using Row = std::tuple<Way, const char*, std::string>;
    for (const auto& [fail, sql, reason] :
         {Row{byConnection, rollBack, twice}, Row{byQuery, rollBack, twice}, Row{byCommand, rollBack, twice},
          Row{byCommandsQuery, rollBack, twice}, Row{byNextRow, "", twice},
          Row{byConnection, "INSERT INTO t VALUES (zeroblob(9000000))", full},
          Row{byCommand, "INSERT INTO u VALUES (1)", "no \u00fc"}}) {
        const auto refusedIn = [&why = reason](const std::string& functions) {
            return "34/4 The transaction was rolled back by SQLite: " + why + " [checkTransaction " +
                   functions + "]";
        };
        const auto expectRefused = [&](const Way& use, const std::string& functions) {
            EXPECT_EQ(outcome([&] { use("INSERT INTO t VALUES (3) RETURNING a"); }), refusedIn(functions));
        };
        run("PRAGMA max_page_count = 1000");
        const QD_OrvelCommandHandle prepared = command("INSERT INTO t VALUES (4)");
        for (const bool commits : {true, false}) {
            take("bb");
            const QD_OrvelQueryHandle ended = query("INSERT INTO t VALUES (2)");
            errorOf([&, &failing = fail, &text = sql] { failing(text); });
            expectRefused(byConnection, "execNoQuery");
            expectRefused(byQuery, "execQuery");
            expectRefused([&](const char*) { prepared->execNoQuery(0); }, "QD_SQOrvelCommand::execNoQuery");
            expectRefused(byCommandsQuery, "QD_SQOrvelCommand::execQuery");
            ended->nextRow(); // would insert again
            EXPECT_EQ(take("c"), "done") << "the inner one only counts";
            if (commits) {
                EXPECT_EQ(take("c"), refusedIn("commitTransaction"));
            } else {
                EXPECT_EQ(tracedBy([&] { take("a"); }), "");
            }
            EXPECT_EQ(rows(), 1) << reason;
        }
        prepared->execNoQuery(0); // as if nothing had happened
        run("DELETE FROM t WHERE a = 4");
    }
}

TEST_F(SqliteTransaction, oneThatTheApplicationEndedItselfRunsOnOutsideOfIt) {
    run("INSERT INTO t VALUES (1)");
    for (const Way& end : {byConnection, byQuery, byCommand, byCommandsQuery}) {
        for (const char* sql : {"COMMIT", "ROLLBACK"}) {
            take("b");
            const QD_OrvelQueryHandle reading =
                query("SELECT abs(column1) FROM (VALUES (1), (-9223372036854775807 - 1))");
            end(sql);
            reading->nextRow(); // fails, and has nothing to do with the end of the transaction
            EXPECT_EQ(outcome([&] { run("INSERT OR ROLLBACK INTO t VALUES (1)"); }).substr(0, 5), "34/19");
            EXPECT_NO_THROW(run("INSERT INTO t SELECT max(a) + 1 FROM t"));
            EXPECT_THAT(take("c"), StartsWith("34/1 cannot commit - no transaction is active"));
        }
    }
    EXPECT_EQ(rows(), 9);
}

} // namespace
