#ifndef ORVEL_TESTS_ADO_BEHAVIOUR_H
#define ORVEL_TESTS_ADO_BEHAVIOUR_H

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "QD_OrvelInterface.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

/// What an error shows of itself; the rest is told by its text.
struct ErrorKind {
    int code;
    unsigned long provCode;
    unsigned long hr;

    friend bool operator==(const ErrorKind&, const ErrorKind&) = default;
    friend void PrintTo(const ErrorKind& kind, std::ostream* out) {
        *out << kind.code << ", provider " << kind.provCode << std::hex << ", hr " << kind.hr << std::dec;
    }
};

/// One way to a database, and where it legitimately differs from the others.
struct Context {
    const char* name;
    std::size_t index;        ///< in tables of what each context answers
    const char* databaseKey;  ///< null: the SQLite provider
    const char* portVariable; ///< of the environment; null: no server
    const char* textType;
    const char* blobType;
    const char* decimalType; ///< exact with 28 digits; null when there is none
    const char* counterType; ///< an integer key that the engine counts
    const char* shortWait;   ///< gives up a lock within a second; null: it does anyway
    const char* killSession; ///< with the number that `session` answers in the place of "?"
    const char* session;

    bool isServer() const { return portVariable != nullptr; }
    friend void PrintTo(const Context& context, std::ostream* out) { *out << context.name; }
};

inline constexpr Context sqliteContext{"SQLite", 0,       nullptr, nullptr,
                                       "TEXT",   "BLOB",  nullptr, "INTEGER PRIMARY KEY AUTOINCREMENT",
                                       nullptr,  nullptr, nullptr};
inline constexpr Context sqliteOdbcContext{
    "SQLiteODBC", 1,       "SQLiteODBC", nullptr,
    "TEXT",       "BLOB",  nullptr,      "INTEGER PRIMARY KEY AUTOINCREMENT",
    nullptr,      nullptr, nullptr};
inline constexpr Context postgresqlContext{"PostgreSQL",
                                           2,
                                           "PostgreSQL",
                                           "ORVEL_TEST_POSTGRESQL_PORT",
                                           "TEXT",
                                           "BYTEA",
                                           "NUMERIC(38,10)",
                                           "SERIAL PRIMARY KEY",
                                           "SET lock_timeout TO 300",
                                           "SELECT pg_terminate_backend(?)",
                                           "SELECT pg_backend_pid()"};
inline constexpr Context mariadbContext{"MariaDB",
                                        3,
                                        "MariaDB",
                                        "ORVEL_TEST_MARIADB_PORT",
                                        "LONGTEXT",
                                        "LONGBLOB",
                                        "DECIMAL(38,10)",
                                        "INTEGER PRIMARY KEY AUTO_INCREMENT",
                                        "SET SESSION innodb_lock_wait_timeout = 1",
                                        "KILL ?",
                                        "SELECT CONNECTION_ID()"};

/// Tests of what the interface promises on every engine, with the configuration as it is shipped: only
/// credentials and the driver's file are put in. Each test has a database of its own, made from the shipped
/// template.
class Behaviour : public testing::TestWithParam<Context> {
protected:
    void SetUp() override;
    void TearDown() override;

    const Context& context() const { return GetParam(); }
    bool isAdo() const { return context().databaseKey != nullptr; }

    /// The shipped configuration, to be used with that password, and with a section for SQLite over ODBC.
    static std::string configuration(const std::string& password);
    QD_OrvelConnectionHandle closed(const std::string& file) const;
    QD_OrvelConnectionHandle closed() const { return closed(config); }
    /// Another connection to the database of the test.
    QD_OrvelConnectionHandle another() const;
    void open(QD_OrvelConnectionHandle& handle) const { handle->open(database.c_str(), path.c_str(), 0); }

    int run(const std::string& sql) { return connection->execNoQuery(sql.c_str(), 0); }
    int ask(const std::string& sql) { return connection->execQueryScalar(sql.c_str(), 0); }
    static ErrorKind kindOf(const Error& error) { return {error.code, error.provCode, error.hr}; }

    TemporaryDirectory directory;
    DiagnosticLines lines; ///< of expected failures
    std::string path = directory.path().string();
    std::string database; ///< as `open` wants it
    std::string config;
    QD_OrvelConnectionHandle connection; ///< open
};

inline std::string contextName(const testing::TestParamInfo<Context>& info) { return info.param.name; }

inline const auto everyContext =
    testing::Values(sqliteContext, sqliteOdbcContext, postgresqlContext, mariadbContext);
inline const auto contextsWithTemplates = testing::Values(sqliteContext, postgresqlContext, mariadbContext);
inline const auto everyServer = testing::Values(postgresqlContext, mariadbContext);

} // namespace orvel::tests

#endif
