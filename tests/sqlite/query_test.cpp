#include "QD_SQOrvelQuery.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <array>
#include <utility>

#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;

using SqliteQuery = SqliteTest;
const char* const nothing = "0:0 0:0 0:0 0: 0:9";

/// The names and declared types of the columns 0 to 3 and of one before and behind them, "-" for none.
std::string columns(const QD_OrvelQueryHandle& rows) {
    std::string all;
    for (int index = -1; index <= 4; ++index) {
        std::string name = "-", type = "-";
        rows->getFieldName(index, name);
        rows->getFieldDeclType(index, type);
        all += name + " " + type + "; ";
    }
    return all;
}

TEST_F(SqliteQuery, convertsValuesAsSqliteDoes) {
    using Row = std::pair<const char*, const char*>;
    for (const auto& [value, expected] :
         {Row{"42", "1:42 1:42 1:42 1:42 1:2"}, Row{"0", "1:0 1:0 1:0 1:0 1:1"},
          Row{"'12abc'", "1:12 1:12 1:12 1:12abc 1:5"}, Row{"2.75", "1:2 1:2 1:2.75 1:2.75 1:4"},
          Row{"4294967297", "1:1 1:4294967297 1:4.29497e+09 1:4294967297 1:10"},
          Row{"''", "1:0 1:0 1:0 1: 0:0"}, Row{"x''", "1:0 1:0 1:0 1: 0:0"},
          Row{"'\u20ac'", "1:0 1:0 1:0 1:\u20ac 1:3"}, Row{"NULL", nothing}}) {
        const QD_OrvelQueryHandle rows = query(std::string("SELECT ") + value + " AS a");
        EXPECT_EQ(allOf(rows, 0), expected);
        EXPECT_EQ(allOf(rows, "a"), expected);
    }
    EXPECT_EQ(text("SELECT CAST(x'610062' AS TEXT)"), std::string("a\0b", 3));
    for (const auto& [sql, first] :
         {std::pair("SELECT 7, 8 UNION ALL SELECT 9, 10", 7), {"SELECT NULL", 0}, {"SELECT 1 WHERE 0", 0}}) {
        EXPECT_EQ(ask(sql), first) << sql;
    }
    EXPECT_EQ(query("SELECT 1 WHERE 0")->numFields(), 0);
}

TEST_F(SqliteQuery, findsByNameWhatIsThereNow) {
    const QD_OrvelCommandHandle all = (run("CREATE TABLE t (a, b)"), command("SELECT *, 9 AS a FROM t"));
    for (const char* const change :
         {"INSERT INTO t VALUES (0, 0), (1, 2)",
          "DROP TABLE t; CREATE TABLE t (b, a); INSERT INTO t VALUES (0, 0), (2, 1)"}) {
        run(change);
        const QD_OrvelQueryHandle rows = all->execQuery(0);
        rows->nextRow(); // the first row of a command has no names
        for (const char* const name : {"a", "b", "a", "a", "b", "b", "a"}) { // in one order and in others
            EXPECT_EQ(numberOf(rows, name), *name == 'a' ? "1" : "2") << change << name;
        }
    }
}

TEST_F(SqliteQuery, readsItsRowsUpToItsEnd) {
    run("CREATE TABLE t (a VARCHAR(10), b); INSERT INTO t VALUES (1, 'x'), (2, 'y')");
    const QD_OrvelQueryHandle rows = query("SELECT a, b AS id, b || '', 7 AS id FROM t");
    int index = 9;
    for (const char* unknown : {static_cast<const char*>(nullptr), "", "ID", "id ", "i"}) {
        EXPECT_FALSE(rows->getFieldIndex(unknown, index));
        EXPECT_EQ(allOf(rows, unknown), nothing);
    }
    EXPECT_EQ(index, 9);
    EXPECT_TRUE(rows->getFieldIndex("id", index));
    EXPECT_EQ(index, 1) << "the first one of that name";
    for (const int outside : {-1, 4}) {
        EXPECT_EQ(allOf(rows, outside), "1:0 1:0 1:0 0: 0:0") << "answered by SQLite";
    }
    EXPECT_EQ(columns(rows), "- -; a VARCHAR(10); id -; b || '' -; id -; - -; ");
    std::string name = "a";
    EXPECT_TRUE(rows->getStringField(name.c_str(), name)) << "the name lies in the value";
    EXPECT_EQ(name, "1");
    for (const char* const row : {"1", "2"}) {
        EXPECT_EQ(standing(rows), std::string("4 ") + row);
        EXPECT_EQ(textOf(rows, "a"), row);
        rows->nextRow();
    }
    EXPECT_EQ(standing(rows), "end 0 0");
    EXPECT_EQ(allOf(rows, "a"), nothing) << "no name is found without a row";
    EXPECT_EQ(columns(rows), "- -; - -; - -; - -; - -; - -; ");
}

