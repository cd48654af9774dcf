// Tables, databases and templates on SQLite files.

#include <gmock/gmock.h>

#include <utility>

#include "tests/support/refusals.h"
#include "tests/support/sqlite_test.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;

const char* const templates = R"(
  <Commands><Ask>SELECT $(tableName)</Ask></Commands>
  <DatabaseTemplates>
    <Plain><CreateDatabase>not SQL</CreateDatabase></Plain>
    <Set><CreateDatabase>x</CreateDatabase>
         <SetupDatabase>CREATE TABLE IF NOT EXISTS log (a); INSERT INTO log SELECT '$(dbName)' || timeout FROM pragma_busy_timeout</SetupDatabase></Set>
    <Broken><CreateDatabase>x</CreateDatabase><SetupDatabase>nonsense</SetupDatabase></Broken>
    <None><SetupDatabase>CREATE TABLE t (a)</SetupDatabase></None>
  </DatabaseTemplates>
  <TableTemplates>
    <Indexed>
      <CreateTable>CREATE TABLE $(tableName) (id INTEGER); CREATE INDEX ix_$(tableName) ON $(tableName)(id);</CreateTable>
      <SetupTable>INSERT INTO $(tableName) VALUES (1)</SetupTable>
      <AlterTable0>ALTER TABLE $(tableName) ADD COLUMN zero</AlterTable0>
      <AlterTable3>ALTER TABLE $(tableName) ADD COLUMN three; UPDATE $(tableName) SET three = '$(TableName)'</AlterTable3>
      <AlterTable-1>ALTER TABLE $(tableName) ADD COLUMN last</AlterTable-1>
    </Indexed>
    <Bare><CreateTable>CREATE TABLE $(tableName) (a)</CreateTable><SetupTable>  </SetupTable></Bare>
    <Only><CreateTable>CREATE TABLE $(tableName) (a)</CreateTable></Only>
  </TableTemplates>)";

class SqliteSchema : public SqliteTest {
protected:
    SqliteSchema() : SqliteTest(templates) {}

    std::vector<std::string> names{"before"};

    bool exists(const char* name) const { return connection->databaseExists(name, path.c_str()); }
    void create(const char* databaseID, const char* name) const {
        connection->createDatabase(databaseID, name, path.c_str(), 0);
    }
    std::string created(const char* databaseID, const char* name) const {
        return outcome([&] { create(databaseID, name); });
    }
    static std::string missing(const std::string& lookup, const std::string& function,
                               const std::string& code) {
        return code + "/0 [QD_OrvelConfig::" + lookup + " QD_OrvelConfig::" + lookup + function + "]";
    }
};

