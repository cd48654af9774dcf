// Tables, databases, transactions and ids on every engine.

#include <gmock/gmock.h>

#include "QD_OrvelTransaction.h"
#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;

TEST_P(Behaviour, tablesAreMadeUpgradedListedAndDropped) {
    std::vector<std::string> names = {"left over"};
    const auto columns = [&](const char* table) {
        connection->getTableColumnNames(table, names);
        return " " + testing::PrintToString(names);
    };
    EXPECT_EQ(connection->getTables(names), 0);
    EXPECT_THAT(names, ElementsAre());
    for (const char* const table : {"glyphs", "glyphs_2"}) connection->createTable("Character", table);
    EXPECT_EQ(connection->getTables(names), 2);
    EXPECT_THAT(names, ElementsAre("glyphs", "glyphs_2"));
    EXPECT_THAT(columns("glyphs"), testing::Not(testing::HasSubstr("\"plane\"")));
    for (const unsigned int step : {1U, 2U}) connection->alterTable("Character", step, "glyphs");
    EXPECT_THAT(columns("glyphs"), testing::EndsWith("\"plane\", \"name_length\" }"));
    EXPECT_EQ(errorOf([&] { columns("missing"); }).code, isAdo() ? -1 : 34);
    EXPECT_EQ(connection->getTableRowCount("glyphs"), 0);
    connection->compressDatabase();
    connection->dropTable("glyphs");
    EXPECT_FALSE(connection->tableExists("glyphs"));
    EXPECT_TRUE(connection->tableExists("glyphs_2"));
    const int refused = isAdo() ? QD_ORVEL_ERR_SQL_STATEMENT : QD_ORVEL_ERR_PROVIDER;
    EXPECT_EQ(errorOf([&] { connection->createTable("Character", "glyphs_2"); }).code, refused)
        << "it is there";
    EXPECT_EQ(errorOf([&] { connection->dropTable("missing"); }).code, refused);
}

/// Not over SQLite's ODBC driver: it takes one statement a text, its databases are files that opening makes,
/// and without a write-ahead log its writers wait for readers.
class BehaviourDatabases : public Behaviour {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourDatabases, contextsWithTemplates, contextName);

TEST_P(BehaviourDatabases, anUpgradeFillsWhatIsThere) {
    connection->createTable("Character", "glyphs");
    run(std::string("INSERT INTO glyphs (code_point, name, category, combining_class, utf16be) VALUES "
                    "(131072, 'A B', 'Lo', 0, ") +
        (isOn(postgresql) ? "'\\x00')" : "x'00')"));
    connection->alterTable("Character", 1, "glyphs");
    connection->alterTable("Character", 2, "glyphs");
    EXPECT_EQ(ask("SELECT plane FROM glyphs"), 2);
    EXPECT_EQ(ask("SELECT name_length FROM glyphs"), 3);
    std::string size;
    connection->getDBCommand("DatabaseSize", size, true);
    EXPECT_GT(ask(size), 0);
}

