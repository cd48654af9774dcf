#include "QD_SQOrvelConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <string>
#include <tuple>
#include <utility>

#include "QD_SQOrvelException.h"
#include "tests/support/locale.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::expectError;
using orvel::tests::traceOf;

using SqliteConnection = orvel::tests::SqliteTest;

TEST(SqliteException, aBusyDatabaseIsOneCodeWhateverWasAsked) {
    QD_SQOrvelException target(QD_ORVEL_ERR_PROVIDER, "f", 1, "", 0);
    EXPECT_EQ(target.errorCode(), QD_ORVEL_ERR_PROVIDER);
    target = QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "f", 5, "locked", 0);
    QD_SQOrvelException copy(target);
    EXPECT_STREQ(copy.errorMessage(),
                 "Orvel: Unspecified Error. (31), Provider: locked (5), hr: 0, Trace: f");
}

TEST_F(SqliteConnection, opensTheFileOfThatNameInThatDirectory) {
    const orvel::tests::SqliteProbe probe(config);
    for (const auto& [name, path, expected] : {std::tuple("Parts", "C:\\Data", "C:\\Data\\Parts.db3"),
                                               {"Parts", "C:\\Data\\", "C:\\Data\\Parts.db3"},
                                               {"Parts", "C:/Data/", "C:/Data/\\Parts.db3"},
                                               {"Parts", nullptr, ".\\Parts.db3"},
                                               {"Parts", "", ".\\Parts.db3"},
                                               {"Parts", "x", "x\\Parts.db3"},
                                               {nullptr, "\\", "\\.db3"}}) {
        std::string out = "before";
        probe.getDBPathName(name, path, out);
        EXPECT_EQ(out, expected);
    }
    const orvel::tests::CurrentDirectory current(directory.path());
    std::filesystem::create_directory("file:x"); // a name like any other, not a URI
    for (const std::string& place :
         {std::string("file:x"), path(), path() + "\\", path() + "/", std::string()}) {
        const QD_OrvelConnectionHandle connection = closed();
        EXPECT_FALSE(connection->isOpen());
        connection->open("Parts", place.c_str(), 0);
        EXPECT_TRUE(connection->isOpen());
        EXPECT_EQ(connection->getLastInsertedId(), 0);
        connection->execNoQuery("CREATE TABLE IF NOT EXISTS t (a); INSERT INTO t VALUES (1)", 0);
        connection->close();
        connection->close();
        EXPECT_FALSE(connection->isOpen());
    }
    EXPECT_EQ(rows(opened()), 4);
    EXPECT_TRUE(std::filesystem::exists("file:x/Parts.db3"));
}

TEST_F(SqliteConnection, aFailingOpenNamesTheFileAndAClosedOneRefusesStatements) {
    const QD_OrvelConnectionHandle connection = closed();
    expectError(
        [&] { connection->open("Parts", (path() + "/missing").c_str(), 0); },
        {4, 14, "unable to open database file " + path() + "/missing\\Parts.db3", traceOf("open open")});
    EXPECT_FALSE(connection->isOpen());
    for (const char* empty : {static_cast<const char*>(nullptr), ""}) {
        expectError([&] { connection->open(empty, nullptr, 0); },
                    {23, 0, "", traceOf("QD_OrvelTools::throwOnNullOrEmptyString open")});
        EXPECT_EQ(connection->execNoQuery(empty, 0), 0);
    }
    expectError([&] { connection->execNoQuery(" ", 0); },
                {12, 1000, "Null Database pointer", traceOf("checkDB execNoQuery")});
    EXPECT_STREQ(connection->getProvider(), "SQLITE");
    EXPECT_STREQ(connection->getVersion(), "3.3.5");
    EXPECT_FALSE(connection->isClientServer());
    EXPECT_EQ(connection->getLastInsertedId(), 0);
}

TEST_F(SqliteConnection, runsEveryStatementOfATextUpToAFailingOne) {
    const QD_OrvelConnectionHandle connection = opened();
    for (const auto& [sql, changes] :
         {std::pair("CREATE TABLE t (a UNIQUE); INSERT INTO t VALUES (1);; INSERT INTO t VALUES (2)", 1),
          {"UPDATE t SET a = a + 10", 2},
          {"SELECT * FROM t; -- nothing more", 2},
          {" \n/* a comment */ ", 2}}) {
        EXPECT_EQ(connection->execNoQuery(sql, 0), changes) << sql;
    }
    EXPECT_EQ(connection->getLastInsertedId(), 2);
    expectError([&] { connection->execNoQuery("INSERT INTO t VALUES (3); CREATE TABL u (a)", 0); },
                {34, 1, "near \"TABL\": syntax error", traceOf("compile compile execNoQuery")});
    expectError(
        [&] {
            connection->execNoQuery("INSERT INTO t VALUES (4); INSERT INTO t VALUES (4); DELETE FROM t", 0);
        },
        {34, 19, "UNIQUE constraint failed: t.a", traceOf("execNoQuery execNoQuery")});
    EXPECT_EQ(rows(connection), 4);
    expectError([&] { connection->execQuery("SELECT * FROM missing", 0); },
                {34, 1, "no such table: missing", traceOf("compile compile execQuery")});
}

