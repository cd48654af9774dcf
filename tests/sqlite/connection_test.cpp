#include "QD_SQOrvelConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "QD_SQOrvelException.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/locale.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::Error;
using orvel::tests::errorOf;
using orvel::tests::Locale;
using testing::StartsWith;

class SqliteConnection : public orvel::tests::SqliteTest {
protected:
    /// What SQLite itself, without the library, answers to a query on a file.
    std::string raw(const std::string& file, const char* sql) const {
        sqlite3* db = nullptr;
        sqlite3_open(directory.file(file).c_str(), &db);
        std::string answer;
        const auto first = [](void* out, int, char** values, char**) {
            *static_cast<std::string*>(out) = values[0] != nullptr ? values[0] : "NULL";
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(db, sql, first, &answer, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
        return answer;
    }
};

/// Reaches the protected members.
class Probe : public QD_SQOrvelConnection {
public:
    explicit Probe(const char* configFile) : QD_SQOrvelConnection(configFile) {}
    using QD_SQOrvelConnection::compile;
    using QD_SQOrvelConnection::getDBPathName;
};

TEST(SqliteException, aBusyDatabaseIsOneCodeWhateverWasAsked) {
    QD_SQOrvelException busy(QD_ORVEL_ERR_PROVIDER, "f", 5, "database is locked", 0);
    EXPECT_EQ(busy.errorCode(), QD_ORVEL_ERR_BUSY);
    EXPECT_THAT(busy.errorMessage(),
                StartsWith("Orvel: Unspecified Error. (31), Provider: database is locked (5)"));
    QD_SQOrvelException target(QD_ORVEL_ERR_PROVIDER, "f", 1, "", 0);
    EXPECT_EQ(target.errorCode(), QD_ORVEL_ERR_PROVIDER);
    target = busy;
    const QD_SQOrvelException copy(target); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.errorCode(), QD_ORVEL_ERR_BUSY);
}

TEST_F(SqliteConnection, fileNamesAreDirectoryBackslashNameExtension) {
    const Probe probe(config.c_str());
    struct Case {
        const char* name;
        const char* path;
        const char* expected;
    };
    for (const Case& item : {Case{"Parts", "C:\\Data", "C:\\Data\\Parts.db3"},
                             Case{"Parts", "C:\\Data\\", "C:\\Data\\Parts.db3"},
                             Case{"Parts", "C:/Data/", "C:/Data/\\Parts.db3"},
                             Case{"Parts", nullptr, ".\\Parts.db3"}, Case{"Parts", "", ".\\Parts.db3"},
                             Case{"Parts", "x", "x\\Parts.db3"}, Case{nullptr, "\\", "\\.db3"}}) {
        std::string out = "before";
        probe.getDBPathName(item.name, item.path, out);
        EXPECT_EQ(out, item.expected);
    }
}

TEST_F(SqliteConnection, opensTheFileOfThatNameInThatDirectory) {
    const QD_OrvelConnectionHandle connection = closed();
    EXPECT_FALSE(connection->isOpen());
    for (const std::string& path :
         {directory.path().string(), directory.path().string() + "\\", directory.path().string() + "/"}) {
        connection->open("Parts", path.c_str(), 0);
        EXPECT_TRUE(connection->isOpen());
        connection->execNoQuery("CREATE TABLE IF NOT EXISTS t (a)", 0);
        connection->close();
        connection->close();
        EXPECT_FALSE(connection->isOpen());
    }
    EXPECT_TRUE(std::filesystem::exists(directory.file("Parts.db3")));
    connection->open("file:a?mode=memory", directory.path().string().c_str(),
                     0); // a name like any other, not a URI
    connection->execNoQuery("CREATE TABLE t (a)", 0);
    EXPECT_TRUE(std::filesystem::exists(directory.file("file:a?mode=memory.db3")));
}

TEST_F(SqliteConnection, aFailingOpenNamesTheFileAndLeavesItClosed) {
    const QD_OrvelConnectionHandle connection = closed();
    const std::string missing = directory.path().string() + "/missing";
    EXPECT_EQ(errorOf([&] { connection->open("Parts", missing.c_str(), 0); }),
              (Error{4, 14, "unable to open database file " + missing + "\\Parts.db3",
                     "QD_SQOrvelConnection::open <- QD_SQOrvelConnection::open", 0}));
    EXPECT_FALSE(connection->isOpen());
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(
            errorOf([&] { connection->open(name, nullptr, 0); }),
            (Error{23, 0, "", "QD_OrvelTools::throwOnNullOrEmptyString <- QD_SQOrvelConnection::open", 0}));
    }
}

