#include "QD_SQOrvelQuery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::DiagnosticLines;
using orvel::tests::Error;
using orvel::tests::errorOf;
using testing::ElementsAre;
using testing::MatchesRegex;

class SqliteQuery : public orvel::tests::SqliteTest {
protected:
    QD_OrvelConnectionHandle connection = opened();

    QD_OrvelQueryHandle query(const char* sql) const { return connection->execQuery(sql, 0); }
};

TEST_F(SqliteQuery, anEmptyTextIsAnEmptyCursorEvenWhenClosed) {
    connection->close();
    for (const char* sql : {static_cast<const char*>(nullptr), ""}) {
        const QD_OrvelQueryHandle rows = query(sql);
        int number = 1;
        std::string text = "x";
        EXPECT_TRUE(rows->eof());
        EXPECT_EQ(rows->numFields(), 0);
        EXPECT_FALSE(rows->getIntField(0, number));
        EXPECT_EQ(number, 0);
        EXPECT_FALSE(rows->getStringField("a", text));
        EXPECT_EQ(text, "");
        EXPECT_FALSE(rows->getFieldName(0, text));
        rows->nextRow();
        EXPECT_TRUE(rows->eof());
        EXPECT_EQ(connection->execQueryScalar(sql, 0), 0);
    }
}

TEST_F(SqliteQuery, readsItsRowsOneAfterAnother) {
    const QD_OrvelQueryHandle rows = query("SELECT 1 AS a, 'x' AS b UNION ALL SELECT 2, 'y'");
    for (int expected = 1; expected <= 2; ++expected, rows->nextRow()) {
        int value = 0;
        EXPECT_FALSE(rows->eof());
        EXPECT_EQ(rows->numFields(), 2);
        EXPECT_TRUE(rows->getIntField("a", value));
        EXPECT_EQ(value, expected);
    }
    int value = 5;
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(rows->numFields(), 0);
    EXPECT_FALSE(rows->getIntField("a", value)) << "no name is found without a row";
    EXPECT_EQ(value, 0);
    EXPECT_TRUE(query("SELECT 1 WHERE 0")->eof());
}

TEST_F(SqliteQuery, convertsValuesAsSqliteDoes) {
    struct Case {
        const char* expression;
        bool isValue;
        int integer;
        long long wide;
        double real;
        const char* text;
    };
    for (const Case& item :
         {Case{"42", true, 42, 42, 42.0, "42"}, Case{"0", true, 0, 0, 0.0, "0"},
          Case{"0.0", true, 0, 0, 0.0, "0.0"}, Case{"'12abc'", true, 12, 12, 12.0, "12abc"},
          Case{"'abc'", true, 0, 0, 0.0, "abc"}, Case{"2.75", true, 2, 2, 2.75, "2.75"},
          Case{"4294967297", true, 1, 4294967297LL, 4294967297.0, "4294967297"},
          Case{"-9223372036854775808", true, 0, std::numeric_limits<long long>::min(), -9223372036854775808.0,
               "-9223372036854775808"},
          Case{"NULL", false, 0, 0, 0.0, ""}}) {
        const QD_OrvelQueryHandle rows = query((std::string("SELECT ") + item.expression + " AS a").c_str());
        int integer = 9;
        long long wide = 9;
        double real = 9;
        EXPECT_EQ(rows->getInt64Field("a", wide), item.isValue) << item.expression;
        EXPECT_EQ(wide, item.wide) << item.expression;
        EXPECT_EQ(rows->getDoubleField("a", real), item.isValue) << item.expression;
        EXPECT_EQ(real, item.real) << item.expression;
        EXPECT_EQ(rows->getIntField("a", integer), item.isValue) << item.expression;
        EXPECT_EQ(integer, item.integer) << item.expression;
        std::string text = "before";
        EXPECT_EQ(rows->getStringField("a", text), item.isValue) << item.expression;
        EXPECT_EQ(text, item.text) << item.expression;
    }
}

