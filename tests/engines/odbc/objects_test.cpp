// What the objects promise beyond what an application of the library can reach.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "engines/odbc/driver_manager.h"
#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "tests/support/locale.h"
#include "tests/support/temporary_directory.h"

namespace {

/// While it lives, calls of one kind do not get to the driver and fail.
enum class Refused { none, rollbacks, attributes, closing, counting, describing, detailing };
struct RefusingDriver {
    static inline Refused refused = Refused::none;
    explicit RefusingDriver(Refused kind) { refused = kind; }
    RefusingDriver(const RefusingDriver&) = delete;
    RefusingDriver& operator=(const RefusingDriver&) = delete;
    ~RefusingDriver() { refused = Refused::none; }
};

template <class Function>
Function* driverManagers(Function* /*own*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

constexpr SQLRETURN failed = SQL_ERROR, succeeded = SQL_SUCCESS;

} // namespace

// The driver manager's functions of these names, found first by the library's objects in this program.
extern "C" {
SQLRETURN SQLEndTran(SQLSMALLINT handleType, SQLHANDLE handle, SQLSMALLINT completion) {
    static auto* const real = driverManagers(&SQLEndTran, "SQLEndTran");
    const bool refused = RefusingDriver::refused == Refused::rollbacks && completion == SQL_ROLLBACK;
    return refused ? failed : real(handleType, handle, completion);
}
SQLRETURN SQLSetConnectAttr(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER length) {
    static auto* const real = driverManagers(&SQLSetConnectAttr, "SQLSetConnectAttr");
    const bool refused = RefusingDriver::refused == Refused::attributes;
    return refused ? failed : real(handle, attribute, value, length);
}
SQLRETURN SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option) {
    static auto* const real = driverManagers(&SQLFreeStmt, "SQLFreeStmt");
    const bool refused = RefusingDriver::refused == Refused::closing && option == SQL_CLOSE;
    return refused ? failed : real(handle, option);
}
SQLRETURN SQLNumResultCols(SQLHSTMT handle, SQLSMALLINT* count) {
    static auto* const real = driverManagers(&SQLNumResultCols, "SQLNumResultCols");
    return RefusingDriver::refused == Refused::counting ? succeeded : real(handle, count);
}
SQLRETURN SQLDescribeCol(SQLHSTMT handle, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT room,
                         SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT* digits,
                         SQLSMALLINT* nullable) {
    static auto* const real = driverManagers(&SQLDescribeCol, "SQLDescribeCol");
    const bool refused = RefusingDriver::refused == Refused::describing;
    return refused ? failed : real(handle, column, name, room, length, type, size, digits, nullable);
}
SQLRETURN SQLColAttribute(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field, SQLPOINTER text,
                          SQLSMALLINT room, SQLSMALLINT* length, SQLLEN* number) {
    static auto* const real = driverManagers(&SQLColAttribute, "SQLColAttribute");
    const bool refused = RefusingDriver::refused == Refused::detailing;
    return refused ? failed : real(handle, column, field, text, room, length, number);
}
}

namespace {

using namespace orvel::tests;
namespace platform = orvel::platform;
namespace ado = platform::ado;

struct Engine {
    const char* name;
    const char* variable; ///< of the environment; holds the connection string
    const char* options = "";

    friend void PrintTo(const Engine& engine, std::ostream* out) { *out << engine.name; }
};

constexpr Engine sqliteEngine{"SQLite", "ORVEL_TEST_SQLITE"};
constexpr Engine postgresqlEngine{"PostgreSQL", "ORVEL_TEST_POSTGRESQL", ";BoolsAsChar=0;UnknownSizes=1"};
/// As it is shipped: rows come through a cursor of the server.
constexpr Engine postgresqlCursorsEngine{"PostgreSQLCursors", "ORVEL_TEST_POSTGRESQL",
                                         ";BoolsAsChar=0;UnknownSizes=1;UseDeclareFetch=1;Fetch=500"};
constexpr Engine mariadbEngine{"MariaDB", "ORVEL_TEST_MARIADB"};

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
class OdbcObjects : public testing::TestWithParam<Engine> {
protected:
    static bool isOn(const Engine& engine) { return GetParam().variable == std::string(engine.variable); }

    void SetUp() override { connection->open(connectionString(), "", "", 0); }
    void TearDown() override {
        if (!isOn(sqliteEngine) && connection->state() == ado::adStateOpen) run("DROP TABLE IF EXISTS t");
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
        return ado::toText(on->execute(text, nullptr, 0)->fields().item(0).value());
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
        to->parameters().append(to->createParameter("", type, ado::adParamInput, size, ado::Variant(value)));
    }

    void fill(int rows) const {
        run("CREATE TABLE t (id INTEGER PRIMARY KEY)");
        for (int id = 1; id <= rows; ++id) run("INSERT INTO t VALUES (" + std::to_string(id) + ")");
    }
    static int count(const ado::Ref<ado::Recordset>& rows) {
        int left = 0;
        for (; !rows->eof(); rows->moveNext()) ++left;
        return left;
    }

    TemporaryDirectory directory;
    ado::Ref<ado::Connection> connection = ado::createObject<ado::Connection>(); ///< open
};

std::string nameOf(const testing::TestParamInfo<Engine>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(Engines, OdbcObjects,
                         testing::Values(sqliteEngine, postgresqlEngine, postgresqlCursorsEngine,
                                         mariadbEngine),
                         nameOf);

class OdbcServers : public OdbcObjects {};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcServers,
                         testing::Values(postgresqlEngine, postgresqlCursorsEngine, mariadbEngine), nameOf);

TEST_P(OdbcObjects, refuseMisuseWithItsStatus) {
    const auto expect = [](std::uint32_t status, const auto& body) { EXPECT_EQ(statusOf(body), status); };
    const auto fresh = ado::createObject<ado::Connection>();
    expect(ado::adErrObjectClosed, [&] { fresh->close(); });
    expect(ado::adErrObjectClosed, [&] { run(fresh, "SELECT 1"); });
    expect(platform::ePointer, [] { ado::Ref<ado::Connection>()->close(); });
    expect(ado::adErrObjectOpen, [&] { connection->open(connectionString(), "", "", 0); });
    expect(ado::xactNoTransaction, [&] { connection->commitTrans(); });
    expect(ado::xactNoTransaction, [&] { connection->rollbackTrans(); });
    connection->beginTrans();
    expect(ado::xactTransactionExists, [&] { connection->beginTrans(); });
    connection->rollbackTrans();
    fill(1);
    const auto rows = connection->execute("SELECT id AS Same, id + 5 AS same FROM t", nullptr, 0);
    ado::Field& field = rows->fields().item("SAME");
    EXPECT_EQ(ado::toInt32(field.value()), 1) << "the first of that name";
    for (const std::int32_t position : {-1, 2, 65536}) {
        expect(ado::adErrItemNotFound, [&] { rows->fields().item(position); });
    }
    rows->moveNext();
    EXPECT_TRUE(std::holds_alternative<ado::Empty>(field.value()) && field.actualSize() == 0 &&
                std::holds_alternative<ado::Empty>(field.getChunk(1)))
        << "without a row there is no value";
    expect(ado::adErrNoCurrentRecord, [&] { rows->moveNext(); });
    rows->close();
    expect(ado::adErrObjectClosed, [&] { field.value(); });
    expect(ado::adErrObjectClosed, [&] { rows->close(); });
    expect(ado::adErrObjectClosed, [&] { connection->execute("DELETE FROM t", nullptr, 0)->moveNext(); });
    expect(ado::adErrInvalidConnection, [] { ado::createObject<ado::Command>()->execute(nullptr, 1); });
    const auto insert = command("INSERT INTO t VALUES (?)");
    const ado::Variant one = std::int64_t{1};
    expect(ado::adErrInvalidParamInfo, [&] { add(insert, ado::adBSTR, 0, ado::Empty{}); });
    expect(ado::adErrInvalidArgument, [&] { insert->createParameter("", ado::adInteger, 2, 4, 1.0); });
    expect(ado::adErrInvalidArgument, [&] { add(insert, ado::adGUID, 4, one); });
    expect(ado::dispTypeMismatch, [&] { add(insert, ado::adInteger, 4, std::string("x")); });
    expect(ado::adErrInvalidArgument, [&] { insert->parameters().append(nullptr); });
    expect(ado::adErrItemNotFound, [&] { insert->parameters().remove(0); });
    add(insert, ado::adInteger, 4, ado::Missing{});
    expect(ado::dbParamNotOptional, [&] { insert->execute(nullptr, 1); });
}

TEST_P(OdbcObjects, keepTheErrorsOfTheLastCallAlone) {
    const auto failing = [&] { run("SELEC 1"); };
    EXPECT_EQ(statusOf(failing), ado::dbErrorsInCommand);
    ASSERT_EQ(connection->errors()->count(), 1);
    EXPECT_EQ(connection->errors()->item(0)->sqlState().size(), 5U);
    const auto rows = connection->execute("SELECT 1", nullptr, 0);
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_NE(statusOf(failing), 0U);
    EXPECT_EQ(statusOf([&] { rows->fields().item("missing"); }), ado::adErrItemNotFound);
    EXPECT_EQ(connection->errors()->count(), 0) << "the engine had no part in it";
    EXPECT_EQ(statusOf([&] { connection->errors()->item(0); }), ado::adErrItemNotFound);
}

TEST_P(OdbcObjects, nameWhatCannotBeConnectedAndNeverThePassword) {
    const auto closed = ado::createObject<ado::Connection>();
    const auto errorOf = [&](const std::string& string) {
        EXPECT_EQ(statusOf([&] { closed->open(string, "", "", 0); }), platform::eFail);
        return closed->errors()->item(0);
    };
    const std::string driver = errorOf("DRIVER=no-such-driver.so;PWD=secret-word")->description();
    EXPECT_NE(driver.find("no-such-driver.so"), std::string::npos);
    EXPECT_EQ(driver.find("secret-word"), std::string::npos);
    if (isOn(mariadbEngine)) { // which takes all up to the next brace for the name
        const auto swallowed = statusOf([&] {
            closed->open(connectionString(";DATABASE={a}};Pwd=secret-word;INITSTMT={SET NAMES utf8}"), "", "",
                         0);
        });
        EXPECT_EQ(swallowed, ado::dbNotFound);
        EXPECT_EQ(closed->errors()->item(0)->description().find("secret-word"), std::string::npos);
    }
    EXPECT_EQ(errorOf("DSN=no-such-source")->sqlState(), "IM002");
    EXPECT_EQ(closed->provider() + closed->version(), "");
    closed->open("Provider=MSDASQL;" + connectionString(), "", "", 0);
    EXPECT_EQ(closed->errors()->count(), 0);
    EXPECT_NE(closed->provider().find("odbc"), std::string::npos) << closed->provider();
    EXPECT_NE(closed->version().find('.'), std::string::npos) << closed->version();
}

TEST_P(OdbcObjects, runACommandAgainWhileItsRecordsetIsRead) {
    fill(5);
    const auto select = command("SELECT id FROM t WHERE id >= ? ORDER BY id");
    const auto from = [&](std::int64_t id) {
        add(select, ado::adInteger, 4, id);
        auto rows = select->execute(nullptr, ado::adCmdText);
        select->parameters().remove(0);
        return rows;
    };
    for (int execution = 0; execution < 3; ++execution) {
        const auto first = from(2);
        const auto held = select->createParameter("", ado::adInteger, ado::adParamInput, 4, std::int64_t{4});
        EXPECT_EQ(count(from(5)), 1);
        EXPECT_EQ(ado::toInt32(first->fields().item(0).value()), 2);
        EXPECT_EQ(count(first), 4);
        EXPECT_EQ(first->activeConnection().get(), connection.get());
        select->parameters().append(held);
        select->parameters().remove(0);
        EXPECT_EQ(count(from(1)), 5);
        select->parameters().append(held); // what was removed is still its holder's
        EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 2);
        select->parameters().remove(0);
    }
}

TEST_P(OdbcObjects, outliveTheirConnectionWithoutHarm) {
    fill(300);
    const auto select = command("SELECT id FROM t ORDER BY id");
    select->execute(nullptr, ado::adCmdText);
    const auto rows = select->execute(nullptr, ado::adCmdText);
    rows->moveNext();
    connection->close();
    EXPECT_EQ(ado::toInt32(rows->fields().item(0).value()), 2) << "the row was complete";
    EXPECT_EQ(statusOf([&] { count(rows); }), ado::adErrInvalidConnection) << "not all rows had come";
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_EQ(statusOf([&] { select->execute(nullptr, 1); }), ado::adErrInvalidConnection);
    rows->close();
    connection->open(connectionString(), "", "", 0);
    EXPECT_EQ(count(select->execute(nullptr, 1)), 300) << "the command goes on with the connection";
    auto last = connection->execute("SELECT id FROM t WHERE id < 90", nullptr, 0);
    auto orphan = command("SELECT 1");
    orphan->execute(nullptr, 1);
    connection->close();
    connection = connect();
    EXPECT_EQ(count(last), 89) << "which were all there are";
    orphan.reset();
    last.reset();
}

TEST_P(OdbcObjects, failWhereTheDriverDoesNotSayWhatAResultIsAndGoOn) {
    fill(3);
    for (const Refused refused :
         {Refused::closing, Refused::counting, Refused::describing, Refused::detailing}) {
        const auto select = command("SELECT id FROM t");
        std::optional<RefusingDriver> refusing(refused);
        const std::uint32_t status = refused == Refused::closing ? 0 : platform::eFail;
        EXPECT_EQ(statusOf([&] { connection->execute("SELECT id FROM t", nullptr, 0)->close(); }), status);
        EXPECT_EQ(statusOf([&] { select->execute(nullptr, ado::adCmdText)->close(); }), status);
        refusing.reset();
        EXPECT_EQ(ask("SELECT count(*) FROM t"), "3");
        EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 3);
    }
}

TEST_P(OdbcObjects, takeOneParameterForEachMarkerAndAsManyAsDriversCount) {
    fill(1);
    for (const int markers : {1, 8000, 32767, 32768}) {
        std::string text = "SELECT count(*) FROM t WHERE '?' <> '' AND id IN (?";
        for (int marker = 1; marker < markers; ++marker) text += ",?";
        const auto select = command(text + ")");
        for (int marker = 0; marker < markers; ++marker) add(select, ado::adInteger, 4, std::int64_t{marker});
        const auto run = [&] { EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 1); };
        for (int execution = 0; execution < 3; ++execution) { // prepared from the second on
            EXPECT_EQ(statusOf(run), markers <= 32767 ? 0 : ado::adErrInvalidParamInfo) << markers;
        }
        add(select, ado::adInteger, 4, std::int64_t{1});
        EXPECT_EQ(statusOf(run), ado::adErrInvalidParamInfo) << "one more than " << markers;
    }
}

TEST_P(OdbcObjects, readValuesInPartsAndMeasureThem) {
    run(std::string("CREATE TABLE t (v ") + (isOn(postgresqlEngine) ? "BYTEA" : "BLOB") + ", n INTEGER)");
    const auto insert = command("INSERT INTO t VALUES (?, ?)");
    const auto bytes =
        insert->createParameter("", ado::adLongVarBinary, ado::adParamInput, 3, ado::Missing{});
    bytes->appendChunk(std::array{std::byte{0}, std::byte{7}});
    bytes->appendChunk(std::array{std::byte{14}});
    insert->parameters().append(bytes);
    add(insert, ado::adInteger, 4, ado::Empty{});
    insert->execute(nullptr, ado::adExecuteNoRecords);
    const auto rows = connection->execute("SELECT v, n, 'abc' FROM t", nullptr, 0);
    const auto field = [&](std::int32_t position) -> ado::Field& { return rows->fields().item(position); };
    EXPECT_EQ(field(0).actualSize(), 3);
    EXPECT_EQ(std::get<ado::Bytes>(field(0).getChunk(2)), (ado::Bytes{std::byte{0}, std::byte{7}}));
    EXPECT_EQ(field(1).actualSize(), 0) << "of NULL";
    EXPECT_TRUE(ado::isEmptyOrNull(field(1).getChunk(2)));
    EXPECT_EQ(ado::toText(field(2).getChunk(2)), "ab");
}

TEST_P(OdbcObjects, refuseOrKeepAZeroCharacterInAText) {
    run("CREATE TABLE t (v VARCHAR(9))");
    const std::string text("a\0b", 3);
    const auto insert = command("INSERT INTO t VALUES (?)");
    add(insert, ado::adBSTR, 3, text);
    const auto status = statusOf([&] { insert->execute(nullptr, ado::adExecuteNoRecords); });
    EXPECT_EQ(status, isOn(mariadbEngine) ? 0 : ado::dbCantConvertValue);
    EXPECT_EQ(status == 0 ? ask("SELECT v FROM t") : ask("SELECT count(*) FROM t"), status == 0 ? text : "0");
}

TEST_P(OdbcServers, haveTheIsolationLevelThatWasSetBefore) {
    const std::string question = isOn(postgresqlEngine) ? "SHOW transaction_isolation"
                                                        : "SELECT lower(replace(@@tx_isolation, '-', ' '))";
    connection->close();
    connection->setIsolationLevel(ado::adXactSerializable); // a closed connection keeps it
    connection->open(connectionString(), "", "", 0);
    connection->beginTrans();
    EXPECT_EQ(ask(question), "serializable");
    connection->setIsolationLevel(ado::adXactReadCommitted); // too late for this one
    EXPECT_EQ(ask(question), "serializable");
    connection->commitTrans();
    connection->beginTrans();
    EXPECT_EQ(ask(question), "read committed");
    connection->commitTrans();
}

TEST_P(OdbcObjects, noPartOfATransactionThatTheEngineHasEndedIsKept) {
    fill(1);
    const std::vector<std::string> endings =
        isOn(sqliteEngine) ? std::vector<std::string>{"INSERT OR ROLLBACK INTO t VALUES (1)"}
        : isOn(postgresqlEngine)
            ? std::vector<std::string>{"SELEC 1"}
            : std::vector<std::string>{
                  "SIGNAL SQLSTATE '40001'",
                  "BEGIN NOT ATOMIC ROLLBACK; SIGNAL SQLSTATE 'HY000' SET MYSQL_ERRNO = 1205; END"};
    for (const std::string& ending : endings) {
        connection->beginTrans();
        run("INSERT INTO t VALUES (2)");
        EXPECT_NE(statusOf([&] { run(ending); }), 0U) << ending;
        run("INSERT INTO t VALUES (3)");
        EXPECT_EQ(statusOf([&] { connection->commitTrans(); }), ado::xactAborted) << ending;
        EXPECT_EQ(ask("SELECT count(*) FROM t"), "1") << ending;
    }
}

TEST_P(OdbcObjects, aRollbackThatFailsGivesTheSessionUpInsteadOfCommitting) {
    fill(1);
    const auto victim = connect();
    victim->beginTrans();
    run(victim, "INSERT INTO t VALUES (2)");
    {
        const RefusingDriver refusing(Refused::rollbacks);
        EXPECT_NE(statusOf([&] { victim->rollbackTrans(); }), 0U);
    }
    EXPECT_EQ(statusOf([&] { run(victim, "INSERT INTO t VALUES (3)"); }), platform::eFail);
    EXPECT_EQ(ask("SELECT count(*) FROM t"), "1");
}

TEST_P(OdbcObjects, nothingBehindACommitMakesItAFailure) {
    fill(1);
    const auto committing = connect();
    committing->setIsolationLevel(ado::adXactSerializable);
    committing->beginTrans();
    run(committing, "INSERT INTO t VALUES (2)");
    {
        const RefusingDriver refusing(Refused::attributes);
        committing->commitTrans();
        committing->setIsolationLevel(ado::adXactReadCommitted);
    }
    EXPECT_EQ(ask("SELECT count(*) FROM t"), "2");
    EXPECT_EQ(statusOf([&] { run(committing, "INSERT INTO t VALUES (3)"); }), platform::eFail)
        << "a session that might not commit its statements is not used any more";
}

/// Connection strings that let a text hold several statements, or a failing one spoil its transaction: drivers
/// then report success for what keeps nothing, or only what came after.
TEST_P(OdbcServers, loseNoErrorOfWhatIsNotKept) {
    fill(1);
    if (isOn(mariadbEngine)) {
        const auto several = connect(";OPTION=67108864");
        EXPECT_NE(statusOf([&] { run(several, "DELETE FROM t; SELECT * FROM missing"); }), 0U);
        EXPECT_NE(statusOf([&] { count(several->execute("SELECT 1; SELECT * FROM missing", nullptr, 0)); }),
                  0U);
        return;
    }
    for (const char* protocol : {";Protocol=7.4-0", ";Protocol=7.4-1"}) {
        const auto spoiling = connect(protocol);
        spoiling->beginTrans();
        run(spoiling, "INSERT INTO t VALUES (2)");
        EXPECT_NE(statusOf([&] { run(spoiling, "SELEC 1"); }), 0U);
        statusOf([&] { run(spoiling, "INSERT INTO t VALUES (3)"); });
        EXPECT_EQ(statusOf([&] { spoiling->commitTrans(); }), ado::xactAborted) << protocol;
        EXPECT_EQ(ask("SELECT count(*) FROM t"), "1") << protocol;
        spoiling->beginTrans();
        run(spoiling, "INSERT INTO t VALUES (4)");
        spoiling->commitTrans();
        EXPECT_EQ(ask("DELETE FROM t WHERE id = 4 RETURNING id"), "4") << protocol;
    }
}

TEST_P(OdbcServers, decimalsKeep28DigitsInEveryLocale) {
    const Locale commas("de_DE.ISO-8859-1"); // a driver writes a decimal comma now
    run("CREATE TABLE t (id INTEGER, v NUMERIC(28,10), d DOUBLE PRECISION)");
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?)");
    const ado::Variant values[] = {std::string("123456789012345678.0123456789"),
                                   std::string("-999999999999999999.9999999999"), std::string("0.0000000001"),
                                   std::string("12.5000000000"), ado::Null{}};
    for (std::int64_t id = 0; id < std::ssize(values); ++id) {
        add(insert, ado::adInteger, 4, id);
        const auto parameter =
            insert->createParameter("", ado::adDecimal, ado::adParamInput, 16, ado::Variant(values[id]));
        parameter->setPrecision(28);
        parameter->setNumericScale(10);
        insert->parameters().append(parameter);
        add(insert, ado::adDouble, 8, static_cast<double>(id) + 12.25);
        insert->execute(nullptr, ado::adExecuteNoRecords);
        for (std::int32_t index = 2; index >= 0; --index) insert->parameters().remove(index);
    }
    const auto rows = connection->execute("SELECT v, d FROM t ORDER BY id", nullptr, 0);
    for (std::int64_t id = 0; id < std::ssize(values); ++id, rows->moveNext()) {
        const ado::Variant read = rows->fields().item(0).value();
        EXPECT_TRUE((ado::isEmptyOrNull(read) ? read : ado::Variant(ado::toText(read))) == values[id]) << id;
        EXPECT_EQ(ado::toDouble(rows->fields().item(1).value()), static_cast<double>(id) + 12.25);
    }
}

/// What needs no server, or none can be made to do.
class OdbcSqlite : public OdbcObjects {};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcSqlite, testing::Values(sqliteEngine), nameOf);

TEST_P(OdbcSqlite, refusesATextThatIsLongerThanDriversCountAndRunsNoPartOfIt) {
    constexpr std::size_t tooLong = std::size_t{1} << 30U;
    const auto available = static_cast<std::size_t>(sysconf(_SC_AVPHYS_PAGES)) * 4096;
    if (available < 4 * tooLong) GTEST_SKIP() << "there are only " << (available >> 20U) << " MiB of memory";
    fill(2);
    std::string text = "DELETE FROM t";
    text.reserve(tooLong + 100);
    text.append(tooLong, ' ').append("WHERE id < 0");
    EXPECT_EQ(statusOf([&] { run(text); }), ado::adErrInvalidArgument);
    text.resize(tooLong);
    const auto remove = command("DELETE FROM t WHERE id < ?");
    add(remove, ado::adBSTR, 9, text);
    EXPECT_EQ(statusOf([&] { remove->execute(nullptr, ado::adCmdText); }), ado::dbDataOverflow);
    EXPECT_EQ(ask("SELECT count(*) FROM t"), "2");
}

TEST_P(OdbcSqlite, leavesNothingOpenBehindACommitThatWasBusy) {
    fill(1);
    const auto reader = connect();
    reader->beginTrans();
    const auto held = reader->execute("SELECT id FROM t", nullptr, 0); // holds the read lock
    connection->close();
    connection->open(connectionString(";Timeout=50"), "", "", 0);
    connection->beginTrans();
    const auto commit = [&] {
        run("INSERT INTO t VALUES (2)");
        connection->commitTrans();
    };
    EXPECT_EQ(statusOf(commit), ado::dbResourceLocked);
    held->close();
    reader->rollbackTrans();
    EXPECT_EQ(ask("SELECT count(*) FROM t"), "1");
    run("INSERT INTO t VALUES (3)");
    EXPECT_EQ(ask(reader, "SELECT count(*) FROM t"), "2");
}

} // namespace
