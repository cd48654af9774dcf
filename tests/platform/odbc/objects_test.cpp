// What the objects promise beyond what an application of the library can reach.

#include "tests/platform/odbc/engine.h"

namespace {

using namespace orvel::tests;

class OdbcObjects : public EngineTest {
protected:
    void fill(int rows) const {
        run("CREATE TABLE t (id INTEGER PRIMARY KEY)");
        for (int id = 1; id <= rows; ++id) {
            run("INSERT INTO t VALUES (" + std::to_string(id) + ")");
        }
    }
    static int count(const ado::Ref<ado::Recordset>& rows) {
        int left = 0;
        for (; !rows->eof(); rows->moveNext()) {
            ++left;
        }
        return left;
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcObjects, everyEngine, nameOf);

TEST_P(OdbcObjects, refuseMisuseWithItsStatus) {
    const auto expect = [](std::uint32_t status, const auto& body) { EXPECT_EQ(statusOf(body), status); };
    const auto fresh = ado::createObject<ado::Connection>();
    expect(ado::adErrObjectClosed, [&] { fresh->close(); });
    expect(ado::adErrObjectClosed, [&] { run(fresh, "SELECT 1"); });
    expect(orvel::platform::ePointer, [] { ado::Ref<ado::Connection>()->close(); });
    expect(ado::adErrObjectOpen, [&] { connection->open(connectionString(), "", "", 0); });
    expect(ado::xactNoTransaction, [&] { connection->commitTrans(); });
    expect(ado::xactNoTransaction, [&] { connection->rollbackTrans(); });
    connection->beginTrans();
    expect(ado::xactTransactionExists, [&] { connection->beginTrans(); });
    connection->rollbackTrans();
    fill(1);
    const auto rows = connection->execute("SELECT id AS Same, id + 5 AS same FROM t", nullptr, 0);
    const auto field = rows->fields()->item("SAME");
    EXPECT_EQ(ado::toInt32(field->value()), 1) << "the first of that name";
    for (const std::int32_t position : {-1, 2, 65536}) {
        expect(ado::adErrItemNotFound, [&] { rows->fields()->item(position); });
    }
    rows->moveNext();
    expect(ado::adErrNoCurrentRecord, [&] { field->value(); });
    expect(ado::adErrNoCurrentRecord, [&] { rows->moveNext(); });
    rows->close();
    expect(ado::adErrObjectClosed, [&] { field->value(); });
    expect(ado::adErrObjectClosed, [&] { rows->close(); });
    expect(ado::adErrObjectClosed, [&] { connection->execute("DELETE FROM t", nullptr, 0)->moveNext(); });
    expect(ado::adErrInvalidConnection, [] { ado::createObject<ado::Command>()->execute(nullptr, 1); });
    const auto insert = command("INSERT INTO t VALUES (?)");
    const std::int64_t one = 1;
    expect(ado::adErrInvalidParamInfo, [&] { add(insert, ado::adBSTR, 0, ado::Empty{}); });
    expect(ado::adErrInvalidArgument, [&] { insert->createParameter("", ado::adInteger, 2, 4, one); });
    expect(ado::adErrInvalidArgument, [&] { add(insert, ado::adGUID, 4, one); });
    expect(ado::dispTypeMismatch, [&] { add(insert, ado::adInteger, 4, std::string("x")); });
    expect(ado::adErrInvalidArgument, [&] { insert->parameters()->append(nullptr); });
    expect(ado::adErrItemNotFound, [&] { insert->parameters()->remove(0); });
    add(insert, ado::adInteger, 4, ado::Missing{});
    expect(ado::dbParamNotOptional, [&] { insert->execute(nullptr, 1); });
}

TEST_P(OdbcObjects, keepTheErrorsOfTheLastCallAlone) {
    const auto failing = [&] { run("SELEC 1"); };
    EXPECT_EQ(statusOf(failing), ado::dbErrorsInCommand);
    ASSERT_EQ(connection->errors()->count(), 1);
    EXPECT_EQ(connection->errors()->item(0)->sqlState().size(), 5U);
    const auto rows = connection->execute("SELECT 1", nullptr, 0);
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_NE(statusOf(failing), 0U);
    EXPECT_EQ(statusOf([&] { rows->fields()->item("missing"); }), ado::adErrItemNotFound);
    EXPECT_EQ(connection->errors()->count(), 0) << "the engine had no part in it";
    EXPECT_EQ(statusOf([&] { connection->errors()->item(0); }), ado::adErrItemNotFound);
}

TEST_P(OdbcObjects, nameWhatCannotBeConnectedAndNeverThePassword) {
    const auto closed = ado::createObject<ado::Connection>();
    const auto errorOf = [&](const std::string& string) {
        EXPECT_EQ(statusOf([&] { closed->open(string, "", "", 0); }), orvel::platform::eFail);
        return closed->errors()->item(0);
    };
    const std::string driver = errorOf("DRIVER=no-such-driver.so;PWD=secret-word")->description();
    EXPECT_NE(driver.find("no-such-driver.so"), std::string::npos);
    EXPECT_EQ(driver.find("secret-word"), std::string::npos);
    EXPECT_EQ(errorOf("DSN=no-such-source")->sqlState(), "IM002");
    EXPECT_EQ(closed->provider() + closed->version(), "");
    closed->open("Provider=MSDASQL;" + connectionString(), "", "", 0);
    EXPECT_EQ(closed->errors()->count(), 0);
    EXPECT_NE(closed->provider().find("odbc"), std::string::npos) << closed->provider();
    EXPECT_NE(closed->version().find('.'), std::string::npos) << closed->version();
}

TEST_P(OdbcObjects, runACommandAgainWhileItsRecordsetIsRead) {
    fill(5);
    const auto select = command("SELECT id FROM t WHERE id >= ? ORDER BY id");
    const auto from = [&](std::int64_t id) {
        add(select, ado::adInteger, 4, id);
        auto rows = select->execute(nullptr, ado::adCmdText);
        select->parameters()->remove(0);
        return rows;
    };
    for (int execution = 0; execution < 3; ++execution) {
        const auto first = from(2);
        const auto held = select->createParameter("", ado::adInteger, ado::adParamInput, 4, std::int64_t{4});
        EXPECT_EQ(count(from(5)), 1);
        EXPECT_EQ(ado::toInt32(first->fields()->item(0)->value()), 2);
        EXPECT_EQ(count(first), 4);
        EXPECT_EQ(first->activeConnection().get(), connection.get());
        select->parameters()->append(held);
        select->parameters()->remove(0);
        EXPECT_EQ(count(from(1)), 5);
        select->parameters()->append(held); // what was removed is still its holder's
        EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 2);
        select->parameters()->remove(0);
    }
}

TEST_P(OdbcObjects, outliveTheirConnectionWithoutHarm) {
    fill(300);
    const auto select = command("SELECT id FROM t ORDER BY id");
    select->execute(nullptr, ado::adCmdText);
    const auto rows = select->execute(nullptr, ado::adCmdText);
    rows->moveNext();
    connection->close();
    EXPECT_EQ(ado::toInt32(rows->fields()->item(0)->value()), 2) << "the row was complete";
    EXPECT_GT(count(rows), 0);
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_EQ(statusOf([&] { select->execute(nullptr, 1); }), ado::adErrInvalidConnection);
    rows->close();
    connection->open(connectionString(), "", "", 0);
    EXPECT_EQ(count(select->execute(nullptr, 1)), 300) << "the command goes on with the connection";
    auto last = connection->execute("SELECT id FROM t", nullptr, 0);
    auto orphan = command("SELECT 1");
    orphan->execute(nullptr, 1);
    connection->close();
    connection = connect();
    EXPECT_GT(count(last), 0);
    orphan.reset();
    last.reset();
}

TEST(ObjectFactory, makesFromAnotherMakerWhileOneIsRegistered) {
    using Connections = ado::Registration<ado::Connection>;
    auto substitute = ado::createObject<ado::Connection>();
    const auto made = [] { return ado::createObject<ado::Connection>().get(); };
    {
        const Connections registration([&]() -> ado::Ref<ado::Connection> { return substitute; });
        EXPECT_EQ(made(), substitute.get());
        {
            const Connections none({});
            EXPECT_EQ(statusOf(made), ado::classNotRegistered);
        }
        EXPECT_EQ(made(), substitute.get());
    }
    EXPECT_NE(made(), substitute.get());
}

class OdbcServerTransactions : public OdbcObjects {};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcServerTransactions, everyServer, nameOf);

