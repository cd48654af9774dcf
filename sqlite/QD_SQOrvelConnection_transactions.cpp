// Nested transactions, by counting: the outermost begin and the matching last commit or abort reach SQLite,
// the others only count. The count changes before the statement runs, so a begin whose statement failed
// counts as open and a commit or abort whose statement failed counts as done; callers rely on it.

#include <sqlite3.h>

#include "QD_OrvelTransaction.h"
#include "QD_SQOrvelConnection.h"
#include "QD_SQOrvelException.h"
#include "core/entry_frame.h"

using orvel::framed;

namespace {

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
        execNoQuery(beginStatement(flags), 0);
        commitFailed = false;
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
        commitFailed = true;
        execNoQuery("COMMIT TRANSACTION;", 0);
        commitFailed = false;
    });
}

void QD_SQOrvelConnection::abortTransaction(const char* /*name*/) {
    constexpr const char* function = "QD_SQOrvelConnection::abortTransaction";
    if (transactionDepth < 1) {
        rollBackFailedCommit();
        throwNesting(function);
    }
    framed({function, QD_ORVEL_ERR_ABORT_TRANSACTION}, [&] {
        --transactionDepth;
        if (transactionDepth > 0) {
            return;
        }
        checkDB();
        execNoQuery("ROLLBACK TRANSACTION;", 0);
    });
}

/// Before anything runs: whatever ended the transaction of a failed commit, what begins from now on is another one.
void QD_SQOrvelConnection::noticeEndedTransaction() {
    if (commitFailed && db != nullptr && sqlite3_get_autocommit(db) != 0) {
        commitFailed = false;
    }
}

/// A commit that met a busy database leaves SQLite's transaction open while the count says that it is over.
/// The abort that then comes from the transaction object's end still fails, but takes the transaction with it.
void QD_SQOrvelConnection::rollBackFailedCommit() {
    if (commitFailed && db != nullptr && sqlite3_get_autocommit(db) == 0) {
        sqlite3_exec(db, "ROLLBACK TRANSACTION;", nullptr, nullptr, nullptr);
    }
    commitFailed = false;
}
