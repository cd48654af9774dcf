#include <thread>

#include "platform/ado/class_factory.h"
#include "platform/ado/constants.h"
#include "tests/platform/odbc/engine.h"

namespace {

using namespace orvel::tests;
using orvel::platform::ePointer;

class OdbcObjects : public EngineTest {
protected:
    bool isPostgresql() const { return std::string(engine().variable) == "ORVEL_TEST_POSTGRESQL"; }
    void fill(int rows) {
        createTable("id INTEGER PRIMARY KEY, v INTEGER");
        for (int id = 1; id <= rows; ++id) {
            run("INSERT INTO " + table + " VALUES (" + std::to_string(id) + ", 0)");
        }
    }
    /// Rows left in a recordset.
    static int count(const ado::Ref<ado::Recordset>& rows) {
        int number = 0;
        for (; !rows->eof(); rows->moveNext()) {
            ++number;
        }
        return number;
    }
};

TEST_P(OdbcObjects, aConnectionSaysWhatItGoesThroughAndWhetherItIsOpen) {
    auto fresh = ado::createObject<ado::Connection>();
    EXPECT_EQ(fresh->provider() + fresh->version(), "");
    EXPECT_EQ(failureOf(fresh, [&] { fresh->close(); }).status, ado::adErrObjectClosed);
    EXPECT_EQ(failureOf(fresh, [&] { run(fresh, "SELECT 1"); }).status, ado::adErrObjectClosed);
    fresh->setConnectionTimeout(10);
    fresh->setCommandTimeout(10); // a driver may refuse it
    fresh->open(connectionString(), "", "", 0);
    EXPECT_EQ(failureOf(fresh, [&] { fresh->open(connectionString(), "", "", 0); }).status,
              ado::adErrObjectOpen);
    EXPECT_EQ(ask(fresh, "SELECT 1"), "1");
    fresh->setConnectionTimeout(20); // open or not
    fresh->close();
    EXPECT_NE(fresh->provider().find("odbc"), std::string::npos) << fresh->provider();
    EXPECT_NE(fresh->version().find('.'), std::string::npos) << fresh->version();
}

TEST_P(OdbcObjects, countsAreThoseOfTheChangedRows) {
    fill(3);
    EXPECT_EQ(run("UPDATE " + table + " SET v = 1"), 3);
    EXPECT_EQ(run("UPDATE " + table + " SET v = 2 WHERE id = 99"), 0);
    EXPECT_EQ(run("DELETE FROM " + table + " WHERE id = 99"), 0);
    EXPECT_EQ(run("SELECT * FROM " + table), -1);
    const auto update = command("UPDATE " + table + " SET v = v + 1 WHERE id > ?");
    add(update, ado::adInteger, 4, std::int64_t{1});
    for (int execution = 0; execution < 3; ++execution) {
        ado::Variant affected;
        const auto rows = update->execute(&affected, ado::adCmdText);
        EXPECT_EQ(ado::toInt32(affected), 2);
        EXPECT_EQ(rows->state(), ado::adStateClosed);
        EXPECT_TRUE(rows->eof());
        EXPECT_EQ(rows->fields()->count(), 0);
        EXPECT_EQ(failureOf(connection, [&] { rows->moveNext(); }).status, ado::adErrObjectClosed);
    }
}

TEST_P(OdbcObjects, fieldsAreFoundByNameWithoutCaseAndByPosition) {
    fill(1);
    const auto rows = connection->execute("SELECT id AS Same, v AS same FROM " + table, nullptr, 0);
    const auto fields = rows->fields();
    EXPECT_EQ(fields->count(), 2);
    EXPECT_EQ(ado::toInt32(fields->item("SAME")->value()), 1) << "the first of that name";
    EXPECT_EQ(ado::toInt32(fields->item(1)->value()), 0);
    for (const std::int32_t position : {-1, 2, 65536}) {
        EXPECT_EQ(failureOf(connection, [&] { fields->item(position); }).status, ado::adErrItemNotFound);
    }
    rows->moveNext();
    EXPECT_EQ(failureOf(connection, [&] { fields->item(0)->value(); }).status, ado::adErrNoCurrentRecord);
    EXPECT_EQ(failureOf(connection, [&] { rows->moveNext(); }).status, ado::adErrNoCurrentRecord);
    const auto field = fields->item(0);
    rows->close();
    EXPECT_EQ(failureOf(connection, [&] { field->value(); }).status, ado::adErrObjectClosed);
    EXPECT_EQ(failureOf(connection, [&] { rows->close(); }).status, ado::adErrObjectClosed);
    EXPECT_TRUE(rows->eof());
}

TEST_P(OdbcObjects, aMarkerWithoutAParameterFailsAndTheCommandGoesOn) {
    fill(2);
    const auto select = command("SELECT id FROM " + table + " WHERE id = ? AND v = ?");
    const auto failing = [&] {
        return failureOf(connection, [&] { select->execute(nullptr, ado::adCmdText); }).status;
    };
    EXPECT_EQ(failing(), ado::dbParamNotOptional);
    for (int execution = 0; execution < 2; ++execution) {
        add(select, ado::adInteger, 4, std::int64_t{1});
        EXPECT_EQ(failing(), ado::dbParamNotOptional) << "one of two";
        add(select, ado::adInteger, 4, std::int64_t{0});
        EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 1);
        clear(select);
        EXPECT_EQ(failing(), ado::dbParamNotOptional) << "after they were removed";
    }
}

