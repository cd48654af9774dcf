#include "QD_SQOrvelCommand.h"

#include <dlfcn.h>
#include <sqlite3.h>

#include <array>

#include "tests/support/sqlite_test.h"

namespace {
int compilations = 0;
} // namespace

// Stands before SQLite's own, to count how often the library compiles.
extern "C" int sqlite3_prepare(sqlite3* db, const char* sql, int length, sqlite3_stmt** statement,
                               const char** tail) {
    static const auto real =
        reinterpret_cast<decltype(&sqlite3_prepare)>(::dlsym(RTLD_NEXT, "sqlite3_prepare"));
    ++compilations;
    return real(db, sql, length, statement, tail);
}

namespace {

using namespace orvel::tests;

const char* const ended = "22/1000 Null virtual machine pointer [checkVM execNoQuery]";

class SqliteCommand : public SqliteTest {
protected:
    SqliteCommand() {
        tested = "QD_SQOrvelCommand";
        run("CREATE TABLE t (a INTEGER UNIQUE, b); CREATE TABLE three AS SELECT "
            "column1 AS a, 'a text that is no small one' AS b FROM (VALUES (1), (2), (3))");
    }

    std::string ran(const QD_OrvelCommandHandle& command) const {
        return outcome([&] { return command->execNoQuery(0); });
    }
    /// Every row of a command's query, the way such a query is read: the first one by position only.
    static std::string numbers(const QD_OrvelQueryHandle& rows) {
        std::string found = numberOf(rows);
        for (rows->nextRow(); rows->numFields() != 0; rows->nextRow()) found += " " + numberOf(rows, "a");
        return found;
    }
};

TEST_F(SqliteCommand, cannotBeMadeOfNothing) {
    const std::string none = "23/0 [QD_OrvelTools::throwOnNullOrEmptyString QD_SQOrvelCommand]";
    const std::string compile = "QD_SQOrvelConnection::compile ";
    using Row = std::pair<const char*, std::string>;
    for (const auto& [sql, expected] :
         {Row{nullptr, none}, Row{"", none},
          Row{"-- a comment", "22/1000 Null virtual machine pointer [checkVM QD_SQOrvelCommand]"},
          Row{"SELECT * FROM missing",
              "34/1 no such table: missing [" + compile + compile + "QD_SQOrvelCommand]"}}) {
        EXPECT_EQ(outcome([&, text = sql] { connection->createCommand(text, 0); }), expected);
    }
    expectError([&] { closed()->createCommand("SELECT 1", 0); },
                notOpenIn("checkDB compile QD_SQOrvelCommand::QD_SQOrvelCommand"));
}

TEST_F(SqliteCommand, bindsEachKindAsWhatItIsInEveryRun) {
    run("CREATE TABLE u (b)");
    const QD_OrvelCommandHandle types =
        command("INSERT INTO u SELECT group_concat(typeof(column1) || '=' || quote(column1)) "
                "FROM (VALUES (?), (?), (?), (?), (?), (?), (?), (?), (?), (?), (?))");
    with(types, -1, -9000000000LL, -1.5, "it's", static_cast<const char*>(nullptr), "");
    const std::array<unsigned char, 2> bytes = {0, 255};
    types->addBlobParam(bytes.data(), 2);
    types->addBlobParam(bytes.data(), 0);
    types->addBlobParam(nullptr, 5);
    types->addEmptyParam(QD_ORVEL_DATA_BLOB);
    types->addEmptyParam(static_cast<QD_OrvelDataKind>(77)); // every kind is the same NULL
    EXPECT_EQ(ran(types) + ran(types), "11");
    EXPECT_EQ(text("SELECT b FROM u GROUP BY b HAVING COUNT(*) = 2"),
              "integer=-1,integer=-9000000000,real=-1.5,text='it''s',null=NULL,null=NULL,blob=X'00FF'"
              ",null=NULL,null=NULL,null=NULL,null=NULL");
}

TEST_F(SqliteCommand, parametersAndMarkersNeedNotBeAsMany) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (?, ?)");
    EXPECT_EQ(ran(with(insert, 1, 2, 3)), "27/25 column index out of range [applyParams execNoQuery]");
    EXPECT_EQ(ran(with(insert, 1, 2)), "1") << "it goes on";
    EXPECT_EQ(ran(with(insert, 2)), "1");
    EXPECT_EQ(text("SELECT group_concat(a || coalesce(b, 'null')) FROM t"), "12,2null")
        << "nothing of an earlier run is left in a marker without a parameter";
}

