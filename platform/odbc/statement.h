#ifndef ORVEL_PLATFORM_ODBC_STATEMENT_H
#define ORVEL_PLATFORM_ODBC_STATEMENT_H

#include <cstdint>
#include <memory>
#include <string>

#include "platform/odbc/driver_manager.h"
#include "platform/odbc/result_reader.h"
#include "platform/odbc/session.h"

namespace orvel::platform::odbc {

/// A statement handle with the result that was read through it. When its session closes, the handle goes and
/// the rows in memory stay; whatever needs the handle then fails, or finds no more rows.
class Statement {
public:
    explicit Statement(std::shared_ptr<Session> ofSession);
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    SQLHSTMT get() const noexcept { return handle.get(); }
    bool isUsable() const noexcept { return static_cast<bool>(handle); }
    Session& session() const noexcept { return *owner; }

    /// @param seconds  0 for none; a driver that refuses is no failure
    void setTimeout(std::int32_t seconds);
    void executeDirectly(const std::string& text);
    void prepare(const std::string& text);
    void execute();
    /// Prepares a text and asks how many markers it has.
    std::size_t countMarkers(const std::string& text);

    /// What runs is what ran before, prepared.
    bool ranBefore() const noexcept { return executions > 1; }
    /// Of the current result: 0 for one without rows.
    SQLSMALLINT columnCount();
    /// Rows that the current result's statement changed; -1 when the engine does not count.
    std::int64_t changedRows();
    /// Fetches the rows of a result that nobody wants: some servers compute them only then, and their errors with them.
    void discardRows();
    /// Passes over the results that follow, so that an error in one of them is not lost.
    void drainResults();

    ResultReader& reader() noexcept { return rows; }
    /// Ends the result, keeps what is prepared and bound.
    void closeCursor() noexcept;
    /// Gives the handle back; by the session when it closes.
    void abandon() noexcept { handle.reset(); }

    /// Raises what the driver said when `code` is a failure, or a success of which the driver says otherwise.
    void check(SQLRETURN code);

private:
    std::shared_ptr<Session> owner;
    StatementHandle handle;
    ResultReader rows;
    std::int32_t timeout = 0;
    std::int32_t executions = 0; ///< of the plan that is prepared; 0 when none is
    bool severalResults = false; ///< there may be more than one
    bool planHasNoColumns = false;
    bool changedNothing = false;
    bool cursorOpen = false;
    std::uint64_t transactionOfCursor = 0; ///< 0: it was opened outside of any

    bool wasRefused();
    void begin(const std::string& text) noexcept;
    void finishExecution(SQLRETURN code);
};

} // namespace orvel::platform::odbc

#endif
