#include <clocale>
#include <limits>

#include "platform/ado/constants.h"
#include "tests/platform/odbc/engine.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::tests;

class OdbcValues : public EngineTest {
protected:
    /// Writes each value through one command, so that the first goes directly and the others prepared, and
    /// reads all back, twice.
    void roundTrip(const std::string& columnType, const std::vector<ado::Variant>& values,
                   const std::function<void(const ado::Ref<ado::Command>&, const ado::Variant&)>& addValue,
                   const std::function<ado::Variant(const ado::Ref<ado::Field>&)>& read) {
        createTable("id INTEGER PRIMARY KEY, v " + columnType);
        const auto insert = command("INSERT INTO " + table + " (id, v) VALUES (?, ?)");
        for (std::size_t index = 0; index < values.size(); ++index) {
            clear(insert);
            add(insert, ado::adInteger, 4, static_cast<std::int64_t>(index));
            addValue(insert, values[index]);
            ado::Variant affected;
            insert->execute(&affected, ado::adExecuteNoRecords);
            ASSERT_EQ(ado::toInt32(affected), 1);
        }
        const auto select = command("SELECT id, v, id FROM " + table + " WHERE id >= ? ORDER BY id");
        add(select, ado::adInteger, 4, std::int64_t{0});
        for (int execution = 0; execution < 3; ++execution) {
            const auto rows = select->execute(nullptr, ado::adCmdText);
            for (std::size_t index = 0; index < values.size(); ++index, rows->moveNext()) {
                ASSERT_FALSE(rows->eof()) << "row " << index;
                const auto fields = rows->fields();
                EXPECT_EQ(ado::toInt32(fields->item(2)->value()), static_cast<int>(index));
                EXPECT_TRUE(read(fields->item("V")) == values[index]) << "row " << index;
                EXPECT_EQ(ado::toInt32(fields->item(0)->value()), static_cast<int>(index));
                EXPECT_TRUE(read(fields->item(1)) == values[index]) << "again, row " << index;
            }
            EXPECT_TRUE(rows->eof());
        }
    }
};

TEST_P(OdbcValues, integersOf64BitsAreExact) {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::vector<ado::Variant> values = {
        Limits::min(),   Limits::max(), std::int64_t{-9000000000}, std::int64_t{4294967297},
        std::int64_t{0}, ado::Null{}};
    roundTrip(
        "BIGINT", values,
        [](const auto& into, const ado::Variant& value) {
            if (const auto* number = std::get_if<std::int64_t>(&value)) {
                addInteger(into, *number);
            } else {
                add(into, ado::adDecimal, 0, ado::Empty{});
            }
        },
        [](const ado::Ref<ado::Field>& field) { return field->value(); });
    EXPECT_EQ(ask("SELECT v FROM " + table + " WHERE id = 0"), "-9223372036854775808");
}

TEST_P(OdbcValues, doublesAreExact) {
    const std::vector<ado::Variant> values = {0.1, 1e308, engine().exactDoubles ? -1.0 / 3 : -0.333, 5e-324,
                                              ado::Null{}};
    roundTrip(
        "DOUBLE PRECISION", values,
        [](const auto& into, const ado::Variant& value) {
            add(into, ado::adDouble, 8, ado::isEmptyOrNull(value) ? ado::Variant(ado::Empty{}) : value);
        },
        [](const ado::Ref<ado::Field>& field) { return field->value(); });
}

class OdbcDecimals : public OdbcValues {};

TEST_P(OdbcDecimals, areExactWith28DigitsInEveryLocale) {
    const Locale commas("de_DE.ISO-8859-1"); // a driver writes a decimal comma now
    const std::vector<ado::Variant> values = {
        std::string("123456789012345678.0123456789"), std::string("-999999999999999999.9999999999"),
        std::string("0.0000000001"), std::string("12.5000000000"), ado::Null{}};
    roundTrip(
        engine().decimalType, values,
        [](const auto& into, const ado::Variant& value) {
            const auto parameter = into->createParameter("", ado::adDecimal, ado::adParamInput, 16, value);
            parameter->setPrecision(28);
            parameter->setNumericScale(10);
            into->parameters()->append(parameter);
        },
        [](const ado::Ref<ado::Field>& field) -> ado::Variant {
            return ado::isEmptyOrNull(field->value()) ? field->value() : ado::toText(field->value());
        });
    EXPECT_EQ(ask("SELECT 12.25"), "12.25");
    roundTrip(
        "DOUBLE PRECISION", {0.5, 12.25},
        [](const auto& into, const auto& value) { add(into, ado::adDouble, 8, value); },
        [](const ado::Ref<ado::Field>& field) { return field->value(); });
}

constexpr std::size_t lengths[] = {1,    254,  255,  256,  1023,  1024,  1025,
                                   4095, 4096, 8190, 8191, 65535, 65536, 1048577};