TEST_F(SqliteSchema, createsAndUpgradesTablesFromTemplates) {
    const char* const inserted = "\"x$(tableName)\""; // once, never expanded again
    for (const auto& [tableID, name, expected] :
         {std::tuple("Indexed", "T2", 1), {"Bare", "B", 0}, {"Only", "O", 0}, {"Only", inserted, 0}}) {
        connection->createTable(tableID, name);
        EXPECT_EQ(connection->getTableRowCount(name), expected);
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM sqlite_master WHERE name = 'ix_T2' AND tbl_name = 'T2'"), 1);
    for (const unsigned int step : {3U, 0U, 4294967295U}) connection->alterTable("Indexed", step, "T2");
    EXPECT_EQ(connection->getTableColumnNames("T2", names), 4);
    EXPECT_THAT(names, ElementsAre("id", "three", "zero", "last"));
    EXPECT_EQ(text("SELECT three FROM T2"), "$(TableName)") << "placeholders tell letter case apart";
    EXPECT_EQ(outcome([&] { connection->alterTable("Indexed", 7, "t"); }),
              missing("getDBTableCommand", " alterTable", "24"));
    EXPECT_EQ(outcome([&] { connection->createTable("Unknown", "t"); }),
              missing("getDBTableCommand", " createTable", "24"));
}

TEST_F(SqliteSchema, listsTablesInSqlitesOrderAndFindsThemByExactName) {
    EXPECT_EQ(connection->getTables(names) + static_cast<int>(names.size()), 0);
    run("CREATE TABLE parts (id INTEGER PRIMARY KEY AUTOINCREMENT, \u00e4); CREATE TABLE Zoo (a);"
        "CREATE VIEW v AS SELECT 1; CREATE INDEX i ON Zoo(a); CREATE TABLE Parts2 (a)");
    EXPECT_EQ(connection->getTables(names), 4);
    EXPECT_THAT(names, ElementsAre("Parts2", "Zoo", "parts", "sqlite_sequence"));
    for (const auto& [name, expected] : {std::pair("parts", true), {"PARTS", false}, {"v", false}}) {
        EXPECT_EQ(connection->tableExists(name), expected) << name;
    }
    EXPECT_EQ(errorOf([&] { (void)connection->tableExists("o'clock"); }).code, 34);
    EXPECT_EQ(connection->getTableColumnNames("parts", names), 2);
    EXPECT_THAT(names, ElementsAre("id", "\u00e4"));
    EXPECT_EQ(outcome([&] { connection->getTableColumnNames("missing", names); }),
              "34/1 no such table: missing [compile compile getTableColumnNames]");
    EXPECT_THAT(names, ElementsAre());
    connection->dropTable("Zoo");
    EXPECT_FALSE(connection->tableExists("Zoo"));
    names = {"a_table_whose_name_needs_the_heap"};
    run("CREATE TABLE " + names[0] + " (a)");
    EXPECT_EQ(connection->getTableColumnNames(names[0].c_str(), names), 1) << "its name lies in the list";
}

TEST_F(SqliteSchema, namesAreCheckedFirstThenWhetherTheDatabaseIsOpenThenTheTemplates) {
    connection->close();
    auto& c = *connection.get();
    expectRefusals(c, "QD_SQOrvelConnection", notOpenIn(""));
    using Row = std::pair<const char*, const char*>;
    const char* const none = "23/0 [QD_OrvelTools::throwOnNullOrEmptyString getTableColumnNames]";
    for (const auto& [name, expected] :
         {Row{nullptr, none}, Row{"", none},
          Row{"t", "12/1000 Null Database pointer [checkDB getTableColumnNames]"}}) {
        EXPECT_EQ(outcome([&, table = name] { c.getTableColumnNames(table, names); }), expected);
        EXPECT_THAT(std::exchange(names, {"before"}), ElementsAre());
    }
    expectError([&] { c.getTables(names); }, notOpenIn("checkDB execQuery getTables"));
    expectError([&] { c.compressDatabase(); }, notOpenIn("checkDB compressDatabase"));
}

TEST_F(SqliteSchema, compressesOutsideATransaction) {
    run("CREATE TABLE t (a); INSERT INTO t VALUES (zeroblob(400000)); DROP TABLE t");
    const auto before = std::filesystem::file_size("Parts.db3");
    connection->compressDatabase();
    EXPECT_LT(std::filesystem::file_size("Parts.db3"), before / 10);
    run("BEGIN");
    EXPECT_EQ(outcome([&] { connection->compressDatabase(); }),
              "34/1 cannot VACUUM from within a transaction [execNoQuery execNoQuery compressDatabase]");
}

TEST_F(SqliteSchema, createsDatabasesThroughAConnectionOfItsOwn) {
    connection->close();
    connection->setBusyTimeout(7); // that one waits as long for a lock
    EXPECT_FALSE(exists("New"));
    create("Set", "New");
    create("Set", "New"); // opens it as it is and sets it up again
    create("Plain", "Empty");
    EXPECT_FALSE(connection->isOpen());
    EXPECT_EQ(created("None", "Never"), missing("getDBDatabaseCommand", " createDatabase", "25"));
    EXPECT_EQ(created("Broken", "Half"),
              "34/1 near \"nonsense\": syntax error [compile compile execNoQuery createDatabase]");
    EXPECT_THAT(created("Plain", "missing/x"), testing::StartsWith("4/14 "));
    for (const auto& [name, expected] : {std::pair("New", true),
                                         {"Empty", true},
                                         {"Never", false},
                                         {"Half", true}}) { // what was created stays
        EXPECT_EQ(exists(name), expected) << name;
    }
    connection = opened("New");
    EXPECT_EQ(text("SELECT group_concat(a) FROM log"), "New7,New7");
}

TEST_F(SqliteSchema, dropsTheDatabaseThatIsOpenUnderWhateverName) {
    opened("Other");
    const QD_OrvelConnectionHandle other = opened();
    connection->dropDatabase("Other", nullptr);
    EXPECT_FALSE(exists("Other"));
    EXPECT_TRUE(connection->isOpen()) << "its database is another one";
    connection->dropDatabase("Parts", (path + "/.").c_str()); // another name of the same file
    EXPECT_FALSE(connection->isOpen());
    EXPECT_NO_THROW(other->execNoQuery("SELECT * FROM sqlite_master", 0)) << "goes on with the deleted file";
    for (const char* left : {"Left.db3", "Left.db3-journal", "Kept.db3-wal"}) directory.write(left, "");
    for (const char* undeletable : {"Left.db3-wal", "Kept.db3"}) {
        std::filesystem::create_directory(undeletable);
    }
    for (const auto& [name, file] :
         {std::pair("Parts", "Parts.db3"), {"Left", "Left.db3-wal"}, {"Kept", "Kept.db3"}}) {
        EXPECT_EQ(outcome([&, dropped = name] { connection->dropDatabase(dropped, nullptr); }),
                  std::string("5/13 Database '.\\") + file +
                      "' is used by another process or access is denied [dropDatabase dropDatabase]");
    }
    for (const char* gone : {"Parts.db3", "Left.db3", "Left.db3-journal"}) {
        EXPECT_FALSE(std::filesystem::exists(gone)) << gone;
    }
    EXPECT_TRUE(std::filesystem::exists("Kept.db3-wal")) << "belongs to a database that is still there";
}

TEST_F(SqliteSchema, aDatabaseUnderTheNameOfADroppedOneIsWholeWhateverStillWritesToTheOldOne) {
    const char* const setUp = "PRAGMA journal_mode=WAL; CREATE TABLE t (a); INSERT INTO t VALUES (0)";
    run(setUp);
    const QD_OrvelCommandHandle stale = command("INSERT INTO t VALUES (1)");
    connection->dropDatabase("Parts", nullptr);
    connection->open("Parts", nullptr, 0);
    run(setUp);
    for (int row = 0; row < 60; ++row) run("INSERT INTO t VALUES (2)");
    run("PRAGMA wal_checkpoint(RESTART); INSERT INTO t VALUES (2)");
    EXPECT_EQ(stale->execNoQuery(0), 1) << "goes on with the deleted file";
    for (int row = 0; row < 5; ++row) run("INSERT INTO t VALUES (2)");
    EXPECT_EQ(opened()->execQueryScalar("SELECT COUNT(*) FROM t", 0), 67);
    EXPECT_EQ(text("PRAGMA integrity_check"), "ok");
}

TEST_F(SqliteSchema, commandsAreReadRawUnderItsOwnKey) {
    connection->close();
    std::string found = "Ask";
    connection->getDBCommand(found.c_str(), found, true);
    EXPECT_EQ(found, "SELECT $(tableName)");
    connection->getDBCommand("Missing", found, false);
    EXPECT_EQ(found, "");
    EXPECT_EQ(outcome([&] { connection->getDBCommand("Missing", found, true); }),
              missing("getDBCommand", "", "26"));
}

} // namespace
