#ifndef ORVEL_ENGINES_ODBC_SESSION_H
#define ORVEL_ENGINES_ODBC_SESSION_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engines/odbc/diagnostic.h"
#include "engines/odbc/driver_manager.h"
#include "platform/ado/engine.h"
#include "platform/ado/transaction_state.h"
#include "platform/hresult.h"

namespace orvel::engines::odbc {

class Statement;

/// What is known of a driver and its engine once connected, and decides how they are used.
struct EngineTraits {
    Engine engine = Engine::other;
    std::string driverName;
    std::string driverVersion;
    /// A failing statement leaves its transaction unusable, or ends it, instead of undoing itself alone.
    bool failureSpoilsTransaction = false;
    /// Character columns described with this many characters or more may be without a limit; 0: all may be.
    SQLULEN unlimitedTextSize = 0;
    /// Decimal columns described with this many digits or more may be without a limit; 0: all may be.
    SQLULEN unlimitedDecimalSize = 0;
    /// What a direct execution with parameters costs, a prepared one costs as well.
    bool directPreparesAnyway = false;
    /// A prepared text with more markers than these fails.
    std::size_t mostPreparedMarkers = ~std::size_t{0};
    /// The length of a binary parameter is read when it is bound, and not again.
    bool bindingFixesLengths = false;
    /// Tables that a transaction has read keep their columns until it ends.
    bool transactionLocksTables = false;
};

/// A point in the life of a session's tables. Between two points that are equal, no table read by the session has changed its
/// columns: the transaction has them locked, and the session has sent no text that could have changed them.
struct SchemaPoint {
    std::uint64_t transaction = 0; ///< 0: nothing is locked
    std::uint64_t texts = 0;       ///< sent so far

    bool sameAs(const SchemaPoint& other) const noexcept {
        return transaction != 0 && transaction == other.transaction && texts == other.texts;
    }
};

/// One connection to an engine: connected when it is made, disconnected at the latest when the last object
/// that shares it goes. Statements register, so that none of their handles is used once the connection is
/// gone.
class Session final : public ado::Session, public std::enable_shared_from_this<Session> {
public:
    explicit Session(const ado::Login& login);
    ~Session() override;

    const std::string& clientName() const noexcept override { return engineTraits.driverName; }
    const std::string& clientVersion() const noexcept override { return engineTraits.driverVersion; }
    std::shared_ptr<ado::Statement> makeStatement() override;

    bool isOpen() const noexcept { return link != Link::closed; }
    const EngineTraits& traits() const noexcept { return engineTraits; }

    void disconnect() noexcept override;

    /// A new statement handle.
    StatementHandle allocateStatement();
    void enlist(Statement& statement) { statements.push_back(&statement); }
    void dismiss(const Statement& statement) noexcept;

    /// A driver that refuses a timeout is asked once.
    bool takesTimeout() const noexcept { return !timeoutRefused; }
    void refuseTimeout() noexcept { timeoutRefused = true; }

    /// Notes the level; it goes to the engine with the next transaction, or with the next statement outside of one.
    void setIsolationLevel(std::int32_t level) override;
    void begin() override;
    /// Ends the transaction whether it succeeds or fails. Once the engine has committed, nothing fails any more: what is
    /// still to be done then gives the session up where it cannot be done.
    void commit() override;
    void rollback() override;

    /// The failure that was just raised only asks for the plan to be made anew; its errors are forgotten then.
    bool isPlanOutdated() noexcept;
    /// Counted from 1; 0 when none is open.
    std::uint64_t currentTransaction() const noexcept { return transaction.number(); }
    /// A text goes to the engine, be it to run or to be prepared.
    void noteText() noexcept { ++texts; }
    SchemaPoint schemaPoint() const noexcept {
        const bool isLocked =
            engineTraits.transactionLocksTables && transaction.state() == ado::TransactionState::working;
        return {isLocked ? transaction.number() : 0, texts};
    }
    /// To be called before a statement runs: an isolation level that waits is set, a doubt is settled.
    void prepareForStatement();
    /// A statement has succeeded, so that an open transaction has something to lose.
    void noteSuccess() noexcept { transaction.noteWork(); }
    /// Something was done whose failure is not told, and which the transaction would not survive.
    void doubtTransaction() noexcept;
    /// A scan ended before its last row. Its reader sees an end like any other, so the commit has to tell.
    void noteBrokenScan() noexcept { transaction.spoil(); }

    /// Turns the diagnostics of a failed call into the connection's errors and a ComError. To be called right
    /// after it.
    [[noreturn]] void fail(SQLSMALLINT handleType, SQLHANDLE handle);

private:
    /// Lost: nothing reaches the engine any more, though the driver has not been told to disconnect.
    enum class Link : std::uint8_t { closed, connected, lost };

    EnvironmentHandle environment;
    ConnectionHandle connection;
    std::shared_ptr<ado::ErrorList> errors;
    EngineTraits engineTraits;
    std::vector<Statement*> statements;
    SQLUINTEGER wantedIsolation = 0; ///< 0: whatever the engine's default is
    SQLUINTEGER isolation = 0;
    Link link = Link::closed;
    ado::Transaction transaction;
    std::uint64_t texts = 0;
    bool timeoutRefused = false;

    void connect(const std::string& connectionString, std::int32_t loginTimeout, std::string& completed);
    void check(SQLRETURN code);
    std::string information(SQLUSMALLINT kind);
    SQLULEN driverOption(SQLINTEGER attribute, SQLULEN otherwise);
    void learnTraits(const std::string& connectionString, bool unknownOptions);
    void applyIsolation();
    void noticeLoss();
    void settleDoubt() noexcept;
    bool hasLostItsTransaction() noexcept;
    bool answers(const char* question) noexcept;
    bool executes(const char* text) noexcept;
    void abandonTransaction() noexcept;
    void leaveTransaction() noexcept;
    [[noreturn]] void failCommit();
    void note(const Diagnostic& diagnostic) noexcept;
    std::vector<Diagnostic> diagnosticsOf(SQLSMALLINT handleType, SQLHANDLE handle);
    /// @param status  0 for what the first diagnostic means
    [[noreturn]] void raise(std::vector<Diagnostic> diagnostics, std::uint32_t status = 0);
};

} // namespace orvel::engines::odbc

#endif
