// Tables, databases and templates on SQLite files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "QD_SQOrvelConnection.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::Error;
using orvel::tests::errorOf;
using testing::ElementsAre;
using testing::IsEmpty;

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
      <CreateTable>CREATE TABLE $(tableName) (id INTEGER);
                   CREATE INDEX ix_$(tableName) ON $(tableName)(id);</CreateTable>
      <SetupTable>INSERT INTO $(tableName) VALUES (1)</SetupTable>
      <AlterTable0>ALTER TABLE $(tableName) ADD COLUMN zero</AlterTable0>
      <AlterTable3>ALTER TABLE $(tableName) ADD COLUMN three; UPDATE $(tableName) SET three = '$(TableName)'</AlterTable3>
      <AlterTable-1>ALTER TABLE $(tableName) ADD COLUMN last</AlterTable-1>
    </Indexed>
    <Bare><CreateTable>CREATE TABLE $(tableName) (a)</CreateTable><SetupTable>  </SetupTable></Bare>
  </TableTemplates>)";

class SqliteSchema : public orvel::tests::SqliteTest {
protected:
    SqliteSchema() {
        config = directory.write("templates.xml", orvel::tests::sqliteConfiguration(templates));
        connection = opened();
    }

    QD_OrvelConnectionHandle connection;

    std::vector<std::string> columns(const char* table) {
        std::vector<std::string> names;
        const int count = connection->getTableColumnNames(table, names);
        EXPECT_EQ(count, static_cast<int>(names.size()));
        return names;
    }
};

TEST_F(SqliteSchema, createsTablesFromTemplates) {
    connection->createTable("Indexed", "T2");
    EXPECT_EQ(connection->execQueryScalar(
                  "SELECT COUNT(*) FROM sqlite_master WHERE name = 'ix_T2' AND tbl_name = 'T2'", 0),
              1);
    EXPECT_EQ(connection->getTableRowCount("T2"), 1);
    connection->createTable("Bare", "B");
    EXPECT_EQ(connection->getTableRowCount("B"), 0);
    connection->createTable("Bare", "\"x$(tableName)\""); // inserted once, never expanded again
    EXPECT_TRUE(connection->tableExists("x$(tableName)"));
}

TEST_F(SqliteSchema, upgradesATableByOneStepACall) {
    connection->createTable("Indexed", "t");
    connection->alterTable("Indexed", 3, "t");
    connection->alterTable("Indexed", 0, "t");
    connection->alterTable("Indexed", 4294967295U, "t");
    EXPECT_THAT(columns("t"), ElementsAre("id", "three", "zero", "last"));
    EXPECT_EQ(text(connection, "SELECT three FROM t"), "$(TableName)")
        << "placeholders tell letter case apart";
    const std::string store = "QD_OrvelConfig::getDBTableCommand <- QD_OrvelConfig::getDBTableCommand";
    EXPECT_EQ(errorOf([&] { connection->alterTable("Indexed", 7, "t"); }),
              (Error{24, 0, "", store + " <- QD_SQOrvelConnection::alterTable", 0}));
    EXPECT_EQ(errorOf([&] { connection->createTable("Unknown", "t"); }),
              (Error{24, 0, "", store + " <- QD_SQOrvelConnection::createTable", 0}));
}

TEST_F(SqliteSchema, listsTablesInSqlitesOrderAndFindsThemByExactName) {
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(connection->getTables(names), 0);
    EXPECT_THAT(names, IsEmpty());
    connection->execNoQuery("CREATE TABLE parts (id INTEGER PRIMARY KEY AUTOINCREMENT); CREATE TABLE Zoo (a);"
                            "CREATE VIEW v AS SELECT 1; CREATE INDEX i ON Zoo(a); CREATE TABLE Parts2 (a)",
                            0);
    EXPECT_EQ(connection->getTables(names), 4);
    EXPECT_THAT(names, ElementsAre("Parts2", "Zoo", "parts", "sqlite_sequence"));
    EXPECT_TRUE(connection->tableExists("parts"));
    EXPECT_FALSE(connection->tableExists("PARTS"));
    EXPECT_FALSE(connection->tableExists("v"));
    EXPECT_EQ(errorOf([&] { (void)connection->tableExists("o'clock"); }).code, QD_ORVEL_ERR_PROVIDER);
}

