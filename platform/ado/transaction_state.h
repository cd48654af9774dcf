#ifndef ORVEL_PLATFORM_ADO_TRANSACTION_STATE_H
#define ORVEL_PLATFORM_ADO_TRANSACTION_STATE_H

#include <cstdint>

namespace orvel::platform::ado {

/// What is known of a session's transaction.
///
/// | state    | meaning                                                         | a commit                   |
/// |----------|-----------------------------------------------------------------|----------------------------|
/// | none     | no transaction has begun                                        | is refused                 |
/// | clean    | begun, and no statement has succeeded in it                     | is sent                    |
/// | working  | a statement has succeeded, so that there is something to lose   | is sent                    |
/// | doubtful | the engine may have ended it in a call whose result is not told | is sent after a question   |
/// | spoiled  | the engine has rolled it back, or a scan in it ended too early  | is refused and rolled back |
/// | lost     | its session is gone, and the transaction with it                | is refused                 |
enum class TransactionState : std::uint8_t { none, clean, working, doubtful, spoiled, lost };

/// The state of one session's transaction, and all of its changes. Only `begin` leaves `none`, only `end` returns to
/// it, and nothing leads from `spoiled` or `lost` back to a state that may be committed.
class Transaction {
public:
    TransactionState state() const noexcept { return current; }
    bool isOpen() const noexcept { return current != TransactionState::none; }
    /// There is something to lose, and it is not lost yet as far as is known.
    bool hasWork() const noexcept {
        return current == TransactionState::working || current == TransactionState::doubtful;
    }
    /// Which transaction of its session is open, counted from 1; 0 when none is.
    std::uint64_t number() const noexcept { return isOpen() ? begun : 0; }

    /// @throws ComError  XACT_E_XTIONEXISTS when one is open
    void requireNone() const;
    void begin() noexcept;
    void noteWork() noexcept { change(TransactionState::clean, TransactionState::working); }
    void doubt() noexcept { change(TransactionState::working, TransactionState::doubtful); }
    void confirm() noexcept { change(TransactionState::doubtful, TransactionState::working); }
    void spoil() noexcept;
    void lose() noexcept;
    void end() noexcept { current = TransactionState::none; }

    /// @throws ComError  XACT_E_NOTRANSACTION when none is open
    void requireOpen() const;
    /// @throws ComError  one sentence for each state in which a commit may not be sent
    void requireCommittable() const;

private:
    TransactionState current = TransactionState::none;
    std::uint64_t begun = 0;

    void change(TransactionState from, TransactionState to) noexcept {
        if (current == from) {
            current = to;
        }
    }
};

} // namespace orvel::platform::ado

#endif
