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

class SqliteCommand : public SqliteTest {
protected:
    SqliteCommand() {
        run("CREATE TABLE t (a INTEGER UNIQUE, b); CREATE TABLE three AS SELECT "
            "column1 AS a, 'a text that is no small one' AS b FROM (VALUES (1), (2), (3))");
    }

    static std::string trace(const std::string& functions) { return traceOf(functions, "QD_SQOrvelCommand"); }

    /// Runs it with these parameters alone.
    template <class... Values>
    static int runWith(const QD_OrvelCommandHandle& command, Values... values) {
        command->resetParams();
        (command->addIntParam(values), ...);
        return command->execNoQuery(0);
    }
    static void expectEnded(const QD_OrvelCommandHandle& command) {
        expectError([&] { command->execNoQuery(0); },
                    {22, 1000, "Null virtual machine pointer", trace("checkVM execNoQuery")});
    }
    /// Every row of a command's query, the way such a query is read: the first one by position only.
    static std::string numbers(const QD_OrvelQueryHandle& rows) {
        std::string found = numberOf(rows);
        for (rows->nextRow(); rows->numFields() != 0; rows->nextRow()) found += " " + numberOf(rows, "a");
        return found;
    }
};

TEST_F(SqliteCommand, cannotBeMadeOfNothing) {
    for (const char* empty : {static_cast<const char*>(nullptr), ""}) {
        expectError([&] { command(empty); },
                    {23, 0, "", trace("QD_OrvelTools::throwOnNullOrEmptyString QD_SQOrvelCommand")});
    }
    expectError([&] { command("-- a comment"); },
                {22, 1000, "Null virtual machine pointer", trace("checkVM QD_SQOrvelCommand")});
    const std::string compile = "QD_SQOrvelConnection::compile";
    expectError([&] { command("SELECT * FROM missing"); },
                {34, 1, "no such table: missing", trace(compile + " " + compile + " QD_SQOrvelCommand")});
    expectError([&] { closed()->createCommand("SELECT 1", 0); },
                notOpenIn("checkDB compile QD_SQOrvelCommand::QD_SQOrvelCommand"));
}

TEST_F(SqliteCommand, bindsEachKindAsWhatItIsInEveryRun) {
    run("CREATE TABLE u (b)");
    const QD_OrvelCommandHandle types =
        command("INSERT INTO u SELECT group_concat(typeof(column1) || '=' || quote(column1)) "
                "FROM (VALUES (?), (?), (?), (?), (?), (?), (?), (?), (?), (?), (?))");
    const std::array<unsigned char, 2> bytes = {0, 255};
    types->addIntParam(-1);
    types->addInt64Param(-9000000000LL);
    types->addDoubleParam(-1.5);
    types->addStringParam("it's");
    types->addBlobParam(bytes.data(), 2);
    types->addStringParam(nullptr);
    types->addStringParam("");
    types->addBlobParam(bytes.data(), 0);
    types->addBlobParam(nullptr, 5);
    types->addEmptyParam(QD_ORVEL_DATA_BLOB);
    types->addEmptyParam(static_cast<QD_OrvelDataKind>(77)); // every kind is the same NULL
    EXPECT_EQ(types->execNoQuery(0) + types->execNoQuery(0), 2);
    EXPECT_EQ(text("SELECT b FROM u GROUP BY b HAVING COUNT(*) = 2"),
              "integer=-1,integer=-9000000000,real=-1.5,text='it''s',blob=X'00FF'"
              ",null=NULL,null=NULL,null=NULL,null=NULL,null=NULL,null=NULL");
}

TEST_F(SqliteCommand, parametersAndMarkersNeedNotBeAsMany) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (?, ?)");
    expectError([&] { runWith(insert, 1, 2, 3); },
                {27, 25, "column index out of range", trace("applyParams execNoQuery")});
    EXPECT_EQ(runWith(insert, 1, 2) + runWith(insert, 2), 2); // it goes on
    EXPECT_EQ(text("SELECT group_concat(a || coalesce(b, 'null')) FROM t"), "12,2null")
        << "nothing of an earlier run is left in a marker without a parameter";
}