TEST_P(BehaviourDatabases, areMadeFoundAndDropped) {
    QD_OrvelConnectionHandle other = closed();
    EXPECT_TRUE(other->databaseExists(database.c_str(), path.c_str())) << "without being open itself";
    for (const char* name : {"Second one", "second"}) {
        EXPECT_FALSE(other->databaseExists(name, path.c_str()));
        other->createDatabase("Catalogue", name, path.c_str(), 0);
        EXPECT_TRUE(other->databaseExists(name, path.c_str()));
        other->open(name, path.c_str(), 0);
        other->execNoQuery("CREATE TABLE t (a INTEGER)", 0);
        EXPECT_TRUE(other->tableExists("t"));
        EXPECT_FALSE(connection->tableExists("t"));
        other->dropDatabase(name, path.c_str());
        EXPECT_FALSE(other->isOpen());
        EXPECT_FALSE(other->databaseExists(name, path.c_str()));
    }
    EXPECT_EQ(errorOf([&] { other->createDatabase("Missing", "x", path.c_str(), 0); }).code,
              QD_ORVEL_ERR_UNKNOWN_DATABASE);
    EXPECT_TRUE(connection->isOpen());
    if (isServer()) {
        const Error twice =
            errorOf([&] { other->createDatabase("Catalogue", database.c_str(), nullptr, 0); });
        EXPECT_EQ(twice.code, QD_ORVEL_ERR_SQL_STATEMENT);
        EXPECT_EQ(twice.trace, traceOf("execNoQuery createDatabase", "QD_ADOOrvelConnection"));
        EXPECT_THAT(twice.provText, testing::HasSubstr("exists"));
        EXPECT_EQ(errorOf([&] { other->dropDatabase("missing", nullptr); }).trace,
                  traceOf("execNoQuery dropDatabase", "QD_ADOOrvelConnection"));
        const Error missing = errorOf([&] { other->open("there_is_none", nullptr, 0); });
        EXPECT_EQ(missing.code, QD_ORVEL_ERR_OPEN_DATABASE);
        EXPECT_THAT(missing.provText, testing::HasSubstr("there_is_none"));
        EXPECT_TRUE(isOn(postgresql) || missing.hr == 0x80040E19) << "whose driver has one state for all";
        EXPECT_FALSE(other->isOpen());
    }
}

TEST_P(Behaviour, theLastInsertedIdIsCounted) {
    run("CREATE TABLE t (id " + counterType() + ", v VARCHAR(9))");
    for (int id = 1; id <= 2; ++id) {
        run("INSERT INTO t (v) VALUES ('x')");
        EXPECT_EQ(connection->getLastInsertedId(), id);
    }
    run("INSERT INTO t VALUES (77, 'a')");
    EXPECT_EQ(connection->getLastInsertedId(), isServer() ? 2 : 77) << "a key brought along";
    const auto other = another(); // where nothing was inserted
    long long id = 0;
    EXPECT_EQ(errorOf([&] { id = other->getLastInsertedId(); }).code, mine({-1, -1, 14, -1}));
    EXPECT_EQ(id, 0);
}

class BehaviourTransactions : public Behaviour {
protected:
    void insert() const { run("INSERT INTO t VALUES (1)"); }
    int rows() const { return ask("SELECT COUNT(*) FROM t"); }
};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourTransactions, everyContext, contextName);

TEST_P(BehaviourTransactions, keepWhatIsCommittedAlone) {
    run("CREATE TABLE t (a INTEGER)");
    {
        QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "");
        insert();
        transaction.abort();
        EXPECT_EQ(rows(), 0);
        transaction.begin();
        insert();
        QD_OrvelTransaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "").abort(); // only counts
        const int refused = isAdo() ? QD_ORVEL_ERR_SQL_STATEMENT : QD_ORVEL_ERR_PROVIDER;
        EXPECT_EQ(errorOf([&] { run("INSERT INTO missing VALUES (1)"); }).code, refused);
        EXPECT_EQ(errorOf([&] { command("DELETE FROM missing")->execNoQuery(0); }).code, refused);
        insert();
        transaction.commit();
        EXPECT_EQ(rows(), 2) << "though a statement failed";
        transaction.begin();
        insert();
    } // ends it
    EXPECT_EQ(rows(), 2);
    insert(); // outside
    QD_OrvelTransaction last(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    insert();
    connection->close(); // rolls back
    open(connection);
    EXPECT_EQ(rows(), 3);
}

class BehaviourIsolation : public Behaviour {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourIsolation, everyServer, contextName);

TEST_P(BehaviourIsolation, isThatOfTheFlagsForOneTransaction) {
    const char* const question = mine({"", "", "SHOW transaction_isolation", "SELECT lower(@@tx_isolation)"});
    for (const unsigned int flags : {0U, 2U, 0U, 4U, 8U}) {
        QD_OrvelTransaction transaction(connection, flags, true, "");
        const std::string level = textOf(query(question));
        EXPECT_TRUE(level.starts_with((flags & 6) != 0 ? "serializable" : "read")) << flags << ": " << level;
    }
}

} // namespace
