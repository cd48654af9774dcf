// What an application may rely on whatever the engine: statements, cursors, commands and values.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <iterator>
#include <thread>

#include "QD_OrvelTransaction.h"
#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;

INSTANTIATE_TEST_SUITE_P(Engines, Behaviour, everyContext, contextName);

TEST_P(Behaviour, statementsCountTheRowsTheyMeet) {
    run("CREATE TABLE t (a INTEGER)");
    EXPECT_EQ(run("INSERT INTO t VALUES (1), (2), (3)"), 3);
    EXPECT_EQ(run("UPDATE t SET a = a WHERE a < 3"), 2) << "found, if not changed";
    EXPECT_EQ(run("DELETE FROM t WHERE a = 9"), 0);
    EXPECT_EQ(isAdo() ? run("SELECT a FROM t") : 0, 0);
    EXPECT_EQ(ask("SELECT a FROM t WHERE a = 9"), 0);
    const auto update = with(command("UPDATE t SET a = a + ? WHERE a > ?"), 10, 1);
    EXPECT_EQ(update->execNoQuery(0), 2);
    EXPECT_EQ(update->execNoQuery(0), 2) << "the same parameters again";
    EXPECT_EQ(ask("SELECT SUM(a) FROM t"), 46);
    const auto remove = command("DELETE FROM t WHERE a = ? RETURNING a");
    for (const int value : {9, 22, 9, 23, 1}) {
        const std::string removed = textOf(with(remove, value)->execQuery(0));
        EXPECT_EQ(removed, value == 9 || isOn(sqliteOdbc) ? "(none)" : std::to_string(value));
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 0);
}

TEST_P(Behaviour, aCursorReadsRowsByPositionAndByName) {
    run("CREATE TABLE t (id INTEGER, name VARCHAR(20))");
    run("INSERT INTO t VALUES (1, 'one'), (2, NULL), (3, '42')");
    const QD_OrvelQueryHandle rows = query("SELECT id, name FROM t ORDER BY id");
    EXPECT_EQ(rows->numFields(), 2);
    std::string text;
    int number = 0;
    EXPECT_TRUE(rows->getFieldIndex("name", number) && number == 1) << number;
    EXPECT_TRUE(rows->getFieldName(0, text) && text == "id") << text;
    EXPECT_TRUE(rows->getFieldDeclType(0, text));
    EXPECT_EQ(numberOf(rows, 1), isAdo() ? "(none)" : "0") << "letters are no number";
    std::string seen;
    for (; !rows->eof(); rows->nextRow()) {
        seen += textOf(rows, "name") + numberOf(rows, isAdo() ? "ID" : "id");  // columns in any order
        seen += textOf(rows) + (textOf(rows) == "3" ? numberOf(rows, 1) : ""); // and again
    }
    EXPECT_EQ(seen, "one11(none)22423342") << "digits are a number";
    for (const char* sql : {"SELECT id FROM t WHERE id = 9", "UPDATE t SET id = id", ""}) {
        const QD_OrvelQueryHandle none = query(sql);
        EXPECT_TRUE(none->eof()) << sql;
        EXPECT_EQ(textOf(none), "(none)") << sql;
        unsigned int size = 0;
        EXPECT_FALSE(none->getBlobField("id", size, nullptr)) << sql;
        if (isAdo()) {
            EXPECT_EQ(std::to_string(none->numFields()) + numberOf(none), "0(none)") << sql;
            EXPECT_FALSE(none->getFieldIndex("id", number) || number != -1) << sql;
        }
        none->nextRow();
        none->close();
        none->close();
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3);
}

