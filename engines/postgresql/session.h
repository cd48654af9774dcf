#ifndef ORVEL_ENGINES_POSTGRESQL_SESSION_H
#define ORVEL_ENGINES_POSTGRESQL_SESSION_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engines/postgresql/failure.h"
#include "engines/postgresql/markers.h"
#include "engines/postgresql/wire.h"
#include "platform/ado/engine.h"
#include "platform/ado/transaction_state.h"

namespace orvel::engines::postgresql {

class Statement;

/// How a statement in a transaction is made to undo itself alone when it fails, for which the server wants a savepoint.
///
/// One savepoint of ours is always the last of the transaction: each statement takes another one along, in its own trip,
/// to which the next failure goes back.
enum class Guard : std::uint8_t {
    none,  ///< nothing goes along: outside of a transaction, or with the caller's own control of it
    first, ///< SAVEPOINT: nothing has been done yet, so that a failure begins the transaction anew
    renew  ///< RELEASE, SAVEPOINT
};

/// A connection to PostgreSQL. One statement at a time has its answer on the wire; the rows that it has not given out are
/// fetched into memory when another one wants to use the connection.
class Session final : public ado::Session, public std::enable_shared_from_this<Session> {
public:
    explicit Session(const ado::Login& login);
    ~Session() override;

    const std::string& clientName() const noexcept override { return name; }
    const std::string& clientVersion() const noexcept override { return version; }
    void disconnect() noexcept override;
    std::shared_ptr<ado::Statement> makeStatement() override;
    void setIsolationLevel(std::int32_t level) override;
    void begin() override;
    void commit() override;
    void rollback() override;

    bool isUsable() const noexcept { return link == Link::connected; }
    PGconn* connection() const noexcept { return wire.get(); }
    Wire& answers() noexcept { return wire; }
    /// The latest timeout of a statement bounds what the session itself does.
    void noteTimeout(std::int32_t seconds) noexcept { timeout = seconds; }
    bool escapesInStrings() const noexcept;
    bool usesSavepoints() const noexcept { return savepoints; }

    /// Frees the connection for what is to be sent.
    /// @throws ComError  when the session is gone
    void claim();
    /// The answer of this statement is on the connection from now on, until its trip is finished.
    void expectAnswerFor(Statement& statement) noexcept { running = &statement; }
    /// Dates are read in the form of ISO: a session that was set to write others keeps the order of their parts alone, in
    /// which it reads them.
    void keepDateStyle();
    /// What is to go along with a text that runs now.
    Guard guardFor(const TextTraits& text);
    /// The texts of a guard, to stand behind another text.
    const std::string& guardText(Guard guard) const noexcept {
        return guard == Guard::renew ? renewText : savepointText;
    }
    /// Sends the statements of a guard into the pipeline.
    bool sendGuard(Guard guard) const;
    /// Makes plans of them, where they have no number yet.
    /// @return a failure of the server
    Failure prepareGuards();
    /// A text may have dropped them; they are made again when they are needed.
    void forgetGuards() noexcept { hasGuards = false; }
    /// Does so when the failure names one of them.
    void noticeDroppedPlan(const Failure& failure) noexcept;
    bool isInTransaction() const noexcept { return wire.transactionStatus() == PQTRANS_INTRANS; }

    /// All of a statement's answer has been read, so that the connection is free. Undoes what failed.
    void finishTrip(Guard guard, const TextTraits& text, bool wasInTransaction, const Failure& failure);
    /// The same of preparing a plan, which leaves nothing in the transaction.
    void finishPreparing(bool wasInTransaction, const Failure& failure);
    /// Closes a connection that failed; its transaction is lost. Harmless when repeated.
    void lose() noexcept;
    /// Nothing has come within the time there was: the session is given up.
    Failure giveUp();
    /// Of the transaction that is open; 0 for none.
    std::uint64_t transactionNumber() const noexcept { return transaction.number(); }
    /// A scan of that transaction ended before its last row.
    void noteBrokenScan(std::uint64_t number) noexcept {
        if (number == transaction.number()) {
            transaction.spoil();
        }
    }
    /// Notes a plan for the next time that plans are dropped, many in one trip.
    void dropPlan(std::string plan) noexcept;
    /// A name that no other plan of the session has had.
    std::string newPlanName();

    [[noreturn]] void raise(Failure failure) { ado::raise(std::move(failure), *errors); }

private:
    /// Lost: the connection failed and was closed; closed: the caller asked for it.
    enum class Link : std::uint8_t { closed, connected, lost };

    std::shared_ptr<ado::ErrorList> errors;
    Wire wire;
    std::string name = "libpq";
    std::string version;
    ado::Transaction transaction;
    Statement* running = nullptr; ///< the one whose answer is on the connection
    std::vector<std::string> droppedPlans;
    std::uint64_t plans = 0;
    std::int32_t isolation = 0; ///< an ado::IsolationLevel, 0: the server's own
    std::int32_t timeout = 0;
    Link link = Link::closed;
    bool savepoints = true;
    bool hasSavepoint = false; ///< ours is the last one
    /// Each time that the caller has moved savepoints of his own, ours gets another name: a way back must not lead to one
    /// that lies behind his.
    std::uint64_t savepointNumber = 0;
    std::string savepointText = "SAVEPOINT orvel"; ///< with that number
    std::string renewText = "RELEASE SAVEPOINT orvel;SAVEPOINT orvel";
    bool hasGuards = false; ///< their plans

    std::string beginText() const;
    void nameSavepoint(std::uint64_t number);
    Failure perform(const std::string& text, bool mayCancel = true);
    Failure performWithGuards(const std::string& text);
    Failure readAll(bool mayCancel);
    void undoFailure(bool wasInTransaction) noexcept;
    void dropPlans() noexcept;
    void noticeLoss() noexcept;
    void abandonTransaction() noexcept;
    void requireConnected() const;
    Failure sendCommit(Result& answer);
    [[noreturn]] void failCommit(Failure failure);
};

} // namespace orvel::engines::postgresql

#endif