TEST_P(OdbcValues, textsOfAnyLengthAreWhole) {
    std::vector<ado::Variant> values = {ado::Null{}};
    for (const std::string character : {"a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
        for (const std::size_t length : lengths) {
            std::string text;
            for (std::size_t index = 0; index < length; ++index) {
                text += index % 2 == 0 ? character : "x";
            }
            values.emplace_back(std::move(text));
        }
    }
    roundTrip(
        engine().textType, values,
        [](const auto& into, const ado::Variant& value) { add(into, ado::adBSTR, 1, value); },
        [](const ado::Ref<ado::Field>& field) { return field->value(); });
}

TEST_P(OdbcValues, binariesOfAnyLengthAreWhole) {
    std::vector<ado::Variant> values = {ado::Null{}};
    for (const std::size_t length : lengths) {
        ado::Bytes bytes(length);
        for (std::size_t index = 0; index < length; ++index) {
            bytes[index] = static_cast<std::byte>(index * 7 % 256);
        }
        values.emplace_back(std::move(bytes));
    }
    roundTrip(
        engine().blobType, values,
        [](const auto& into, const ado::Variant& value) {
            if (const auto* bytes = std::get_if<ado::Bytes>(&value)) {
                addBytes(into, *bytes);
            } else {
                add(into, ado::adLongVarBinary, 1, ado::Empty{});
            }
        },
        [](const ado::Ref<ado::Field>& field) { return field->getChunk(field->actualSize()); });
    const auto rows = connection->execute("SELECT v FROM " + table + " WHERE id = 2", nullptr, 0);
    const auto field = rows->fields()->item(0);
    EXPECT_EQ(field->actualSize(), 254);
    EXPECT_EQ(std::get<ado::Bytes>(field->getChunk(2)), (ado::Bytes{std::byte{0}, std::byte{7}}));
}

TEST_P(OdbcValues, rowsOfBoundedColumnsComeInBlocks) {
    createTable("id INTEGER, name VARCHAR(60), size DOUBLE PRECISION");
    connection->beginTrans();
    const auto insert = command("INSERT INTO " + table + " VALUES (?, ?, ?)");
    const auto nameOfRow = [](int row) {
        return std::string(static_cast<std::size_t>(row % 61), 'n') + "\xc3\xa9";
    };
    for (int row = 0; row < 250; ++row) {
        clear(insert);
        add(insert, ado::adInteger, 4, std::int64_t{row});
        row % 3 == 0 ? add(insert, ado::adBSTR, 1, ado::Empty{}) : addText(insert, nameOfRow(row % 60));
        add(insert, ado::adDouble, 8, row / 2.0);
        insert->execute(nullptr, ado::adExecuteNoRecords);
    }
    connection->commitTrans();
    const auto rows = connection->execute("SELECT id, name, size FROM " + table + " ORDER BY id", nullptr, 0);
    int row = 0;
    for (; !rows->eof(); rows->moveNext(), ++row) {
        const auto fields = rows->fields();
        EXPECT_EQ(ado::toDouble(fields->item("size")->value()), row / 2.0);
        EXPECT_TRUE(fields->item(1)->value() ==
                    (row % 3 == 0 ? ado::Variant(ado::Null{}) : ado::Variant(nameOfRow(row % 60))));
        EXPECT_EQ(fields->item(1)->actualSize(), row % 3 == 0 ? 0 : row % 60 + 2);
        EXPECT_EQ(ado::toInt32(fields->item(0)->value()), row);
    }
    EXPECT_EQ(row, 250);
}

TEST_P(OdbcValues, aZeroCharacterInATextIsRefusedOrKept) {
    createTable(std::string("v ") + engine().textType);
    const auto insert = command("INSERT INTO " + table + " VALUES (?)");
    addText(insert, std::string("a\0b", 3));
    const auto failure = failureOf(connection, [&] { insert->execute(nullptr, ado::adExecuteNoRecords); });
    if (failure.status == 0) {
        EXPECT_EQ(ask("SELECT v FROM " + table), std::string("a\0b", 3));
    } else {
        EXPECT_EQ(failure.status, ado::dbCantConvertValue);
        EXPECT_EQ(ask("SELECT count(*) FROM " + table), "0");
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcValues,
                         testing::Values(sqliteEngine, postgresqlEngine, postgresqlCursorsEngine,
                                         mariadbEngine),
                         nameOf);

/// A value of each type an engine has: how it is called, and what its text is.
struct TypedValue {
    const char* expression;
    std::int32_t type;
    const char* text; ///< null for NULL
};

class OdbcTypes : public EngineTest {
protected:
    void expect(const std::vector<TypedValue>& values) {
        for (const TypedValue& value : values) {
            const auto rows =
                connection->execute(std::string("SELECT ") + value.expression + " AS c", nullptr, 0);
            const auto field = rows->fields()->item("c");
            EXPECT_EQ(field->type(), value.type) << value.expression;
            if (value.text == nullptr) {
                EXPECT_TRUE(ado::isEmptyOrNull(field->value())) << value.expression;
            } else {
                EXPECT_EQ(ado::toText(field->value()), value.text) << value.expression;
            }
        }
    }
};

class OdbcTypesOnPostgresql : public OdbcTypes {};

TEST_P(OdbcTypesOnPostgresql, haveTheirTypeAndText) {
    expect({
        {"1::smallint", ado::adSmallInt, "1"},
        {"-2147483648", ado::adInteger, "-2147483648"},
        {"9223372036854775807", ado::adBigInt, "9223372036854775807"},
        {"1.1::real", ado::adSingle, "1.1"},
        {"0.1::float8", ado::adDouble, "0.1"},
        {"1.50::numeric(10,2)", ado::adNumeric, "1.50"},
        {"-0.99::numeric(2,2)", ado::adNumeric, "-0.99"},
        {"0.00099::numeric(2,5)", ado::adNumeric, "0.00099"},
        {"99900000::numeric(3,-5)", ado::adNumeric, "99900000"},
        {"'NaN'::numeric", ado::adNumeric, "NaN"},
        {"repeat('9', 100)::numeric", ado::adNumeric,
         "99999999999999999999999999999999999999999999999999"
         "99999999999999999999999999999999999999999999999999"},
        {"true", ado::adBoolean, "-1"},
        {"'ab'::char(5)", ado::adChar, "ab   "},
        {"'ab'::varchar(40)", ado::adVarChar, "ab"},
        {"'ab'::varchar", ado::adVarChar, "ab"},
        {"'ab'::text", ado::adLongVarChar, "ab"},
        {"ARRAY[true,false,true,false,true]", ado::adVarChar, "{t,f,t,f,t}"},
        {"'{\"a\": 1}'::json", ado::adVarChar, "{\"a\": 1}"},
        {"'550e8400-e29b-41d4-a716-446655440000'::uuid", ado::adGUID, "550E8400-E29B-41D4-A716-446655440000"},
        {"'2024-01-02'::date", ado::adDBDate, "2024-01-02"},
        {"'12:34:56.123456'::time", ado::adDBTime, "12:34:56.123456"},
        {"'24:00:00'::time", ado::adDBTime, "24:00:00"},
        {"'2024-01-02 03:04:05.600'::timestamp", ado::adDBTimeStamp, "2024-01-02 03:04:05.6"},
        {"interval '1 day'", ado::adVarChar, "1 day"},
        {"NULL::int", ado::adInteger, nullptr},
    });
}

INSTANTIATE_TEST_SUITE_P(EnginesThatHaveThem, OdbcDecimals,
                         testing::Values(postgresqlEngine, postgresqlCursorsEngine, mariadbEngine), nameOf);

INSTANTIATE_TEST_SUITE_P(Engines, OdbcTypesOnPostgresql, testing::Values(postgresqlEngine), nameOf);

class OdbcTypesOnMariadb : public OdbcTypes {};

TEST_P(OdbcTypesOnMariadb, haveTheirTypeAndText) {
    createTable(
        "a TINYINT UNSIGNED, b BIGINT UNSIGNED, c DECIMAL(65,30), d BIT(8), e TIME(6), f DATETIME(6), "
        "g DATE, h YEAR, i UUID, j ENUM('x','y'), k FLOAT, l VARBINARY(4), m BOOLEAN, n BIT(1)");
    run("INSERT INTO " + table +
        " VALUES (255, 18446744073709551615, 12345678901234567890123456789012345.5, b'101', '-100:00:00.5',"
        " '2024-01-02 03:04:05.6', '2024-01-02', 2024, '550e8400-e29b-41d4-a716-446655440000', 'y', 1.1, '', "
        "1, 1)");
    const TypedValue values[] = {
        {"a", ado::adUnsignedTinyInt, "255"},
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
        {"n", ado::adBoolean, "-1"},
    };
    const auto rows = connection->execute("SELECT * FROM " + table, nullptr, 0);
    for (const TypedValue& value : values) {
        const auto field = rows->fields()->item(value.expression);
        EXPECT_EQ(field->type(), value.type) << value.expression;
        EXPECT_EQ(ado::toText(field->value()), value.text) << value.expression;
    }
    EXPECT_EQ(std::get<ado::Bytes>(rows->fields()->item("d")->value()), ado::Bytes{std::byte{5}});
    EXPECT_TRUE(std::get<ado::Bytes>(rows->fields()->item("l")->value()).empty());
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcTypesOnMariadb, testing::Values(mariadbEngine), nameOf);

} // namespace
