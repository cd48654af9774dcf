// Errors of the engines, as applications meet them.

#include <gmock/gmock.h>

#include <sstream>
#include <thread>

#include "QD_OrvelTransaction.h"
#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;
using testing::HasSubstr;

constexpr unsigned long aborted = 0x8004D019;
constexpr unsigned long inDoubt = 0x8004D016;

/// What an error shows of itself: code, provider's code and status; the rest is told by its text.
std::string kindOf(const Error& error) {
    std::ostringstream kind;
    kind << error.code << ' ' << error.provCode << ' ' << std::hex << error.hr;
    return kind.str();
}
constexpr const char* none = "-1 0 0";

class BehaviourErrors : public Behaviour {
protected:
    void SetUp() override {
        Behaviour::SetUp();
        run("CREATE TABLE t (id INTEGER PRIMARY KEY, a INTEGER, v VARCHAR(5))");
        run("INSERT INTO t (id, a) VALUES (1, 0), (2, 0)");
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourErrors, everyContext, contextName);

struct Refused {
    const char* statement;
    const char* expected[4];
    const char* text[4];
};

const Refused refusals[] = {
    {"SELEC 1",
     {"34 1 0", "13 1 80040e14", "13 1 80040e14", "13 1064 80040e14"},
     {"syntax error", "syntax error", "syntax error", "SQL syntax"}},
    {"DELETE FROM missing",
     {"34 1 0", "13 1 80040e37", "13 1 80040e37", "13 1146 80040e37"},
     {"no such table: missing", "no such table: missing", "\"missing\" does not exist",
      "missing' doesn't exist"}},
    {"UPDATE t SET missing = 1",
     {"34 1 0", "13 1 80040e14", "13 1 80040e65", "13 1054 80040e65"},
     {"no such column: missing", "no such column: missing", "\"missing\"", "'missing'"}},
    {"INSERT INTO t (id) VALUES (1)",
     {"34 19 0", "13 19 80040e2f", "13 1 80040e2f", "13 1062 80040e2f"},
     {"UNIQUE", "UNIQUE", "t_pkey", "PRIMARY"}},
    {"INSERT INTO t (id) VALUES (99999999999)",
     {none, none, "13 1 80040e57", "13 1264 80040e57"},
     {"", "", "out of range", "Out of range"}},
    {"UPDATE t SET v = 'abcdef'",
     {none, none, "13 1 80040e57", "13 1406 80040e57"},
     {"", "", "varying(5)", "'v'"}},
    {"CREATE TABLE t (id INTEGER)",
     {"34 1 0", "13 1 80040e14", "13 1 80040e3f", "13 1050 80040e3f"},
     {"already exists", "already exists", "already exists", "already exists"}},
};

TEST_P(BehaviourErrors, sayWhatTheEngineSaid) {
    for (const Refused& each : refusals) {
        const Error direct = errorOf([&] { run(each.statement); });
        EXPECT_EQ(kindOf(direct), mine(each.expected)) << each.statement << ": " << direct.provText;
        if (direct.code == -1) continue;
        EXPECT_THAT(direct.provText, HasSubstr(mine(each.text)));
        if (isAdo()) {
            EXPECT_EQ(direct.trace, "QD_ADOOrvelConnection::execNoQuery");
            const auto made = command(each.statement);
            for (int execution = 0; execution < 2; ++execution) { // the second time prepared
                const Error prepared = errorOf([&] { made->execNoQuery(0); });
                EXPECT_EQ(kindOf(prepared), kindOf(direct)) << prepared.provText;
                EXPECT_THAT(prepared.provText, HasSubstr(mine(each.text)));
                EXPECT_EQ(prepared.trace, "QD_ADOOrvelCommand::execNoQuery");
            }
        }
    }
    EXPECT_GE(ask("SELECT COUNT(*) FROM t"), 2) << "and the connection goes on";
}

TEST_P(BehaviourErrors, aLockThatCannotBeHadIsBusy) {
    QD_OrvelConnectionHandle other = another();
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    run("UPDATE t SET a = 1 WHERE id = 1");
    const Error error = errorOf([&] { other->execNoQuery("UPDATE t SET a = 2 WHERE id = 1", 0); });
    EXPECT_EQ(kindOf(error), mine({"31 5 0", "31 5 80040e92", "31 1 80040e92", "31 1205 80040e92"}));
    transaction.commit();
    EXPECT_EQ(other->execNoQuery("UPDATE t SET a = 3 WHERE id = 1", 0), 1);
}

class BehaviourServerErrors : public BehaviourErrors {
protected:
    static int sessionOf(const QD_OrvelConnectionHandle& handle) {
        return handle->execQueryScalar(mine({"", "", "SELECT pg_backend_pid()", "SELECT CONNECTION_ID()"}),
                                       0);
    }
    void kill(int session) const {
        query(isOn(postgresql) ? "SELECT pg_terminate_backend(" + std::to_string(session) + ", 5000)"
                               : "KILL " + std::to_string(session));
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourServerErrors, everyServer, contextName);

TEST_P(BehaviourServerErrors, aValueThatDoesNotFitItsColumnIsRefusedUnlessTheServerKeepsTheRow) {
    run(std::string("CREATE TABLE typed (n NUMERIC(10,2), s SMALLINT, d DATE, v VARCHAR(3), e ") +
        mine({"", "", "BOOLEAN)", "ENUM('a', 'b'))"}));
    run("INSERT INTO typed (n) VALUES (NULL)");
    const std::string untouched = "n IS NULL AND s IS NULL AND d IS NULL AND v IS NULL AND e IS NULL";
    for (const bool strict : {true, false}) {
        if (!strict && isOn(postgresql)) {
            continue; // always strict
        }
        run(strict ? "SELECT 1" : "SET sql_mode = ''");
        for (const std::string column : {"n", "s", "d", "v", "e"}) {
            const unsigned long status = column == "v" ? 0x80040E57 : 0x80040E07;
            for (const std::string& text : {"INSERT INTO typed (" + column + ") VALUES (NULL), (?)",
                                            "UPDATE typed SET " + column + " = ?"}) {
                QD_OrvelTransaction transaction(connection, 0, true, "");
                const auto made = with(command(text), std::string("1.234,50"));
                for (int execution = 0; execution < 3; ++execution) { // prepared from the second on
                    EXPECT_EQ(errorOf([&] { made->execNoQuery(0); }).hr, strict ? status : 0) << text;
                }
                transaction.commit();
            }
        }
        EXPECT_EQ(ask("SELECT COUNT(*) FROM typed"), strict ? 1 : 31);
        EXPECT_EQ(ask("SELECT COUNT(*) FROM typed WHERE " + untouched), strict ? 1 : 0);
    }
}

TEST_P(BehaviourServerErrors, aDeadlockIsBusyForOneOfTwoWhichKeepsNothing) {
    QD_OrvelConnectionHandle first = closed();
    QD_OrvelConnectionHandle second = closed();
    open(first); // with the time to wait as shipped: the engine has to find it
    open(second);
    QD_OrvelTransaction one(first, 0, true, "");
    QD_OrvelTransaction two(second, 0, true, "");
    first->execNoQuery("UPDATE t SET a = 1 WHERE id = 1", 0);
    second->execNoQuery("UPDATE t SET a = 2 WHERE id = 2", 0);
    const auto crossed = [](const auto& handle, QD_OrvelTransaction& transaction, const char* update) {
        Error error = errorOf([&] { handle->execNoQuery(update, 0); });
        if (error.code != -1 && isOn(mariadb)) { // the failure took the transaction along
            EXPECT_EQ(errorOf([&] { transaction.commit(); }).hr, aborted);
        } else {
            transaction.abort();
        }
        return error;
    };
    Error there;
    std::thread other([&] { there = crossed(first, one, "UPDATE t SET a = 3 WHERE id = 2"); });
    const Error here = crossed(second, two, "UPDATE t SET a = 3 WHERE id = 1");
    other.join();
    EXPECT_EQ((here.code == -1) + (there.code == -1), 1);
    EXPECT_EQ(kindOf(here.code != -1 ? here : there), mine({"", "", "31 1 80040e38", "31 1213 80040e38"}));
    EXPECT_EQ(ask("SELECT SUM(a) FROM t"), 0);
}

TEST_P(BehaviourServerErrors, aWrongPasswordIsRefusedWithoutShowingIt) {
    const auto refused = closed(directory.write("wrong.xml", configuration("wr0ng")));
    const Error error = errorOf([&] { refused->open(database.c_str(), nullptr, 0); });
    EXPECT_EQ(kindOf(error),
              mine({"", "", isNative() ? "4 101 80040e4d" : "4 101 80004005", "4 1045 80040e4d"}))
        << error.provText;
    EXPECT_EQ(error.trace, "QD_ADOOrvelConnection::open");
    EXPECT_THAT(error.provText, testing::Not(HasSubstr("wr0ng")));
    EXPECT_FALSE(refused->isOpen());
}

TEST_P(BehaviourServerErrors, aKilledSessionFailsItsCommitHoweverItIsNoticedAndAnotherCanBeOpened) {
    for (const std::string noticed : {"statement", "command", "dropped command", "dropped rows", "commit"}) {
        QD_OrvelConnectionHandle victim = another();
        QD_OrvelTransaction transaction(victim, 0, true, "");
        QD_OrvelCommandHandle update = victim->createCommand("UPDATE t SET a = 9", 0);
        for ([[maybe_unused]] const int prepared : {0, 1}) update->execNoQuery(0);
        const int session = sessionOf(victim);
        QD_OrvelQueryHandle rows;
        if (noticed == "dropped rows") rows = victim->execQuery("SELECT one.id FROM t one, t two", 0);
        kill(session);
        if (noticed == "statement") {
            Error error = errorOf([&] { victim->execNoQuery("UPDATE t SET a = 3", 0); });
            // Gone before the statement was sent, or lost while it ran: a matter of time.
            error.provCode = error.provCode == 2006 ? 2013 : error.provCode;
            EXPECT_EQ(kindOf(error), mine({"", "", "13 35 80004005", "13 2013 80004005"})) << error.provText;
        }
        if (noticed == "command") {
            EXPECT_EQ(errorOf([&] { update->execNoQuery(0); }).code, QD_ORVEL_ERR_SQL_STATEMENT);
        }
        rows.release();
        if (noticed == "dropped command") update.release();
        const Error committed = errorOf([&] { transaction.commit(); });
        EXPECT_EQ(committed.code, QD_ORVEL_ERR_COMMIT_TRANSACTION) << noticed;
        if (!noticed.starts_with("dropped")) { // where a driver that is asked nothing may not know
            EXPECT_TRUE(committed.hr == aborted || (noticed == "commit" && committed.hr == inDoubt))
                << noticed;
        }
        EXPECT_EQ(errorOf([&] { victim->execNoQuery("DELETE FROM t", 0); }).code, QD_ORVEL_ERR_SQL_STATEMENT);
        victim->close();
        open(victim);
        EXPECT_EQ(victim->execQueryScalar("SELECT SUM(a) FROM t", 0), 0) << noticed << ": nothing was kept";
    }
}

TEST_P(BehaviourServerErrors, aSessionKilledDuringAScanEndsTheScan) {
    QD_OrvelConnectionHandle victim = another();
    const int session = sessionOf(victim);
    const auto rows = victim->execQuery(
        isNative() // more than is on its way at a time
            ? mine({"", "", "SELECT generate_series(0, 2999999)", "SELECT seq FROM seq_0_to_2999999"})
            : mine({"", "", "SELECT generate_series(0, 2999)", "SELECT seq FROM seq_0_to_2999"}),
        0);
    int read = 0;
    for (; !rows->eof(); rows->nextRow(), ++read) {
        ASSERT_EQ(textOf(rows), std::to_string(read));
        if (read == 10) kill(session);
    }
    if (!isNative() && (isOn(mariadb) || GetParam().wholeResults)) {
        EXPECT_EQ(read, 3000) << "the driver had read them all";
    } else {
        EXPECT_LT(read, isNative() ? 3000000 : 3000);
        EXPECT_THAT(DiagnosticLines::all(), testing::Contains(HasSubstr("QD_ADOOrvelQuery::nextRow")));
    }
    EXPECT_EQ(errorOf([&] { victim->execNoQuery("UPDATE t SET a = 1", 0); }).code,
              QD_ORVEL_ERR_SQL_STATEMENT);
}

TEST_P(BehaviourServerErrors, aStatementThatTakesTooLongIsStoppedWhereTheDriverCan) {
    QD_OrvelConnectionHandle other = closed();
    other->setBusyTimeout(1000);
    open(other);
    const char* const sleep = mine({"", "", "SELECT pg_sleep(3)", "SELECT SLEEP(2)"});
    EXPECT_EQ(kindOf(errorOf([&] { other->execQuery(sleep, 0); })),
              mine({"", "", "14 1 80040e31", isNative() ? "14 1317 80040e31" : none}));
    if (isOn(postgresql) || isNative()) {
        const auto sleeper = other->createCommand(sleep, 0);
        EXPECT_EQ(kindOf(errorOf([&] { sleeper->execQuery(0); })),
                  mine({"", "", "13 1 80040e31", "13 1317 80040e31"}));
        other->setBusyTimeout(0);
        EXPECT_EQ(
            textOf(other->execQuery(mine({"", "", "SELECT pg_sleep(1.2)::text", "SELECT SLEEP(1.2)"}), 0)),
            mine({"", "", "", "0"}));
    }
}

TEST_P(BehaviourServerErrors, aDatabaseInUseIsDroppedByOneOfThem) {
    const bool refuses = isOn(postgresql);
    const Error error = errorOf([&] { closed()->dropDatabase(database.c_str(), nullptr); });
    EXPECT_EQ(error.code, refuses ? QD_ORVEL_ERR_BUSY : -1) << error.provText;
    EXPECT_EQ(connection->databaseExists(database.c_str(), nullptr), refuses);
    if (!refuses) {
        connection->createDatabase("Catalogue", database.c_str(), nullptr, 0); // for the end of the test
    }
}

/// MariaDB's serializable transactions wait for each other, and it takes one statement a text.
class BehaviourPostgresqlErrors : public BehaviourErrors {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourPostgresqlErrors,
                         testing::Values(postgresqlContext, postgresqlOdbcContext, postgresqlWholeContext),
                         contextName);

TEST_P(BehaviourPostgresqlErrors, aSerializationFailureIsBusyAndUndoesTheTransaction) {
    QD_OrvelConnectionHandle other = another();
    {
        QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
        QD_OrvelTransaction others(other, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
        ask("SELECT SUM(a) FROM t");
        other->execQueryScalar("SELECT SUM(a) FROM t", 0);
        run("INSERT INTO t VALUES (3, 1)");
        other->execNoQuery("INSERT INTO t VALUES (4, 1)", 0);
        others.commit();
        const Error error = errorOf([&] { transaction.commit(); });
        EXPECT_EQ(kindOf(error), "31 110 80040e38") << error.provText;
        EXPECT_THAT(error.trace, HasSubstr("QD_ADOOrvelConnection::commitTransaction"));
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3);
    run("INSERT INTO t VALUES (3, 1)");
    EXPECT_EQ(other->execQueryScalar("SELECT COUNT(*) FROM t", 0), 4) << "committed by itself again";
}

TEST_P(BehaviourPostgresqlErrors, areThoseOfEveryStatementInATextWholeAndWithoutWarnings) {
    EXPECT_EQ(kindOf(errorOf([&] { run("UPDATE t SET a = 1; SELECT 1/0"); })), "13 1 80040e14");
    EXPECT_EQ(run("UPDATE t SET a = 1; UPDATE t SET a = 2 WHERE id = 1"), 2);
    EXPECT_EQ(ask("SELECT SUM(a) FROM t"), 3);
    const std::string longText(3000, 'x');
    EXPECT_THAT(errorOf([&] { query("SELECT '" + longText + "'::integer"); }).provText, HasSubstr(longText));
    EXPECT_EQ(run("DO $$ BEGIN RAISE WARNING 'no error'; END $$"), 0);
}

} // namespace
