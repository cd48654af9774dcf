// What PostgreSQL's own client library is used for: statements beside each other, plans, values that ODBC drivers bend.

#include <gmock/gmock.h>

#include <regex>

#include "QD_OrvelTransaction.h"
#include "tests/ado/native.h"

namespace {

using namespace orvel::tests;
using testing::HasSubstr;

class NativePostgresql : public Native {};
INSTANTIATE_TEST_SUITE_P(Engines, NativePostgresql, testing::Values(postgresqlContext), contextName);

TEST_P(NativePostgresql, aFailingStatementUndoesItselfAlone) {
    const char* const failing[] = {"SELEC",
                                   "INSERT INTO t VALUES (1, 'twice')",
                                   "SELECT 1/0",
                                   "UPDATE t SET v = 'x'; SELECT 1/0",
                                   "SELECT 'unterminated",
                                   "UPDATE t SET v = '1' WHERE id = 9; SELEC",
                                   "SELECT 100 / (id - 900) FROM t ORDER BY id"};
    for (const bool first : {true, false}) { // in its transaction
        for (const char* const text : failing) {
            for (int way = 0; way < 3; ++way) {
                run("UPDATE t SET v = 'before' WHERE id <= 2");
                QD_OrvelTransaction transaction(connection, 0, true, "");
                if (!first) run("UPDATE t SET v = 'kept' WHERE id = 1");
                const auto made = command(std::string(text) + (way == 2 ? " -- ?" : ""));
                for (int execution = 0; execution < 3; ++execution) {
                    EXPECT_NE(errorOf([&] { way == 0 ? run(text) : made->execNoQuery(0); }).code, -1) << text;
                }
                run("UPDATE t SET v = 'kept too' WHERE id = 2");
                EXPECT_EQ(errorOf([&] { transaction.commit(); }).code, -1) << text << way;
                EXPECT_EQ(valueOf(1) + valueOf(2), std::string(first ? "before" : "kept") + "kept too")
                    << text << way;
            }
        }
    }
}

TEST_P(NativePostgresql, theCallersOwnControlOfTheTransactionIsHis) {
    QD_OrvelTransaction transaction(connection, 0, true, "");
    run("SET TRANSACTION ISOLATION LEVEL SERIALIZABLE");
    run("SET TRANSACTION READ WRITE");
    EXPECT_EQ(text("SHOW transaction_isolation"), "serializable");
    run("UPDATE t SET v = 'a' WHERE id = 1");
    run("SAVEPOINT mine");
    run("UPDATE t SET v = 'b' WHERE id = 1");
    EXPECT_NE(errorOf([&] { run("SELEC"); }).code, -1);
    EXPECT_EQ(valueOf(1), "b");
    EXPECT_NE(errorOf([&] { run("RELEASE nobodys"); }).code, -1);
    EXPECT_EQ(valueOf(1), "b");
    const auto back = command("ROLLBACK TO mine");
    back->execNoQuery(0);
    EXPECT_EQ(valueOf(1), "a");
    run("UPDATE t SET v = 'c' WHERE id = 1");
    back->execNoQuery(0);
    back->execNoQuery(0);
    EXPECT_EQ(valueOf(1), "a");
    run("SAVEPOINT other; UPDATE t SET v = 'd' WHERE id = 2; RELEASE mine");
    EXPECT_NE(errorOf([&] { run("ROLLBACK TO mine"); }).code, -1);
    EXPECT_EQ(valueOf(2), "d");
    transaction.commit();
    EXPECT_EQ(valueOf(1) + valueOf(2), "ad");
    {
        QD_OrvelTransaction moved(connection, 0, true, "");
        run("UPDATE t SET v = 'x' WHERE id = 1");
        run("SAVEPOINT mine");
        run("UPDATE t SET v = 'y' WHERE id = 2");
        EXPECT_EQ(errorOf([&] { run("RELEASE mine; SELECT 1/0"); }).code, QD_ORVEL_ERR_SQL_STATEMENT);
        EXPECT_EQ(errorOf([&] { moved.commit(); }).hr, 0x8004D019)
            << "there is no way back that keeps what was done";
    }
    EXPECT_EQ(valueOf(1) + valueOf(2), "ad");
    run("BEGIN");
    run("UPDATE t SET v = 'e' WHERE id = 1");
    EXPECT_NE(errorOf([&] { run("SELEC"); }).code, -1);
    run("COMMIT");
    EXPECT_EQ(valueOf(1), "e") << "of a transaction that is the caller's";
    QD_OrvelTransaction ended(connection, 0, true, "");
    run("UPDATE t SET v = 'f' WHERE id = 1");
    run("COMMIT");
    run("UPDATE t SET v = 'g' WHERE id = 2");
    EXPECT_NE(errorOf([&] { run("SELEC"); }).code, -1);
    ended.commit();
    EXPECT_EQ(valueOf(1) + valueOf(2), "fg");
}

TEST_P(NativePostgresql, markersAreFoundWhereTheServerSeesThem) {
    const auto asked = command(
        R"(SELECT '?' || E'\'?' || $$?$$ || $a$ $$ ? $b$ $a$ || ? || (SELECT "?" FROM (SELECT 'q' AS "?") s)
        || /* ? /* ? */ ? */ ? -- ?
        || U&'\003F' || (CASE WHEN '{"a": 1}'::jsonb ?? 'a' THEN 'has' END) || 1?2)");
    EXPECT_NE(errorOf([&] { with(asked, "x", "y", "z")->execQuery(0); }).code, -1);
    const auto right = command(
        R"(SELECT '?' || E'\'?' || $$?$$ || $a$ $$ ? $b$ $a$ || ? || (SELECT "?" FROM (SELECT 'q' AS "?") s)
        || /* ? /* ? */ ? */ ? -- ?
        || U&'\003F' || (CASE WHEN '{"a": 1}'::jsonb ?? 'a' THEN 'has' END))");
    for (int execution = 0; execution < 3; ++execution) {
        EXPECT_EQ(textOf(with(right, "x", "y")->execQuery(0)), "?'?? $$ ? $b$ xqy?has");
    }
    run("SET standard_conforming_strings = off");
    EXPECT_EQ(textOf(with(command(R"(SELECT 'a\'?' || ?)"), "b")->execQuery(0)), "a'?b");
}

TEST_P(NativePostgresql, parametersAreWhatTheServerCanRead) {
    run("CREATE TYPE mood AS ENUM ('sad', 'happy')");
    run("CREATE TABLE typed (d DATE, n NUMERIC, u UUID, j JSONB, m mood, b BOOLEAN, x XML, i INT2, k BIGINT "
        "PRIMARY KEY, s VARCHAR(9), r REAL)");
    const auto insert = command("INSERT INTO typed VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    for (int row = 1; row <= 3; ++row) {
        with(insert, "2024-02-29", "1.50", "A0EEBC99-9C0B-4EF8-BB6D-6BB9BD380A11", R"({"a": 1})", "happy",
             "true", "<a/>", 7, row * 10000000000LL, 42, 2.5)
            ->execNoQuery(0);
    }
    with(command("UPDATE typed SET b = ?, s = ? WHERE k = ?"), 0, 43, 10000000000LL)->execNoQuery(0);
    EXPECT_EQ(
        text("SELECT row(t)::text FROM typed t WHERE k = 10000000000"),
        R"re(("(2024-02-29,1.50,a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11,""{""""a"""": 1}"",happy,f,<a/>,7,10000000000,43,2.5)"))re");
    run("INSERT INTO typed (k) SELECT g FROM generate_series(1, 20000) g");
    run("ANALYZE typed");
    const auto plan = command("EXPLAIN SELECT * FROM typed WHERE k = ?");
    const auto planOfInt = command("EXPLAIN SELECT * FROM typed WHERE k = ?");
    for (int execution = 0; execution < 3; ++execution) {
        EXPECT_THAT(textOf(with(plan, 10000000000LL)->execQuery(0)), HasSubstr("Index"));
        EXPECT_THAT(textOf(with(planOfInt, 5)->execQuery(0)), HasSubstr("Index"));
    }
    EXPECT_EQ(textOf(with(command("SELECT repeat('x', ?) || substr(?, ?)"), 3, "abc", 2)->execQuery(0)),
              "xxxbc");
    EXPECT_EQ(errorOf([&] { with(command("SELECT nofunction(?)"), 3)->execQuery(0); }).hr, 0x80040E14);
}

TEST_P(NativePostgresql, bytesAreNoOtherValue) {
    run("CREATE TABLE b (i INTEGER, r DOUBLE PRECISION, u UUID)");
    const std::vector<unsigned char> bytes(16, 1);
    for (const auto& [column, size] : {std::pair{"i", 4}, std::pair{"r", 8}, std::pair{"u", 16}}) {
        const auto insert = command(std::string("INSERT INTO b (") + column + ") VALUES (?)");
        for (int execution = 0; execution < 3; ++execution) {
            insert->resetParams();
            insert->addBlobParam(bytes.data(), size);
            EXPECT_EQ(errorOf([&] { insert->execNoQuery(0); }).code, QD_ORVEL_ERR_SQL_STATEMENT) << column;
        }
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM b"), 0);
}

TEST_P(NativePostgresql, copyIsRefusedAndTheSessionGoesOn) {
    for (const bool inTransaction : {false, true}) {
        QD_OrvelTransaction transaction(connection, 0, inTransaction, "");
        for (const char* const text :
             {"COPY t TO STDOUT", "COPY t FROM STDIN", "SELECT 1; COPY t TO STDOUT; SELECT 2",
              "COPY (SELECT generate_series(1, 300000)) TO STDOUT"}) {
            EXPECT_EQ(errorOf([&] { run(text); }).hr, 0x80040E53) << text;
            EXPECT_EQ(errorOf([&] { query(text); }).hr, 0x80040E53) << text;
            EXPECT_EQ(errorOf([&] { command(text)->execNoQuery(0); }).hr, 0x80040E53) << text;
            EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3000) << text;
        }
        if (inTransaction) transaction.commit();
    }
}

TEST_P(NativePostgresql, aPlanIsMadeAnewWhenItIsGone) {
    for (const bool inTransaction : {false, true}) {
        QD_OrvelTransaction transaction(connection, 0, inTransaction, "");
        const auto all = command("SELECT * FROM t WHERE id = ?");
        for (int change = 0; change < 4; ++change) {
            EXPECT_EQ(textOf(with(all, 7)->execQuery(0), "v"), "v7") << change;
            EXPECT_EQ(with(all, 7)->execQuery(0)->numFields(), 2 + (change == 0 ? 0 : 1)) << change;
            if (change == 0) run("ALTER TABLE t ADD COLUMN w TEXT DEFAULT 'w'");
            if (change == 1) run("ALTER TABLE t ALTER w DROP DEFAULT, ALTER w TYPE JSONB USING to_jsonb(w)");
            if (change == 2) run("DEALLOCATE ALL");
        }
        run("ALTER TABLE t DROP COLUMN w");
        if (inTransaction) transaction.commit();
    }
}

TEST_P(NativePostgresql, takesAsManyParametersAsTheProtocolCounts) {
    std::string markers = "SELECT COUNT(*) FROM (VALUES (?::int)";
    for (int count = 1; count < 65535; ++count) markers += ",(?)";
    const auto most = command(markers + ") v");
    const auto more = command(markers + ",(?)) v");
    for (int count = 0; count < 65535; ++count) {
        most->addIntParam(count);
        more->addIntParam(count);
    }
    more->addIntParam(1);
    EXPECT_EQ(textOf(most->execQuery(0)), "65535");
    EXPECT_EQ(errorOf([&] { more->execQuery(0); }).hr, 0x800A0E7C);
    EXPECT_EQ(errorOf([&] { command("SELECT ?")->execQuery(0); }).hr, 0x80040E10);
    EXPECT_EQ(errorOf([&] { with(command("SELECT ?"), 1, 2)->execQuery(0); }).hr, 0x800A0E7C);
}

TEST_P(NativePostgresql, theConnectionStringSaysWhatItSaysAndNoMore) {
    struct Case {
        const char* instead;
        unsigned long hr;
    };
    for (const auto& [instead, hr] : {Case{"sslmode=disable", 0},
                                      {"sslmode=nonsense", 0x80004005},
                                      {"sslmode=require", 0x80004005},
                                      {"Colour=red", 0x800A0BB9},
                                      {"sslmode={disable", 0x800A0BB9},
                                      {"host=elsewhere", 0x800A0BB9},
                                      {"application_name={a;b}", 0},
                                      {"client_encoding=LATIN1", 0x800A0BB9},
                                      {"application_name={a}}b}", 0},
                                      {"=x", 0x800A0BB9},
                                      {"StatementSavepoints=perhaps", 0x800A0BB9},
                                      {" SSLMode = disable ; ", 0},
                                      {"Provider=PostgreSQL", 0x800A0BB9}}) {
        const Error error =
            errorOf([&] { open(connectedWith("sslmode=prefer;", std::string(instead) + ";")); });
        EXPECT_EQ(error.hr, hr) << instead << error.provText;
    }
    EXPECT_EQ(errorOf([&] { open(connectedWith("Provider=PostgreSQL;", "Provider=Nothing;")); }).hr,
              0x800A0E7A);
    for (const std::string name :
         {"a}b", "a;b", "a'b", "{a", "a dbname=b", "a};sslmode={disable", "x;host=elsewhere", " a", "a=b"}) {
        const Error error = errorOf([&] { closed()->open(name.c_str(), "", 0); });
        EXPECT_THAT(error.provText, HasSubstr("database \"" + name + "\" does not exist"));
    }
}

TEST_P(NativePostgresql, settingsOfTheSessionChangeNoValue) {
    run("CREATE TABLE moments (d DATE, s TIMESTAMP, z TIMESTAMPTZ, b BYTEA, f FLOAT8)");
    run("INSERT INTO moments VALUES ('2024-02-29', '2024-02-29 12:34:56.5', '2024-02-29 12:34:56Z', "
        "'\\x00ff5c', 0.1::float8 + 0.2)");
    run("ALTER DATABASE \"Behaviour\" SET datestyle TO 'German'");
    run("ALTER DATABASE \"Behaviour\" SET bytea_output TO 'escape'");
    run("ALTER DATABASE \"Behaviour\" SET extra_float_digits TO 0");
    connection->close();
    open(connection);
    const auto made = command("SELECT d, s, b, f FROM moments WHERE ? = 1");
    for (int execution = 0; execution < 3; ++execution) {
        run(execution == 2 ? "RESET ALL" : execution == 1 ? "SET bytea_output TO 'escape'" : "SELECT 1");
        for (const auto& rows : {query("SELECT d, s, b, f FROM moments"), with(made, 1)->execQuery(0)}) {
            unsigned char bytes[3] = {};
            unsigned int size = sizeof bytes;
            double real = 0;
            EXPECT_TRUE(rows->getBlobField(2, size, bytes) && size == 3 && bytes[1] == 0xff &&
                        bytes[2] == 0x5c);
            EXPECT_TRUE(rows->getDoubleField(3, real) && real == 0.1 + 0.2) << execution;
            EXPECT_EQ(textOf(rows) + " " + textOf(rows, 1), "2024-02-29 2024-02-29 12:34:56.5") << execution;
        }
    }
    for (const char* const style : {"SQL, DMY", "German", "Postgres, MDY"}) {
        run(std::string("SET datestyle TO ") + style);
        int days = 0;
        EXPECT_TRUE(query("SELECT d FROM moments")->getIntField(0, days)) << style;
        EXPECT_EQ(days, 45351) << style;
    }
    run("SET client_min_messages TO debug5");
    EXPECT_EQ(ask("SELECT 1"), 1) << "whatever notices come";
}

} // namespace
