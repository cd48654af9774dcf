#include "QD_SQOrvelCommand.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "tests/support/sqlite_test.h"

namespace {
int compilations = 0;
} // namespace

// Stands before SQLite's own, to count how often the library compiles.
extern "C" int sqlite3_prepare(sqlite3* db, const char* sql, int length, sqlite3_stmt** statement,
                               const char** tail) {
    using Prepare = int (*)(sqlite3*, const char*, int, sqlite3_stmt**, const char**);
    static const auto real = reinterpret_cast<Prepare>(::dlsym(RTLD_NEXT, "sqlite3_prepare"));
    ++compilations;
    return real(db, sql, length, statement, tail);
}

namespace {

using orvel::tests::Error;
using orvel::tests::errorOf;

class SqliteCommand : public orvel::tests::SqliteTest {
protected:
    SqliteCommand() { connection->execNoQuery("CREATE TABLE t (a INTEGER UNIQUE, b)", 0); }

    QD_OrvelConnectionHandle connection = opened();

    QD_OrvelCommandHandle command(const char* sql) const { return connection->createCommand(sql, 0); }

    /// Every row of a command's query, the way such a query is read.
    static std::vector<int> numbers(const QD_OrvelQueryHandle& rows) {
        std::vector<int> found;
        int value = 0;
        if (rows->getIntField(0, value) && value != 0) {
            found.push_back(value);
        }
        for (rows->nextRow(); rows->numFields() != 0; rows->nextRow()) {
            rows->getIntField("a", value);
            found.push_back(value);
        }
        return found;
    }

    static const Error& ended() {
        static const Error error{22, 1000, "Null virtual machine pointer",
                                 "QD_SQOrvelCommand::checkVM <- QD_SQOrvelCommand::execNoQuery", 0};
        return error;
    }
};

TEST_F(SqliteCommand, cannotBeMadeOfNothing) {
    const std::string constructor = " <- QD_SQOrvelCommand::QD_SQOrvelCommand";
    const Error empty{23, 0, "", "QD_OrvelTools::throwOnNullOrEmptyString" + constructor, 0};
    EXPECT_EQ(errorOf([&] { command(nullptr); }), empty);
    EXPECT_EQ(errorOf([&] { command(""); }), empty);
    EXPECT_EQ(
        errorOf([&] { command("-- a comment"); }),
        (Error{22, 1000, "Null virtual machine pointer", "QD_SQOrvelCommand::checkVM" + constructor, 0}));
    EXPECT_EQ(errorOf([&] { command("SELECT * FROM missing"); }),
              (Error{34, 1, "no such table: missing",
                     "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile" + constructor, 0}));
    EXPECT_EQ(errorOf([&] { closed()->createCommand("SELECT 1", 0); }).trace,
              "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::compile" + constructor);
}

TEST_F(SqliteCommand, runsAgainWithTheSameAndWithNewParameters) {
    connection->execNoQuery("CREATE TABLE u (a, b)", 0);
    const QD_OrvelCommandHandle insert = command("INSERT INTO u VALUES (?, ?)");
    insert->addIntParam(1);
    insert->addStringParam("x");
    EXPECT_EQ(insert->execNoQuery(0), 1);
    EXPECT_EQ(insert->execNoQuery(0), 1);
    insert->resetParams();
    insert->addInt64Param(9223372036854775807LL);
    insert->addDoubleParam(0.1);
    insert->execNoQuery(0);
    EXPECT_EQ(text(connection, "SELECT group_concat(a || ':' || b, ' ') FROM u"),
              "1:x 1:x 9223372036854775807:0.1");
}

TEST_F(SqliteCommand, bindsEachKindAsWhatItIs) {
    const QD_OrvelCommandHandle types =
        command("INSERT INTO t SELECT NULL, group_concat(typeof(column1) || '=' || quote(column1)) "
                "FROM (VALUES (?), (?), (?), (?), (?), (?), (?), (?), (?), (?))");
    const std::vector<unsigned char> bytes = {0, 255};
    types->addIntParam(-1);
    types->addInt64Param(-9000000000LL);
    types->addDoubleParam(1e308);
    types->addStringParam("it's");
    types->addBlobParam(bytes.data(), 2);
    types->addStringParam(nullptr);
    types->addStringParam("");
    types->addBlobParam(bytes.data(), 0);
    types->addBlobParam(nullptr, 5);
    types->addEmptyParam(static_cast<QD_OrvelDataKind>(77)); // every kind is the same NULL
    EXPECT_EQ(types->execNoQuery(0), 1);
    EXPECT_EQ(text(connection, "SELECT b FROM t"), "integer=-1,integer=-9000000000,real=1.0e+308,text='it''s'"
                                                   ",blob=X'00FF',null=NULL,null=NULL,null=NULL,"
                                                   "null=NULL,null=NULL");
}

TEST_F(SqliteCommand, parametersAndMarkersNeedNotBeAsMany) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (?, ?)");
    for (const int value : {1, 2, 3}) {
        insert->addIntParam(value);
    }
    EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }),
              (Error{27, 25, "column index out of range",
                     "QD_SQOrvelCommand::applyParams <- QD_SQOrvelCommand::execNoQuery", 0}));
    insert->resetParams(); // the command goes on
    insert->addIntParam(1);
    insert->addStringParam("one");
    insert->execNoQuery(0);
    insert->resetParams();
    insert->addIntParam(2);
    insert->execNoQuery(0);
    EXPECT_EQ(connection->execQueryScalar("SELECT COUNT(*) FROM t WHERE a = 2 AND b IS NULL", 0), 1)
        << "nothing of an earlier run is left in a marker without a parameter";
}