TEST_P(OdbcObjects, parametersAreRefusedWhenTheyMakeNoSense) {
    const auto insert = command("INSERT INTO " + table + " VALUES (?)");
    const auto failing = [&](std::int32_t type, std::int32_t direction, std::int32_t size,
                             const ado::Variant& value) {
        return failureOf(connection,
                         [&] {
                             insert->parameters()->append(
                                 insert->createParameter("", type, direction, size, value));
                         })
            .status;
    };
    EXPECT_EQ(failing(ado::adBSTR, 1, 0, ado::Empty{}), ado::adErrInvalidParamInfo);
    EXPECT_EQ(failing(ado::adInteger, 2, 4, std::int64_t{1}), ado::adErrInvalidArgument);
    EXPECT_EQ(failing(ado::adGUID, 1, 4, std::int64_t{1}), ado::adErrInvalidArgument);
    EXPECT_EQ(failing(ado::adInteger, 1, 4, std::string("x")), ado::dispTypeMismatch);
    EXPECT_EQ(failureOf(connection, [&] { insert->parameters()->append(nullptr); }).status,
              ado::adErrInvalidArgument);
    EXPECT_EQ(failureOf(connection, [&] { insert->parameters()->remove(0); }).status, ado::adErrItemNotFound);
    add(insert, ado::adInteger, 4, ado::Missing{});
    EXPECT_EQ(failureOf(connection, [&] { insert->execute(nullptr, 1); }).status, ado::dbParamNotOptional);
}

TEST_P(OdbcObjects, aCommandRunsAgainWhileItsRecordsetIsRead) {
    fill(5);
    const auto select = command("SELECT id FROM " + table + " WHERE id >= ? ORDER BY id");
    add(select, ado::adInteger, 4, std::int64_t{2});
    for (int execution = 0; execution < 3; ++execution) {
        const auto first = select->execute(nullptr, ado::adCmdText);
        clear(select);
        add(select, ado::adInteger, 4, std::int64_t{5});
        const auto second = select->execute(nullptr, ado::adCmdText);
        EXPECT_EQ(ado::toInt32(first->fields()->item(0)->value()), execution == 0 ? 2 : 5);
        EXPECT_EQ(count(second), 1);
        EXPECT_EQ(count(first), execution == 0 ? 4 : 1);
    }
    auto kept = select->execute(nullptr, ado::adCmdText);
    EXPECT_EQ(kept->activeConnection().get(), connection.get());
}

