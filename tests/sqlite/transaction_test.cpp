// Transactions on real SQLite files.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "QD_OrvelTransaction.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::errorOf;
using orvel::tests::expectError;
using orvel::tests::SqliteProbe;
using orvel::tests::traceOf;

class SqliteTransaction : public orvel::tests::SqliteTest {
protected:
    SqliteTransaction() {
        probe = new SqliteProbe(config);
        connection = QD_OrvelConnectionHandle(probe);
        connection->open("Parts", path().c_str(), 0);
        connection->execNoQuery("CREATE TABLE t (a)", 0);
    }

    SqliteProbe* probe;
    QD_OrvelConnectionHandle connection;

    void insert() { connection->execNoQuery("INSERT INTO t VALUES (1)", 0); }

    /// Leaves behind a commit that met a busy database.
    void failCommit() {
        const QD_OrvelConnectionHandle reader = opened();
        const QD_OrvelQueryHandle reading = reader->execQuery("SELECT 1 FROM sqlite_master", 0);
        connection->setBusyTimeout(0);
        probe->beginTransaction(0, "");
        insert();
        expectError([&] { probe->commitTransaction(""); },
                    {31, 5, "database is locked", traceOf("execNoQuery execNoQuery commitTransaction")});
    }
};

TEST_F(SqliteTransaction, onlyTheOutermostReachesSqlite) {
    using Row = std::tuple<unsigned int, const char*, const char*, const char*>;
    for (const auto& [flags, steps, begin, end] :
         {Row{0U, "bbcc", "BEGIN DEFERRED", "COMMIT"}, Row{4U, "bbac", "BEGIN EXCLUSIVE", "COMMIT"},
          Row{1U, "ba", "BEGIN DEFERRED", "ROLLBACK"}, Row{2U, "bbca", "BEGIN IMMEDIATE", "ROLLBACK"},
          Row{6U, "bc", "BEGIN IMMEDIATE", "COMMIT"}}) {
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
        testing::internal::CaptureStderr();
        for (const char step : std::string(steps)) {
            step == 'b'   ? probe->beginTransaction(flags, "")
            : step == 'c' ? probe->commitTransaction("")
                          : probe->abortTransaction("");
        }
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
        const std::string before = "Orvel SQL:\"", behind = " TRANSACTION;\"\n";
        EXPECT_EQ(testing::internal::GetCapturedStderr(), before + begin + behind + before + end + behind);
    }
}

TEST_F(SqliteTransaction, anInnerAbortRollsNothingBackAndAnUncommittedOneEverything) {
    for (const bool commits : {true, false}) {
        QD_OrvelTransaction outer(connection, 0, true, "");
        insert();
        {
            const QD_OrvelTransaction inner(connection, 0, true, "");
            insert();
        }
        EXPECT_EQ(rows(connection), commits ? 2 : 4);
        if (commits) {
            outer.commit();
        }
    }
    EXPECT_EQ(rows(opened()), 2);
}

TEST_F(SqliteTransaction, withoutABeginThereIsNothingToEndAndAFailedOneCounts) {
    SqliteProbe closed(config);
    expectError([&] { closed.beginTransaction(0, ""); },
                {12, 1000, "Null Database pointer", traceOf("checkDB beginTransaction")});
    expectError([&] { closed.commitTransaction(""); },
                {12, 1000, "Null Database pointer", traceOf("checkDB commitTransaction")});
    expectError([&] { closed.commitTransaction(""); }, {18, 0, "", traceOf("commitTransaction")});
    expectError([&] { closed.abortTransaction(""); }, {18, 0, "", traceOf("abortTransaction")});
}

TEST_F(SqliteTransaction, aBusyCommitIsUndoneByTheAbortThatFollows) {
    failCommit();
    EXPECT_EQ(rows(connection), 1) << "still open";
    expectError([&] { probe->abortTransaction(""); }, {18, 0, "", traceOf("abortTransaction")});
    EXPECT_EQ(rows(connection), 0);
    EXPECT_NO_THROW(opened()->execNoQuery("INSERT INTO t VALUES (2)", 0));
}

TEST_F(SqliteTransaction, oneThatTheApplicationOpensItselfIsNotTouched) {
    const std::function<void()> ends[] = {[] {}, [&] { connection->execNoQuery("COMMIT", 0); },
                                          [&] { connection->createCommand("COMMIT", 0)->execNoQuery(0); },
                                          [&] {
                                              connection->close();
                                              connection->open("Parts", path().c_str(), 0);
                                          },
                                          [&] { // behind the connection's back
                                              connection->execQuery("ROLLBACK", 0);
                                              probe->beginTransaction(0, "");
                                              connection->execQuery("COMMIT", 0);
                                              EXPECT_EQ(errorOf([&] { probe->abortTransaction(""); }).code,
                                                        34);
                                          }};
    for (const std::function<void()>& end : ends) {
        if (&end != ends) {
            failCommit();
        }
        end();
        connection->execNoQuery("DELETE FROM t; BEGIN; INSERT INTO t VALUES (1)", 0);
        EXPECT_EQ(errorOf([&] { probe->abortTransaction(""); }).code, 18);
        EXPECT_NO_THROW(connection->execNoQuery("COMMIT", 0)) << &end - ends;
        EXPECT_EQ(rows(opened()), 1);
    }
}

} // namespace
