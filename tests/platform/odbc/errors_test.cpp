#include <algorithm>
#include <atomic>
#include <thread>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "tests/platform/odbc/engine.h"

namespace {

using namespace orvel::tests;
using orvel::platform::eFail;

bool isPostgresql(const Engine& engine) { return engine.variable == std::string("ORVEL_TEST_POSTGRESQL"); }

class OdbcErrors : public EngineTest {
protected:
    void expect(const Failure& failure, std::uint32_t status, const std::string& state, std::int32_t native,
                const std::string& text) const {
        EXPECT_EQ(failure.status, status) << testing::PrintToString(failure);
        EXPECT_EQ(failure.states, std::vector<std::string>{state}) << testing::PrintToString(failure);
        EXPECT_EQ(failure.native, native) << testing::PrintToString(failure);
        EXPECT_NE(failure.text.find(text), std::string::npos) << testing::PrintToString(failure);
    }
};

struct ExpectedError { // NOLINT(clang-analyzer-optin.performance.Padding): in the order in which it is read
    const char* statement; ///< after a table t (id INTEGER PRIMARY KEY, v VARCHAR(5)) with the row 1
    std::uint32_t status;
    const char* state[3]; ///< SQLite, PostgreSQL, MariaDB; null where the engine finds nothing wrong
    std::int32_t native[3];
    const char* text[3];
};

const ExpectedError expectedErrors[] = {
    {"SELEC 1",
     ado::dbErrorsInCommand,
     {"HY000", "42601", "42000"},
     {1, 1, 1064},
     {"syntax error", "syntax error", "syntax"}},
    {"SELECT * FROM missing_table",
     ado::dbNoTable,
     {"HY000", "42P01", "42S02"},
     {1, 1, 1146},
     {"no such table: missing_table", "\"missing_table\" does not exist", "missing_table' doesn't exist"}},
    {"SELECT missing FROM orvel_test",
     ado::dbNoColumn,
     {nullptr, "42703", "42S22"},
     {0, 1, 1054},
     {"", "\"missing\"", "'missing'"}},
    {"INSERT INTO orvel_test VALUES (1, 'b')",
     ado::dbIntegrityViolation,
     {"HY000", "23505", "23000"},
     {19, 1, 1062},
     {"UNIQUE constraint failed", "orvel_test_pkey", "PRIMARY"}},
    {"INSERT INTO orvel_test VALUES (2, 'abcdef')",
     ado::dbDataOverflow,
     {nullptr, "22001", "22001"},
     {0, 1, 1406},
     {"", "varying(5)", "'v'"}},
    {"INSERT INTO orvel_test VALUES (99999999999, 'b')",
     ado::dbDataOverflow,
     {nullptr, "22003", "22003"},
     {0, 1, 1264},
     {"", "out of range", "Out of range"}},
    {"CREATE TABLE orvel_test (id INTEGER)",
     ado::dbDuplicateTable,
     {nullptr, "42P07", "42S01"},
     {0, 1, 1050},
     {"", "already exists", "already exists"}},
};

TEST_P(OdbcErrors, haveStatusStateNativeCodeAndFullText) {
    createTable("id INTEGER PRIMARY KEY, v VARCHAR(5)");
    run("INSERT INTO " + table + " VALUES (1, 'a')");
    const std::size_t which = !engine().isServer ? 0 : isPostgresql(engine()) ? 1 : 2;
    for (const ExpectedError& each : expectedErrors) {
        if (each.state[which] == nullptr) {
            continue;
        }
        const auto direct = failureOf(connection, [&] { run(each.statement); });
        expect(direct, each.status, each.state[which], each.native[which], each.text[which]);
        const auto wrong = command(each.statement); // at its execution, not before, the second time as well
        for (int execution = 0; execution < 2; ++execution) {
            const auto failure = failureOf(connection, [&] { wrong->execute(nullptr, ado::adCmdText); });
            expect(failure, each.status, each.state[which], each.native[which], each.text[which]);
        }
    }
}

TEST_P(OdbcErrors, ofTheLastCallOnlyAreKept) {
    EXPECT_NE(failureOf(connection, [&] { run("SELEC 1"); }).states.size(), 0U);
    EXPECT_EQ(connection->errors()->count(), 1);
    const auto rows = connection->execute("SELECT 1", nullptr, 0);
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_NE(failureOf(connection, [&] { run("SELEC 1"); }).states.size(), 0U);
    const auto failure = failureOf(connection, [&] { rows->fields()->item("missing"); });
    EXPECT_EQ(failure.status, ado::adErrItemNotFound);
    EXPECT_TRUE(failure.states.empty()) << "the engine had no part in it";
    EXPECT_EQ(failureOf(connection, [&] { connection->errors()->item(0); }).status, ado::adErrItemNotFound);
}

TEST_P(OdbcErrors, ofConnectingNameWhatFailedAndNeverThePassword) {
    auto closed = ado::createObject<ado::Connection>();
    const auto openWith = [&](const std::string& string) {
        return failureOf(closed, [&] { closed->open(string, "", "", 0); });
    };
    const auto driver = openWith("DRIVER=no-such-driver.so;PWD=secret-word");
    EXPECT_EQ(driver.status, eFail) << testing::PrintToString(driver);
    EXPECT_NE(driver.text.find("no-such-driver.so"), std::string::npos);
    EXPECT_EQ(driver.text.find("secret-word"), std::string::npos);
    const auto source = openWith("DSN=no-such-source");
    EXPECT_EQ(source.status, eFail);
    EXPECT_EQ(source.states, std::vector<std::string>{"IM002"});
    if (engine().isServer) {
        // The first of two keywords counts.
        const auto string = connectionString();
        const auto password =
            openWith(string.substr(0, string.find("PWD=")) + "PWD=secret-word;DATABASE=orvel");
        EXPECT_EQ(password.states, std::vector<std::string>{isPostgresql(engine()) ? "08001" : "28000"});
        EXPECT_EQ(password.status, isPostgresql(engine()) ? eFail : ado::dbAuthenticationFailed);
        EXPECT_EQ(password.text.find("secret-word"), std::string::npos);
        EXPECT_NE(password.text.find("orvel"), std::string::npos) << password.text;
    }
    EXPECT_EQ(closed->state(), ado::adStateClosed);
    closed->open("Provider=MSDASQL;" + connectionString(), "", "", 0);
    EXPECT_EQ(closed->state(), ado::adStateOpen);
    EXPECT_EQ(closed->errors()->count(), 0);
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcErrors, testing::Values(sqliteEngine, postgresqlEngine, mariadbEngine),
                         nameOf);

/// What happens between two connections, or between one and its end.
class OdbcServerErrors : public OdbcErrors {
protected:
    void SetUp() override {
        OdbcErrors::SetUp();
        createTable("id INTEGER PRIMARY KEY, v INTEGER");
        run("INSERT INTO " + table + " VALUES (1, 0), (2, 0)");
        other = connect();
    }