TEST_F(SqliteSchema, namesTheColumnsOfAnEmptyTable) {
    connection->execNoQuery("CREATE TABLE t (id, caf\xc3\xa9)", 0);
    EXPECT_THAT(columns("t"), ElementsAre("id", "caf\xc3\xa9"));
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(errorOf([&] { connection->getTableColumnNames(nullptr, names); }).code,
              QD_ORVEL_ERR_INVALID_PARAMETER);
    EXPECT_THAT(names, IsEmpty());
    names = {"before"};
    EXPECT_EQ(errorOf([&] { connection->getTableColumnNames("missing", names); }),
              (Error{34, 1, "no such table: missing",
                     "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- "
                     "QD_SQOrvelConnection::getTableColumnNames",
                     0}));
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(SqliteSchema, everyNameIsCheckedBeforeAnythingElse) {
    connection->close();
    auto& c = *connection.get();
    const char* const dir = directory.path().string().c_str();
    std::vector<std::string> names;
    const std::vector<std::pair<std::string, std::function<void(const char*)>>> operations = {
        {"tableExists", [&](const char* n) { (void)c.tableExists(n); }},
        {"getTableColumnNames", [&](const char* n) { c.getTableColumnNames(n, names); }},
        {"getTableRowCount", [&](const char* n) { c.getTableRowCount(n); }},
        {"createTable", [&](const char* n) { c.createTable(n, "t"); }},
        {"createTable", [&](const char* n) { c.createTable("Bare", n); }},
        {"alterTable", [&](const char* n) { c.alterTable(n, 0, "t"); }},
        {"alterTable", [&](const char* n) { c.alterTable("Indexed", 0, n); }},
        {"dropTable", [&](const char* n) { c.dropTable(n); }},
        {"databaseExists", [&](const char* n) { (void)c.databaseExists(n, dir); }},
        {"createDatabase", [&](const char* n) { c.createDatabase(n, "x", dir, 0); }},
        {"createDatabase", [&](const char* n) { c.createDatabase("Plain", n, dir, 0); }},
        {"dropDatabase", [&](const char* n) { c.dropDatabase(n, dir); }}};
    for (const auto& [name, operation] : operations) {
        for (const char* text : {static_cast<const char*>(nullptr), ""}) {
            EXPECT_EQ(errorOf([&] { operation(text); }),
                      (Error{23, 0, "",
                             "QD_OrvelTools::throwOnNullOrEmptyString <- QD_SQOrvelConnection::" + name, 0}));
        }
    }
}

TEST_F(SqliteSchema, aClosedConnectionHasNoTables) {
    connection->close();
    auto& c = *connection.get();
    std::vector<std::string> names;
    const std::string check = "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::";
    const std::vector<std::pair<std::string, std::function<void()>>> operations = {
        {"execQuery <- QD_SQOrvelConnection::tableExists", [&] { (void)c.tableExists("t"); }},
        {"execQuery <- QD_SQOrvelConnection::getTables", [&] { c.getTables(names); }},
        {"getTableColumnNames", [&] { c.getTableColumnNames("t", names); }},
        {"getTableRowCount", [&] { c.getTableRowCount("t"); }},
        {"createTable", [&] { c.createTable("Unknown", "t"); }},
        {"alterTable", [&] { c.alterTable("Unknown", 1, "t"); }},
        {"dropTable", [&] { c.dropTable("t"); }},
        {"compressDatabase", [&] { c.compressDatabase(); }}};
    for (const auto& [trace, operation] : operations) {
        EXPECT_EQ(errorOf(operation), (Error{12, 1000, "Null Database pointer", check + trace, 0}));
    }
}

TEST_F(SqliteSchema, dropsTablesAndCompresses) {
    connection->execNoQuery(
        "CREATE TABLE t (a); INSERT INTO t WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
        "FROM n LIMIT 2000) SELECT hex(zeroblob(100)) FROM n",
        0);
    const auto before = std::filesystem::file_size(directory.file("Parts.db3"));
    connection->dropTable("t");
    EXPECT_FALSE(connection->tableExists("t"));
    connection->compressDatabase();
    EXPECT_LT(std::filesystem::file_size(directory.file("Parts.db3")), before / 10);
    connection->execNoQuery("BEGIN", 0);
    EXPECT_EQ(errorOf([&] { connection->compressDatabase(); }),
              (Error{34, 1, "cannot VACUUM from within a transaction",
                     "QD_SQOrvelConnection::execNoQuery <- QD_SQOrvelConnection::execNoQuery <- "
                     "QD_SQOrvelConnection::compressDatabase",
                     0}));
}

TEST_F(SqliteSchema, createsDatabasesThroughAConnectionOfItsOwn) {
    const std::string path = directory.path().string();
    connection->close();
    EXPECT_FALSE(connection->databaseExists("New", path.c_str()));
    connection->createDatabase("Set", "New", path.c_str(), 0);
    EXPECT_TRUE(connection->databaseExists("New", path.c_str()));
    connection->createDatabase("Set", "New", path.c_str(), 0); // opens it as it is and sets it up again
    EXPECT_FALSE(connection->isOpen());
    connection->createDatabase("Plain", "Empty", path.c_str(), 0);
    QD_OrvelConnectionHandle created = opened("New");
    EXPECT_EQ(text(created, "SELECT group_concat(a) FROM log"), "New,New");

    EXPECT_EQ(errorOf([&] { connection->createDatabase("None", "Never", path.c_str(), 0); }),
              (Error{25, 0, "",
                     "QD_OrvelConfig::getDBDatabaseCommand <- QD_OrvelConfig::getDBDatabaseCommand <- "
                     "QD_SQOrvelConnection::createDatabase",
                     0}));
    EXPECT_FALSE(connection->databaseExists("Never", path.c_str()));
    EXPECT_EQ(errorOf([&] { connection->createDatabase("Broken", "Half", path.c_str(), 0); }).trace,
              "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- "
              "QD_SQOrvelConnection::execNoQuery <- "
              "QD_SQOrvelConnection::createDatabase");
    EXPECT_TRUE(connection->databaseExists("Half", path.c_str())) << "what was created stays";
    EXPECT_EQ(errorOf([&] { connection->createDatabase("Plain", "x", (path + "/missing").c_str(), 0); }).code,
              QD_ORVEL_ERR_OPEN_DATABASE);
}

TEST_F(SqliteSchema, dropsTheDatabaseThatIsOpenUnderWhateverName) {
    const std::string path = directory.path().string();
    connection->dropDatabase("Parts", (path + "/.").c_str()); // another name of the same file
    EXPECT_FALSE(connection->isOpen());
    EXPECT_FALSE(connection->databaseExists("Parts", path.c_str()));
    const std::string trace = "QD_SQOrvelConnection::dropDatabase <- QD_SQOrvelConnection::dropDatabase";
    EXPECT_EQ(
        errorOf([&] { connection->dropDatabase("Parts", path.c_str()); }),
        (Error{5, 13, "Database '" + path + "\\Parts.db3' is used by another process or access is denied",
               trace, 0}));
    connection = opened("Kept");
    opened("Other");
    connection->dropDatabase("Other", path.c_str());
    EXPECT_TRUE(connection->isOpen());
    EXPECT_EQ(errorOf([&] { connection->dropDatabase("none-here", nullptr); }).provText,
              "Database '.\\none-here.db3' is used by another process or access is denied");
}

TEST_F(SqliteSchema, aStaleJournalDoesNotHarmADatabaseOfTheSameName) {
    connection->execNoQuery("CREATE TABLE old (a); INSERT INTO old VALUES (1)", 0);
    connection->execNoQuery("BEGIN; UPDATE old SET a = 2", 0);
    const std::string journal = directory.file("Parts.db3-journal");
    std::filesystem::copy_file(directory.file("Parts.db3"), directory.file("bytes"));
    connection->close();
    directory.write("Parts.db3-journal", directory.read("bytes"));
    connection->dropDatabase("Parts", directory.path().string().c_str());
    connection->createDatabase("Plain", "Parts", directory.path().string().c_str(), 0);
    connection = opened();
    std::vector<std::string> names;
    EXPECT_EQ(connection->getTables(names), 0);
    EXPECT_EQ(text(connection, "PRAGMA integrity_check"), "ok");
    connection->execNoQuery("CREATE TABLE fresh (a)", 0);
    EXPECT_EQ(text(connection, "PRAGMA integrity_check"), "ok");
}

TEST_F(SqliteSchema, commandsAreReadRawUnderItsOwnKey) {
    connection->close();
    std::string text = "before";
    connection->getDBCommand("Ask", text, true);
    EXPECT_EQ(text, "SELECT $(tableName)");
    connection->getDBCommand("Missing", text, false);
    EXPECT_EQ(text, "");
    EXPECT_EQ(errorOf([&] { connection->getDBCommand("Missing", text, true); }),
              (Error{26, 0, "", "QD_OrvelConfig::getDBCommand <- QD_OrvelConfig::getDBCommand", 0}));
}

} // namespace
