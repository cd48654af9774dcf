// Values as the objects have them, where an application sees less.

#include "tests/platform/odbc/engine.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::tests;

class OdbcValues : public EngineTest {};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcValues, everyEngine, nameOf);

TEST_P(OdbcValues, areReadInPartsAndMeasured) {
    run(std::string("CREATE TABLE t (v ") + (isOn(postgresqlEngine) ? "BYTEA" : "BLOB") + ", n INTEGER)");
    const auto insert = command("INSERT INTO t VALUES (?, ?)");
    const auto bytes =
        insert->createParameter("", ado::adLongVarBinary, ado::adParamInput, 3, ado::Missing{});
    bytes->appendChunk(ado::Bytes{std::byte{0}, std::byte{7}});
    bytes->appendChunk(ado::Bytes{std::byte{14}});
    insert->parameters()->append(bytes);
    add(insert, ado::adInteger, 4, ado::Empty{});
    insert->execute(nullptr, ado::adExecuteNoRecords);
    const auto rows = connection->execute("SELECT v, n, 'abc' FROM t", nullptr, 0);
    const auto field = [&](std::int32_t position) { return rows->fields()->item(position); };
    EXPECT_EQ(field(0)->actualSize(), 3);
    EXPECT_EQ(std::get<ado::Bytes>(field(0)->getChunk(2)), (ado::Bytes{std::byte{0}, std::byte{7}}));
    EXPECT_EQ(field(1)->actualSize(), 0) << "of NULL";
    EXPECT_TRUE(ado::isEmptyOrNull(field(1)->getChunk(2)));
    EXPECT_EQ(ado::toText(field(2)->getChunk(2)), "ab");
}

TEST_P(OdbcValues, refuseOrKeepAZeroCharacterInAText) {
    run("CREATE TABLE t (v VARCHAR(9))");
    const std::string text("a\0b", 3);
    const auto insert = command("INSERT INTO t VALUES (?)");
    add(insert, ado::adBSTR, 3, text);
    const auto status = statusOf([&] { insert->execute(nullptr, ado::adExecuteNoRecords); });
    EXPECT_EQ(status, isOn(mariadbEngine) ? 0 : ado::dbCantConvertValue);
    EXPECT_EQ(status == 0 ? ask("SELECT v FROM t") : ask("SELECT count(*) FROM t"), status == 0 ? text : "0");
}