TEST_P(OdbcObjects, outliveTheirConnectionWithoutHarm) {
    fill(300);
    const auto select = command("SELECT id FROM " + table + " ORDER BY id");
    select->execute(nullptr, ado::adCmdText);
    const auto rows = select->execute(nullptr, ado::adCmdText);
    rows->moveNext();
    connection->close();
    EXPECT_EQ(ado::toInt32(rows->fields()->item(0)->value()), 2) << "the row was complete";
    EXPECT_GT(count(rows), 0);
    EXPECT_EQ(connection->errors()->count(), 0);
    EXPECT_EQ(failureOf(connection, [&] { select->execute(nullptr, ado::adCmdText); }).status,
              ado::adErrInvalidConnection);
    rows->close();
    connection->open(connectionString(), "", "", 0);
    EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 300)
        << "the command goes on with the connection";

    auto last = connection->execute("SELECT id FROM " + table, nullptr, 0);
    auto orphan = command("SELECT 1");
    orphan->execute(nullptr, ado::adCmdText);
    auto reopened = connect();
    connection->close();
    connection = reopened;
    EXPECT_GT(count(last), 0);
    orphan.reset();
    last.reset();
}

TEST_P(OdbcObjects, anEmptyReferenceIsAnError) {
    const ado::Ref<ado::Connection> nothing;
    EXPECT_EQ(failureOf(nothing, [&] { nothing->close(); }).status, ePointer);
    const auto lonely = ado::createObject<ado::Command>();
    EXPECT_EQ(failureOf(connection, [&] { lonely->execute(nullptr, 1); }).status,
              ado::adErrInvalidConnection);
}

TEST_P(OdbcObjects, comeFromAnotherMakerWhileOneIsRegistered) {
    const auto substitute = ado::createObject<ado::Connection>();
    {
        const ado::Registration<ado::Connection> registration(
            // NOLINTNEXTLINE(performance-no-automatic-move): it stays for the comparison
            [&]() -> ado::Ref<ado::Connection> { return substitute; });
        EXPECT_EQ(ado::createObject<ado::Connection>().get(), substitute.get());
        const ado::Registration<ado::Connection> none({});
        EXPECT_EQ(failureOf(connection, [] { ado::createObject<ado::Connection>(); }).status,
                  ado::classNotRegistered);
    }
    EXPECT_NE(ado::createObject<ado::Connection>().get(), substitute.get());
}