TEST_F(SqliteCommand, aRunThatFailsEndsIt) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (1, 1)");
    insert->execNoQuery(0);
    EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }),
              (Error{34, 1, "UNIQUE constraint failed: t.a",
                     "QD_SQOrvelCommand::execNoQuery <- QD_SQOrvelCommand::execNoQuery", 0}));
    EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }), ended());

    const QD_OrvelCommandHandle select = command("SELECT 1");
    const Error yieldsRows = errorOf([&] { select->execNoQuery(0); });
    EXPECT_EQ(yieldsRows.code, QD_ORVEL_ERR_PROVIDER);
    EXPECT_EQ(yieldsRows.provCode, 100U);
    EXPECT_EQ(errorOf([&] { select->execNoQuery(0); }), ended());

    const QD_OrvelCommandHandle closing = command("SELECT 1");
    closing->close();
    closing->close();
    EXPECT_EQ(errorOf([&] { closing->execNoQuery(0); }), ended());
}

TEST_F(SqliteCommand, aLockedDatabaseIsBusy) {
    const QD_OrvelConnectionHandle other = opened();
    other->execNoQuery("BEGIN IMMEDIATE", 0);
    connection->setBusyTimeout(0);
    EXPECT_EQ(errorOf([&] { command("INSERT INTO t VALUES (1, 1)")->execNoQuery(0); }),
              (Error{31, 5, "database is locked",
                     "QD_SQOrvelCommand::execNoQuery <- QD_SQOrvelCommand::execNoQuery", 0}));
}

TEST_F(SqliteCommand, itsQueryIsReadByIndexFromTheStart) {
    connection->execNoQuery("INSERT INTO t VALUES (1, NULL), (2, NULL)", 0);
    const QD_OrvelQueryHandle rows = command("SELECT a, b FROM t")->execQuery(0);
    int value = 0;
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(rows->numFields(), 0);
    EXPECT_FALSE(rows->getIntField("a", value));
    EXPECT_TRUE(rows->getIntField(0, value));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(rows->getIntField(1, value)) << "NULL cannot be told from 0 in the first row";
    rows->nextRow();
    EXPECT_EQ(rows->numFields(), 2);
    EXPECT_TRUE(rows->eof());
    EXPECT_TRUE(rows->getIntField("a", value));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(rows->getIntField("b", value));
}

TEST_F(SqliteCommand, aQueryThatIsGoneLetsItStartAgainWithoutCompiling) {
    connection->execNoQuery("INSERT INTO t VALUES (1, 'one'), (2, 'two'), (3, 'three')", 0);
    const QD_OrvelCommandHandle lookup = command("SELECT a FROM t WHERE a >= ? ORDER BY a");
    const int before = compilations;
    for (int from = 3; from >= 1; --from) {
        lookup->resetParams();
        lookup->addIntParam(from);
        const QD_OrvelQueryHandle rows = lookup->execQuery(0);
        int value = 0;
        rows->getIntField(0, value);
        EXPECT_EQ(value, from);
        if (from == 2) {
            rows->close();
        } // closing does as well as going
    }
    EXPECT_EQ(numbers(lookup->execQuery(0)), (std::vector<int>{1, 2, 3})) << "the same parameters again";
    EXPECT_EQ(compilations, before);
}

