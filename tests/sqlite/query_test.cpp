#include "QD_SQOrvelQuery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <string>
#include <utility>

#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::expectError;
using orvel::tests::traceOf;
using testing::ElementsAre;

class SqliteQuery : public orvel::tests::SqliteTest {
protected:
    QD_OrvelConnectionHandle connection = opened();

    QD_OrvelQueryHandle query(const std::string& sql) const { return connection->execQuery(sql.c_str(), 0); }

    /// What every getter answers and leaves: int, 64 bits, double, text, length of the blob.
    template <class Key>
    static std::string read(const QD_OrvelQueryHandle& rows, Key key) {
        int integer = 9;
        long long wide = 9;
        double real = 9;
        std::string text = "before";
        unsigned int size = 9;
        std::ostringstream out;
        out << rows->getIntField(key, integer) << ':' << integer << ' ' << rows->getInt64Field(key, wide)
            << ':';
        out << wide << ' ' << rows->getDoubleField(key, real) << ':' << real << ' '
            << rows->getStringField(key, text);
        out << ':' << text << ' ' << rows->getBlobField(key, size, nullptr) << ':' << size;
        return out.str();
    }
};
const char* const nothing = "0:0 0:0 0:0 0: 0:9";

TEST_F(SqliteQuery, convertsValuesAsSqliteDoes) {
    for (const auto& [value, expected] :
         {std::pair("42", "1:42 1:42 1:42 1:42 1:2"),
          {"0", "1:0 1:0 1:0 1:0 1:1"},
          {"0.0", "1:0 1:0 1:0 1:0.0 1:3"},
          {"'12abc'", "1:12 1:12 1:12 1:12abc 1:5"},
          {"'abc'", "1:0 1:0 1:0 1:abc 1:3"},
          {"2.75", "1:2 1:2 1:2.75 1:2.75 1:4"},
          {"4294967297", "1:1 1:4294967297 1:4.29497e+09 1:4294967297 1:10"},
          {"-9223372036854775808", "1:0 1:-9223372036854775808 1:-9.22337e+18 1:-9223372036854775808 1:20"},
          {"''", "1:0 1:0 1:0 1: 0:0"},
          {"x''", "1:0 1:0 1:0 1: 0:0"},
          {"'\u20ac'", "1:0 1:0 1:0 1:\u20ac 1:3"},
          {"NULL", nothing}}) {
        const QD_OrvelQueryHandle rows = query(std::string("SELECT ") + value + " AS a");
        EXPECT_EQ(read(rows, 0), expected);
        EXPECT_EQ(read(rows, "a"), expected);
    }
    EXPECT_EQ(text(connection, "SELECT CAST(x'610062' AS TEXT)"), std::string("a\0b", 3));
}

TEST_F(SqliteQuery, readsItsRowsUpToItsEnd) {
    connection->execNoQuery("CREATE TABLE t (a VARCHAR(10), b); INSERT INTO t VALUES (1, 'x'), (2, 'y')", 0);
    const QD_OrvelQueryHandle rows = query("SELECT a, b AS id, b || '', 7 AS id FROM t");
    std::string name = "before";
    int index = 9;
    for (const char* unknown : {static_cast<const char*>(nullptr), "", "ID", "id ", "i"}) {
        EXPECT_FALSE(rows->getFieldIndex(unknown, index));
        EXPECT_EQ(read(rows, unknown), nothing);
    }
    for (const int outside : {-1, 4}) {
        EXPECT_FALSE(rows->getFieldName(outside, name) || rows->getFieldDeclType(outside, name));
        EXPECT_EQ(read(rows, outside), "1:0 1:0 1:0 0: 0:0") << "answered by SQLite";
    }
    EXPECT_FALSE(rows->getFieldDeclType(2, name)) << "an expression";
    EXPECT_EQ(index, 9);
    EXPECT_EQ(name, "before");
    EXPECT_TRUE(rows->getFieldIndex("id", index));
    EXPECT_EQ(index, 1) << "the first one of that name";
    EXPECT_TRUE(rows->getFieldDeclType(0, name));
    EXPECT_EQ(name, "VARCHAR(10)");
    EXPECT_TRUE(rows->getFieldName(2, name));
    EXPECT_EQ(name, "b || ''");
    for (const char* expected : {"1:1 1:1 1:1 1:1 1:1", "1:2 1:2 1:2 1:2 1:1"}) {
        EXPECT_FALSE(rows->eof());
        EXPECT_EQ(rows->numFields(), 4);
        EXPECT_EQ(read(rows, "a"), expected);
        rows->nextRow();
    }
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(rows->numFields(), 0);
    EXPECT_EQ(read(rows, "a"), nothing) << "no name is found without a row";
    EXPECT_TRUE(query("SELECT 1 WHERE 0")->eof());
}