TEST_F(SqliteCommand, aRunThatFailsEndsItAndClosingDoes) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (1, 1)");
    insert->execNoQuery(0);
    expectError([&] { insert->execNoQuery(0); },
                {34, 1, "UNIQUE constraint failed: t.a", trace("execNoQuery execNoQuery")});
    expectEnded(insert);

    const QD_OrvelCommandHandle select = command("SELECT a FROM three");
    const QD_OrvelQueryHandle left = select->execQuery(0); // shares the statement that ends
    expectError([&] { select->execNoQuery(0); }, {34, 100, "not an error", trace("execNoQuery execNoQuery")});
    expectEnded(select);
    EXPECT_EQ(numbers(left), "(none)");

    const QD_OrvelConnectionHandle other = opened();
    other->execNoQuery("BEGIN IMMEDIATE", 0);
    connection->setBusyTimeout(0);
    expectError([&] { command("DELETE FROM t")->execNoQuery(0); },
                {31, 5, "database is locked", trace("execNoQuery execNoQuery")});
    const QD_OrvelCommandHandle closing = command("INSERT INTO t VALUES (2, 2)");
    closing->close();
    closing->close();
    expectEnded(closing);
}

TEST_F(SqliteCommand, itsQueryIsReadByIndexFromTheStart) {
    const QD_OrvelQueryHandle rows = command("SELECT a, NULL AS b FROM three")->execQuery(0);
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(std::to_string(rows->numFields()) + numberOf(rows, "a"), "0(none)");
    EXPECT_EQ(numberOf(rows) + numberOf(rows, 1), "10") << "NULL cannot be told from 0 in the first row";
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(std::to_string(rows->numFields()) + numberOf(rows, "a") + numberOf(rows, "b"), "22(none)");
}

TEST_F(SqliteCommand, aQueryThatIsGoneLetsItStartAgainWithoutCompilingAndHoldsNoLock) {
    const QD_OrvelCommandHandle lookup = command("SELECT a FROM three WHERE a >= ? ORDER BY a");
    const int before = compilations;
    for (int from = 3; from >= 1; --from) {
        lookup->resetParams();
        lookup->addIntParam(from);
        const QD_OrvelQueryHandle rows = lookup->execQuery(0);
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
    QD_OrvelCommandHandle lookup = command("SELECT a FROM three WHERE b = ?");
    lookup->addStringParam(value);
    const QD_OrvelQueryHandle rows = lookup->execQuery(0);
    const QD_OrvelQueryHandle onward = lookup->execQuery(0);
    lookup
        ->resetParams(); // the running statement still compares with the text that the command gives up here
    lookup->addIntParam(1);
    expectError([&] { lookup->execQuery(0); },
                {27, 21, "bad parameter or other API misuse", trace("applyParams execQuery")});
    onward->close();
    EXPECT_EQ(numbers(rows), "2 3");
    rows->close();
    EXPECT_EQ(numbers(lookup->execQuery(0)), "0");
    lookup->resetParams();
    lookup->addStringParam(value);
    const QD_OrvelQueryHandle last = lookup->execQuery(0);
    lookup.release();
    EXPECT_EQ(numbers(last), "1 2 3");
}

TEST_F(SqliteCommand, aChangedSchemaRecompilesItOnceUnlessItsDatabaseIsAnother) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t (a) VALUES (?)");
    for (const int round : {1, 2}) {
        runWith(insert, round);
        const QD_OrvelConnectionHandle changing = round == 1 ? connection : opened();
        changing->execNoQuery(round == 1 ? "CREATE TABLE v (a)" : "ALTER TABLE t ADD COLUMN c", 0);
        const int before = compilations;
        EXPECT_EQ(runWith(insert, 10 * round), 1);
        EXPECT_EQ(compilations, before + 1);
    }
    EXPECT_EQ(numbers(command("SELECT a FROM t ORDER BY a")->execQuery(0)), "1 2 10 20");
    const QD_OrvelCommandHandle stale = command("INSERT INTO t (a) VALUES (7)");
    run("DROP TABLE t");
    const std::string compile = "QD_SQOrvelConnection::compile";
    expectError([&] { insert->execNoQuery(0); },
                {34, 1, "no such table: t", trace(compile + " " + compile + " execNoQuery")});
    expectEnded(insert);

    connection->close();
    connection->open("Other", nullptr, 0);
    run("CREATE TABLE t (a)");
    expectError(
        [&] { stale->execNoQuery(0); },
        {12, 1000, "The connection was closed after the command was made", trace("checkDB execNoQuery")});
    EXPECT_EQ(rows(), 0);
}

} // namespace