TEST_F(SqliteConnection, aClosedOneRefusesStatementsButNotEmptyTexts) {
    const QD_OrvelConnectionHandle connection = closed();
    EXPECT_EQ(connection->execNoQuery(nullptr, 0), 0);
    EXPECT_EQ(connection->execNoQuery("", 0), 0);
    EXPECT_EQ(errorOf([&] { connection->execNoQuery(" ", 0); }),
              (Error{12, 1000, "Null Database pointer",
                     "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::execNoQuery", 0}));
    EXPECT_STREQ(connection->getProvider(), "SQLITE");
    EXPECT_STREQ(connection->getVersion(), "3.3.5");
    EXPECT_FALSE(connection->isClientServer());
    EXPECT_EQ(connection->getLastInsertedId(), 0);
}

TEST_F(SqliteConnection, runsEveryStatementOfAText) {
    QD_OrvelConnectionHandle connection = opened();
    EXPECT_EQ(connection->execNoQuery(
                  "CREATE TABLE t (a UNIQUE); INSERT INTO t VALUES (1);; INSERT INTO t VALUES (2)", 0),
              1);
    EXPECT_EQ(connection->execQueryScalar("SELECT COUNT(*) FROM t", 0), 2);
    EXPECT_EQ(connection->getLastInsertedId(), 2);
    EXPECT_EQ(connection->execNoQuery("UPDATE t SET a = a + 10", 0), 2);
    EXPECT_EQ(connection->execNoQuery("SELECT * FROM t; -- nothing more", 0), 2) << "a count left over";
    EXPECT_EQ(connection->execNoQuery(" \n/* only a comment */ ", 0), 2);
}

TEST_F(SqliteConnection, whatRanBeforeAFailingStatementStays) {
    QD_OrvelConnectionHandle connection = opened();
    EXPECT_EQ(errorOf([&] { connection->execNoQuery("CREATE TABLE t (a UNIQUE); CREATE TABL u (a)", 0); }),
              (Error{34, 1, "near \"TABL\": syntax error",
                     "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- "
                     "QD_SQOrvelConnection::execNoQuery",
                     0}));
    EXPECT_EQ(errorOf([&] {
                  connection->execNoQuery("INSERT INTO t VALUES (1); INSERT INTO t VALUES (1); DELETE FROM t",
                                          0);
              }),
              (Error{34, 19, "UNIQUE constraint failed: t.a",
                     "QD_SQOrvelConnection::execNoQuery <- QD_SQOrvelConnection::execNoQuery", 0}));
    EXPECT_EQ(connection->execQueryScalar("SELECT COUNT(*) FROM t", 0), 1);
}

TEST_F(SqliteConnection, compilingTellsWhereTheRestBegins) {
    Probe probe(config.c_str());
    EXPECT_EQ(errorOf([&] { probe.compile(nullptr); }),
              (Error{22, 0, "", "QD_OrvelTools::throwOnNullString <- QD_SQOrvelConnection::compile", 0}));
    probe.open("Parts", directory.path().string().c_str(), 0);
    sqlite3_stmt* statement = nullptr;
    const char* tail = nullptr;
    EXPECT_EQ(probe.compile("SELECT 1; SELECT 2", &statement, &tail), 0);
    EXPECT_STREQ(tail, " SELECT 2");
    EXPECT_NE(statement, nullptr);
    sqlite3_finalize(statement);
    EXPECT_EQ(probe.compile("-- nothing"), nullptr);
}