TEST_F(SqliteCommand, aLivingQueryIsSteppedOnwardAndKeepsItsParameters) {
    connection->execNoQuery("INSERT INTO t VALUES (1, 'x'), (2, 'x'), (3, 'x'), (4, 'y')", 0);
    QD_OrvelCommandHandle lookup = command("SELECT a FROM t WHERE b = ? ORDER BY a");
    lookup->addStringParam("x");
    QD_OrvelQueryHandle rows = lookup->execQuery(0);
    QD_OrvelQueryHandle onward = lookup->execQuery(0);
    int value = 0;
    onward->getIntField(0, value);
    EXPECT_EQ(value, 2);

    lookup
        ->resetParams(); // the running statement still compares with the text that the command gives up here
    lookup->addStringParam("y");
    EXPECT_EQ(errorOf([&] { lookup->execQuery(0); }),
              (Error{27, 21, "bad parameter or other API misuse",
                     "QD_SQOrvelCommand::applyParams <- QD_SQOrvelCommand::execQuery", 0}));
    onward->close();
    rows->nextRow();
    EXPECT_TRUE(rows->getIntField("a", value));
    EXPECT_EQ(value, 3);
    rows->close();
    EXPECT_EQ(numbers(lookup->execQuery(0)), std::vector<int>{4});
}

TEST_F(SqliteCommand, aQueryGoesOnWithoutItsCommandAndEndsWithAFailedOne) {
    connection->execNoQuery("INSERT INTO t VALUES (1, 'a long text that is no small one'), (2, 'a long text "
                            "that is no small one')",
                            0);
    QD_OrvelCommandHandle lookup = command("SELECT a FROM t WHERE b = ? ORDER BY a");
    lookup->addStringParam("a long text that is no small one");
    const QD_OrvelQueryHandle rows = lookup->execQuery(0);
    lookup.release();
    EXPECT_EQ(numbers(rows), (std::vector<int>{1, 2}));

    const QD_OrvelCommandHandle failing = command("SELECT a FROM t");
    const QD_OrvelQueryHandle left = failing->execQuery(0);
    errorOf(
        [&] { failing->execNoQuery(0); }); // meets a row, which ends the command and the statement both share
    int value = 1;
    EXPECT_FALSE(left->getIntField(0, value));
    left->nextRow();
    EXPECT_TRUE(left->eof());
    EXPECT_EQ(errorOf([&] { failing->execNoQuery(0); }), ended());
}

TEST_F(SqliteCommand, anAbandonedQueryHoldsNoLock) {
    connection->execNoQuery("INSERT INTO t VALUES (1, 1), (2, 2)", 0);
    const QD_OrvelCommandHandle lookup = command("SELECT a FROM t");
    lookup->execQuery(0);
    const QD_OrvelConnectionHandle other = opened();
    other->setBusyTimeout(0);
    EXPECT_NO_THROW(other->execNoQuery("DELETE FROM t", 0));
}

TEST_F(SqliteCommand, aChangedSchemaRecompilesItOnce) {
    const QD_OrvelCommandHandle insert = command("INSERT INTO t (a) VALUES (?)");
    const QD_OrvelCommandHandle lookup = command("SELECT a FROM t ORDER BY a");
    insert->addIntParam(1);
    insert->execNoQuery(0);
    connection->execNoQuery("CREATE TABLE u (a)", 0); // on this connection
    insert->resetParams();
    insert->addIntParam(2);
    int before = compilations;
    EXPECT_EQ(insert->execNoQuery(0), 1);
    EXPECT_EQ(compilations, before + 1);

    opened()->execNoQuery("ALTER TABLE t ADD COLUMN c", 0); // on another one
    insert->resetParams();
    insert->addIntParam(3);
    EXPECT_EQ(insert->execNoQuery(0), 1);
    EXPECT_EQ(numbers(lookup->execQuery(0)), (std::vector<int>{1, 2, 3}));

    connection->execNoQuery("DROP TABLE t", 0);
    insert->resetParams();
    EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }),
              (Error{34, 1, "no such table: t",
                     "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- "
                     "QD_SQOrvelCommand::execNoQuery",
                     0}));
    EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }), ended());
}

} // namespace