TEST_P(OdbcObjects, workInManyThreadsAtOnceEachOnItsOwnConnection) {
    fill(100);
    const auto work = [this] {
        for (int round = 0; round < 10; ++round) {
            const auto own = connect();
            const auto select = commandOn(own, "SELECT id, v FROM " + table + " WHERE id > ? ORDER BY id");
            add(select, ado::adInteger, 4, std::int64_t{50});
            EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 50);
            EXPECT_EQ(count(select->execute(nullptr, ado::adCmdText)), 50);
            EXPECT_NE(failureOf(own, [&] { run(own, "SELEC 1"); }).status, 0U);
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcObjects,
                         testing::Values(sqliteEngine, postgresqlEngine, postgresqlCursorsEngine,
                                         mariadbEngine),
                         nameOf);

class OdbcPrepared : public OdbcObjects {
protected:
    std::string preparesSoFar() {
        return isPostgresql() ? ask("SELECT count(*) FROM pg_prepared_statements")
                              : ask("SELECT variable_value FROM information_schema.session_status "
                                    "WHERE variable_name = 'Com_stmt_prepare'");
    }
};

TEST_P(OdbcPrepared, aThousandExecutionsAreOnePrepare) {
    fill(10);
    const auto insert = command("INSERT INTO " + table + " (id, v) VALUES (?, ?)");
    const auto before = std::stoi(preparesSoFar());
    const auto costOfAsking = std::stoi(preparesSoFar()) - before; // one driver prepares everything
    for (int number = 0; number < 1000; ++number) {
        clear(insert);
        add(insert, ado::adInteger, 4, std::int64_t{1000 + number});
        addInteger(insert, number);
        insert->execute(nullptr, ado::adExecuteNoRecords);
    }
    EXPECT_EQ(std::stoi(preparesSoFar()) - before - 2 * costOfAsking, 1);
    EXPECT_EQ(ask("SELECT count(*) FROM " + table), "1010");

    const auto select = command("SELECT v FROM " + table + " WHERE id = ?");
    const auto between = std::stoi(preparesSoFar());
    for (int number = 0; number < 1000; ++number) {
        clear(select);
        add(select, ado::adInteger, 4, std::int64_t{1000 + number});
        const auto rows = select->execute(nullptr, ado::adCmdText);
        ASSERT_EQ(ado::toInt32(rows->fields()->item(0)->value()), number);
    }
    EXPECT_EQ(std::stoi(preparesSoFar()) - between - costOfAsking, 1);
}

TEST_P(OdbcPrepared, aCommandSurvivesAChangeOfItsTable) {
    fill(1);
    const auto select = command("SELECT * FROM " + table);
    for (int execution = 0; execution < 3; ++execution) {
        EXPECT_EQ(select->execute(nullptr, ado::adCmdText)->fields()->count(), 2);
    }
    run("ALTER TABLE " + table + " ADD COLUMN w VARCHAR(10) DEFAULT 'new'");
    for (int execution = 0; execution < 2; ++execution) {
        const auto rows = select->execute(nullptr, ado::adCmdText);
        EXPECT_EQ(ado::toText(rows->fields()->item("w")->value()), "new");
    }
    if (!isPostgresql()) {
        return; // with as many columns as before, its driver keeps the old names for them
    }
    run("ALTER TABLE " + table + " DROP COLUMN v");
    run("ALTER TABLE " + table + " ADD COLUMN v VARCHAR(40) DEFAULT 'text now'");
    for (int execution = 0; execution < 2; ++execution) {
        EXPECT_EQ(ado::toText(select->execute(nullptr, ado::adCmdText)->fields()->item("v")->value()),
                  "text now");
    }
}

TEST_P(OdbcPrepared, aStatementThatChangesRowsAndAnswersThemDoesSoEveryTime) {
    fill(3);
    const auto remove = command("DELETE FROM " + table + " WHERE id = ? RETURNING id");
    for (const int id : {9, 1, 9, 2, 3}) {
        clear(remove);
        add(remove, ado::adInteger, 4, std::int64_t{id});
        EXPECT_EQ(count(remove->execute(nullptr, ado::adCmdText)), id == 9 ? 0 : 1) << id;
    }
    EXPECT_EQ(ask("SELECT count(*) FROM " + table), "0");
}

TEST_P(OdbcPrepared, anIntegerOf64BitsFindsItsRowByTheIndex) {
    if (!isPostgresql()) {
        createTable("id BIGINT PRIMARY KEY");
        run("INSERT INTO " + table + " VALUES (9007199254740993), (9007199254740992)");
        const auto exact = command("SELECT count(*) FROM " + table + " WHERE id = ?");
        addInteger(exact, 9007199254740993); // equal to its neighbour as a double
        EXPECT_EQ(ado::toInt32(exact->execute(nullptr, 1)->fields()->item(0)->value()), 1);
        return;
    }
    createTable("id BIGINT PRIMARY KEY");
    run("INSERT INTO " + table + " SELECT generate_series(1, 10000)");
    run("ANALYZE " + table);
    const auto explain = command("EXPLAIN SELECT * FROM " + table + " WHERE id = ?");
    addInteger(explain, 5000);
    EXPECT_NE(ado::toText(explain->execute(nullptr, 1)->fields()->item(0)->value()).find("Index"),
              std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Engines, OdbcPrepared, testing::Values(postgresqlEngine, mariadbEngine), nameOf);

} // namespace