TEST_F(SqliteCommand, aRunThatFailsEndsItAndClosingDoes) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (1, 1)");
    for (const char* expected :
         {"1", "34/1 UNIQUE constraint failed: t.a [execNoQuery execNoQuery]", ended}) {
        EXPECT_EQ(ran(insert), expected);
    }
    const QD_OrvelCommandHandle select = command("SELECT a FROM three");
    const QD_OrvelQueryHandle left = select->execQuery(0); // shares the statement that ends
    for (const char* expected : {"34/100 not an error [execNoQuery execNoQuery]", ended}) {
        EXPECT_EQ(ran(select), expected);
    }
    EXPECT_EQ(numbers(left), "(none)");

    const QD_OrvelConnectionHandle other = opened();
    other->execNoQuery("BEGIN IMMEDIATE", 0);
    connection->setBusyTimeout(0);
    EXPECT_EQ(ran(command("DELETE FROM t")), "31/5 database is locked [execNoQuery execNoQuery]");
    const QD_OrvelCommandHandle closing = command("INSERT INTO t VALUES (2, 2)");
    closing->close();
    closing->close();
    EXPECT_EQ(ran(closing), ended);
}

TEST_F(SqliteCommand, itsQueryIsReadByIndexFromTheStart) {
    const QD_OrvelQueryHandle rows = command("SELECT a, NULL AS b FROM three")->execQuery(0);
    EXPECT_EQ(standing(rows), "end 0 1");
    EXPECT_EQ(numberOf(rows, "a"), "(none)");
    EXPECT_EQ(numberOf(rows, 1), "0") << "NULL cannot be told from 0 in the first row";
    rows->nextRow();
    EXPECT_EQ(standing(rows), "end 2 2");
    EXPECT_EQ(numberOf(rows, "a") + numberOf(rows, "b"), "2(none)");
}

TEST_F(SqliteCommand, aQueryThatIsGoneLetsItStartAgainWithoutCompilingAndHoldsNoLock) {
    const QD_OrvelCommandHandle lookup = command("SELECT a FROM three WHERE a >= ? ORDER BY a");
    const int before = compilations;
    for (int from = 3; from >= 1; --from) {
        const QD_OrvelQueryHandle rows = with(lookup, from)->execQuery(0);
        EXPECT_EQ(numberOf(rows), std::to_string(from));
        if (from == 2) rows->close(); // does as well as going
    }
    EXPECT_EQ(numbers(lookup->execQuery(0)), "1 2 3") << "the same parameters again";
    EXPECT_EQ(compilations, before);
    lookup->execQuery(0);
    EXPECT_FALSE(isLocked());
}

TEST_F(SqliteCommand, aLivingQueryIsSteppedOnwardWithItsParametersAndOutlivesItsCommand) {
    const char* const value = "a text that is no small one";
    QD_OrvelCommandHandle lookup = with(command("SELECT a FROM three WHERE b = ?"), value);
    const QD_OrvelQueryHandle rows = lookup->execQuery(0);
    const QD_OrvelQueryHandle onward = lookup->execQuery(0);
    with(lookup, 1); // the running statement still compares with the text that the command gives up here
    EXPECT_EQ(outcome([&] { lookup->execQuery(0); }),
              "27/21 bad parameter or other API misuse [applyParams execQuery]");
    onward->close();
    EXPECT_EQ(numbers(rows), "2 3");
    rows->close();
    EXPECT_EQ(numbers(lookup->execQuery(0)), "0");
    const QD_OrvelQueryHandle last = with(lookup, value)->execQuery(0);
    lookup.release();
    EXPECT_EQ(numbers(last), "1 2 3");
}

TEST_F(SqliteCommand, aChangedSchemaRecompilesItOnceUnlessItsDatabaseIsAnother) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t (a) VALUES (?)");
    for (const int round : {1, 2}) {
        EXPECT_EQ(ran(with(insert, round)), "1");
        const QD_OrvelConnectionHandle changing = round == 1 ? connection : opened();
        changing->execNoQuery(round == 1 ? "CREATE TABLE v (a)" : "ALTER TABLE t ADD COLUMN c", 0);
        const int before = compilations;
        EXPECT_EQ(ran(with(insert, 10 * round)), "1");
        EXPECT_EQ(compilations, before + 1);
    }
    EXPECT_EQ(numbers(command("SELECT a FROM t ORDER BY a")->execQuery(0)), "1 2 10 20");
    const QD_OrvelCommandHandle stale = command("INSERT INTO t (a) VALUES (7)");
    run("DROP TABLE t");
    const std::string compile = "QD_SQOrvelConnection::compile ";
    EXPECT_EQ(ran(insert), "34/1 no such table: t [" + compile + compile + "execNoQuery]");
    EXPECT_EQ(ran(insert), ended);

    connection->close();
    connection->open("Other", nullptr, 0);
    run("CREATE TABLE t (a)");
    EXPECT_EQ(ran(stale),
              "12/1000 The connection was closed after the command was made [checkDB execNoQuery]");
    EXPECT_EQ(rows(), 0);
}

} // namespace