TEST_F(SqliteQuery, ofAnEmptyTextIsAtItsEndEvenWhenClosed) {
    connection->close();
    for (const char* sql : {static_cast<const char*>(nullptr), ""}) {
        const QD_OrvelQueryHandle rows = connection->execQuery(sql, 0);
        rows->nextRow();
        EXPECT_EQ(standing(rows), "end 0 (none)");
        EXPECT_EQ(allOf(rows, 0), nothing);
        EXPECT_EQ(allOf(rows, "a"), nothing);
    }
}

TEST_F(SqliteQuery, whatItsStatementHasChangedIsCommittedWhenItGoesOrLeavesALine) {
    run("CREATE TABLE t (a)");
    const QD_OrvelCommandHandle insert = command("INSERT INTO t VALUES (2) RETURNING a");
    const QD_OrvelConnectionHandle reader = opened();
    QD_OrvelQueryHandle reading = reader->execQuery("SELECT * FROM sqlite_master", 0);
    connection->setBusyTimeout(0);
    for (const unsigned int failing : {2U, 0U}) {
        const DiagnosticLines lines;
        EXPECT_EQ(ask("INSERT INTO t VALUES (1) RETURNING a"), 1);
        insert->execQuery(0)->close();
        EXPECT_EQ(DiagnosticLines::all().size(), failing);
        EXPECT_THAT(DiagnosticLines::all(), testing::Each(testing::EndsWith("close - database is locked\n")));
        EXPECT_EQ(rows(), failing == 0 ? 2 : 0);
        reading.release(); // now nobody keeps it from committing
    }
}

TEST_F(SqliteQuery, blobsFillABufferThatIsLargeEnough) {
    const QD_OrvelQueryHandle rows = query("SELECT x'00ff10' AS b");
    std::array<unsigned char, 4> buffer{9, 9, 9, 9};
    unsigned int size = 2;
    EXPECT_FALSE(rows->getBlobField("b", size, buffer.data()));
    EXPECT_THAT(buffer, ElementsAre(9, 9, 9, 9));
    EXPECT_TRUE(rows->getBlobField("b", size, buffer.data())) << size << " is what the first call has left";
    EXPECT_THAT(buffer, ElementsAre(0, 0xff, 0x10, 9));
}

/// Reaches the protected members, and overrides `close` against its contract.
class Probe : public QD_SQOrvelQuery {
public:
    void close() override { throw 1; }
    using QD_SQOrvelQuery::fieldDataType;
    using QD_SQOrvelQuery::isFieldNull;
    using QD_SQOrvelQuery::QD_SQOrvelQuery;
};

TEST_F(SqliteQuery, tellsTypesAndNullsOfTheCurrentRow) {
    sqlite3_stmt* const statement = probe->compile("SELECT 1, 1.5, 'x', x'00', NULL AS n");
    sqlite3_step(statement);
    const Probe reading(probe, statement, false);
    for (int index = -1; index <= 5; ++index) {
        EXPECT_EQ(reading.fieldDataType(index), index < 0 || index > 4 ? 0 : index + 1);
        EXPECT_EQ(reading.isFieldNull(index), index == 4);
    }
    EXPECT_TRUE(reading.isFieldNull("n"));
    EXPECT_FALSE(reading.isFieldNull("unknown"));
}

TEST_F(SqliteQuery, aStepThatFailsEndsTheCursorWithALineAndNoException) {
    const std::string overflow = "SELECT abs(-9223372036854775807 - 1)";
    const QD_OrvelQueryHandle rows = query("SELECT 1 UNION ALL " + overflow);
    const DiagnosticLines lines;
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(allOf(rows, 0), nothing);
    EXPECT_THAT(
        DiagnosticLines::all(),
        ElementsAre(testing::MatchesRegex(
            "CATCH QD_OrvelException: QD_SQOrvelInterface, Line [0-9]+, QD_SQOrvelQuery::nextRow - Orvel: "
            "Cannot retrieve record row. \\(21\\), Provider: integer overflow \\(1\\), hr: 0, .*")));
    sqlite3_stmt* const statement = probe->compile(("SELECT 1 UNION ALL " + overflow).c_str());
    sqlite3_step(statement);
    Probe throwing(probe, statement, false);
    EXPECT_NO_THROW(throwing.nextRow());
    EXPECT_TRUE(throwing.eof());
    EXPECT_FALSE(throwing.isFieldNull(0));
    EXPECT_THAT(DiagnosticLines::all(), ElementsAre(testing::_, testing::StartsWith("CATCH... "),
                                                    testing::HasSubstr("integer overflow")));
    EXPECT_EQ(outcome([&] { query(overflow); }), "34/1 integer overflow [execQuery execQuery]");
    EXPECT_EQ(outcome([&] { query("-- nothing"); }), "34/0 not an error [execQuery execQuery]");
    tested = "QD_SQOrvelQuery";
    EXPECT_EQ(outcome([] { const QD_SQOrvelQuery orphan(nullptr, nullptr, true); }),
              "22/1000 Null Database pointer [QD_SQOrvelQuery QD_SQOrvelQuery]");
}

} // namespace