class OdbcServerValues : public EngineTest {
protected:
    /// A value, how its type is called and what its text is; null for NULL.
    struct Typed {
        const char* expression;
        std::int32_t type;
        const char* text;
    };
    void expect(const std::vector<Typed>& values, const std::string& from) const {
        for (const Typed& each : values) {
            const auto rows =
                connection->execute(std::string("SELECT ") + each.expression + " AS c" + from, nullptr, 0);
            const auto field = rows->fields()->item("c");
            EXPECT_EQ(field->type(), each.type) << each.expression;
            EXPECT_EQ(ado::isEmptyOrNull(field->value()), each.text == nullptr) << each.expression;
            if (each.text != nullptr) {
                EXPECT_EQ(ado::toText(field->value()), each.text) << each.expression;
            }
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcServerValues, everyServer, nameOf);

TEST_P(OdbcServerValues, decimalsKeep28DigitsInEveryLocale) {
    const Locale commas("de_DE.ISO-8859-1"); // a driver writes a decimal comma now
    run("CREATE TABLE t (id INTEGER, v NUMERIC(28,10), d DOUBLE PRECISION)");
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?)");
    const ado::Variant values[] = {std::string("123456789012345678.0123456789"),
                                   std::string("-999999999999999999.9999999999"), std::string("0.0000000001"),
                                   std::string("12.5000000000"), ado::Null{}};
    for (std::int64_t id = 0; id < std::ssize(values); ++id) {
        add(insert, ado::adInteger, 4, id);
        const auto parameter = insert->createParameter("", ado::adDecimal, ado::adParamInput, 16, values[id]);
        parameter->setPrecision(28);
        parameter->setNumericScale(10);
        insert->parameters()->append(parameter);
        add(insert, ado::adDouble, 8, static_cast<double>(id) + 12.25);
        insert->execute(nullptr, ado::adExecuteNoRecords);
        for (std::int32_t index = 2; index >= 0; --index) {
            insert->parameters()->remove(index);
        }
    }
    const auto rows = connection->execute("SELECT v, d FROM t ORDER BY id", nullptr, 0);
    for (std::int64_t id = 0; id < std::ssize(values); ++id, rows->moveNext()) {
        const ado::Variant read = rows->fields()->item(0)->value();
        EXPECT_TRUE((ado::isEmptyOrNull(read) ? read : ado::Variant(ado::toText(read))) == values[id]) << id;
        EXPECT_EQ(ado::toDouble(rows->fields()->item(1)->value()), static_cast<double>(id) + 12.25);
    }
}

TEST_P(OdbcServerValues, haveTheTypeAndTextOfTheEngine) {
    if (isOn(mariadbEngine)) {
        run("CREATE TABLE t (a TINYINT UNSIGNED, b BIGINT UNSIGNED, c DECIMAL(65,30), d BIT(8), e TIME(6), "
            "f DATETIME(6), g DATE, h YEAR, i UUID, j ENUM('x','y'), k FLOAT, l VARBINARY(4), m BOOLEAN, n "
            "BIT(1))");
        run("INSERT INTO t VALUES (255, 18446744073709551615, 12345678901234567890123456789012345.5, b'101', "
            "'-100:00:00.5', '2024-01-02 03:04:05.6', '2024-01-02', 2024, "
            "'550e8400-e29b-41d4-a716-446655440000', 'y', 1.1, '', 1, 1)");
        expect({{"a", ado::adUnsignedTinyInt, "255"},
                {"b", ado::adUnsignedBigInt, "18446744073709551615"},
                {"c", ado::adNumeric, "12345678901234567890123456789012345.500000000000000000000000000000"},
                {"e", ado::adDBTime, "-100:00:00.500000"},
                {"f", ado::adDBTimeStamp, "2024-01-02 03:04:05.6"},
                {"g", ado::adDBDate, "2024-01-02"},
                {"h", ado::adUnsignedSmallInt, "2024"},
                {"i", ado::adChar, "550e8400-e29b-41d4-a716-446655440000"},
                {"j", ado::adChar, "y"},
                {"k", ado::adSingle, "1.1"},
                {"m", ado::adTinyInt, "1"},
                {"n", ado::adBoolean, "-1"}},
               " FROM t");
        const auto rows = connection->execute("SELECT d, l FROM t", nullptr, 0);
        EXPECT_EQ(std::get<ado::Bytes>(rows->fields()->item("d")->value()), ado::Bytes{std::byte{5}});
        EXPECT_TRUE(std::get<ado::Bytes>(rows->fields()->item("l")->value()).empty());
        return;
    }
    const std::string nines(100, '9');
    expect({{"1::smallint", ado::adSmallInt, "1"},
            {"-2147483648", ado::adInteger, "-2147483648"},
            {"9223372036854775807", ado::adBigInt, "9223372036854775807"},
            {"1.1::real", ado::adSingle, "1.1"},
            {"0.1::float8", ado::adDouble, "0.1"},
            {"1.50::numeric(10,2)", ado::adNumeric, "1.50"},
            {"-0.99::numeric(2,2)", ado::adNumeric, "-0.99"},
            {"0.00099::numeric(2,5)", ado::adNumeric, "0.00099"},
            {"99900000::numeric(3,-5)", ado::adNumeric, "99900000"},
            {"'NaN'::numeric", ado::adNumeric, "NaN"},
            {"repeat('9', 100)::numeric", ado::adNumeric, nines.c_str()},
            {"true", ado::adBoolean, "-1"},
            {"'ab'::char(5)", ado::adChar, "ab   "},
            {"'ab'::varchar(40)", ado::adVarChar, "ab"},
            {"'ab'::varchar", ado::adVarChar, "ab"},
            {"'ab'::text", ado::adLongVarChar, "ab"},
            {"ARRAY[true,false,true,false,true]", ado::adVarChar, "{t,f,t,f,t}"},
            {"'{\"a\": 1}'::json", ado::adVarChar, "{\"a\": 1}"},
            {"'550e8400-e29b-41d4-a716-446655440000'::uuid", ado::adGUID,
             "550E8400-E29B-41D4-A716-446655440000"},
            {"'2024-01-02'::date", ado::adDBDate, "2024-01-02"},
            {"'12:34:56.123456'::time", ado::adDBTime, "12:34:56.123456"},
            {"'24:00:00'::time", ado::adDBTime, "24:00:00"},
            {"'2024-01-02 03:04:05.600'::timestamp", ado::adDBTimeStamp, "2024-01-02 03:04:05.6"},
            {"interval '1 day'", ado::adVarChar, "1 day"},
            {"NULL::int", ado::adInteger, nullptr}},
           "");
}

} // namespace