TEST_P(Behaviour, aListingIsReadInSilenceUnlessItIsCutOff) {
    run("CREATE TABLE t (name VARCHAR(20))");
    std::string values = "('n')";
    while (values.size() < 6 * 250 - 2) values += ",('n')";
    run("INSERT INTO t VALUES " + values);
    const auto length = [](const QD_OrvelQueryHandle& rows) { // by the loop that the documents show
        int read = 0;
        for (std::string name; rows->getStringField(0, name); rows->nextRow()) ++read;
        unsigned int size = 0;
        EXPECT_FALSE(rows->getBlobField(0, size, nullptr));
        return read;
    };
    const auto select = command("SELECT name FROM t WHERE name = ?");
    for (const std::string name : {"n", "n", "missing"}) {
        EXPECT_EQ(length(with(select, name)->execQuery(0)), name == "n" ? 250 : 0);
        EXPECT_EQ(length(query("SELECT name FROM t WHERE name = '" + name + "'")), name == "n" ? 250 : 0);
    }
    EXPECT_THAT(DiagnosticLines::all(), testing::IsEmpty());
    for (std::size_t cuts = 1; cuts <= 2; ++cuts) {
        QD_OrvelConnectionHandle other = another();
        const auto rows = other->execQuery("SELECT name FROM t", 0);
        cuts == 1 ? other->close() : other.release();
        EXPECT_EQ(length(rows), mine({250, 1, isNative() ? 64 : 100, isNative() ? 64 : 100}))
            << "what is in memory";
        EXPECT_EQ(DiagnosticLines::all().size(), isAdo() ? cuts : 0);
    }
    EXPECT_EQ(isAdo(),
              !DiagnosticLines::all().empty() &&
                  DiagnosticLines::all().back().find("QD_ADOOrvelQuery::nextRow") != std::string::npos);
}

TEST_P(Behaviour, aCommandRunsAgainWithOtherParametersAndAfterASchemaChange) {
    run("CREATE TABLE t (id INTEGER, v VARCHAR(20))");
    run("INSERT INTO t VALUES (1, 'a'), (2, 'b')");
    const auto lookup = command("SELECT v FROM t WHERE id = ?");
    const auto whole = command("SELECT * FROM t WHERE id = 2");
    int others = 0;
    for (const auto& [id, expected] : {std::pair{2, "b"}, {1, "a"}, {3, "(none)"}, {2, "b"}}) {
        EXPECT_EQ(textOf(with(lookup, id)->execQuery(0)), expected);
        lookup->resetParams();
        EXPECT_EQ(errorOf([&] { lookup->execQuery(0); }).hr, isAdo() ? 0x80040E10 : 0UL);
        EXPECT_EQ(textOf(whole->execQuery(0), 1), "b");
        run("CREATE TABLE other_" + std::to_string(++others) + " (a INTEGER)");
    }
    run("ALTER TABLE t ADD COLUMN w VARCHAR(10) DEFAULT 'new'");
    for (int execution = 0; execution < 2 && !isOn(sqliteOdbc);
         ++execution) { // whose driver keeps its columns
        EXPECT_EQ(textOf(whole->execQuery(0), 2), "new");
    }
    if (isOn(postgresql)) { // with as many columns as before, MariaDB's driver keeps the old names for them
        for (const std::string type :
             {"INTEGER DEFAULT 55", "VARCHAR(9) DEFAULT 55", "VARCHAR(99) DEFAULT 55"}) {
            const QD_OrvelTransaction transaction(connection, 0, type != "INTEGER DEFAULT 55", "");
            const std::string before = textOf(whole->execQuery(0), 0) + textOf(whole->execQuery(0), 0);
            EXPECT_EQ(before, "22");
            run("ALTER TABLE t DROP COLUMN v");
            run("ALTER TABLE t ADD COLUMN v " + type);
            EXPECT_EQ(textOf(whole->execQuery(0), 1) + textOf(whole->execQuery(0), 2), "new55");
        }
    }
    lookup->close();
    EXPECT_NE(errorOf([&] { lookup->execQuery(0); }).code, -1);
}

