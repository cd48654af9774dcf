// What an application may rely on whatever the engine: statements, cursors, commands and values.

#include <gmock/gmock.h>

#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <thread>

#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;

INSTANTIATE_TEST_SUITE_P(Engines, Behaviour, everyContext, contextName);

TEST_P(Behaviour, aConnectionOpensClosesAndTellsWhatItIs) {
    EXPECT_TRUE(connection->isOpen());
    EXPECT_STRNE(connection->getProvider(), "");
    EXPECT_STRNE(connection->getVersion(), "");
    EXPECT_EQ(connection->isClientServer(), isAdo());
    connection->close();
    connection->close();
    EXPECT_FALSE(connection->isOpen());
    EXPECT_EQ(errorOf([&] { run("SELECT 1"); }).code, QD_ORVEL_ERR_NOT_OPEN);
    EXPECT_EQ(run(""), 0);
    open(connection);
    EXPECT_EQ(ask("SELECT 7"), 7);
    EXPECT_EQ(ask("SELECT 7 WHERE 1 = 0"), 0);
    EXPECT_EQ(ask(""), 0);
}

TEST_P(Behaviour, statementsCountTheRowsTheyMeet) {
    run("CREATE TABLE t (a INTEGER)");
    EXPECT_EQ(run("INSERT INTO t VALUES (1), (2), (3)"), 3);
    EXPECT_EQ(run("UPDATE t SET a = a WHERE a < 3"), 2) << "found, if not changed";
    EXPECT_EQ(run("DELETE FROM t WHERE a = 9"), 0);
    QD_OrvelCommandHandle update = connection->createCommand("UPDATE t SET a = a + ? WHERE a > ?", 0);
    update->addIntParam(10);
    update->addIntParam(1);
    EXPECT_EQ(update->execNoQuery(0), 2);
    EXPECT_EQ(update->execNoQuery(0), 2) << "the same parameters again";
    EXPECT_EQ(ask("SELECT SUM(a) FROM t"), 46);
}

TEST_P(Behaviour, aCursorReadsRowsByPositionAndByName) {
    run("CREATE TABLE t (id INTEGER, name VARCHAR(20))");
    run("INSERT INTO t VALUES (1, 'one'), (2, NULL), (3, 'three')");
    const QD_OrvelQueryHandle rows = connection->execQuery("SELECT id, name FROM t ORDER BY id", 0);
    EXPECT_EQ(rows->numFields(), 2);
    std::string text;
    int index = 0;
    EXPECT_TRUE(rows->getFieldIndex("name", index));
    EXPECT_EQ(index, 1);
    EXPECT_FALSE(rows->getFieldIndex("missing", index));
    EXPECT_TRUE(rows->getFieldName(0, text));
    EXPECT_EQ(text, "id");
    EXPECT_TRUE(rows->getFieldDeclType(0, text));
    std::vector<std::string> seen;
    for (; !rows->eof(); rows->nextRow()) {
        int id = 0;
        EXPECT_TRUE(rows->getStringField("name", text) || text.empty());
        EXPECT_TRUE(rows->getIntField("id", id)) << "columns in any order";
        EXPECT_TRUE(rows->getIntField(0, id)) << "and again";
        seen.push_back(std::to_string(id) + text);
    }
    EXPECT_THAT(seen, ElementsAre("1one", "2", "3three"));
    const QD_OrvelQueryHandle none = connection->execQuery("SELECT id FROM t WHERE id = 9", 0);
    EXPECT_TRUE(none->eof());
    EXPECT_FALSE(none->getStringField(0, text));
    none->close();
    EXPECT_TRUE(connection->execQuery("UPDATE t SET id = id", 0)->eof()) << "a statement without rows";
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), 3);
}

TEST_P(Behaviour, aCommandRunsAgainWithOtherParametersAndAfterASchemaChange) {
    run("CREATE TABLE t (id INTEGER, v VARCHAR(20))");
    run("INSERT INTO t VALUES (1, 'a'), (2, 'b')");
    QD_OrvelCommandHandle lookup = connection->createCommand("SELECT v FROM t WHERE id = ?", 0);
    int others = 0;
    for (const auto& [id, expected] : {std::pair{2, "b"}, {1, "a"}, {3, ""}, {2, "b"}}) {
        lookup->resetParams();
        lookup->addIntParam(id);
        std::string text;
        const QD_OrvelQueryHandle rows =
            lookup->execQuery(0); // read by position: it may not know its row yet
        rows->getStringField(0, text);
        EXPECT_EQ(text, expected);
        rows->close();
        run("CREATE TABLE other_" + std::to_string(++others) + " (a INTEGER)");
    }
    lookup->close();
    EXPECT_NE(errorOf([&] { lookup->execQuery(0); }).code, -1);
}

