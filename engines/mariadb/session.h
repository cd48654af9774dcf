#ifndef ORVEL_ENGINES_MARIADB_SESSION_H
#define ORVEL_ENGINES_MARIADB_SESSION_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "engines/mariadb/failure.h"
#include "engines/mariadb/wire.h"
#include "engines/mariadb/words.h"
#include "platform/ado/engine.h"
#include "platform/ado/transaction_state.h"

namespace orvel::engines::mariadb {

class Statement;

/// A connection to MariaDB. One statement at a time has its answer on the wire; the rows that it has not given out are fetched
/// into memory when another one wants to use the connection.
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
    MYSQL* connection() const noexcept { return wire.get(); }
    Wire& answers() noexcept { return wire; }
    /// The latest timeout of a statement bounds what the session itself does.
    void noteTimeout(std::int32_t seconds) noexcept { timeout = seconds; }
    bool isInTransaction() const noexcept { return wire.isInTransaction(); }

    /// Frees the connection for what is to be sent.
    /// @throws ComError  when the session is gone
    void claim();
    /// The answer of this statement is on the connection from now on, until its trip is finished.
    void expectAnswerFor(Statement& statement) noexcept { running = &statement; }
    /// There was none: nothing but a plan was made.
    void expectNoAnswer() noexcept { running = nullptr; }
    /// All of a statement's answer has been read, so that the connection is free.
    void finishTrip(bool wasInTransaction, TextKind kind, const Failure& failure) noexcept;
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
    /// Closes a plan, as soon as the connection is free: in the middle of another's rows, that would lose some of them.
    void drop(Plan plan) noexcept;

    /// The text had few rows and no column of single precision when it ran as a plan, and no table has changed since, as far
    /// as this session knows.
    bool isKnownWithoutSingles(const std::string& text) const { return withoutSingles.contains(text); }
    void noteWithoutSingles(const std::string& text);
    void forgetTexts() noexcept { withoutSingles.clear(); }

    [[noreturn]] void raise(Failure failure) { ado::raise(std::move(failure), *errors); }

private:
    /// Lost: the connection failed and was closed; closed: the caller asked for it.
    enum class Link : std::uint8_t { closed, connected, lost };

    std::shared_ptr<ado::ErrorList> errors;
    Wire wire;
    std::string name = "libmariadb";
    std::string version;
    ado::Transaction transaction;
    Statement* running = nullptr;   ///< the one whose answer is on the connection
    std::vector<Plan> droppedPlans; ///< to be closed
    std::unordered_set<std::string> withoutSingles;
    std::int32_t isolation = 0;     ///< an ado::IsolationLevel, 0: the server's own
    std::int32_t isolationSent = 0; ///< the one that the server was told
    std::int32_t timeout = 0;
    Link link = Link::closed;

    Failure perform(const std::string& text, bool mayCancel = true);
    Failure applyIsolation();
    void noticeFailure(TextKind kind, const Failure& failure);
    void keepTransactionOpen();
    void storeRunning() noexcept;
    void closePlans() noexcept;
    void noticeLoss() noexcept;
    void abandonTransaction() noexcept;
    void requireConnected() const;
    [[noreturn]] void failCommit(Failure failure);
};

} // namespace orvel::engines::mariadb

#endif