TEST_P(Behaviour, aThousandExecutionsAreOnePrepareAndNoRowIsLost) {
    const auto prepares = [&] {
        return ask(mine({"SELECT 0", "SELECT 0", "SELECT COUNT(*) FROM pg_prepared_statements",
                         "SELECT variable_value FROM information_schema.session_status "
                         "WHERE variable_name = 'Com_stmt_prepare'"}));
    };
    run("CREATE TABLE t (id INTEGER PRIMARY KEY, name VARCHAR(60), half DOUBLE PRECISION)");
    const auto nameOf = [](int id) {
        return id % 3 == 0 ? std::string() : std::string(static_cast<std::size_t>(id % 59), 'n') + "é";
    };
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");
    const int first = prepares();
    const int costOfAsking = prepares() - first; // a driver prepares everything
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?)");
    for (int id = 0; id < 1000; ++id) with(insert, id, nameOf(id), id / 2.0)->execNoQuery(0);
    EXPECT_EQ(prepares() - first - 2 * costOfAsking, isServer() ? 1 : 0);
    transaction.commit();
    const auto rows = query("SELECT id, name, half FROM t ORDER BY id");
    for (int id = 0; id < 1000; ++id, rows->nextRow()) {
        double half = 0;
        EXPECT_TRUE(rows->getDoubleField(2, half) && half == id / 2.0);
        EXPECT_EQ(textOf(rows, 1), id % 3 == 0 ? "(none)" : nameOf(id));
        EXPECT_EQ(textOf(rows, 0), std::to_string(id));
    }
    EXPECT_TRUE(rows->eof());
    const auto lookup = command("SELECT half FROM t WHERE id = ?");
    const int second = prepares();
    for (int id = 0; id < 1000; ++id) {
        double half = -1;
        EXPECT_TRUE(with(lookup, id)->execQuery(0)->getDoubleField(0, half) && half == id / 2.0);
    }
    // which is declared each time
    const bool throughCursor = isOn(postgresql) && !isNative() && !GetParam().wholeResults;
    EXPECT_EQ(prepares() - second - costOfAsking, isServer() && !throughCursor ? 1 : 0);
}

TEST_P(Behaviour, numbersAreExact) {
    run("CREATE TABLE t (id INTEGER, i INTEGER, w BIGINT, d DOUBLE PRECISION)");
    const std::tuple<int, long long, double> all[] = {
        {INT_MAX, LLONG_MAX, 0.1},   {INT_MIN, LLONG_MIN, 1e308},    {0, -9000000000, -DBL_MIN},
        {-1, 0, 123456789.12345678}, {2, 9007199254740993, 1.0 / 3}, {1, 9007199254740992, 5e-324 * 1e10}};
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?, ?)");
    int id = 0;
    for (const auto& [narrow, wide, real] : all) {
        EXPECT_EQ(with(insert, ++id, narrow, wide, real)->execNoQuery(0), 1);
    }
    const auto select = command("SELECT i, w, d FROM t ORDER BY id");
    for (int execution = 0; execution < 3; ++execution) {
        const QD_OrvelQueryHandle rows = select->execQuery(0);
        for (const auto& [narrow, wide, real] : all) {
            long long readWide = 0;
            double readReal = 0;
            EXPECT_EQ(numberOf(rows), std::to_string(narrow));
            const bool read = isAdo() ? rows->getInt64Field("w", readWide) : rows->getInt64Field(1, readWide);
            EXPECT_TRUE(read && readWide == wide) << wide;
            EXPECT_EQ(textOf(rows, 1), std::to_string(wide));
            EXPECT_TRUE(rows->getDoubleField(2, readReal));
            const bool inText = isOn(sqliteOdbc); // of 15 digits
            EXPECT_LE(std::abs(readReal - real), inText ? std::abs(real) * 1e-14 : 0.0) << real;
            EXPECT_EQ(numberOf(rows, 1) != "(none)", !isAdo() || wide == 0) << "never cut on ADO";
            rows->nextRow();
        }
        EXPECT_TRUE(rows->eof());
    }
    EXPECT_EQ(textOf(with(command("SELECT COUNT(*) FROM t WHERE w = ?"), 9007199254740993LL)->execQuery(0)),
              "1")
        << "though its neighbour is the same as a double";
    if (isOn(postgresql)) {
        run("CREATE TABLE many AS SELECT generate_series(1, 10000)::bigint AS id");
        run("CREATE UNIQUE INDEX many_id ON many (id)");
        run("ANALYZE many");
        const auto explain = with(command("EXPLAIN SELECT * FROM many WHERE id = ?"), 5000LL);
        EXPECT_THAT(textOf(explain->execQuery(0)), testing::HasSubstr("Index"));
    }
}