TEST_P(Behaviour, numbersAreExact) {
    run("CREATE TABLE t (id INTEGER, i INTEGER, w BIGINT, d DOUBLE PRECISION)");
    struct Numbers {
        int narrow;
        long long wide;
        double real;
    };
    const Numbers all[] = {{INT_MAX, LLONG_MAX, 0.1},
                           {INT_MIN, LLONG_MIN, 1e308},
                           {0, -9000000000, -DBL_MIN},
                           {-1, 0, 123456789.12345678},
                           {1, 4294967297, 5e-324 * 1e10}};
    QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (?, ?, ?, ?)", 0);
    int id = 0;
    for (const Numbers& each : all) {
        insert->resetParams();
        insert->addIntParam(++id);
        insert->addIntParam(each.narrow);
        insert->addInt64Param(each.wide);
        insert->addDoubleParam(each.real);
        EXPECT_EQ(insert->execNoQuery(0), 1);
    }
    const QD_OrvelQueryHandle rows = connection->execQuery("SELECT i, w, d FROM t ORDER BY id", 0);
    for (const Numbers& each : all) {
        Numbers read{};
        EXPECT_TRUE(rows->getIntField(0, read.narrow));
        EXPECT_TRUE(rows->getInt64Field(1, read.wide));
        EXPECT_TRUE(rows->getDoubleField(2, read.real));
        EXPECT_EQ(read.narrow, each.narrow);
        EXPECT_EQ(read.wide, each.wide);
        if (context().index == sqliteOdbcContext.index) {
            EXPECT_NEAR(read.real, each.real, std::abs(each.real) * 1e-14) << "this driver writes 15 digits";
        } else {
            EXPECT_EQ(read.real, each.real);
        }
        int cut = 5;
        EXPECT_EQ(rows->getIntField(1, cut), !isAdo() || each.wide == 0) << "never cut on ADO";
        rows->nextRow();
    }
    EXPECT_TRUE(rows->eof());
}

TEST_P(Behaviour, valuesThatAreMissingReadAsNone) {
    run(std::string("CREATE TABLE t (i INTEGER, w BIGINT, d DOUBLE PRECISION, s ") + context().textType +
        ", b " + context().blobType + ")");
    QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (?, ?, ?, ?, ?)", 0);
    for (const QD_OrvelDataKind kind : {QD_ORVEL_DATA_INT, QD_ORVEL_DATA_INT64, QD_ORVEL_DATA_DOUBLE,
                                        QD_ORVEL_DATA_STRING, QD_ORVEL_DATA_BLOB}) {
        insert->addEmptyParam(kind);
    }
    insert->execNoQuery(0);
    EXPECT_EQ(
        ask("SELECT COUNT(*) FROM t WHERE i IS NULL AND w IS NULL AND d IS NULL AND s IS NULL AND b IS NULL"),
        1);
    const QD_OrvelQueryHandle rows = connection->execQuery("SELECT i, w, d, s, b FROM t", 0);
    int narrow = 1;
    long long wide = 1;
    double real = 1;
    std::string text = "x";
    unsigned int size = 1;
    unsigned char byte = 1;
    EXPECT_FALSE(rows->getIntField(0, narrow));
    EXPECT_FALSE(rows->getInt64Field(1, wide));
    EXPECT_FALSE(rows->getDoubleField(2, real));
    EXPECT_FALSE(rows->getStringField(3, text));
    EXPECT_FALSE(rows->getBlobField(4, size, &byte));
    EXPECT_EQ(static_cast<double>(narrow) + static_cast<double>(wide) + real, 0.0);
    EXPECT_EQ(text, "");
}

