// Transactions on real SQLite files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "QD_OrvelTransaction.h"
#include "QD_SQOrvelConnection.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/sqlite_test.h"

namespace {

using orvel::tests::Error;
using orvel::tests::errorOf;

class SqliteTransaction : public orvel::tests::SqliteTest {
protected:
    SqliteTransaction() { connection->execNoQuery("CREATE TABLE t (a)", 0); }

    QD_OrvelConnectionHandle connection = opened();

    /// What `body` sends to SQLite, without its common end.
    template <class Body>
    static std::string statementsOf(Body body) {
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
        testing::internal::CaptureStderr();
        body();
        QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
        std::string sent = testing::internal::GetCapturedStderr();
        for (const std::string& noise : {std::string("Orvel SQL:\""), std::string(" TRANSACTION;\"\n")}) {
            for (std::size_t at = 0; (at = sent.find(noise, at)) != std::string::npos;) {
                sent.replace(at, noise.size(), at == 0 || noise.front() == 'O' ? "" : ",");
            }
        }
        return sent;
    }

    int rows() { return connection->execQueryScalar("SELECT COUNT(*) FROM t", 0); }
    void insert() { connection->execNoQuery("INSERT INTO t VALUES (1)", 0); }
};

TEST_F(SqliteTransaction, onlyTheOutermostReachesSqlite) {
    EXPECT_EQ(statementsOf([&] {
                  QD_OrvelTransaction outer(connection, 0, true, "");
                  QD_OrvelTransaction inner(connection, QD_ORVEL_TRANSACTION_EXCLUSIVE, true, "");
                  inner.commit();
                  outer.commit();
              }),
              "BEGIN DEFERRED,COMMIT,");
    struct Case {
        unsigned int flags;
        const char* expected;
    };
    for (const Case& item : {Case{0, "BEGIN DEFERRED,ROLLBACK,"}, Case{1, "BEGIN DEFERRED,ROLLBACK,"},
                             Case{QD_ORVEL_TRANSACTION_IMMEDIATE, "BEGIN IMMEDIATE,ROLLBACK,"},
                             Case{QD_ORVEL_TRANSACTION_EXCLUSIVE, "BEGIN EXCLUSIVE,ROLLBACK,"},
                             Case{6, "BEGIN IMMEDIATE,ROLLBACK,"}}) {
        EXPECT_EQ(
            statementsOf([&] { const QD_OrvelTransaction transaction(connection, item.flags, true, ""); }),
            item.expected);
    }
}

TEST_F(SqliteTransaction, anInnerAbortRollsNothingBackAndAnUncommittedOneEverything) {
    {
        QD_OrvelTransaction outer(connection, 0, true, "");
        insert();
        {
            QD_OrvelTransaction inner(connection, 0, true, "");
            insert();
            inner.abort();
        }
        outer.commit();
    }
    EXPECT_EQ(rows(), 2);
    {
        QD_OrvelTransaction transaction(connection, 0, true, "");
        insert();
        EXPECT_EQ(rows(), 3);
    }
    EXPECT_EQ(rows(), 2);
    EXPECT_EQ(opened()->execQueryScalar("SELECT COUNT(*) FROM t", 0), 2);
}

/// Reaches the protected operations, as the transaction object does.
class Probe : public QD_SQOrvelConnection {
public:
    explicit Probe(const char* configFile) : QD_SQOrvelConnection(configFile) {}
    using QD_SQOrvelConnection::abortTransaction;
    using QD_SQOrvelConnection::beginTransaction;
    using QD_SQOrvelConnection::commitTransaction;
};

TEST_F(SqliteTransaction, withoutABeginThereIsNothingToEnd) {
    Probe probe(config.c_str());
    EXPECT_EQ(errorOf([&] { probe.commitTransaction(""); }),
              (Error{18, 0, "", "QD_SQOrvelConnection::commitTransaction", 0}));
    EXPECT_EQ(errorOf([&] { probe.abortTransaction(""); }),
              (Error{18, 0, "", "QD_SQOrvelConnection::abortTransaction", 0}));
}

TEST_F(SqliteTransaction, aBeginOnAClosedConnectionFailsAndCounts) {
    Probe probe(config.c_str());
    const Error closedCommit{12, 1000, "Null Database pointer",
                             "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::commitTransaction", 0};
    EXPECT_EQ(errorOf([&] { probe.beginTransaction(0, ""); }).trace,
              "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::beginTransaction");
    EXPECT_EQ(errorOf([&] { probe.commitTransaction(""); }), closedCommit);
    EXPECT_EQ(errorOf([&] { probe.commitTransaction(""); }).code, QD_ORVEL_ERR_NESTED_TRANSACTION);
}

TEST_F(SqliteTransaction, aBusyCommitIsUndoneByTheTransactionsEnd) {
    insert();
    QD_OrvelConnectionHandle reader = opened();
    QD_OrvelQueryHandle reading = reader->execQuery("SELECT a FROM t", 0);
    connection->setBusyTimeout(0);
    {
        const orvel::tests::DiagnosticLines lines;
        QD_OrvelTransaction transaction(connection, 0, true, "");
        insert();
        EXPECT_EQ(errorOf([&] { transaction.commit(); }),
                  (Error{31, 5, "database is locked",
                         "QD_SQOrvelConnection::execNoQuery <- QD_SQOrvelConnection::execNoQuery <- "
                         "QD_SQOrvelConnection::commitTransaction",
                         0}));
        EXPECT_EQ(rows(), 2) << "still open";
    }
    reading.release();
    EXPECT_EQ(rows(), 1);
    QD_OrvelTransaction next(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true,
                             ""); // nothing is left open behind it
    insert();
    next.commit();
    EXPECT_EQ(reader->execQueryScalar("SELECT COUNT(*) FROM t", 0), 2);
}

TEST_F(SqliteTransaction, aTransactionTheApplicationOpenedItselfIsNotTouched) {
    Probe probe(config.c_str());
    probe.open("Parts", directory.path().string().c_str(), 0);
    probe.execNoQuery("BEGIN; INSERT INTO t VALUES (1)", 0);
    EXPECT_EQ(errorOf([&] { probe.abortTransaction(""); }).code, QD_ORVEL_ERR_NESTED_TRANSACTION);
    probe.execNoQuery("COMMIT", 0);
    EXPECT_EQ(rows(), 1);
}

} // namespace