TEST_F(SqliteConnection, aMissingTableSaysEverythingAQueryCanSay) {
    QD_OrvelConnectionHandle connection = opened();
    EXPECT_EQ(errorOf([&] { connection->execQuery("SELECT * FROM missing", 0); }),
              (Error{34, 1, "no such table: missing",
                     "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- "
                     "QD_SQOrvelConnection::execQuery",
                     0}));
}

TEST_F(SqliteConnection, aWriteLockOfAnotherConnectionIsBusyAfterTheTimeoutAndNotBefore) {
    QD_OrvelConnectionHandle writer = opened();
    QD_OrvelConnectionHandle other = opened();
    writer->execNoQuery("CREATE TABLE t (a); BEGIN IMMEDIATE", 0);
    constexpr auto timeout = std::chrono::milliseconds(300);
    other->setBusyTimeout(timeout.count());
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(errorOf([&] { other->execNoQuery("INSERT INTO t VALUES (1)", 0); }),
              (Error{31, 5, "database is locked",
                     "QD_SQOrvelConnection::execNoQuery <- QD_SQOrvelConnection::execNoQuery", 0}));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, timeout);
    EXPECT_STREQ(errorText(QD_ORVEL_ERR_BUSY), "Unspecified Error");
    writer->execNoQuery("COMMIT", 0);
    EXPECT_EQ(other->execNoQuery("INSERT INTO t VALUES (1)", 0), 1);
}

TEST_F(SqliteConnection, theBusyTimeoutComesFromTheConfigurationAndOutlivesClosing) {
    struct Case {
        const char* value;
        int expected;
    };
    for (const Case& item : {Case{"", 30000}, Case{"<DefaultTimeout>2500</DefaultTimeout>", 2500},
                             Case{"<DefaultTimeout>0</DefaultTimeout>", 30000},
                             Case{"<DefaultTimeout>-5</DefaultTimeout>", 30000},
                             Case{"<DefaultTimeout>abc</DefaultTimeout>", 30000}}) {
        config = directory.write("timeout.xml", orvel::tests::sqliteConfiguration("", item.value));
        QD_OrvelConnection::flushDBConfig();
        EXPECT_EQ(opened()->execQueryScalar("PRAGMA busy_timeout", 0), item.expected) << item.value;
    }
    const QD_OrvelConnectionHandle connection = closed();
    connection->setBusyTimeout(100);
    for (int round = 0; round < 2; ++round) {
        connection->open("Parts", directory.path().string().c_str(), 0);
        EXPECT_EQ(connection->execQueryScalar("PRAGMA busy_timeout", 0), 100);
        connection->close();
    }
}