TEST_F(SqliteConnection, compilingTellsWhereTheRestBegins) {
    orvel::tests::SqliteProbe probe(config);
    expectError([&] { probe.compile(nullptr); },
                {22, 0, "", traceOf("QD_OrvelTools::throwOnNullString compile")});
    probe.open("Parts", path().c_str(), 0);
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    EXPECT_EQ(probe.compile("SELECT 1; SELECT 2", &statement, &tail), 0);
    EXPECT_STREQ(tail, " SELECT 2");
    EXPECT_EQ(sqlite3_column_count(statement), 1);
    sqlite3_finalize(statement);
    EXPECT_EQ(orvel::tests::errorOf([&] { probe.compile("nonsense", &statement, &tail); }).code, 34);
    EXPECT_EQ(statement, nullptr);
    EXPECT_STREQ(tail, " SELECT 2") << "as it was";
    EXPECT_EQ(probe.compile("-- nothing"), nullptr);
}

TEST_F(SqliteConnection, aWriteLockIsBusyAfterTheTimeoutAndNotBefore) {
    constexpr auto timeout = std::chrono::milliseconds(300);
    const std::string set = orvel::tests::sqliteConfiguration(
        "<DatabaseTemplates><D><CreateDatabase>x</CreateDatabase><SetupDatabase>CREATE TABLE u "
        "(a)</SetupDatabase></D></DatabaseTemplates>");
    config = directory.write("database.xml", set);
    const QD_OrvelConnectionHandle writer = opened();
    const QD_OrvelConnectionHandle other = opened();
    writer->execNoQuery("CREATE TABLE t (a); BEGIN IMMEDIATE", 0);
    other->setBusyTimeout(timeout.count());
    const auto expectBusy = [&](const auto& body, const char* trace) {
        const auto begun = std::chrono::steady_clock::now();
        expectError(body, {31, 5, "database is locked", traceOf(trace)});
        EXPECT_GE(std::chrono::steady_clock::now() - begun, timeout) << trace;
    };
    expectBusy([&] { other->execNoQuery("INSERT INTO t VALUES (1)", 0); }, "execNoQuery execNoQuery");
    expectBusy([&] { other->createDatabase("D", "Parts", path().c_str(), 0); },
               "execNoQuery execNoQuery createDatabase");
    writer->execNoQuery("COMMIT", 0);
    EXPECT_EQ(other->execNoQuery("INSERT INTO t VALUES (1)", 0), 1);
}

TEST_F(SqliteConnection, theBusyTimeoutComesFromTheConfigurationAndOutlivesClosing) {
    for (const auto& [value, expected] : {std::pair("", 30000),
                                          {"2500", 2500},
                                          {"2500abc", 2500},
                                          {"0", 30000},
                                          {"-5", 30000},
                                          {"abc", 30000}}) {
        const std::string common =
            *value == '\0' ? "" : std::string("<DefaultTimeout>") + value + "</DefaultTimeout>";
        config = directory.write("timeout.xml", orvel::tests::sqliteConfiguration("", common));
        QD_OrvelConnection::flushDBConfig();
        EXPECT_EQ(opened()->execQueryScalar("PRAGMA busy_timeout", 0), expected) << value;
    }
    const QD_OrvelConnectionHandle connection = closed();
    connection->setBusyTimeout(100);
    for (int round = 0; round < 2; ++round) {
        connection->open("Parts", path().c_str(), 0);
        EXPECT_EQ(connection->execQueryScalar("PRAGMA busy_timeout", 0), 100);
        connection->close();
    }
}

