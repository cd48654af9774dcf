// Errors of the engines, as applications meet them.

#include <gmock/gmock.h>

#include <memory>
#include <thread>

#include "QD_OrvelTransaction.h"
#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;
using testing::HasSubstr;

constexpr unsigned long fail = 0x80004005;
constexpr unsigned long syntax = 0x80040E14;
constexpr unsigned long noTable = 0x80040E37;
constexpr unsigned long constraint = 0x80040E2F;
constexpr unsigned long concurrency = 0x80040E38;
constexpr unsigned long locked = 0x80040E92;

class BehaviourErrors : public Behaviour {
protected:
    void SetUp() override {
        Behaviour::SetUp();
        run("CREATE TABLE t (id INTEGER PRIMARY KEY, a INTEGER)");
        run("INSERT INTO t VALUES (1, 0), (2, 0)");
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourErrors, everyContext, contextName);

struct Refused {
    const char* statement;
    ErrorKind expected[4]; ///< by context
    const char* text[4];
};

const Refused refusals[] = {
    {"SELEC 1",
     {{34, 1, 0}, {13, 1, syntax}, {13, 1, syntax}, {13, 1064, syntax}},
     {"syntax error", "syntax error", "syntax error", "SQL syntax"}},
    {"DELETE FROM missing",
     {{34, 1, 0}, {13, 1, noTable}, {13, 1, noTable}, {13, 1146, noTable}},
     {"no such table: missing", "no such table: missing", "\"missing\" does not exist",
      "missing' doesn't exist"}},
    {"INSERT INTO t VALUES (1, 1)",
     {{34, 19, 0}, {13, 19, constraint}, {13, 1, constraint}, {13, 1062, constraint}},
     {"UNIQUE", "UNIQUE", "unique", "Duplicate"}},
};

TEST_P(BehaviourErrors, sayWhatTheEngineSaid) {
    for (const Refused& each : refusals) {
        const Error direct = errorOf([&] { run(each.statement); });
        EXPECT_EQ(kindOf(direct), each.expected[context().index])
            << each.statement << ": " << direct.provText;
        EXPECT_THAT(direct.provText, HasSubstr(each.text[context().index]));
        if (isAdo()) {
            EXPECT_EQ(direct.trace, "QD_ADOOrvelConnection::execNoQuery");
            QD_OrvelCommandHandle command = connection->createCommand(each.statement, 0);
            const Error run = errorOf([&] { command->execNoQuery(0); });
            EXPECT_EQ(run, (Error{direct.code, direct.provCode, direct.provText,
                                  "QD_ADOOrvelCommand::execNoQuery", direct.hr}));
        }
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 2) << "and the connection goes on";
}

TEST_P(BehaviourErrors, aLockThatCannotBeHadIsBusy) {
    const ErrorKind expected[] = {{31, 5, 0}, {31, 5, locked}, {31, 1, locked}, {31, 1205, locked}};
    QD_OrvelConnectionHandle other = another();
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    run("UPDATE t SET a = 1 WHERE id = 1");
    const Error error = errorOf([&] { other->execNoQuery("UPDATE t SET a = 2 WHERE id = 1", 0); });
    EXPECT_EQ(kindOf(error), expected[context().index]) << error.provText;
    transaction.commit();
    EXPECT_EQ(other->execNoQuery("UPDATE t SET a = 3 WHERE id = 1", 0), 1);
}

class BehaviourServerErrors : public BehaviourErrors {
protected:
    int sessionOf(QD_OrvelConnectionHandle& handle) const {
        return handle->execQueryScalar(context().session, 0);
    }
    void kill(int session) {
        std::string sql = context().killSession;
        sql.replace(sql.find('?'), 1, std::to_string(session));
        connection->execQuery(sql.c_str(), 0);
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourServerErrors, everyServer, contextName);

TEST_P(BehaviourServerErrors, aDeadlockIsBusyForOneOfTwo) {
    const ErrorKind expected[] = {{}, {}, {31, 1, concurrency}, {31, 1213, concurrency}};
    QD_OrvelConnectionHandle first = closed();
    QD_OrvelConnectionHandle second = closed();
    open(first); // with the time to wait as shipped: the engine has to find it
    open(second);
    QD_OrvelTransaction one(first, 0, true, "");
    QD_OrvelTransaction two(second, 0, true, "");
    first->execNoQuery("UPDATE t SET a = 1 WHERE id = 1", 0);
    second->execNoQuery("UPDATE t SET a = 2 WHERE id = 2", 0);
    const auto crossed = [](QD_OrvelConnectionHandle& handle, QD_OrvelTransaction& transaction, int id) {
        const Error error = errorOf(
            [&] { handle->execNoQuery(("UPDATE t SET a = 3 WHERE id = " + std::to_string(id)).c_str(), 0); });
        transaction.abort();
        return error;
    };
    Error there;
    std::thread other([&] { there = crossed(first, one, 2); });
    const Error here = crossed(second, two, 1);
    other.join();
    EXPECT_EQ((here.code == -1) + (there.code == -1), 1);
    const Error& loser = here.code != -1 ? here : there;
    EXPECT_EQ(kindOf(loser), expected[context().index]) << loser.provText;
    EXPECT_EQ(ask("SELECT SUM(a) FROM t"), 0);
}

/// Not on MariaDB: its serializable transactions wait for each other instead.
class BehaviourSerializationErrors : public BehaviourErrors {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourSerializationErrors, testing::Values(postgresqlContext),
                         contextName);

TEST_P(BehaviourSerializationErrors, aSerializationFailureIsBusyAndUndoesTheTransaction) {
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
        EXPECT_EQ(error.code, QD_ORVEL_ERR_BUSY);
        EXPECT_EQ(error.hr, concurrency);
        EXPECT_THAT(error.trace, HasSubstr("QD_ADOOrvelConnection::commitTransaction"));
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3);
    QD_OrvelTransaction again(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    run("INSERT INTO t VALUES (3, 1)");
    again.commit();
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 4);
}

TEST_P(BehaviourServerErrors, aWrongPasswordIsRefusedWithoutShowingIt) {
    const ErrorKind expected[] = {{}, {}, {4, 101, fail}, {4, 1045, 0x80040E4D}};
    const QD_OrvelConnectionHandle refused = closed(directory.write("wrong.xml", configuration("wr0ng")));
    const Error error = errorOf([&] { refused->open(database.c_str(), nullptr, 0); });
    EXPECT_EQ(kindOf(error), expected[context().index]) << error.provText;
    EXPECT_EQ(error.trace, "QD_ADOOrvelConnection::open");
    EXPECT_THAT(error.provText, testing::Not(HasSubstr("wr0ng")));
    EXPECT_FALSE(refused->isOpen());
}

TEST_P(BehaviourServerErrors, aSessionThatIsKilledIsOneErrorAndAnotherCanBeOpened) {
    const ErrorKind expected[] = {{}, {}, {13, 35, fail}, {13, 2013, fail}};
    QD_OrvelConnectionHandle victim = another();
    QD_OrvelCommandHandle command = victim->createCommand("UPDATE t SET a = 1", 0);
    command->execNoQuery(0);
    const auto transaction = std::make_unique<QD_OrvelTransaction>(victim, 0, true, "");
    victim->execNoQuery("UPDATE t SET a = 2", 0);
    kill(sessionOf(victim));
    const Error error = errorOf([&] { victim->execNoQuery("UPDATE t SET a = 3", 0); });
    ErrorKind kind = kindOf(error);
    if (kind.provCode == 2006) {
        kind.provCode = 2013; // gone before the statement was sent, or lost while it ran: a matter of time
    }
    EXPECT_EQ(kind, expected[context().index]) << error.provText;
    EXPECT_NE(errorOf([&] { command->execNoQuery(0); }).code, -1);
    EXPECT_NE(errorOf([&] { transaction->commit(); }).code, -1);
    victim->close();
    open(victim);
    EXPECT_EQ(victim->execQueryScalar("SELECT SUM(a) FROM t", 0), 2) << "what was not committed is gone";
}

TEST_P(BehaviourServerErrors, aSessionKilledDuringAScanEndsTheScan) {
    run("CREATE TABLE many (a INTEGER)");
    std::string values = "INSERT INTO many VALUES (0)";
    for (int value = 1; value < 3000; ++value) {
        values += ", (" + std::to_string(value) + ")";
    }
    run(values);
    QD_OrvelConnectionHandle victim = another();
    const int session = sessionOf(victim);
    const QD_OrvelQueryHandle rows = victim->execQuery("SELECT a FROM many ORDER BY a", 0);
    int read = 0;
    for (int value = -1; !rows->eof(); rows->nextRow(), ++read) {
        ASSERT_TRUE(rows->getIntField(0, value));
        ASSERT_EQ(value, read);
        if (read == 10) {
            kill(session);
        }
    }
    if (context().index == mariadbContext.index) {
        EXPECT_EQ(read, 3000) << "its driver had read them all";
    } else {
        EXPECT_LT(read, 3000);
        EXPECT_THAT(DiagnosticLines::all(), testing::Contains(HasSubstr("QD_ADOOrvelQuery::nextRow")));
    }
    EXPECT_NE(errorOf([&] { victim->execNoQuery("UPDATE t SET a = 1", 0); }).code, -1);
}

TEST_P(BehaviourServerErrors, aStatementThatTakesTooLongIsStoppedWhereTheDriverCan) {
    QD_OrvelConnectionHandle other = closed();
    other->setBusyTimeout(1000);
    open(other);
    const bool stops = context().index == postgresqlContext.index;
    const Error error =
        errorOf([&] { other->execQuery(stops ? "SELECT pg_sleep(3)" : "SELECT SLEEP(2)", 0); });
    EXPECT_EQ(error.code, stops ? 14 : -1);
    EXPECT_EQ(error.hr, stops ? 0x80040E31 : 0);
}

TEST_P(BehaviourServerErrors, aDatabaseInUseIsDroppedByOneOfThem) {
    const QD_OrvelConnectionHandle other = closed();
    const bool refuses = context().index == postgresqlContext.index;
    const Error error = errorOf([&] { other->dropDatabase(database.c_str(), nullptr); });
    EXPECT_EQ(error.code, refuses ? QD_ORVEL_ERR_BUSY : -1) << error.provText;
    EXPECT_EQ(connection->databaseExists(database.c_str(), nullptr), refuses);
    if (!refuses) {
        connection->createDatabase("Catalogue", database.c_str(), nullptr, 0); // for the end of the test
    }
}

} // namespace
