#ifndef ORVEL_TESTS_PLATFORM_ODBC_ENGINE_H
#define ORVEL_TESTS_PLATFORM_ODBC_ENGINE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

namespace ado = platform::ado;

struct Engine {
    const char* name;
    const char* variable; ///< of the environment; holds the connection string
    const char* options = "";

    friend void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }
};

inline constexpr Engine sqliteEngine{"SQLite", "ORVEL_TEST_SQLITE"};
inline constexpr Engine postgresqlEngine{"PostgreSQL", "ORVEL_TEST_POSTGRESQL",
                                         ";BoolsAsChar=0;UnknownSizes=1"};
/// As it is shipped: rows come through a cursor of the server.
inline constexpr Engine postgresqlCursorsEngine{"PostgreSQLCursors", "ORVEL_TEST_POSTGRESQL",
                                                ";BoolsAsChar=0;UnknownSizes=1;UseDeclareFetch=1;Fetch=500"};
inline constexpr Engine mariadbEngine{"MariaDB", "ORVEL_TEST_MARIADB"};

/// The status that `body` raises, 0 when it raises none.
template <class Body>
std::uint32_t statusOf(Body&& body) {
    try {
        std::forward<Body>(body)();
    } catch (const platform::ComError& error) {
        return error.hresult();
    }
    return 0;
}

/// The object model on one engine: a connection and a table of the test's own.
class EngineTest : public testing::TestWithParam<Engine> {
protected:
    static bool isOn(const Engine& engine) { return GetParam().variable == std::string(engine.variable); }

    void SetUp() override { connection->open(connectionString(), "", "", 0); }
    void TearDown() override {
        if (!isOn(sqliteEngine) && connection->state() == ado::adStateOpen) {
            run("DROP TABLE IF EXISTS t");
        }
    }

    std::string connectionString(const std::string& more = "") const {
        const char* server =
            std::getenv(GetParam().variable); // NOLINT(concurrency-mt-unsafe): nobody sets it
        if (server == nullptr) {
            throw std::runtime_error(std::string(GetParam().variable) +
                                     " is not set: run under script/with-servers");
        }
        const std::string file = isOn(sqliteEngine) ? ";Database=" + directory.file("test.db") : "";
        return server + file + GetParam().options + more;
    }
    ado::Ref<ado::Connection> connect(const std::string& more = "") const {
        auto other = ado::createObject<ado::Connection>();
        other->open(connectionString(more), "", "", 0);
        return other;
    }

    static void run(const ado::Ref<ado::Connection>& on, const std::string& text) {
        EXPECT_FALSE(on->execute(text, nullptr, ado::adExecuteNoRecords));
    }
    void run(const std::string& text) const { run(connection, text); }
    /// The first field of the first row, as text.
    static std::string ask(const ado::Ref<ado::Connection>& on, const std::string& text) {
        return ado::toText(on->execute(text, nullptr, 0)->fields()->item(0)->value());
    }
    std::string ask(const std::string& text) const { return ask(connection, text); }

    ado::Ref<ado::Command> command(const std::string& text) const {
        auto made = ado::createObject<ado::Command>();
        made->setActiveConnection(connection);
        made->setCommandText(text);
        return made;
    }
    static void add(const ado::Ref<ado::Command>& to, std::int32_t type, std::int32_t size,
                    const ado::Variant& value) {
        to->parameters()->append(to->createParameter("", type, ado::adParamInput, size, value));
    }

    TemporaryDirectory directory;
    ado::Ref<ado::Connection> connection = ado::createObject<ado::Connection>(); ///< open
};

inline std::string nameOf(const testing::TestParamInfo<Engine>& info) { return info.param.name; }
inline const auto everyEngine =
    testing::Values(sqliteEngine, postgresqlEngine, postgresqlCursorsEngine, mariadbEngine);
inline const auto everyServer = testing::Values(postgresqlEngine, postgresqlCursorsEngine, mariadbEngine);

} // namespace orvel::tests

#endif
