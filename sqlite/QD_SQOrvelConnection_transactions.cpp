// Nested transactions, by counting: the outermost begin and the matching last commit or abort reach SQLite,
// the others only count. The count changes before the statement runs, so a begin whose statement failed
// counts as open and a commit or abort whose statement failed counts as done; callers rely on it.

#include <sqlite3.h>

#include <utility>

#include "QD_OrvelTransaction.h"
#include "QD_SQOrvelConnection.h"
#include "QD_SQOrvelException.h"
#include "core/entry_frame.h"
#include "sqlite/sqlite_text.h"

using orvel::framed;

namespace {

constexpr const char* checkName = "QD_SQOrvelConnection::checkTransaction";

const char* beginStatement(unsigned int flags) {
    if ((flags & QD_ORVEL_TRANSACTION_IMMEDIATE) != 0) {
        return "BEGIN IMMEDIATE TRANSACTION;";
    }
    if ((flags & QD_ORVEL_TRANSACTION_EXCLUSIVE) != 0) {
        return "BEGIN EXCLUSIVE TRANSACTION;";
    }
    return "BEGIN DEFERRED TRANSACTION;";
}

[[noreturn]] void throwNesting(const char* function) {
    throw QD_SQOrvelException(QD_ORVEL_ERR_NESTED_TRANSACTION, function, 0, "", 0);
}

} // namespace

void QD_SQOrvelConnection::beginTransaction(unsigned int flags, const char* /*name*/) {
    constexpr const char* function = "QD_SQOrvelConnection::beginTransaction";
    if (transactionDepth < 0) { // outside the frame: the name stands once in the trace
        throwNesting(function);
    }
    framed({function, QD_ORVEL_ERR_BEGIN_TRANSACTION}, [&] {
        ++transactionDepth;
        if (transactionDepth > 1) {
            return;
        }
        checkDB();
        compileRollback();
        execNoQuery(beginStatement(flags), 0);
        transaction = Transaction::open;
    });
}

void QD_SQOrvelConnection::commitTransaction(const char* /*name*/) {
    constexpr const char* function = "QD_SQOrvelConnection::commitTransaction";
    if (transactionDepth < 1) {
        throwNesting(function);
    }
    framed({function, QD_ORVEL_ERR_COMMIT_TRANSACTION}, [&] {
        --transactionDepth;
        if (transactionDepth > 0) {
            return;
        }
        checkDB();
        if (transaction == Transaction::rolledBack) {
            transaction = Transaction::none; // the next begin is another transaction
            throwRolledBack();
        }
        transaction = Transaction::commitFailed; // until it has succeeded
        execNoQuery("COMMIT TRANSACTION;", 0);
        transaction = Transaction::none;
    });
}

void QD_SQOrvelConnection::abortTransaction(const char* /*name*/) {
    constexpr const char* function = "QD_SQOrvelConnection::abortTransaction";
    if (transactionDepth < 1) {
        // A commit that met a busy database leaves SQLite's transaction open while the count says that it is over. The
        // abort that then comes from the transaction object's end still fails, but takes the transaction with it.
        if (transaction == Transaction::commitFailed) {
            rollBack();
        }
        throwNesting(function);
    }
    framed({function, QD_ORVEL_ERR_ABORT_TRANSACTION}, [&] {
        --transactionDepth;
        if (transactionDepth > 0) {
            return;
        }
        checkDB();
        if (std::exchange(transaction, Transaction::none) == Transaction::rolledBack) {
            return; // as the caller wants it
        }
        try {
            execNoQuery("ROLLBACK TRANSACTION;", 0);
        } catch (...) {
            rollBack(); // what is done next must not become a part of this transaction
            throw;
        }
    });
}

void QD_SQOrvelConnection::refuseOrRollBack() {
    if (transaction == Transaction::rolledBack) {
        throwRolledBack();
    }
    rollBack();
    if (transaction == Transaction::stuck) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, checkName, SQLITE_NOMEM,
                                  "An aborted transaction could not be rolled back yet", 0);
    }
}

void QD_SQOrvelConnection::noteEndOfTransaction() noexcept {
    if (db == nullptr || sqlite3_get_autocommit(db) != 0) {
        transaction = Transaction::none; // what begins from now on is another one
    }
}

void QD_SQOrvelConnection::throwRolledBack() const {
    const std::string reason = rollbackReason.empty() ? sqlite3_errstr(rollbackCode) : rollbackReason;
    throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, checkName, SQLITE_ABORT,
                              ("The transaction was rolled back by SQLite: " + reason).c_str(), 0);
}

/// Some failures make SQLite roll the whole transaction back: a full disk, for example, or what the statement asks for.
void QD_SQOrvelConnection::noteFailure(sqlite3* failed, int result) noexcept {
    if (transaction != Transaction::open || failed != db || sqlite3_get_autocommit(db) == 0) {
        return;
    }
    transaction = Transaction::rolledBack;
    rollbackCode = result;
    try {
        rollbackReason = orvel::sqliteMessage(db, result);
    } catch (...) {
        rollbackReason.clear(); // the code has general words
    }
}

void QD_SQOrvelConnection::compileRollback() noexcept {
    if (rollback == nullptr) {
        sqlite3_prepare_v2(db, "ROLLBACK", -1, &rollback, nullptr);
    }
}

void QD_SQOrvelConnection::forgetTransaction() noexcept {
    transaction = Transaction::none;
    sqlite3_finalize(std::exchange(rollback, nullptr));
}

/// Rolls back whatever is open, without memory of the library's and, if it can be, of SQLite's.
void QD_SQOrvelConnection::rollBack() noexcept {
    transaction = Transaction::none;
    if (db == nullptr || sqlite3_get_autocommit(db) != 0) {
        return;
    }
    if (rollback != nullptr) {
        sqlite3_step(rollback);
        sqlite3_reset(rollback);
    }
    if (sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (sqlite3_get_autocommit(db) == 0) {
        transaction = Transaction::stuck; // tried again before the next statement runs
    }
}