TEST_P(Behaviour, valuesThatAreMissingReadAsNone) {
    run("CREATE TABLE t (i INTEGER, w BIGINT, d DOUBLE PRECISION, s " + textType() + ", b " + blobType() +
        ")");
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?, ?, ?)");
    for (int kind = QD_ORVEL_DATA_INT; kind <= QD_ORVEL_DATA_BLOB; ++kind) {
        insert->addEmptyParam(static_cast<QD_OrvelDataKind>(kind));
    }
    insert->execNoQuery(0);
    const auto rows = query("SELECT i, w, d, s, b FROM t WHERE i IS NULL AND w IS NULL AND d IS NULL "
                            "AND s IS NULL AND b IS NULL");
    for (const int position : {0, 1, 2, 3, 4}) {
        EXPECT_EQ(allOf(rows, position), isAdo() ? "0:0 0:0 0:0 0: 0:0" : "0:0 0:0 0:0 0: 0:9") << position;
    }
}

TEST_P(Behaviour, textsAndBlobsOfAnyLengthAreWhole) {
    run("CREATE TABLE t (id INTEGER, s " + textType() + ", b " + blobType() + ")");
    const auto insert = command("INSERT INTO t VALUES (?, ?, ?)");
    const auto select = command("SELECT s, b FROM t WHERE id = ?");
    const std::string alphabet[] = {"a", "é", "€", "😀"};
    const std::size_t lengths[] = {0,    1,    254,  255,  256,   1023,  1024,   1025,
                                   4095, 4096, 8190, 8191, 65535, 65536, 1048577};
    int id = 0;
    for (const std::size_t length : lengths) {
        for (std::size_t kinds = 1; kinds <= 4; ++kinds, ++id) { // of characters, by their bytes
            std::string text;
            std::vector<unsigned char> bytes(length);
            for (std::size_t at = 0; at < length; ++at) {
                text += alphabet[(at + kinds - 1) % kinds];
                bytes[at] = static_cast<unsigned char>(at + kinds);
            }
            with(insert, id, text, bytes)->execNoQuery(0);
            const auto rows = kinds % 2 == 0 ? with(select, id)->execQuery(0)
                                             : query("SELECT s, b FROM t WHERE id = " + std::to_string(id));
            EXPECT_TRUE(textOf(rows) == (length > 0 ? text : "(none)")) << length << " of " << kinds;
            unsigned int size = 0;
            EXPECT_EQ(rows->getBlobField(1, size, nullptr), length > 0);
            ASSERT_EQ(size, length);
            std::vector<unsigned char> readBytes(size);
            EXPECT_EQ(rows->getBlobField(1, size, readBytes.data()), length > 0);
            EXPECT_TRUE(readBytes == bytes) << length;
        }
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t WHERE s IS NULL AND b IS NULL"), 4);
}

/// SQLite has few types, and none of these.
class BehaviourTypes : public Behaviour {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourTypes, everyServer, contextName);

TEST_P(BehaviourTypes, haveANameAndAText) {
    // Those of a known length first: behind one without, no column is bound.
    std::string select =
        "SELECT 1::smallint, -2147483648, 9223372036854775807, 1.1::real, 0.1::float8, 1.50::numeric(10,2), "
        "(-0.99)::numeric(2,2), 0.00099::numeric(2,5), 99900000::numeric(3,-5), true, 'ab'::char(5), "
        "'ab'::varchar(40), '550e8400-e29b-41d4-a716-446655440000'::uuid, '2024-01-02'::date, "
        "'12:34:56.123456'::time, '24:00:00'::time, '2024-01-02 03:04:05.600'::timestamp, NULL::int, "
        "'ab'::varchar, 'NaN'::numeric, repeat('9', 100)::numeric, 'ab'::text, ARRAY[true,false,true], "
        "'{\"a\": 1}'::json, interval '1 day'";
    std::string expected =
        "SmallInt 1, Integer -2147483648, BigInt 9223372036854775807, Single 1.1, Double 0.1, Numeric 1.50, "
        "Numeric -0.99, Numeric 0.00099, Numeric 99900000, Boolean -1, Char ab   , VarChar ab, "
        "GUID " +
        std::string(isNative() ? "550e8400-e29b-41d4-a716-446655440000" // as the server writes it
                               : "550E8400-E29B-41D4-A716-446655440000") +
        ", DBDate 2024-01-02, DBTime 12:34:56.123456, "
        "DBTime 24:00:00, DBTimeStamp 2024-01-02 03:04:05.6, Integer (none), VarChar ab, Numeric NaN, "
        "Numeric " +
        std::string(100, '9') + ", LongVarChar ab, VarChar {t,f,t}, VarChar {\"a\": 1}, VarChar 1 day, ";
    if (isOn(mariadb)) {
        run("CREATE TABLE t (a TINYINT UNSIGNED, b BIGINT UNSIGNED, c DECIMAL(65,30), e TIME(6), f "
            "DATETIME(6), "
            "g DATE, h YEAR, i UUID, j ENUM('x','y'), k FLOAT, m BOOLEAN, n BIT(1), d BIT(8), l "
            "VARBINARY(4))");
        run("INSERT INTO t VALUES (255, 18446744073709551615, 12345678901234567890123456789012345.5, "
            "'-100:00:00.5', '2024-01-02 03:04:05.6', '2024-01-02', 2024, "
            "'550e8400-e29b-41d4-a716-446655440000', 'y', 1.1, 1, 1, b'101', '')");
        select = "SELECT * FROM t";
        expected = "UnsignedTinyInt 255, UnsignedBigInt 18446744073709551615, "
                   "Numeric 12345678901234567890123456789012345.500000000000000000000000000000, "
                   "DBTime -100:00:00.500000, DBTimeStamp 2024-01-02 03:04:05.6, DBDate 2024-01-02, "
                   "UnsignedSmallInt 2024, Char 550e8400-e29b-41d4-a716-446655440000, Char y, Single 1.1, "
                   "TinyInt 1, Boolean -1, Binary (none), VarBinary (none), ";
    }
    const auto rows = query(select);
    std::string seen;
    for (int position = 0; position < rows->numFields(); ++position) {
        std::string type;
        EXPECT_TRUE(rows->getFieldDeclType(position, type));
        seen += type.substr(2) + " " + textOf(rows, position) + ", ";
    }
    EXPECT_EQ(seen, expected);
    unsigned char byte = 0;
    unsigned int size = 1;
    EXPECT_TRUE(isOn(postgresql) || (rows->getBlobField(12, size, &byte) && byte == 5));
    EXPECT_FALSE(isOn(mariadb) && rows->getBlobField(13, size, nullptr)) << "empty bytes";
}

TEST_P(BehaviourTypes, everyRowHasSinglesAndFlagsOfItsOwn) {
    const std::tuple<const char*, float, const char*> all[] = {{"0.1", 0.1F, "0.1"},
                                                               {"16777215", 16777215.F, "1.677722E+07"},
                                                               {"1e-40", 1e-40F, "9.999946E-41"},
                                                               {"-3.4028234e38", -FLT_MAX, "-3.402823E+38"},
                                                               {"0", 0.F, "0"},
                                                               {"1.17549435e-38", FLT_MIN, "1.175494E-38"}};
    const char* const flags[] = {"NULL", "TRUE", "FALSE"};
    const char* const flagTexts[] = {"(none)", "-1", "0"};
    run("CREATE TABLE t (id INTEGER, s " + textType() +
        mine({"", "", ", f REAL, b BOOLEAN)", ", f FLOAT, b BIT(1))"}));
    for (int id = 0; id < std::ssize(all); ++id) {
        run("INSERT INTO t VALUES (" + std::to_string(id) + ", 's', " + std::get<0>(all[id]) + ", " +
            flags[id % 3] + ")");
    }
    for (const std::string columns : {"f, b", "f, b, s"}) { // in blocks of rows, and row by row
        const std::string text = "SELECT " + columns + " FROM t ORDER BY id";
        const auto select = command(text);
        for (const bool direct : {true, false, false}) {
            const auto rows = direct ? query(text) : select->execQuery(0);
            for (int id = 0; id < std::ssize(all); ++id, rows->nextRow()) {
                double single = -1;
                EXPECT_TRUE(rows->getDoubleField("f", single));
                EXPECT_EQ(single, double{std::get<1>(all[id])}) << text;
                EXPECT_EQ(textOf(rows), std::get<2>(all[id])) << text;
                EXPECT_EQ(textOf(rows, 1), flagTexts[id % 3]) << text << ' ' << id;
            }
        }
    }
}

TEST_P(Behaviour, enginesDifferAsDocumented) {
    run("CREATE TABLE t (id " + counterType() + ", v VARCHAR(9))");
    const int several = mine({-1, 13, -1, 13});
    EXPECT_EQ(errorOf([&] { run("INSERT INTO t (v) VALUES ('a'); INSERT INTO t (v) VALUES ('b')"); }).code,
              several);
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), several == -1 ? 2 : 0) << "all or none";
    EXPECT_EQ(errorOf([&] { command("UPDATE t SET v = ?")->execNoQuery(0); }).hr, isAdo() ? 0x80040E10 : 0UL)
        << "a marker without a value";
    const auto surplus = with(command("INSERT INTO t (v) VALUES (?)"), std::string("a"), std::string("b"));
    for (int execution = 0; execution < 2; ++execution) {
        const Error error = errorOf([&] { surplus->execNoQuery(0); });
        EXPECT_EQ(error.code, mine({27, 13, 13, 13})) << "a value without a marker";
        EXPECT_EQ(error.hr, isAdo() ? 0x800A0E7C : 0UL) << error.provText;
    }
    EXPECT_EQ(with(surplus, std::string("a"))->execNoQuery(0), 1);
    EXPECT_EQ(ask("SELECT TRUE"), mine({1, 1, -1, 1}));
    {
        QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "");
        connection->createTable("Character", "glyphs");
    }
    EXPECT_EQ(connection->tableExists("glyphs"), isOn(mariadb)) << "which commits what makes a table";
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t WHERE v = 'A' OR v = 'a '"), 0) << "letter case and blanks count";
    EXPECT_EQ(errorOf([&] { command("SELECT COUNT(*) FROM T")->execQuery(0); }).code, mine({-1, -1, -1, 13}))
        << "letter case of table names";
}

TEST_P(Behaviour, threadsUseConnectionsOfTheirOwn) {
    run("CREATE TABLE t (id INTEGER PRIMARY KEY, v VARCHAR(20))");
    run("INSERT INTO t VALUES (0, 'zero'), (1, 'one')");
    std::atomic<int> good = 0;
    const auto work = [&] {
        for (int round = 0; round < 5; ++round) {
            QD_OrvelConnectionHandle own = closed();
            open(own);
            const auto lookup = own->createCommand("SELECT v FROM t WHERE id = ?", 0);
            good += textOf(with(lookup, round % 2)->execQuery(0)) == (round % 2 == 0 ? "zero" : "one");
            good += errorOf([&] { own->execNoQuery("SELEC 1", 0); }).code != -1;
        }
    };
    std::vector<std::thread> threads;
    std::generate_n(std::back_inserter(threads), 8, [&] { return std::thread(work); });
    std::ranges::for_each(threads, &std::thread::join);
    EXPECT_EQ(good, 80);
}

} // namespace
