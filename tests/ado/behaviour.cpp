#include "tests/ado/behaviour.h"

#include <cstdlib>
#include <stdexcept>

namespace orvel::tests {

namespace {

std::string environment(const char* variable) {
    const char* const value = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): nobody sets it
    if (value == nullptr) {
        throw std::runtime_error(std::string(variable) + " is not set: run under script/with-servers");
    }
    return value;
}

void replace(std::string& text, const std::string& what, const std::string& by) {
    const std::size_t at = text.find(what);
    if (at == std::string::npos) throw std::runtime_error("the configuration has no " + what);
    text.replace(at, what.size(), by);
}

/// The first entry of a connection string.
std::string driver(const char* variable) {
    const std::string text = environment(variable);
    return text.substr(0, text.find(';'));
}

constexpr const char* sqliteOdbcSection = R"(<SQLiteODBC>
  <Properties><MasterDBName>not used</MasterDBName></Properties>
  <Commands>
    <DoesTableExist>SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name = '$(tableName)'</DoesTableExist>
    <ListTables>SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name</ListTables>
    <ListTableColumns>SELECT name FROM pragma_table_info('$(tableName)')</ListTableColumns>
    <DropTable>DROP TABLE $(tableName)</DropTable>
    <GetLastInsertedID>SELECT last_insert_rowid()</GetLastInsertedID>
  </Commands>
  <TableTemplates><Character>
    <CreateTable>CREATE TABLE $(tableName) (code_point INTEGER PRIMARY KEY, name TEXT, category TEXT)</CreateTable>
    <SetupTable>CREATE INDEX ix_$(tableName)_category ON $(tableName)(category)</SetupTable>
    <AlterTable1>ALTER TABLE $(tableName) ADD COLUMN plane INTEGER</AlterTable1>
    <AlterTable2>ALTER TABLE $(tableName) ADD COLUMN name_length INTEGER</AlterTable2>
  </Character></TableTemplates></SQLiteODBC></DatabaseSection>)";

} // namespace

std::string Behaviour::configuration(const std::string& password) {
    std::ifstream stream(ORVEL_SHIPPED_CONFIGURATION, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    const std::string account = ";UID=" + environment("ORVEL_TEST_USER") + ";PWD=" + password;
    replace(text, "Provider=PostgreSQL;", "Provider=PostgreSQL" + account + ";");
    replace(text, "Provider=MariaDB;", "Provider=MariaDB" + account + ";");
    replace(text, "DRIVER={PostgreSQL Unicode}", driver("ORVEL_TEST_POSTGRESQL") + account);
    replace(text, "DRIVER={MariaDB Unicode}", driver("ORVEL_TEST_MARIADB") + account);
    if (GetParam().wholeResults) replace(text, "UseDeclareFetch=1;Fetch=500", "UseDeclareFetch=0");
    replace(text, "</ADO>",
            "<SQLiteODBC><Properties><ConnectionString>" + driver("ORVEL_TEST_SQLITE") +
                ";Database=$(dbName);Timeout=300</ConnectionString><LocalServerName>none</LocalServerName>"
                "</Properties></SQLiteODBC></ADO>");
    replace(text, "</DatabaseSection>", sqliteOdbcSection);
    return text;
}

void Behaviour::SetUp() {
    QD_OrvelConnection::flushDBConfig();
    config = directory.write("OrvelConfig.xml", configuration(environment("ORVEL_TEST_PASSWORD")));
    database = isOn(sqliteOdbc) ? directory.file("Behaviour.db3") : "Behaviour";
    connection = closed();
    if (!isOn(sqliteOdbc)) { // there, opening makes it
        connection->createDatabase("Catalogue", database.c_str(), path.c_str(), 0);
    }
    open(connection);
}

void Behaviour::TearDown() {
    if (isServer()) connection->dropDatabase(database.c_str(), nullptr);
}

std::string Behaviour::portOf(const Context& context) {
    return environment(context.engine == postgresql ? "ORVEL_TEST_POSTGRESQL_PORT"
                                                    : "ORVEL_TEST_MARIADB_PORT");
}

QD_OrvelConnectionHandle Behaviour::closed(const std::string& file) const {
    return QD_OrvelConnection::create(isAdo() ? QD_ORVEL_PROVIDER_ADO : QD_ORVEL_PROVIDER_SQLITE,
                                      file.c_str(), nullptr, GetParam().key,
                                      isServer() ? portOf(GetParam()).c_str() : "none");
}

QD_OrvelConnectionHandle Behaviour::another() const {
    QD_OrvelConnectionHandle handle = closed();
    open(handle);
    handle->execNoQuery(mine({"PRAGMA busy_timeout = 100", "", "SET lock_timeout TO 300",
                              "SET SESSION innodb_lock_wait_timeout = 1"}),
                        0);
    return handle;
}

} // namespace orvel::tests