TEST_F(SqliteConnection, newDatabasesAreUtf8AndUtf16OnesStayReadable) {
    opened()->execNoQuery("CREATE TABLE t (a)", 0);
    EXPECT_EQ(raw("Parts.db3", "PRAGMA encoding"), "UTF-8");
    raw("Wide.db3", "PRAGMA encoding='UTF-16le'; CREATE TABLE t (caf\xc3\xa9); INSERT INTO t VALUES "
                    "('gr\xc3\xbc\xc3\x9f')");
    QD_OrvelConnectionHandle wide = opened("Wide");
    EXPECT_EQ(text(wide, "SELECT * FROM t"), "gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(text(wide, "PRAGMA encoding"), "UTF-16le");
    int index = -1;
    EXPECT_TRUE(wide->execQuery("SELECT * FROM t", 0)->getFieldIndex("caf\xc3\xa9", index));
}

TEST_F(SqliteConnection, anotherNarrowEncodingIsConvertedOnEveryWay) {
    const Locale latin1("de_DE.ISO-8859-1");
    {
        QD_OrvelConnectionHandle connection = opened("Stra\xdf"
                                                     "e");
        connection->execNoQuery("CREATE TABLE t (stra\xdf"
                                "e TEXT); INSERT INTO t VALUES ('\xe9')",
                                0);
        const QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (?)", 0);
        insert->addStringParam("\xdf");
        insert->execNoQuery(0);

        const QD_OrvelQueryHandle rows = connection->execQuery("SELECT * FROM t", 0);
        std::string value;
        EXPECT_TRUE(rows->getStringField("stra\xdf"
                                         "e",
                                         value));
        EXPECT_EQ(value, "\xe9");
        EXPECT_TRUE(rows->getFieldName(0, value));
        EXPECT_EQ(value, "stra\xdf"
                         "e");
        EXPECT_EQ(errorOf([&] { connection->execNoQuery("SELECT 1 FROM \xe9", 0); }).provText,
                  "no such table: \xe9");

        connection->execNoQuery("DELETE FROM t; INSERT INTO t VALUES (char(8364))", 0); // not in ISO-8859-1
        const orvel::tests::DiagnosticLines lines;
        EXPECT_FALSE(connection->execQuery("SELECT * FROM t", 0)->getStringField(0, value));
        EXPECT_EQ(orvel::tests::DiagnosticLines::all().size(), 1U);
        connection->execNoQuery("UPDATE t SET stra\xdf"
                                "e = '\xe9\xdf'",
                                0);
    }
    EXPECT_EQ(raw("Stra\xc3\x9f"
                  "e.db3",
                  "SELECT * FROM t"),
              "\xc3\xa9\xc3\x9f");
}

TEST_F(SqliteConnection, closingLeavesLivingStatementsWorking) {
    const QD_OrvelConnectionHandle connection = opened();
    connection->execNoQuery("CREATE TABLE t (a); INSERT INTO t VALUES (1), (2)", 0);
    const QD_OrvelQueryHandle rows = connection->execQuery("SELECT a FROM t", 0);
    const QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (3), (4)", 0);
    connection->close();
    EXPECT_FALSE(connection->isOpen());
    rows->nextRow();
    int value = 0;
    EXPECT_TRUE(rows->getIntField("a", value));
    EXPECT_EQ(value, 2);
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(insert->execNoQuery(0), 2);
}

TEST_F(SqliteConnection, aQueryKeepsItsConnectionAlive) {
    QD_OrvelQueryHandle rows = opened()->execQuery("SELECT 7", 0);
    int value = 0;
    EXPECT_TRUE(rows->getIntField(0, value));
    EXPECT_EQ(value, 7);
}

TEST_F(SqliteConnection, tracesTheTextAsGivenBeforeItRuns) {
    QD_OrvelConnectionHandle connection = opened();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
    testing::internal::CaptureStderr();
    connection->execNoQuery("CREATE TABLE t (a)", 0);
    connection->execNoQuery("", 0);
    connection->execQueryScalar("SELECT '%s'", 0);
    errorOf([&] { connection->execNoQuery("nonsense", 0); });
    const QD_OrvelCommandHandle command = connection->createCommand("INSERT INTO t VALUES (1)", 0);
    command->execNoQuery(0); // writes none
    command->execQuery(0);
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    connection->execQueryScalar("SELECT 2", 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Orvel SQL:\"CREATE TABLE t (a)\"\nOrvel SQL:\"SELECT '%s'\"\nOrvel SQL:\"nonsense\"\n"
              "Orvel SQL:\"INSERT INTO t VALUES (1)\"\n");
}

TEST_F(SqliteConnection, statementsSurviveSchemaChangesOfOtherConnections) {
    QD_OrvelConnectionHandle one = opened();
    QD_OrvelConnectionHandle other = opened();
    one->execNoQuery("CREATE TABLE t (a)", 0);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(one->execNoQuery("INSERT INTO t (a) VALUES (1)", 0), 1);
        EXPECT_EQ(one->execQueryScalar("SELECT COUNT(*) FROM t", 0), round + 1);
        other->execNoQuery(("ALTER TABLE t ADD COLUMN c" + std::to_string(round)).c_str(), 0);
    }
}

} // namespace
