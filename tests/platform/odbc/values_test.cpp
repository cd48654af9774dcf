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

class OdbcServerValues : public EngineTest {};
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

} // namespace