TEST_F(SqliteQuery, ofAnEmptyTextIsEmptyEvenWhenClosed) {
    connection->close();
    for (const char* sql : {static_cast<const char*>(nullptr), ""}) {
        const QD_OrvelQueryHandle rows = connection->execQuery(sql, 0);
        rows->nextRow();
        EXPECT_TRUE(rows->eof());
        EXPECT_EQ(rows->numFields(), 0);
        EXPECT_EQ(read(rows, 0) + read(rows, "a"), std::string(nothing) + nothing);
        EXPECT_EQ(connection->execQueryScalar(sql, 0), 0);
    }
}

TEST_F(SqliteQuery, blobsFillABufferThatIsLargeEnough) {
    const QD_OrvelQueryHandle rows = query("SELECT x'00ff10' AS b");
    std::array<unsigned char, 4> buffer{9, 9, 9, 9};
    unsigned int size = 2;
    EXPECT_FALSE(rows->getBlobField("b", size, buffer.data()));
    EXPECT_EQ(size, 3U);
    EXPECT_THAT(buffer, ElementsAre(9, 9, 9, 9));
    EXPECT_TRUE(rows->getBlobField("b", size, buffer.data()));
    EXPECT_THAT(buffer, ElementsAre(0, 0xff, 0x10, 9));
}

/// Names the protected members.
class Probe : public QD_SQOrvelQuery {
public:
    static constexpr auto typeAt = &Probe::fieldDataType;
    static constexpr bool (QD_SQOrvelQuery::*nullAt)(int) const = &Probe::isFieldNull;
    static constexpr bool (QD_SQOrvelQuery::*nullNamed)(const char*) const = &Probe::isFieldNull;
};

TEST_F(SqliteQuery, tellsTypesAndNullsOfTheCurrentRow) {
    const QD_OrvelQueryHandle rows = query("SELECT 1, 1.5, 'x', x'00', NULL AS n");
    const auto& reading = static_cast<const QD_SQOrvelQuery&>(*rows.get());
    for (int index = -1; index <= 5; ++index) {
        EXPECT_EQ((reading.*Probe::typeAt)(index), index < 0 || index > 4 ? 0 : index + 1);
        EXPECT_EQ((reading.*Probe::nullAt)(index), index == 4);
    }
    EXPECT_TRUE((reading.*Probe::nullNamed)("n"));
    EXPECT_FALSE((reading.*Probe::nullNamed)("unknown"));
}

TEST_F(SqliteQuery, aStepThatFailsEndsTheCursorWithALineAndNoException) {
    const std::string overflow = "SELECT abs(-9223372036854775807 - 1)";
    const QD_OrvelQueryHandle rows = query("SELECT 1 UNION ALL " + overflow);
    const orvel::tests::DiagnosticLines lines;
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(read(rows, 0), nothing);
    EXPECT_THAT(
        orvel::tests::DiagnosticLines::all(),
        ElementsAre(testing::MatchesRegex(
            "CATCH QD_OrvelException: QD_SQOrvelInterface, Line [0-9]+, QD_SQOrvelQuery::nextRow - Orvel: "
            "Cannot retrieve record row. \\(21\\), Provider: integer overflow \\(1\\), hr: 0, .*")));
    expectError([&] { query(overflow); }, {34, 1, "integer overflow", traceOf("execQuery execQuery")});
    expectError([&] { query("-- nothing"); }, {34, 0, "not an error", traceOf("execQuery execQuery")});
    expectError(
        [] { const QD_SQOrvelQuery orphan(nullptr, nullptr, true); },
        {22, 1000, "Null Database pointer", traceOf("QD_SQOrvelQuery QD_SQOrvelQuery", "QD_SQOrvelQuery")});
}

TEST_F(SqliteQuery, closingGivesItsLocksBack) {
    connection->execNoQuery("CREATE TABLE t (a); INSERT INTO t VALUES (1), (2)", 0);
    const QD_OrvelQueryHandle rows = query("SELECT a FROM t");
    const QD_OrvelConnectionHandle other = opened();
    other->setBusyTimeout(0);
    EXPECT_EQ(orvel::tests::errorOf([&] { other->execNoQuery("DROP TABLE t", 0); }).code, QD_ORVEL_ERR_BUSY);
    rows->close();
    rows->close();
    EXPECT_NO_THROW(other->execNoQuery("DROP TABLE t", 0));
    EXPECT_EQ(read(rows, 0), nothing);
    EXPECT_FALSE(rows->eof()) << "closing does not change what was reported";
}

TEST_F(SqliteQuery, theScalarIsTheFirstFieldOfTheFirstRow) {
    for (const auto& [sql, expected] :
         {std::pair("SELECT 7, 8 UNION ALL SELECT 9, 10", 7), {"SELECT NULL", 0}, {"SELECT 1 WHERE 0", 0}}) {
        EXPECT_EQ(connection->execQueryScalar(sql, 0), expected) << sql;
    }
}

} // namespace
