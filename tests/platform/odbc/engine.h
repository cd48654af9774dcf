#ifndef ORVEL_TESTS_PLATFORM_ODBC_ENGINE_H
#define ORVEL_TESTS_PLATFORM_ODBC_ENGINE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/ado/Command.h"
#include "platform/ado/Connection.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace orvel::tests {

namespace ado = platform::ado;

/// What the engines legitimately do differently.
struct Engine {
    const char* name;
    const char* variable; ///< of the environment; holds the connection string
    const char* options;  ///< put behind it
    const char* textType;
    const char* blobType;
    const char* decimalType; ///< 28 digits, 10 of them behind the point; null when there is no such type
    bool isServer;
    bool exactDoubles; ///< or 15 digits of them

    // NOLINTNEXTLINE(readability-identifier-naming): GoogleTest's name
    friend void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }
};

inline constexpr Engine sqliteEngine{"SQLite", "ORVEL_TEST_SQLITE", "", "TEXT", "BLOB", nullptr, false,
                                     false};
inline constexpr Engine postgresqlEngine{"PostgreSQL",
                                         "ORVEL_TEST_POSTGRESQL",
                                         ";BoolsAsChar=0;UnknownSizes=1",
                                         "TEXT",
                                         "BYTEA",
                                         "NUMERIC(28,10)",
                                         true,
                                         true};
/// As it is shipped for large results: rows come through a cursor of the server.
inline constexpr Engine postgresqlCursorsEngine{"PostgreSQLCursors",
                                                "ORVEL_TEST_POSTGRESQL",
                                                ";BoolsAsChar=0;UnknownSizes=1;UseDeclareFetch=1;Fetch=500",
                                                "TEXT",
                                                "BYTEA",
                                                "NUMERIC(28,10)",
                                                true,
                                                true};
inline constexpr Engine mariadbEngine{"MariaDB",  "ORVEL_TEST_MARIADB", "",   "LONGTEXT",
                                      "LONGBLOB", "DECIMAL(28,10)",     true, true};

/// What a failing call raised, with what the engine said about it.
struct Failure {
    std::uint32_t status = 0; ///< 0: nothing was raised
    std::vector<std::string> states;
    std::int32_t native = 0; ///< of the first error
    std::string text;        ///< of the first error, or of the exception when the engine said nothing

    // NOLINTNEXTLINE(readability-identifier-naming): GoogleTest's name
    friend void PrintTo(const Failure& failure, std::ostream* out) {
        *out << std::hex << failure.status << std::dec << " native " << failure.native << " states "
             << testing::PrintToString(failure.states) << ' ' << failure.text;
    }
};

/// One test on one engine: connections of its own, closed before its directory goes.
class EngineTest : public testing::TestWithParam<Engine> {
protected:
    const Engine& engine() const { return GetParam(); }

    void SetUp() override;
    void TearDown() override;

    /// Where the engine is, with the options given and `more` behind.
    std::string connectionString(const std::string& more = "") const;
    static ado::Ref<ado::Connection> connectTo(const std::string& connectionString);
    ado::Ref<ado::Connection> connect(const std::string& more = "") const {
        return connectTo(connectionString(more));
    }

    /// A table of the test's own, empty.
    void createTable(const std::string& columns);
    static std::int32_t run(const ado::Ref<ado::Connection>& on, const std::string& text);
    std::int32_t run(const std::string& text) { return run(connection, text); }
    /// The first field of the first row, as text.
    static std::string ask(const ado::Ref<ado::Connection>& on, const std::string& text);
    std::string ask(const std::string& text) { return ask(connection, text); }

    ado::Ref<ado::Command> command(const std::string& text) { return commandOn(connection, text); }
    static ado::Ref<ado::Command> commandOn(const ado::Ref<ado::Connection>& on, const std::string& text);
    static void add(const ado::Ref<ado::Command>& command, std::int32_t type, std::int32_t size,
                    const ado::Variant& value);
    static void addInteger(const ado::Ref<ado::Command>& command, std::int64_t value);
    static void addText(const ado::Ref<ado::Command>& command, const std::string& value);
    static void addBytes(const ado::Ref<ado::Command>& command, const ado::Bytes& value);
    static void clear(const ado::Ref<ado::Command>& command);

    static Failure failureOf(const ado::Ref<ado::Connection>& on, const std::function<void()>& body);

    ado::Ref<ado::Connection> connection; ///< open
    std::filesystem::path directory;
    std::string table = "orvel_test";
};

inline std::string nameOf(const testing::TestParamInfo<Engine>& info) { return info.param.name; }

} // namespace orvel::tests

#endif