    std::string sessionNumber(const ado::Ref<ado::Connection>& of) {
        return ask(of, isPostgresql(engine()) ? "SELECT pg_backend_pid()" : "SELECT connection_id()");
    }
    void kill(const std::string& session) {
        if (isPostgresql(engine())) {
            ask("SELECT pg_terminate_backend(" + session + ", 5000)");
        } else {
            run("KILL " + session);
        }
    }
    /// The connection is of no use any more, and says so; a new one works.
    void expectDead(const ado::Ref<ado::Connection>& dead) {
        for (int attempt = 0; attempt < 3; ++attempt) {
            const auto failure = failureOf(dead, [&] { run(dead, "UPDATE " + table + " SET v = 9"); });
            EXPECT_EQ(failure.status, eFail) << testing::PrintToString(failure);
        }
        EXPECT_NE(failureOf(dead,
                            [&] {
                                dead->beginTrans();
                                dead->commitTrans();
                            })
                      .status,
                  0U);
        dead->close();
        dead->open(connectionString(), "", "", 0);
        EXPECT_EQ(ask(dead, "SELECT v FROM " + table + " WHERE id = 1"), "0");
    }

    ado::Ref<ado::Connection> other;
};

TEST_P(OdbcServerErrors, aLockThatIsNotToBeHadIsBusy) {
    run(other, isPostgresql(engine()) ? "SET lock_timeout = '100ms'" : "SET innodb_lock_wait_timeout = 1");
    connection->beginTrans();
    run("UPDATE " + table + " SET v = 1 WHERE id = 1");
    const auto failure = failureOf(other, [&] { run(other, "UPDATE " + table + " SET v = 2 WHERE id = 1"); });
    if (isPostgresql(engine())) {
        expect(failure, ado::dbResourceLocked, "55P03", 1, "lock timeout");
    } else {
        expect(failure, ado::dbResourceLocked, "HY000", 1205, "Lock wait timeout exceeded");
    }
    connection->rollbackTrans();
    EXPECT_EQ(run(other, "UPDATE " + table + " SET v = 2 WHERE id = 1"), 1);
}

TEST_P(OdbcServerErrors, oneOfTwoDeadlockedIsBusyAndKeepsNothingHalf) {
    const auto update = [this](const ado::Ref<ado::Connection>& on, int row) {
        run(on, "UPDATE " + table + " SET v = v + 1 WHERE id = " + std::to_string(row));
    };
    connection->beginTrans();
    other->beginTrans();
    update(connection, 1);
    update(other, 2);
    Failure here;
    Failure there;
    std::thread second([&] {
        there = failureOf(other, [&] { update(other, 1); });
        // Where the failure took its transaction along, the commit is refused instead of keeping the rest.
        if (there.status != 0 && !isPostgresql(engine())) {
            EXPECT_EQ(failureOf(other, [&] { other->commitTrans(); }).status, ado::xactAborted);
        } else {
            other->rollbackTrans();
        }
    });
    here = failureOf(connection, [&] { update(connection, 2); });
    if (here.status != 0 && !isPostgresql(engine())) {
        EXPECT_EQ(failureOf(connection, [&] { connection->commitTrans(); }).status, ado::xactAborted);
    } else {
        connection->rollbackTrans();
    }
    second.join();
    EXPECT_NE(here.status == 0, there.status == 0) << "exactly one of them is the victim";
    const Failure& victim = here.status != 0 ? here : there;
    expect(victim, ado::dbConcurrencyViolation, isPostgresql(engine()) ? "40P01" : "40001",
           isPostgresql(engine()) ? 1 : 1213, "eadlock");
    EXPECT_EQ(ask("SELECT sum(v) FROM " + table), "0");
}

TEST_P(OdbcServerErrors, anotherConnectionGoesOnWhenOneIsKilledBetweenStatements) {
    kill(sessionNumber(other));
    expectDead(other);
}

TEST_P(OdbcServerErrors, aTransactionWhoseConnectionWasKilledDoesNotCommit) {
    const std::string session = sessionNumber(other);
    other->beginTrans();
    run(other, "UPDATE " + table + " SET v = 5");
    kill(session);
    EXPECT_EQ(failureOf(other, [&] { run(other, "UPDATE " + table + " SET v = 6"); }).status, eFail);
    EXPECT_EQ(failureOf(other, [&] { other->commitTrans(); }).status, ado::xactAborted);
    expectDead(other);
}

TEST_P(OdbcServerErrors, aCommitWithoutAnAnswerIsInDoubt) {
    const std::string session = sessionNumber(other);
    other->beginTrans();
    run(other, "UPDATE " + table + " SET v = 5");
    kill(session);
    const auto failure = failureOf(other, [&] { other->commitTrans(); });
    EXPECT_EQ(failure.status, ado::xactInDoubt) << testing::PrintToString(failure);
    EXPECT_EQ(failure.states.size(), 1U);
    expectDead(other);
}

TEST_P(OdbcServerErrors, aScanThatIsKilledEndsWithAnErrorOrFromMemory) {
    run("INSERT INTO " + table +
        (isPostgresql(engine()) ? " SELECT n, n FROM generate_series(3, 100000) n"
                                : " SELECT seq, seq FROM seq_3_to_100000"));
    const std::string session = sessionNumber(other);
    const auto rows = other->execute("SELECT id, v FROM " + table, nullptr, 0);
    kill(session);
    int count = 0;
    const auto failure = failureOf(other, [&] {
        for (; !rows->eof(); rows->moveNext()) {
            EXPECT_EQ(rows->fields()->count(), 2);
            ++count;
        }
    });
    EXPECT_TRUE(rows->eof());
    if (failure.status == 0) {
        EXPECT_EQ(count, 100000); // the driver had them all
    } else {
        EXPECT_EQ(failure.status, eFail) << testing::PrintToString(failure);
        EXPECT_EQ(failureOf(other, [&] { rows->moveNext(); }).status, ado::adErrNoCurrentRecord);
    }
    rows->close();
    run("DELETE FROM " + table + " WHERE id > 2");
    run("UPDATE " + table + " SET v = 0");
    expectDead(other);
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcServerErrors,
                         testing::Values(postgresqlEngine, postgresqlCursorsEngine, mariadbEngine), nameOf);

class OdbcErrorsOnPostgresql : public OdbcServerErrors {};

TEST_P(OdbcErrorsOnPostgresql, aSerializationFailureIsBusyAtTheStatementAndAtTheCommit) {
    for (const auto& each : {connection, other}) {
        each->setIsolationLevel(ado::adXactSerializable);
        each->beginTrans();
        ask(each, "SELECT sum(v) FROM " + table);
    }
    run(connection, "UPDATE " + table + " SET v = 1 WHERE id = 1");
    run(other, "UPDATE " + table + " SET v = 1 WHERE id = 2");
    connection->commitTrans();
    expect(failureOf(other, [&] { other->commitTrans(); }), ado::dbConcurrencyViolation, "40001", 110,
           "could not serialize");
    EXPECT_EQ(failureOf(other, [&] { other->rollbackTrans(); }).status, ado::xactNoTransaction);
    EXPECT_EQ(ask(other, "SELECT sum(v) FROM " + table), "1");
    EXPECT_EQ(run(other, "UPDATE " + table + " SET v = 7 WHERE id = 2"), 1);
    EXPECT_EQ(ask("SELECT v FROM " + table + " WHERE id = 2"), "7") << "statements commit themselves again";
}

TEST_P(OdbcErrorsOnPostgresql, aStatementTimesOutAndTheConnectionGoesOn) {
    connection->setCommandTimeout(1);
    expect(failureOf(connection, [&] { ask("SELECT pg_sleep(30)"); }), ado::dbAbortLimitReached, "57014", 1,
           "statement timeout");
    const auto sleeper = command("SELECT pg_sleep(30)");
    sleeper->setCommandTimeout(1);
    EXPECT_EQ(failureOf(connection, [&] { sleeper->execute(nullptr, 1); }).status, ado::dbAbortLimitReached);
    connection->setCommandTimeout(0);
    EXPECT_EQ(ask("SELECT pg_sleep(1.2)::text"), "");
}

TEST_P(OdbcErrorsOnPostgresql, aNoticeIsNone) {
    run("DO $$ BEGIN RAISE NOTICE 'hello'; RAISE WARNING 'there'; END $$");
    EXPECT_EQ(connection->errors()->count(), 0);
}

TEST_P(OdbcErrorsOnPostgresql, anErrorOfALaterStatementInOneTextIsNotLost) {
    const auto failure = failureOf(connection, [&] { run("UPDATE " + table + " SET v = 1; SELECT 1/0"); });
    expect(failure, ado::dbErrorsInCommand, "22012", 1, "division by zero");
    EXPECT_EQ(run("UPDATE " + table + " SET v = 1; UPDATE " + table + " SET v = 2 WHERE id = 1"), 2);
    EXPECT_EQ(ask("SELECT sum(v) FROM " + table), "3");
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcErrorsOnPostgresql, testing::Values(postgresqlEngine), nameOf);

class OdbcErrorsOnMariadb : public OdbcServerErrors {};

TEST_P(OdbcErrorsOnMariadb, anErrorOfALaterStatementInOneTextIsNotLost) {
    const auto several = connect(";OPTION=67108864");
    const auto failure = failureOf(
        several, [&] { run(several, "UPDATE " + table + " SET v = 1; SELECT * FROM missing_table"); });
    EXPECT_NE(failure.status, 0U) << testing::PrintToString(failure);
    EXPECT_EQ(ask("SELECT sum(v) FROM " + table), "2");
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcErrorsOnMariadb, testing::Values(mariadbEngine), nameOf);

} // namespace
