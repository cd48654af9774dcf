// Tables, databases and templates on SQLite files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::expectError;
using orvel::tests::traceOf;
using testing::ElementsAre;

const char* const templates = R"(
  <Commands><Ask>SELECT $(tableName)</Ask></Commands>
  <DatabaseTemplates>
    <Plain><CreateDatabase>not SQL</CreateDatabase></Plain>
    <Set><CreateDatabase>x</CreateDatabase>
         <SetupDatabase>CREATE TABLE IF NOT EXISTS log (a); INSERT INTO log VALUES ('$(dbName)')</SetupDatabase></Set>
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

class SqliteSchema : public orvel::tests::SqliteTest {
protected:
    SqliteSchema() {
        config = directory.write("templates.xml", orvel::tests::sqliteConfiguration(templates));
        connection = opened();
    }

    QD_OrvelConnectionHandle connection;
    std::vector<std::string> names{"before"};
    const std::string dir = path();

    bool exists(const char* name) const { return connection->databaseExists(name, dir.c_str()); }
    void create(const char* databaseID, const char* name) const {
        connection->createDatabase(databaseID, name, dir.c_str(), 0);
    }
};

TEST_F(SqliteSchema, createsAndUpgradesTablesFromTemplates) {
    const char* const inserted = "\"x$(tableName)\""; // once, never expanded again
    for (const auto& [tableID, name, expected] :
         {std::tuple("Indexed", "T2", 1), {"Bare", "B", 0}, {"Only", "O", 0}, {"Only", inserted, 0}}) {
        connection->createTable(tableID, name);
        EXPECT_EQ(rows(connection, name), expected);
    }
    EXPECT_EQ(connection->execQueryScalar(
                  "SELECT COUNT(*) FROM sqlite_master WHERE name = 'ix_T2' AND tbl_name = 'T2'", 0),
              1);
    for (const unsigned int step : {3U, 0U, 4294967295U}) {
        connection->alterTable("Indexed", step, "T2");
    }
    EXPECT_EQ(connection->getTableColumnNames("T2", names), 4);
    EXPECT_THAT(names, ElementsAre("id", "three", "zero", "last"));
    EXPECT_EQ(text(connection, "SELECT three FROM T2"), "$(TableName)")
        << "placeholders tell letter case apart";
    const std::string store = "QD_OrvelConfig::getDBTableCommand QD_OrvelConfig::getDBTableCommand ";
    expectError([&] { connection->alterTable("Indexed", 7, "t"); },
                {24, 0, "", traceOf(store + "alterTable")});
    expectError([&] { connection->createTable("Unknown", "t"); },
                {24, 0, "", traceOf(store + "createTable")});
}

TEST_F(SqliteSchema, listsTablesInSqlitesOrderAndFindsThemByExactName) {
    EXPECT_EQ(connection->getTables(names), 0);
    EXPECT_THAT(names, ElementsAre());
    connection->execNoQuery(
        "CREATE TABLE parts (id INTEGER PRIMARY KEY AUTOINCREMENT, \u00e4); CREATE TABLE Zoo (a);"
        "CREATE VIEW v AS SELECT 1; CREATE INDEX i ON Zoo(a); CREATE TABLE Parts2 (a)",
        0);
    EXPECT_EQ(connection->getTables(names), 4);
    EXPECT_THAT(names, ElementsAre("Parts2", "Zoo", "parts", "sqlite_sequence"));
    for (const auto& [name, expected] : {std::pair("parts", true), {"PARTS", false}, {"v", false}}) {
        EXPECT_EQ(connection->tableExists(name), expected) << name;
    }
    EXPECT_EQ(orvel::tests::errorOf([&] { (void)connection->tableExists("o'clock"); }).code, 34);
    EXPECT_EQ(connection->getTableColumnNames("parts", names), 2);
    EXPECT_THAT(names, ElementsAre("id", "\u00e4"));
    EXPECT_EQ(orvel::tests::errorOf([&] { connection->getTableColumnNames(nullptr, names); }).code, 23);
    EXPECT_THAT(names, ElementsAre());
    names = {"before"};
    expectError([&] { connection->getTableColumnNames("missing", names); },
                {34, 1, "no such table: missing", traceOf("compile compile getTableColumnNames")});
    EXPECT_THAT(names, ElementsAre());
}

TEST_F(SqliteSchema, namesAreCheckedFirstThenWhetherTheDatabaseIsOpenThenTheTemplates) {
    connection->close();
    auto& c = *connection.get();
    using Operation = std::function<void(const char*)>;
    const std::pair<std::string, Operation> operations[] = {
        {"execQuery tableExists", [&](const char* n) { (void)c.tableExists(n); }},
        {"getTableColumnNames", [&](const char* n) { c.getTableColumnNames(n, names); }},
        {"getTableRowCount", [&](const char* n) { c.getTableRowCount(n); }},
        {"createTable", [&](const char* n) { c.createTable(n, "t"); }},
        {"createTable", [&](const char* n) { c.createTable("Unknown", n); }},
        {"alterTable", [&](const char* n) { c.alterTable(n, 0, "t"); }},
        {"alterTable", [&](const char* n) { c.alterTable("Unknown", 0, n); }},
        {"dropTable", [&](const char* n) { c.dropTable(n); }},
        {"execQuery getTables", [&](const char*) { c.getTables(names); }},
        {"compressDatabase", [&](const char*) { c.compressDatabase(); }},
        {"databaseExists", [&](const char* n) { (void)c.databaseExists(n, dir.c_str()); }},
        {"createDatabase", [&](const char* n) { c.createDatabase(n, "x", dir.c_str(), 0); }},
        {"createDatabase", [&](const char* n) { c.createDatabase("Plain", n, dir.c_str(), 0); }},
        {"dropDatabase", [&](const char* n) { c.dropDatabase(n, dir.c_str()); }}};
    for (int i = 0; i < 14; ++i) {
        const auto& [trace, operation] = operations[i];
        if (i < 10) {
            expectError([&, &run = operation] { run("Unknown"); },
                        {12, 1000, "Null Database pointer", traceOf("checkDB " + trace)});
        }
        for (const char* empty : {static_cast<const char*>(nullptr), ""}) {
            const std::string name = trace.substr(trace.find(' ') + 1);
            i == 8 || i == 9
                ? void()
                : expectError([&, &run = operation] { run(empty); },
                              {23, 0, "", traceOf("QD_OrvelTools::throwOnNullOrEmptyString " + name)});
        }
    }
}

