// Nested transactions, by counting, as the SQLite provider does, and the last inserted id.

#include "QD_ADOOrvelConnection.h"

#include <utility>

#include "QD_ADOOrvelException.h"
#include "QD_OrvelTransaction.h"
#include "ado/com_error_translation.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace ado = orvel::platform::ado;
using orvel::adoFramed;

namespace {

std::int32_t isolationLevel(unsigned int flags) {
    constexpr unsigned int serializable = QD_ORVEL_TRANSACTION_IMMEDIATE | QD_ORVEL_TRANSACTION_EXCLUSIVE;
    return (flags & serializable) != 0 ? ado::adXactSerializable : ado::adXactReadCommitted;
}

[[noreturn]] void throwNesting(const char* function) {
    throw QD_ADOOrvelException(QD_ORVEL_ERR_NESTED_TRANSACTION, function, 0, "", 0);
}

} // namespace

void QD_ADOOrvelConnection::beginTransaction(unsigned int flags, const char* /*name*/) {
    constexpr const char* function = "QD_ADOOrvelConnection::beginTransaction";
    if (transactionDepth < 0) {
        throwNesting(function);
    } // outside the frame: the name stands once in the trace
    adoFramed({function, QD_ORVEL_ERR_BEGIN_TRANSACTION}, connection, [&] {
        ++transactionDepth; // first: a begin that fails counts as open
        if (transactionDepth > 1) {
            return;
        }
        checkDB();
        connection->setIsolationLevel(isolationLevel(flags));
        connection->beginTrans();
        commitFailed = false;
    });
}

void QD_ADOOrvelConnection::commitTransaction(const char* /*name*/) {
    constexpr const char* function = "QD_ADOOrvelConnection::commitTransaction";
    if (transactionDepth < 1) {
        throwNesting(function);
    }
    adoFramed({function, QD_ORVEL_ERR_COMMIT_TRANSACTION}, connection, [&] {
        --transactionDepth; // first: a commit that fails counts as done
        if (transactionDepth > 0) {
            return;
        }
        checkDB();
        commitFailed = true;
        connection->commitTrans();
        commitFailed = false;
        putIsolationLevelBack(function);
    });
}

void QD_ADOOrvelConnection::abortTransaction(const char* /*name*/) {
    constexpr const char* function = "QD_ADOOrvelConnection::abortTransaction";
    if (transactionDepth < 1) {
        rollBackFailedCommit();
        throwNesting(function);
    }
    adoFramed({function, QD_ORVEL_ERR_ABORT_TRANSACTION}, connection, [&] {
        --transactionDepth;
        if (transactionDepth > 0) {
            return;
        }
        checkDB();
        connection->rollbackTrans();
        putIsolationLevelBack(function);
    });
}

/// The transaction has ended as its caller wanted: what fails from here on must not be told as if it had not.
void QD_ADOOrvelConnection::putIsolationLevelBack(const char* function) noexcept {
    orvel::adoSwallowed(function, connection,
                        [&] { connection->setIsolationLevel(ado::adXactReadCommitted); });
}

/// A commit that failed may have left the engine's transaction open while the count says that it is over. The
/// abort that then comes from the transaction object's end still fails, but takes the transaction with it.
void QD_ADOOrvelConnection::rollBackFailedCommit() noexcept {
    constexpr const char* function = "QD_ADOOrvelConnection::abortTransaction";
    if (!std::exchange(commitFailed, false) || connection == nullptr) {
        return;
    }
    orvel::adoSwallowed(function, connection, [&] {
        try {
            connection->rollbackTrans();
        } catch (const orvel::platform::ComError& error) {
            if (error.hresult() != ado::xactNoTransaction) { // the failed commit has ended it, as it should
                throw;
            }
        }
    });
    putIsolationLevelBack(function);
}

long long QD_ADOOrvelConnection::getLastInsertedId() {
    return adoFramed({"QD_ADOOrvelConnection::getLastInsertedId", QD_ORVEL_ERR_LAST_INSERTED_ID}, connection,
                     [&]() -> long long {
                         checkDB();
                         return execQueryScalar(command("GetLastInsertedID", nullptr, nullptr).c_str(), 0);
                     });
}
