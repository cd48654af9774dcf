#include "QD_OrvelTransaction.h"

#include <memory>
#include <new>
#include <string>

#include "QD_OrvelException.h"
#include "core/entry_frame.h"

struct QD_OrvelTransactionState {
    QD_OrvelConnectionHandle connection;
    bool active = false;
    unsigned int flags = 0;
    std::string name;
};

namespace {

/// The state, or null when memory is exhausted.
QD_OrvelTransactionState* newState(const QD_OrvelConnectionHandle& connection, unsigned int flags,
                                   const char* name) {
    try {
        auto made = std::make_unique<QD_OrvelTransactionState>();
        made->connection = connection;
        made->flags = flags;
        made->name = name != nullptr ? name : "";
        return made.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

QD_OrvelTransaction::QD_OrvelTransaction(QD_OrvelConnectionHandle& connection, unsigned int flags,
                                         bool beginNow, const char* name)
    : state(newState(connection, flags, name)) {
    if (state == nullptr) {
        throw QD_OrvelException(QD_ORVEL_ERR_OUT_OF_MEMORY, "QD_OrvelTransaction::QD_OrvelTransaction", 0, "",
                                0);
    }
    // When this throws, the state and its reference stay: a connection whose begin failed still counts it,
    // and must not be closed and opened again as if nothing had happened.
    if (beginNow) {
        begin();
    }
}

QD_OrvelTransaction::~QD_OrvelTransaction() {
    orvel::swallowed("QD_OrvelTransaction::~QD_OrvelTransaction", [&] { abort(); });
    delete state;
}

void QD_OrvelTransaction::begin() {
    if (state->connection.isNull()) {
        throw QD_OrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_OrvelTransaction::begin", 0, "", 0);
    }
    if (state->active) {
        return;
    }
    state->connection->beginTransaction(state->flags, state->name.c_str());
    state->active = true;
}

void QD_OrvelTransaction::commit() {
    if (!state->active) {
        return;
    }
    state->connection->commitTransaction(state->name.c_str());
    state->active = false;
}

void QD_OrvelTransaction::abort() {
    if (!state->active) {
        return;
    }
    state->connection->abortTransaction(state->name.c_str());
    state->active = false;
}