TEST_F(SqliteConnection, newDatabasesAreUtf8AndUtf16OnesStayReadable) {
    QD_OrvelConnectionHandle wide = opened("Wide");
    EXPECT_EQ(text(wide, "PRAGMA encoding"), "UTF-8");
    wide->execNoQuery(
        "PRAGMA encoding='UTF-16le'; CREATE TABLE t (\u00e4); INSERT INTO t VALUES ('gr\u00fc\u00df')", 0);
    wide = opened("Wide");
    EXPECT_EQ(text(wide, "SELECT * FROM t"), "gr\u00fc\u00df");
    EXPECT_EQ(text(wide, "PRAGMA encoding"), "UTF-16le");
    int index = -1;
    EXPECT_TRUE(wide->execQuery("SELECT * FROM t", 0)->getFieldIndex("\u00e4", index));
}

TEST_F(SqliteConnection, anotherNarrowEncodingIsConvertedOnEveryWay) {
    {
        const orvel::tests::Locale latin1("de_DE.ISO-8859-1");
        const QD_OrvelConnectionHandle connection = opened("Ma\xdf");
        connection->execNoQuery("CREATE TABLE t (ma\xdf TEXT); INSERT INTO t VALUES ('\xe9')", 0);
        const QD_OrvelCommandHandle insert =
            connection->createCommand("INSERT INTO t SELECT ma\xdf || ? FROM t", 0);
        insert->addStringParam("\xdf\xe4");
        insert->execNoQuery(0);
        connection->execNoQuery("INSERT INTO t VALUES (char(8364))", 0); // not in ISO-8859-1
        const QD_OrvelQueryHandle rows = connection->execQuery("SELECT ma\xdf FROM t", 0);
        std::string value;
        rows->nextRow();
        EXPECT_TRUE(rows->getStringField("ma\xdf", value));
        EXPECT_EQ(value, "\xe9\xdf\xe4");
        rows->nextRow();
        EXPECT_FALSE(rows->getStringField(0, value)) << "logs a line";
        EXPECT_EQ(value, "");
        EXPECT_TRUE(rows->getFieldName(0, value));
        EXPECT_EQ(value, "ma\xdf");
        EXPECT_EQ(orvel::tests::errorOf([&] { connection->execNoQuery("SELECT 1 FROM \xe9", 0); }).provText,
                  "no such table: \xe9");
    }
    EXPECT_THAT(directory.read("Ma\u00df.db3"), testing::HasSubstr("\u00e9\u00df\u00e4"))
        << "UTF-8 on the disk";
}

TEST_F(SqliteConnection, closingLeavesLivingStatementsWorkingAndTheLastOfThemClosesTheFile) {
    QD_OrvelConnectionHandle connection = opened();
    const QD_OrvelConnectionHandle other = opened();
    const auto locked = [&] {
        return orvel::tests::errorOf([&] { other->execNoQuery("INSERT INTO t VALUES (0)", 0); }).code == 31;
    };
    other->setBusyTimeout(0);
    connection->execNoQuery("CREATE TABLE t (a); INSERT INTO t VALUES (1), (2); BEGIN IMMEDIATE", 0);
    QD_OrvelQueryHandle rows = connection->execQuery("SELECT a FROM t", 0);
    QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (3), (4)", 0);
    connection->close();
    EXPECT_FALSE(connection->isOpen());
    EXPECT_EQ(insert->execNoQuery(0), 2);
    rows->nextRow();
    int value = 0;
    EXPECT_TRUE(rows->getIntField("a", value));
    EXPECT_EQ(value, 2);
    insert.release();
    EXPECT_TRUE(locked());
    rows.release();
    EXPECT_FALSE(locked());

    connection->open("Parts", path().c_str(), 0);
    connection->execNoQuery("BEGIN IMMEDIATE", 0);
    rows = connection->execQuery("SELECT COUNT(*) FROM t", 0);
    connection.release(); // the query keeps it
    EXPECT_TRUE(rows->getIntField(0, value));
    EXPECT_EQ(value, 3);
    EXPECT_TRUE(locked());
    rows.release();
    EXPECT_FALSE(locked()) << "going closes it";
}

TEST_F(SqliteConnection, tracesTheTextAsGivenBeforeItRuns) {
    const QD_OrvelConnectionHandle connection = opened();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
    testing::internal::CaptureStderr();
    connection->execNoQuery("", 0);
    connection->execQueryScalar("SELECT '%s'", 0);
    orvel::tests::errorOf([&] { connection->execNoQuery("nonsense", 0); });
    const QD_OrvelCommandHandle command = connection->createCommand("CREATE TABLE IF NOT EXISTS t (a)", 0);
    command->execNoQuery(0); // writes none
    command->execQuery(0);
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Orvel SQL:\"SELECT '%s'\"\nOrvel SQL:\"nonsense\"\n"
                                                      "Orvel SQL:\"CREATE TABLE IF NOT EXISTS t (a)\"\n");
}

} // namespace