TEST_F(SqliteSchema, dropsTablesAndCompresses) {
    connection->execNoQuery("CREATE TABLE t (a); INSERT INTO t VALUES (zeroblob(400000))", 0);
    const auto before = std::filesystem::file_size(directory.file("Parts.db3"));
    connection->dropTable("t");
    EXPECT_FALSE(connection->tableExists("t"));
    connection->compressDatabase();
    EXPECT_LT(std::filesystem::file_size(directory.file("Parts.db3")), before / 10);
    connection->execNoQuery("BEGIN", 0);
    expectError([&] { connection->compressDatabase(); },
                {34, 1, "cannot VACUUM from within a transaction",
                 traceOf("execNoQuery execNoQuery compressDatabase")});
}

TEST_F(SqliteSchema, createsDatabasesThroughAConnectionOfItsOwn) {
    connection->close();
    EXPECT_FALSE(exists("New"));
    create("Set", "New");
    create("Set", "New"); // opens it as it is and sets it up again
    create("Plain", "Empty");
    EXPECT_TRUE(exists("New") && exists("Empty"));
    EXPECT_FALSE(connection->isOpen());
    QD_OrvelConnectionHandle created = opened("New");
    EXPECT_EQ(text(created, "SELECT group_concat(a) FROM log"), "New,New");

    const std::string store = "QD_OrvelConfig::getDBDatabaseCommand QD_OrvelConfig::getDBDatabaseCommand ";
    expectError([&] { create("None", "Never"); }, {25, 0, "", traceOf(store + "createDatabase")});
    EXPECT_FALSE(exists("Never"));
    expectError([&] { create("Broken", "Half"); }, {34, 1, "near \"nonsense\": syntax error",
                                                    traceOf("compile compile execNoQuery createDatabase")});
    EXPECT_TRUE(exists("Half")) << "what was created stays";
    EXPECT_EQ(orvel::tests::errorOf([&] { create("Plain", "missing/x"); }).code, QD_ORVEL_ERR_OPEN_DATABASE);
}

TEST_F(SqliteSchema, dropsTheDatabaseThatIsOpenUnderWhateverName) {
    opened("Other");
    const QD_OrvelConnectionHandle other = opened();
    connection->dropDatabase("Other", dir.c_str());
    EXPECT_TRUE(connection->isOpen());
    connection->dropDatabase("Parts", (dir + "/.").c_str()); // another name of the same file
    EXPECT_FALSE(connection->isOpen());
    EXPECT_FALSE(exists("Parts"));
    EXPECT_NO_THROW(other->execNoQuery("SELECT * FROM sqlite_master", 0)) << "goes on with the deleted file";
    const orvel::tests::CurrentDirectory current(dir);
    expectError([&] { connection->dropDatabase("Parts", nullptr); },
                {5, 13, "Database '.\\Parts.db3' is used by another process or access is denied",
                 traceOf("dropDatabase dropDatabase")});
    opened("Here");
    EXPECT_TRUE(connection->databaseExists("Here", nullptr));
    connection->dropDatabase("Here", nullptr);
    EXPECT_FALSE(exists("Here"));
}

TEST_F(SqliteSchema, aHotJournalThatADroppedDatabaseLeftDoesNotHarmTheNextOfItsName) {
    const std::string journal = directory.file("Parts.db3-journal");
    connection->execNoQuery(
        "CREATE TABLE old (a); INSERT INTO old VALUES (zeroblob(40000)); PRAGMA cache_size = 1;"
        "BEGIN; UPDATE old SET a = zeroblob(40001)",
        0); // spills, with the journal on the disk
    std::filesystem::copy_file(journal, directory.file("kept"));
    connection->close();
    std::filesystem::rename(directory.file("kept"), journal);
    connection->dropDatabase("Parts", dir.c_str());
    EXPECT_TRUE(std::filesystem::exists(journal)) << "that file alone was deleted";
    create("Plain", "Parts");
    connection = opened();
    EXPECT_EQ(connection->getTables(names), 0);
    connection->execNoQuery("CREATE TABLE fresh (a)", 0);
    EXPECT_EQ(text(connection, "PRAGMA integrity_check"), "ok");
}

TEST_F(SqliteSchema, commandsAreReadRawUnderItsOwnKey) {
    connection->close();
    std::string command = "before";
    connection->getDBCommand("Ask", command, true);
    EXPECT_EQ(command, "SELECT $(tableName)");
    connection->getDBCommand("Missing", command, false);
    EXPECT_EQ(command, "");
    expectError([&] { connection->getDBCommand("Missing", command, true); },
                {26, 0, "", traceOf("getDBCommand getDBCommand", "QD_OrvelConfig")});
}

} // namespace