TEST_P(Behaviour, textsAndBlobsOfAnyLengthAreWhole) {
    run(std::string("CREATE TABLE t (id INTEGER, s ") + context().textType + ", b " + context().blobType +
        ")");
    QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (?, ?, ?)", 0);
    const std::vector<std::string> alphabet = {"a", "é", "€", "😀"};
    const std::vector<std::size_t> lengths = {0,    1,    254,  255,   256,   4095,
                                              4096, 8190, 8191, 65535, 65536, 1048577};
    for (std::size_t id = 0; id < lengths.size() * alphabet.size(); ++id) {
        std::string text;
        for (std::size_t count = 0; count < lengths[id / alphabet.size()]; ++count) {
            text += alphabet[(count + id) % (id % alphabet.size() + 1)]; // of one, two, three and four kinds
        }
        std::vector<unsigned char> bytes(lengths[id / alphabet.size()]);
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            bytes[at] = static_cast<unsigned char>(at + id);
        }
        insert->resetParams();
        insert->addIntParam(static_cast<int>(id));
        insert->addStringParam(text.c_str());
        insert->addBlobParam(bytes.data(), static_cast<int>(bytes.size()));
        insert->execNoQuery(0);
        const QD_OrvelQueryHandle rows =
            connection->execQuery(("SELECT s, b FROM t WHERE id = " + std::to_string(id)).c_str(), 0);
        std::string readText;
        EXPECT_EQ(rows->getStringField("s", readText), !text.empty()) << "an empty text is NULL";
        EXPECT_TRUE(readText == text) << id << ", " << readText.size() << " bytes of " << text.size();
        unsigned int size = 0;
        EXPECT_EQ(rows->getBlobField("b", size, nullptr), !bytes.empty());
        ASSERT_EQ(size, bytes.size());
        std::vector<unsigned char> readBytes(size);
        EXPECT_EQ(rows->getBlobField("b", size, readBytes.data()), !bytes.empty());
        EXPECT_TRUE(readBytes == bytes) << id;
    }
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t WHERE s IS NULL AND b IS NULL"), 4);
}

/// SQLite has no such type.
class BehaviourDecimals : public Behaviour {};
INSTANTIATE_TEST_SUITE_P(Engines, BehaviourDecimals, everyServer, contextName);

TEST_P(BehaviourDecimals, keepTheirDigitsAsText) {
    run(std::string("CREATE TABLE t (d ") + context().decimalType + ")");
    const std::string digits = "-123456789012345678.0123456789";
    QD_OrvelCommandHandle insert = connection->createCommand("INSERT INTO t VALUES (?)", 0);
    insert->addStringParam(digits.c_str());
    insert->execNoQuery(0);
    std::string text;
    EXPECT_TRUE(connection->execQuery("SELECT d FROM t", 0)->getStringField(0, text));
    EXPECT_EQ(text, digits);
}

TEST_P(Behaviour, enginesDifferAsDocumented) {
    run(std::string("CREATE TABLE t (id ") + context().counterType + ", v VARCHAR(9))");
    const std::size_t which = context().index;
    const int several[] = {-1, 13, -1, 13};
    EXPECT_EQ(errorOf([&] { run("INSERT INTO t (v) VALUES ('a'); INSERT INTO t (v) VALUES ('b')"); }).code,
              several[which]);
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t"), several[which] == -1 ? 2 : 0) << "all or none";
    const int markerWithoutValue[] = {-1, 13, 13, 13};
    EXPECT_EQ(errorOf([&] { connection->createCommand("UPDATE t SET v = ?", 0)->execNoQuery(0); }).code,
              markerWithoutValue[which]);
    const int isTrue[] = {1, 1, -1, 1};
    EXPECT_EQ(ask("SELECT TRUE"), isTrue[which]);
    run("DELETE FROM t");
    run("INSERT INTO t (v) VALUES ('a')");
    const long long counted = connection->getLastInsertedId();
    run("INSERT INTO t VALUES (77, 'a')");
    EXPECT_EQ(connection->getLastInsertedId(), context().isServer() ? counted : 77) << "a key brought along";
    EXPECT_EQ(ask("SELECT COUNT(*) FROM t WHERE v = 'A' OR v = 'a '"), 0) << "letter case and blanks count";
    QD_OrvelCommandHandle upper = connection->createCommand("SELECT COUNT(*) FROM T", 0);
    EXPECT_EQ(errorOf([&] { upper->execQuery(0); }).code, which == mariadbContext.index ? 13 : -1)
        << "letter case of table names";
}

TEST_P(Behaviour, threadsUseConnectionsOfTheirOwn) {
    run("CREATE TABLE t (id INTEGER PRIMARY KEY, v VARCHAR(20))");
    run("INSERT INTO t VALUES (1, 'one'), (2, 'two')");
    std::atomic<int> good = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5; ++round) {
                QD_OrvelConnectionHandle own = closed();
                open(own);
                QD_OrvelCommandHandle lookup = own->createCommand("SELECT v FROM t WHERE id = ?", 0);
                lookup->addIntParam(round % 2 + 1);
                std::string text;
                lookup->execQuery(0)->getStringField(0, text);
                good += text == (round % 2 == 0 ? "one" : "two") ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, 40);
}

} // namespace