TEST_P(OdbcServerTransactions, haveTheIsolationLevelThatWasSetBefore) {
    const std::string question = isOn(postgresqlEngine) ? "SHOW transaction_isolation"
                                                        : "SELECT lower(replace(@@tx_isolation, '-', ' '))";
    connection->close();
    connection->setIsolationLevel(ado::adXactSerializable); // a closed connection keeps it
    connection->open(connectionString(), "", "", 0);
    connection->beginTrans();
    EXPECT_EQ(ask(question), "serializable");
    connection->setIsolationLevel(ado::adXactReadCommitted); // too late for this one
    EXPECT_EQ(ask(question), "serializable");
    connection->commitTrans();
    connection->beginTrans();
    EXPECT_EQ(ask(question), "read committed");
    connection->commitTrans();
}

/// Connection strings that let a text hold several statements, or a failing one spoil its transaction: drivers
/// then report success for what keeps nothing, or only what came after.
TEST_P(OdbcServerTransactions, areNotCommittedWhenSpoiled) {
    fill(1);
    if (isOn(mariadbEngine)) {
        const auto several = connect(";OPTION=67108864");
        EXPECT_NE(statusOf([&] { run(several, "DELETE FROM t; SELECT * FROM missing"); }), 0U);
        EXPECT_NE(statusOf([&] { count(several->execute("SELECT 1; SELECT * FROM missing", nullptr, 0)); }),
                  0U);
        return;
    }
    for (const char* protocol : {";Protocol=7.4-0", ";Protocol=7.4-1"}) {
        const auto spoiling = connect(protocol);
        spoiling->beginTrans();
        run(spoiling, "INSERT INTO t VALUES (2)");
        EXPECT_NE(statusOf([&] { run(spoiling, "SELEC 1"); }), 0U);
        statusOf([&] { run(spoiling, "INSERT INTO t VALUES (3)"); });
        EXPECT_EQ(statusOf([&] { spoiling->commitTrans(); }), ado::xactAborted) << protocol;
        EXPECT_EQ(ask("SELECT count(*) FROM t"), "1") << protocol;
        spoiling->beginTrans();
        run(spoiling, "INSERT INTO t VALUES (4)");
        spoiling->commitTrans();
        EXPECT_EQ(ask("DELETE FROM t WHERE id = 4 RETURNING id"), "4") << protocol;
    }
}

class OdbcBusyCommit : public OdbcObjects {};
INSTANTIATE_TEST_SUITE_P(Engines, OdbcBusyCommit, testing::Values(sqliteEngine), nameOf);

TEST_P(OdbcBusyCommit, leavesNothingOpenBehind) {
    fill(1);
    const auto reader = connect();
    reader->beginTrans();
    const auto held = reader->execute("SELECT id FROM t", nullptr, 0); // holds the read lock
    connection->close();
    connection->open(connectionString(";Timeout=50"), "", "", 0);
    connection->beginTrans();
    const auto commit = [&] {
        run("INSERT INTO t VALUES (2)");
        connection->commitTrans();
    };
    EXPECT_EQ(statusOf(commit), ado::dbResourceLocked);
    held->close();
    reader->rollbackTrans();
    EXPECT_EQ(ask("SELECT count(*) FROM t"), "1");
    run("INSERT INTO t VALUES (3)");
    EXPECT_EQ(ask(reader, "SELECT count(*) FROM t"), "2");
}

} // namespace
