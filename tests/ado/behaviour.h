#ifndef ORVEL_TESTS_ADO_BEHAVIOUR_H
#define ORVEL_TESTS_ADO_BEHAVIOUR_H

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/connected.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

/// Engines, as positions in tables of what each answers.
enum Engine : std::size_t { sqlite, sqliteOdbc, postgresql, mariadb };

/// One way to a database.
struct Context {
    const char* name;
    Engine engine;
    const char* key;           ///< of the sections in the configuration
    bool wholeResults = false; ///< read into memory, where the shipped configuration does not

    friend void PrintTo(const Context& context, std::ostream* out) { *out << context.name; }
};

/// Tests of what the interface promises on every engine, with the configuration as it is shipped: only
/// credentials and the driver's file are put in. Each test has a database of its own, made from the shipped
/// template.
class Behaviour : public testing::TestWithParam<Context>, protected Connected {
protected:
    void SetUp() override;
    void TearDown() override;

    static bool isOn(Engine engine) { return GetParam().engine == engine; }
    static bool isAdo() { return !isOn(sqlite); }
    /// Through the engine's own client library.
    static bool isNative() { return std::string(GetParam().key).find("ODBC") == std::string::npos; }
    static bool isServer() { return isOn(postgresql) || isOn(mariadb); }
    /// What is said or answered here: by SQLite, by the same over ODBC, by PostgreSQL, by MariaDB.
    template <class Answer>
    static Answer mine(const Answer (&answers)[4]) {
        return answers[GetParam().engine];
    }
    static std::string textType() { return mine({"TEXT", "TEXT", "TEXT", "LONGTEXT"}); }
    static std::string blobType() { return mine({"BLOB", "BLOB", "BYTEA", "LONGBLOB"}); }
    static std::string counterType() {
        return std::string(mine({"INTEGER", "INTEGER", "SERIAL", "INTEGER"})) + " PRIMARY KEY " +
               mine({"AUTOINCREMENT", "AUTOINCREMENT", "", "AUTO_INCREMENT"});
    }

    /// Of the server behind a context.
    static std::string portOf(const Context& context);
    /// The configuration, with that password and with a section for SQLite over ODBC.
    static std::string configuration(const std::string& password);
    QD_OrvelConnectionHandle closed(const std::string& file) const;
    QD_OrvelConnectionHandle closed() const { return closed(config); }
    /// Another connection to the database of the test, which does not wait long.
    QD_OrvelConnectionHandle another() const;
    void open(const QD_OrvelConnectionHandle& handle) const {
        handle->open(database.c_str(), path.c_str(), 0);
    }

    TemporaryDirectory directory;
    DiagnosticLines lines; ///< of expected failures
    std::string path = directory.path().string();
    std::string database; ///< as `open` wants it
    std::string config;
};

inline std::string contextName(const testing::TestParamInfo<Context>& info) { return info.param.name; }

inline constexpr Context sqliteContext{"SQLite", sqlite, ""};
inline constexpr Context sqliteOdbcContext{"SQLiteODBC", sqliteOdbc, "SQLiteODBC"};
inline constexpr Context postgresqlContext{"PostgreSQL", postgresql, "PostgreSQL"};
inline constexpr Context postgresqlOdbcContext{"PostgreSQLODBC", postgresql, "PostgreSQLODBC"};
inline constexpr Context postgresqlWholeContext{"PostgreSQLODBCWholeResults", postgresql, "PostgreSQLODBC",
                                                true};
inline constexpr Context mariadbContext{"MariaDB", mariadb, "MariaDB"};
inline constexpr Context mariadbOdbcContext{"MariaDBODBC", mariadb, "MariaDBODBC"};
inline const auto everyContext =
    testing::Values(sqliteContext, sqliteOdbcContext, postgresqlContext, postgresqlOdbcContext,
                    postgresqlWholeContext, mariadbContext, mariadbOdbcContext);
inline const auto contextsWithTemplates = testing::Values(
    sqliteContext, postgresqlContext, postgresqlOdbcContext, mariadbContext, mariadbOdbcContext);
inline const auto everyServer = testing::Values(postgresqlContext, postgresqlOdbcContext,
                                                postgresqlWholeContext, mariadbContext, mariadbOdbcContext);

} // namespace orvel::tests

#endif
