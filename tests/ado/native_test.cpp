// What both engines do through their own client libraries.

#include <chrono>
#include <vector>

#include "QD_OrvelTransaction.h"
#include "tests/ado/native.h"

namespace {

using namespace orvel::tests;

INSTANTIATE_TEST_SUITE_P(Engines, Native, testing::Values(postgresqlContext, mariadbContext), contextName);

TEST_P(Native, statementsRunBesideRowsThatAreRead) {
    for (const bool inTransaction : {false, true}) {
        run("CREATE TABLE copied (id INTEGER, v VARCHAR(40))");
        QD_OrvelTransaction transaction(connection, 0, inTransaction, "");
        const auto byCommand = command("SELECT id, v FROM t WHERE id > ? ORDER BY id");
        const auto insert = command("INSERT INTO copied VALUES (?, ?)");
        const auto direct = query("SELECT id, v FROM t ORDER BY id DESC");
        const auto first = with(byCommand, 0)->execQuery(0);
        const auto second = with(byCommand, 1000)->execQuery(0);
        for (int row = 1; row <= 3000; ++row, direct->nextRow(), first->nextRow()) {
            ASSERT_EQ(textOf(first), std::to_string(row));
            ASSERT_EQ(textOf(direct, 1), "v" + std::to_string(3001 - row));
            with(insert, row, textOf(first, 1))->execNoQuery(0);
            EXPECT_EQ(errorOf([&] { run(row == 10 ? "SELEC" : "SELECT 1"); }).code, row == 10 ? 13 : -1);
            if (row > 2000) {
                ASSERT_EQ(textOf(second), std::to_string(row - 1000));
                second->nextRow();
            }
        }
        EXPECT_TRUE(first->eof() && direct->eof());
        if (inTransaction) transaction.commit();
        EXPECT_EQ(ask("SELECT COUNT(*) FROM copied c JOIN t USING (id, v)"), 3000) << inTransaction;
        EXPECT_EQ(textOf(second), "2001");
        run("DROP TABLE copied");
    }
}

TEST_P(Native, thousandsOfCommandsGoWithoutDelay) {
    const auto plans = [&] {
        return ask(mine({"", "", "SELECT COUNT(*) FROM pg_prepared_statements",
                         "SELECT CAST(variable_value AS INTEGER) FROM information_schema.global_status "
                         "WHERE variable_name = 'Prepared_stmt_count'"}));
    };
    plans();
    const int ofTheQuestion = plans(); // which is a plan itself where it is new
    std::vector<QD_OrvelCommandHandle> commands;
    for (int number = 0; number < 8000; ++number) {
        commands.push_back(command("SELECT " + std::to_string(number) + " + ?"));
        for (int execution = 0; execution < 2; ++execution) with(commands.back(), 1)->execQuery(0);
    }
    EXPECT_EQ(plans(), 8000 + ofTheQuestion);
    const auto began = std::chrono::steady_clock::now();
    commands.clear();
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(1));
    EXPECT_EQ(plans(), ofTheQuestion) << "and the server keeps none of their plans";
}

TEST_P(Native, aScanThatFailsUnreadSpoilsItsOwnTransactionAlone) {
    const std::string failing =
        mine({"", "", "SELECT 1 / (2900 - g), REPEAT('x', 100) FROM generate_series(1, 3000) g",
              "SELECT id, IF(id = 2900, (SELECT id FROM t), REPEAT('x', 100)) FROM t ORDER BY id"});
    enum class Rows { closed, storedAndClosed, open };
    for (const Rows end : {Rows::closed, Rows::storedAndClosed, Rows::open}) {
        QD_OrvelTransaction transaction(connection, 0, true, "");
        QD_OrvelQueryHandle rows = query(failing);
        if (end == Rows::storedAndClosed) run("SELECT 1");
        if (end != Rows::open) rows.release();
        EXPECT_EQ(errorOf([&] { transaction.commit(); }).hr, 0x8004D019) << static_cast<int>(end);
    }
    for (const bool inAnother : {true, false}) {
        QD_OrvelTransaction earlier(connection, 0, inAnother, "");
        const QD_OrvelQueryHandle old = query(failing);
        if (inAnother) earlier.abort();
        QD_OrvelTransaction transaction(connection, 0, true, "");
        int rows = 0;
        for (; !old->eof(); old->nextRow()) ++rows;
        EXPECT_EQ(rows, 2899);
        EXPECT_EQ(errorOf([&] { transaction.commit(); }).code, -1) << inAnother;
    }
}

TEST_P(Native, aStatementThatTakesTooLongIsUndoneAlone) {
    const std::string sleep = mine({"", "", "pg_sleep(9)", "SLEEP(9)"});
    connection->setBusyTimeout(1000);
    QD_OrvelTransaction transaction(connection, 0, true, "");
    run("UPDATE t SET v = 'kept' WHERE id = 1");
    EXPECT_EQ(errorOf([&] { run("UPDATE t SET v = 'slow' WHERE id = 2 AND " + sleep + " IS NULL"); }).hr,
              0x80040E31);
    const auto sleeper = command("UPDATE t SET v = 'slow' WHERE id = ? AND " + sleep + " IS NOT NULL");
    EXPECT_EQ(errorOf([&] { with(sleeper, 2)->execNoQuery(0); }).hr, 0x80040E31);
    run("UPDATE t SET v = 'kept' WHERE id = 3");
    transaction.commit();
    EXPECT_EQ(valueOf(1) + valueOf(2) + valueOf(3), "keptv2kept");
}

} // namespace
