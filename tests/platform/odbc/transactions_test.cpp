#include "platform/ado/constants.h"
#include "tests/platform/odbc/engine.h"

namespace {

using namespace orvel::tests;

class OdbcTransactions : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        createTable("id INTEGER PRIMARY KEY");
    }
    std::string rows() { return ask("SELECT count(*) FROM " + table); }
    void insert(const ado::Ref<ado::Connection>& on, int id) {
        run(on, "INSERT INTO " + table + " VALUES (" + std::to_string(id) + ")");
    }
};

TEST_P(OdbcTransactions, keepWhatIsCommittedAndNothingElse) {
    EXPECT_EQ(connection->beginTrans(), 1);
    EXPECT_EQ(failureOf(connection, [&] { connection->beginTrans(); }).status, ado::xactTransactionExists);
    insert(connection, 1);
    connection->rollbackTrans();
    EXPECT_EQ(rows(), "0");
    connection->beginTrans();
    insert(connection, 2);
    connection->commitTrans();
    EXPECT_EQ(failureOf(connection, [&] { connection->commitTrans(); }).status, ado::xactNoTransaction);
    EXPECT_EQ(failureOf(connection, [&] { connection->rollbackTrans(); }).status, ado::xactNoTransaction);
    insert(connection, 3); // commits itself
    connection->beginTrans();
    insert(connection, 4);
    connection->close(); // rolls back
    connection->open(connectionString(), "", "", 0);
    EXPECT_EQ(rows(), "2");
}

TEST_P(OdbcTransactions, loseOnlyAStatementThatFails) {
    connection->beginTrans();
    insert(connection, 1);
    EXPECT_EQ(failureOf(connection, [&] { insert(connection, 1); }).status, ado::dbIntegrityViolation);
    EXPECT_NE(failureOf(connection, [&] { ask("SELECT * FROM missing_table"); }).status, 0U);
    insert(connection, 2);
    connection->commitTrans();
    EXPECT_EQ(rows(), "2");
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcTransactions,
                         testing::Values(sqliteEngine, postgresqlEngine, postgresqlCursorsEngine,
                                         mariadbEngine),
                         nameOf);

class OdbcServerTransactions : public OdbcTransactions {};

TEST_P(OdbcServerTransactions, haveTheIsolationLevelThatWasSetBefore) {
    const bool postgresql = std::string(engine().variable) == "ORVEL_TEST_POSTGRESQL";
    const std::string question =
        postgresql ? "SHOW transaction_isolation" : "SELECT lower(replace(@@tx_isolation, '-', ' '))";
    const auto early = connection;
    early->close();
    early->setIsolationLevel(ado::adXactSerializable); // a closed connection keeps it
    early->open(connectionString(), "", "", 0);
    early->beginTrans();
    EXPECT_EQ(ask(early, question), "serializable");
    early->setIsolationLevel(ado::adXactReadCommitted); // too late for this one
    EXPECT_EQ(ask(early, question), "serializable");
    early->commitTrans();
    early->beginTrans();
    EXPECT_EQ(ask(early, question), "read committed");
    early->commitTrans();
    EXPECT_EQ(failureOf(early, [&] { early->setIsolationLevel(17); }).status, ado::adErrInvalidArgument);
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcServerTransactions, testing::Values(postgresqlEngine, mariadbEngine),
                         nameOf);

/// Connection strings under which PostgreSQL's driver lets a failing statement spoil its transaction: it then
/// reports success for a commit that keeps nothing, or only what came after.
class OdbcSpoiledTransactions : public OdbcTransactions {};

TEST_P(OdbcSpoiledTransactions, areNotCommitted) {
    for (const char* protocol : {"7.4-0", "7.4-1"}) {
        const auto spoiling = connect(std::string(";Protocol=") + protocol);
        spoiling->beginTrans();
        insert(spoiling, 1);
        EXPECT_NE(failureOf(spoiling, [&] { run(spoiling, "SELEC 1"); }).status, 0U);
        failureOf(spoiling, [&] { insert(spoiling, 2); });
        EXPECT_EQ(failureOf(spoiling, [&] { spoiling->commitTrans(); }).status, ado::xactAborted) << protocol;
        EXPECT_EQ(rows(), "0") << protocol;
        spoiling->beginTrans();
        insert(spoiling, 3);
        spoiling->commitTrans();
        EXPECT_EQ(run("DELETE FROM " + table), 1) << protocol;
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcSpoiledTransactions, testing::Values(postgresqlEngine), nameOf);

class OdbcBusyCommit : public OdbcTransactions {};

TEST_P(OdbcBusyCommit, leavesNothingOpenBehind) {
    const auto reader = connect();
    insert(connection, 1);
    reader->beginTrans();
    const auto held = reader->execute("SELECT id FROM " + table, nullptr, 0); // holds the read lock
    connection->close();
    connection->open(connectionString(";Timeout=50"), "", "", 0);
    connection->beginTrans();
    const auto failure = failureOf(connection, [&] {
        insert(connection, 2);
        connection->commitTrans();
    });
    EXPECT_EQ(failure.status, ado::dbResourceLocked) << testing::PrintToString(failure);
    held->close();
    reader->rollbackTrans();
    EXPECT_EQ(rows(), "1");
    insert(connection, 3);
    EXPECT_EQ(ask(reader, "SELECT count(*) FROM " + table), "2");
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcBusyCommit, testing::Values(sqliteEngine), nameOf);

} // namespace
