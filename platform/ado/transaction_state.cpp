#include "platform/ado/transaction_state.h"

#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace orvel::platform::ado {

void Transaction::requireNone() const {
    if (isOpen()) {
        throw ComError(xactTransactionExists, "There is a transaction already.");
    }
}

void Transaction::begin() noexcept {
    current = TransactionState::clean;
    ++begun;
}

void Transaction::spoil() noexcept {
    if (isOpen() && current != TransactionState::lost) {
        current = TransactionState::spoiled;
    }
}

void Transaction::lose() noexcept {
    if (isOpen()) {
        current = TransactionState::lost;
    }
}

void Transaction::requireOpen() const {
    if (!isOpen()) {
        throw ComError(xactNoTransaction, "There is no transaction.");
    }
}

void Transaction::requireCommittable() const {
    requireOpen();
    if (current == TransactionState::spoiled) {
        throw ComError(xactAborted,
                       "A statement or a scan failed and took its transaction along: nothing was kept.");
    }
    if (current == TransactionState::lost) {
        throw ComError(xactAborted, "The connection was lost before the commit: nothing was kept.");
    }
}

} // namespace orvel::platform::ado
