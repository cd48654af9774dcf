// What MariaDB's own client library is used for, and what it does not look after by itself.

#include <gmock/gmock.h>

#include "QD_OrvelTransaction.h"
#include "tests/ado/native.h"

namespace {

using namespace orvel::tests;
using testing::HasSubstr;

class NativeMariadb : public Native {};
INSTANTIATE_TEST_SUITE_P(Engines, NativeMariadb, testing::Values(mariadbContext), contextName);

TEST_P(NativeMariadb, plansThatAreMadeAndDroppedCostNoRowOfAnother) {
    for (const bool direct : {true, false}) {
        const auto rows = direct
                              ? query("SELECT id FROM t ORDER BY id")
                              : with(command("SELECT id FROM t WHERE id > ? ORDER BY id"), 0)->execQuery(0);
        QD_OrvelCommandHandle dropped = with(command("SELECT ? + 1"), 1);
        for (int row = 1; row <= 3000; ++row, rows->nextRow()) {
            ASSERT_EQ(textOf(rows), std::to_string(row)) << direct;
            if (row == 100) dropped->execQuery(0);
            if (row == 200) dropped.release();
            if (row == 300) with(command("SELECT ? + 2"), 2)->execQuery(0);
        }
        EXPECT_TRUE(rows->eof());
    }
    EXPECT_GT(ask("SELECT @@net_write_timeout"), 1000000) << "a reader may pause";
}

TEST_P(NativeMariadb, singlesAreExactHoweverATextIsRunAndWhateverBecomesOfItsTable) {
    run("CREATE TABLE s (v INTEGER)");
    run("INSERT INTO s VALUES (16777215)");
    const std::string text = "SELECT v FROM s";
    const auto made = command(text);
    const auto withOne = with(command(text + " WHERE v <> ?"), 0);
    QD_OrvelConnectionHandle other = another();
    const auto expect = [&](const char* words, int columns) {
        for (int execution = 0; execution < 3; ++execution) {
            for (const auto& rows : {query(text), made->execQuery(0), withOne->execQuery(0)}) {
                double value = 0;
                EXPECT_TRUE(rows->getDoubleField(0, value) && value == 16777215.0) << words;
                EXPECT_EQ(textOf(rows), words);
            }
            EXPECT_EQ(query("SELECT * FROM s")->numFields(), columns);
        }
    };
    expect("16777215", 1);
    other->execNoQuery("ALTER TABLE s MODIFY v FLOAT", 0);
    expect("1.677722E+07", 1);
    other->execNoQuery("ALTER TABLE s MODIFY v VARCHAR(20), ADD w INTEGER", 0);
    other->execNoQuery("UPDATE s SET v = '16777215'", 0);
    expect("16777215", 2);
    run("DROP TABLE s");
    run("CREATE TABLE s (v FLOAT)");
    run("INSERT INTO s VALUES (16777215)");
    expect("1.677722E+07", 1);
}

TEST_P(NativeMariadb, aPlanFollowsItsColumns) {
    const auto all = command("SELECT * FROM t WHERE id = ?");
    const auto inserting = command("INSERT INTO t (id, v) VALUES (?, 'new') RETURNING t.*");
    const char* const changes[] = {"ADD w TEXT DEFAULT 'w'",
                                   "CHANGE w x BIGINT UNSIGNED DEFAULT 18446744073709551615",
                                   "CHANGE x y DATE DEFAULT '2024-02-29'", "DROP y"};
    const char* const last[] = {"v7", "w", "18446744073709551615", "2024-02-29", "v7"};
    run("UPDATE t SET v = 'v7' WHERE id = 7");
    for (int change = 0; change <= 4; ++change) {
        if (change == 2) run("UPDATE t SET w = NULL");
        if (change == 3) run("UPDATE t SET x = NULL");
        if (change > 0) run(std::string("ALTER TABLE t ") + changes[change - 1]);
        if (change == 2) run("UPDATE t SET x = DEFAULT");
        if (change == 3) run("UPDATE t SET y = DEFAULT");
        const auto rows = with(all, 7)->execQuery(0);
        EXPECT_EQ(textOf(rows, rows->numFields() - 1), last[change]);
        EXPECT_EQ(textOf(with(inserting, 4000 + change)->execQuery(0), "v"), "new") << change;
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t WHERE id >= 4000"), 5) << "each of them once";
}

TEST_P(NativeMariadb, whatTheServerRefusesIsAnErrorAndWhatItAcceptsIsNone) {
    run("CREATE TABLE n (d DECIMAL(9,2), e ENUM('a', 'b'), v VARCHAR(3))");
    const auto insert = command("INSERT INTO n VALUES (?, ?, ?)");
    for (const bool strict : {true, false}) {
        run(strict ? "SET sql_mode = 'STRICT_ALL_TABLES'" : "SET sql_mode = ''");
        for (const char* const values : {"'1.234,50', 'a', 'x'", "1, 'unknown', 'x'", "1, 'a', 'too long'"}) {
            EXPECT_EQ(errorOf([&] { run(std::string("INSERT INTO n VALUES (") + values + ")"); }).code,
                      strict ? 13 : -1);
        }
        for (int execution = 0; execution < 2; ++execution) {
            EXPECT_EQ(errorOf([&] { with(insert, "1.234,50", "unknown", "too long")->execNoQuery(0); }).code,
                      strict ? 13 : -1);
        }
        EXPECT_EQ(ask("SELECT COUNT(*) FROM n"), strict ? 0 : 5);
    }
    EXPECT_EQ(run("UPDATE n SET v = 'too'"), 5) << "rows that were found";
}

TEST_P(NativeMariadb, aProceduresLateFailureIsOne) {
    run("CREATE PROCEDURE late (fail INTEGER) BEGIN SELECT CAST(1.5 AS FLOAT); UPDATE t SET v = 'late' WHERE "
        "id "
        "= 1; SELECT 2; IF fail THEN SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT = 'late'; END IF; END");
    EXPECT_EQ(textOf(query("CALL late(0)")), "1.5");
    const auto call = command("CALL late(?)");
    for (int execution = 0; execution < 2; ++execution) {
        EXPECT_EQ(textOf(with(call, 0)->execQuery(0)), "1.5");
        EXPECT_THAT(errorOf([&] { run("CALL late(1)"); }).provText, HasSubstr("late"));
        EXPECT_THAT(errorOf([&] { query("CALL late(1)"); }).provText, HasSubstr("late"));
        EXPECT_THAT(errorOf([&] { with(call, 1)->execNoQuery(0); }).provText, HasSubstr("late"));
        EXPECT_EQ(valueOf(2), "v2");
    }
    run("CREATE PROCEDURE amid () BEGIN SELECT 1; SELECT (SELECT id FROM t); SELECT 3; END");
    QD_OrvelTransaction transaction(connection, 0, true, "");
    run("UPDATE t SET v = 'kept' WHERE id = 3");
    for (const char* const text : {"CALL amid()", "EXECUTE IMMEDIATE 'CALL amid()'"}) {
        EXPECT_EQ(errorOf([&] { run(text); }).provCode, 1242UL) << text;
        EXPECT_EQ(errorOf([&] { command(text)->execNoQuery(0); }).provCode, 1242UL) << text;
    }
    transaction.commit();
    EXPECT_EQ(valueOf(3), "kept");
    for (const char* const text :
         {"OPTIMIZE TABLE t", "VALUES (1)", "SET STATEMENT max_statement_time = 9 FOR SELECT 1",
          "EXECUTE IMMEDIATE 'SELECT 1'", "HELP 'select'", "CHECK TABLE t"}) {
        EXPECT_FALSE(query(text)->eof()) << text;
        EXPECT_FALSE(command(text)->execQuery(0)->eof()) << text;
        EXPECT_EQ(errorOf([&] { run(text); }).code, -1) << text;
    }
}

TEST_P(NativeMariadb, aTransactionThatTheServerUndidIsNotCommitted) {
    QD_OrvelConnectionHandle other = another();
    QD_OrvelTransaction transaction(connection, 0, true, "");
    run("UPDATE t SET v = 'a' WHERE id = 1");
    {
        QD_OrvelTransaction others(other, 0, true, "");
        other->execNoQuery("UPDATE t SET v = 'b' WHERE id <= 900 AND id > 1", 0);
        EXPECT_EQ(errorOf([&] { other->execNoQuery("UPDATE t SET v = 'b' WHERE id = 1", 0); }).hr, 0x80040E92)
            << "a lock that is not to be had undoes its statement alone";
        EXPECT_EQ(errorOf([&] { others.commit(); }).code, -1);
    }
    EXPECT_EQ(valueOf(2), "b");
    run("SIGNAL SQLSTATE '01000'");
    EXPECT_NE(errorOf([&] { run("INSERT INTO t VALUES (1, 'twice')"); }).code, -1);
    run("CREATE TABLE commits_what_is_open (i INTEGER)");
    EXPECT_NE(errorOf([&] { run("INSERT INTO t VALUES (1, 'twice')"); }).code, -1);
    EXPECT_EQ(errorOf([&] { transaction.commit(); }).code, -1) << "nothing was undone";
    EXPECT_EQ(valueOf(1), "a");
}

TEST_P(NativeMariadb, whatTheServerCommitsByItselfEndsNoTransactionOfOurs) {
    for (const bool fails : {true, false}) {
        for (const bool commits : {true, false}) {
            run("REPLACE INTO t VALUES (1, 'before'), (2, 'before')");
            QD_OrvelTransaction transaction(connection, 0, true, "");
            run("UPDATE t SET v = 'first' WHERE id = 1");
            EXPECT_EQ(errorOf([&] {
                          run(fails ? "CREATE TABLE t (i INTEGER)" : "CREATE OR REPLACE TABLE z (i INTEGER)");
                      }).code,
                      fails ? 13 : -1);
            run("UPDATE t SET v = 'second' WHERE id = 2");
            commits ? transaction.commit() : transaction.abort();
            EXPECT_EQ(valueOf(1) + valueOf(2), commits ? "firstsecond" : "firstbefore") << fails;
        }
    }
}

TEST_P(NativeMariadb, theConnectionStringSaysWhatItSaysAndNoMore) {
    struct Case {
        const char* instead;
        unsigned long hr;
    };
    for (const auto& [instead, hr] : {Case{"Connect-Timeout=5", 0},
                                      {"SSL=on", 0x80004005},
                                      {"SSL-Verify-Server-Cert=yes", 0x80004005},
                                      {"SSL-CA=/nowhere/ca.pem", 0x80004005},
                                      {"SSL=perhaps", 0x800A0BB9},
                                      {"Colour=red", 0x800A0BB9},
                                      {"SSL={on", 0x800A0BB9},
                                      {"host=elsewhere", 0x800A0BB9},
                                      {"charset=latin1", 0x800A0BB9},
                                      {"Charset=UTF8MB4", 0},
                                      {"Port=70000", 0x800A0BB9},
                                      {"=x", 0x800A0BB9},
                                      {" SSL = off ; ", 0},
                                      {"Provider=MariaDB", 0x800A0BB9}}) {
        const Error error =
            errorOf([&] { open(connectedWith("InitStmt=", std::string(instead) + ";InitStmt=")); });
        EXPECT_EQ(error.hr, hr) << instead << error.provText;
    }
    EXPECT_NE(errorOf([&] { open(connectedWith("InitStmt=SET", "InitStmt=SOT")); }).code, -1);
    for (const std::string name :
         {"a}b", "a;b", "a'b", "{a", "a};ssl={on", "x;host=elsewhere", " a", "a=b"}) {
        const Error error = errorOf([&] { closed()->open(name.c_str(), "", 0); });
        EXPECT_THAT(error.provText, HasSubstr("Unknown database '" + name + "'"));
    }
    const std::string port = portOf(GetParam());
    for (const std::string hosts : {"127.0.0.2, 127.0.0.1", "127.0.0.2,127.0.0.3:1,127.0.0.1:",
                                    "[::1]:1, [127.0.0.1]:", "::1,127.0.0.1:"}) {
        const std::string server = hosts.ends_with(':') ? hosts + port + ";Port=1" : hosts + ";Port=" + port;
        QD_OrvelConnectionHandle several =
            connectedWith("Server=$(serverName);Port=$(instanceName)", "Server=" + server);
        open(several);
        EXPECT_EQ(several->execQueryScalar("SELECT 1", 0), 1) << "the last of " << hosts;
    }
}

TEST_P(NativeMariadb, filesOfTheClientAreReadWhenItWasAskedForAlone) {
    const std::string load =
        "LOAD DATA LOCAL INFILE '" + directory.write("rows", "9001\tloaded\n") + "' INTO TABLE t";
    EXPECT_NE(errorOf([&] { run(load); }).code, -1);
    EXPECT_NE(errorOf([&] { command(load)->execNoQuery(0); }).code, -1);
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3000);
    QD_OrvelConnectionHandle asking = connectedWith("InitStmt=", "Local-Infile=on;InitStmt=");
    open(asking);
    asking->execNoQuery(load.c_str(), 0);
    EXPECT_EQ(valueOf(9001), "loaded");
}

TEST_P(NativeMariadb, takesAsManyParametersAsTheProtocolCounts) {
    std::string markers = "SELECT COUNT(*) FROM t WHERE id IN (?";
    for (int count = 1; count < 65535; ++count) markers += ",?";
    const auto most = command(markers + ")");
    const auto more = command(markers + ",?)");
    for (int count = 0; count < 65536; ++count) {
        count < 65535 ? most->addIntParam(count) : void();
        more->addIntParam(1);
    }
    EXPECT_EQ(textOf(most->execQuery(0)), "3000");
    EXPECT_EQ(errorOf([&] { more->execQuery(0); }).provCode, 1390UL);
    EXPECT_EQ(errorOf([&] { command("SELECT ?")->execQuery(0); }).hr, 0x80040E10);
    EXPECT_EQ(errorOf([&] { with(command("SELECT ?"), 1, 2)->execQuery(0); }).hr, 0x800A0E7C);
    EXPECT_NE(errorOf([&] { query("SELECT ?"); }).code, -1);
}

TEST_P(NativeMariadb, valuesOfManySizesShareARow) {
    run("CREATE TABLE v (id INTEGER PRIMARY KEY, a LONGTEXT, b LONGBLOB, n DECIMAL(65,30))");
    const auto insert = command("INSERT INTO v VALUES (?, ?, ?, 1.5)");
    const int sizes[] = {1, 600, 5000, 70000, 0, 3000000, 10, 200000};
    for (int row = 0; row < 8; ++row) {
        const std::string value(static_cast<std::size_t>(sizes[row]), static_cast<char>('a' + row));
        insert->addIntParam(row);
        insert->addStringParam(value.c_str());
        insert->addBlobParam(reinterpret_cast<const unsigned char*>(value.data()), sizes[row]);
        insert->execNoQuery(0);
        insert->resetParams();
    }
    const auto made = command("SELECT a, b, n FROM v ORDER BY id");
    for (int execution = 0; execution < 4; ++execution) {
        const auto rows = execution == 0 ? query("SELECT a, b, n FROM v ORDER BY id") : made->execQuery(0);
        for (int row = 0; row < 8; ++row, rows->nextRow()) {
            const std::string expected(static_cast<std::size_t>(sizes[row]), static_cast<char>('a' + row));
            if (execution == 3) run("SELECT 1");
            EXPECT_TRUE(textOf(rows) == (row == 4 ? "(none)" : expected)) << row;
            std::string bytes(expected.size() + 1, ' ');
            unsigned int size = static_cast<unsigned>(bytes.size());
            EXPECT_EQ(rows->getBlobField(1, size, reinterpret_cast<unsigned char*>(bytes.data())), row != 4)
                << row;
            EXPECT_TRUE(row == 4 || (size == expected.size() && bytes.substr(0, size) == expected)) << row;
        }
        EXPECT_TRUE(rows->eof());
    }
}

} // namespace