TEST_F(SqliteQuery, deliversTextsWhole) {
    const QD_OrvelQueryHandle rows = query("SELECT '', CAST(x'610062' AS TEXT), '\xf0\x9f\x98\x80'");
    std::string text = "x";
    EXPECT_TRUE(rows->getStringField(0, text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(rows->getStringField(1, text));
    EXPECT_EQ(text, std::string("a\0b", 3));
    EXPECT_TRUE(rows->getStringField(2, text));
    EXPECT_EQ(text, "\xf0\x9f\x98\x80");
}

TEST_F(SqliteQuery, blobsTellTheirLengthAndFillABufferThatIsLargeEnough) {
    const QD_OrvelQueryHandle rows = query("SELECT x'00ff10' AS b, x'' AS e, NULL AS n");
    std::array<unsigned char, 4> buffer{9, 9, 9, 9};
    unsigned int size = 0;
    EXPECT_TRUE(rows->getBlobField("b", size, nullptr));
    EXPECT_EQ(size, 3U);
    size = 2;
    EXPECT_FALSE(rows->getBlobField("b", size, buffer.data()));
    EXPECT_EQ(size, 3U);
    EXPECT_THAT(buffer, ElementsAre(9, 9, 9, 9));
    EXPECT_TRUE(rows->getBlobField("b", size, buffer.data()));
    EXPECT_THAT(buffer, ElementsAre(0, 0xff, 0x10, 9));

    EXPECT_FALSE(rows->getBlobField("e", size, nullptr));
    EXPECT_EQ(size, 0U);
    size = 77;
    EXPECT_FALSE(rows->getBlobField("n", size, buffer.data()));
    EXPECT_FALSE(rows->getBlobField("unknown", size, buffer.data()));
    EXPECT_EQ(size, 77U) << "neither NULL nor an unknown name says anything about a length";
}

TEST_F(SqliteQuery, findsColumnsByExactNameTheFirstOneWins) {
    const QD_OrvelQueryHandle rows = query("SELECT 1 AS id, 2 AS twice, 3 AS twice");
    int index = 9;
    for (const char* unknown : {static_cast<const char*>(nullptr), "", "ID", "id ", "twic"}) {
        EXPECT_FALSE(rows->getFieldIndex(unknown, index));
        EXPECT_EQ(index, 9);
    }
    EXPECT_TRUE(rows->getFieldIndex("twice", index));
    EXPECT_EQ(index, 1);
    int value = 0;
    for (const char* name : {"twice", "id", "twice"}) {
        EXPECT_TRUE(rows->getIntField(name, value)) << name;
    }
    EXPECT_EQ(value, 2);
}

TEST_F(SqliteQuery, namesAndTypesOfColumnsItDoesNotHaveLeaveTheOutputAlone) {
    connection->execNoQuery("CREATE TABLE t (a VARCHAR(10), b); INSERT INTO t VALUES (1, 2)", 0);
    const QD_OrvelQueryHandle rows = query("SELECT a, b, a + 1 FROM t");
    std::string text = "before";
    for (const int index : {-1, 3}) {
        EXPECT_FALSE(rows->getFieldName(index, text));
        EXPECT_FALSE(rows->getFieldDeclType(index, text));
    }
    EXPECT_FALSE(rows->getFieldDeclType(2, text)) << "an expression";
    EXPECT_EQ(text, "before");
    EXPECT_TRUE(rows->getFieldDeclType(0, text));
    EXPECT_EQ(text, "VARCHAR(10)");
    EXPECT_TRUE(rows->getFieldName(2, text));
    EXPECT_EQ(text, "a + 1");
}

TEST_F(SqliteQuery, indexesOutsideTheRowAreAnsweredBySqlite) {
    const QD_OrvelQueryHandle rows = query("SELECT 1");
    for (const int index : {-1, 1, 1000}) {
        int number = 5;
        double real = 5;
        std::string text = "x";
        unsigned int size = 5;
        EXPECT_TRUE(rows->getIntField(index, number)) << index;
        EXPECT_EQ(number, 0);
        EXPECT_TRUE(rows->getDoubleField(index, real)) << index;
        EXPECT_FALSE(rows->getStringField(index, text)) << index;
        EXPECT_FALSE(rows->getBlobField(index, size, nullptr)) << index;
        EXPECT_EQ(size, 0U);
    }
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
    }
    EXPECT_TRUE((reading.*Probe::nullAt)(4));
    EXPECT_FALSE((reading.*Probe::nullAt)(0));
    EXPECT_TRUE((reading.*Probe::nullNamed)("n"));
    EXPECT_FALSE((reading.*Probe::nullNamed)("unknown"));
}

TEST_F(SqliteQuery, aStepThatFailsEndsTheCursorWithALineAndNoException) {
    const QD_OrvelQueryHandle rows = query("SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)");
    const DiagnosticLines lines;
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(rows->numFields(), 0);
    EXPECT_THAT(
        DiagnosticLines::all(),
        ElementsAre(MatchesRegex("CATCH QD_OrvelException: QD_SQOrvelInterface, Line [0-9]+, "
                                 "QD_SQOrvelQuery::nextRow - Orvel: Cannot retrieve record row. \\(21\\), "
                                 "Provider: integer overflow \\(1\\), hr: 0, .*")));
    rows->nextRow();
    EXPECT_TRUE(rows->eof());
}

TEST_F(SqliteQuery, closingGivesItsLocksBack) {
    connection->execNoQuery("CREATE TABLE t (a); INSERT INTO t VALUES (1), (2)", 0);
    const QD_OrvelQueryHandle rows = query("SELECT a FROM t");
    QD_OrvelConnectionHandle other = opened();
    other->setBusyTimeout(0);
    EXPECT_EQ(errorOf([&] { other->execNoQuery("DROP TABLE t", 0); }).code, QD_ORVEL_ERR_BUSY);
    rows->close();
    rows->close();
    EXPECT_NO_THROW(other->execNoQuery("DROP TABLE t", 0));
    int value = 1;
    EXPECT_FALSE(rows->getIntField(0, value));
    EXPECT_FALSE(rows->eof()) << "closing does not change what was reported";
}

TEST_F(SqliteQuery, aTextWithoutStatementAndAFailingFirstStepAreErrors) {
    const std::string trace = "QD_SQOrvelConnection::execQuery <- QD_SQOrvelConnection::execQuery";
    EXPECT_EQ(errorOf([&] { query("-- nothing"); }).code, QD_ORVEL_ERR_PROVIDER);
    EXPECT_EQ(errorOf([&] { query("-- nothing"); }).provCode, 0U);
    EXPECT_EQ(errorOf([&] { query("SELECT abs(-9223372036854775807 - 1)"); }),
              (Error{34, 1, "integer overflow", trace, 0}));
}

TEST_F(SqliteQuery, withoutAConnectionItCannotBeMade) {
    EXPECT_EQ(errorOf([] { const QD_SQOrvelQuery query(nullptr, nullptr, true); }),
              (Error{22, 1000, "Null Database pointer",
                     "QD_SQOrvelQuery::QD_SQOrvelQuery <- QD_SQOrvelQuery::QD_SQOrvelQuery", 0}));
}

TEST_F(SqliteQuery, theScalarIsTheFirstFieldOfTheFirstRow) {
    EXPECT_EQ(connection->execQueryScalar("SELECT 7, 8 UNION ALL SELECT 9, 10", 0), 7);
    EXPECT_EQ(connection->execQueryScalar("SELECT NULL", 0), 0);
    EXPECT_EQ(connection->execQueryScalar("SELECT 1 WHERE 0", 0), 0);
    EXPECT_EQ(
        errorOf([&] { connection->execQueryScalar("x", 0); }).trace,
        "QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::compile <- QD_SQOrvelConnection::execQuery");
}

} // namespace
