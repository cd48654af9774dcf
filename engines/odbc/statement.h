#ifndef ORVEL_ENGINES_ODBC_STATEMENT_H
#define ORVEL_ENGINES_ODBC_STATEMENT_H

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "engines/odbc/driver_manager.h"
#include "engines/odbc/parameter_buffer.h"
#include "engines/odbc/result_reader.h"
#include "engines/odbc/session.h"

namespace orvel::engines::odbc {

/// A statement handle with the result that was read through it. When its session closes, the handle goes and
/// the rows in memory stay; whatever needs the handle then fails, or finds no more rows.
///
/// A command's text runs directly the first time and is prepared when it runs again.
class Statement final : public ado::Statement {
public:
    explicit Statement(std::shared_ptr<Session> ofSession);
    ~Statement() override;

    bool isUsable() const noexcept override { return static_cast<bool>(handle); }
    /// A driver that refuses is no failure.
    void setTimeout(std::int32_t seconds) override;
    void executeText(const std::string& text) override;
    void executeCommand(ado::CommandText& command, ado::ParameterValues values) override;
    void releaseLargeMemory() noexcept override;

    std::int32_t columnCount() override;
    std::int64_t changedRows() override;
    void finish() override;

    void beginRows() override;
    bool nextRow() override;
    const std::string& columnName(std::size_t column) const override;
    std::int32_t columnType(std::size_t column) const override;
    void readValue(std::size_t column, ado::Variant& value) const override;
    std::int32_t valueSize(std::size_t column) const override;
    bool readBytes(std::size_t column, std::size_t most, ado::Variant& value) const override;
    void noteBrokenScan() noexcept override { owner->noteBrokenScan(); }
    /// Keeps what is prepared and bound.
    void closeCursor() noexcept override;

    SQLHSTMT get() const noexcept { return handle.get(); }
    Session& session() const noexcept { return *owner; }
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
    SQLSMALLINT columns = 0;               ///< of the result
    std::uint64_t transactionOfCursor = 0; ///< 0: it was opened outside of any

    // Of the command that the statement runs.
    std::deque<ParameterBuffer> buffers;      ///< bound memory does not move
    std::optional<std::size_t> questionMarks; ///< of the text: at least one for each marker
    bool prepared = false;

    bool wasRefused();
    void begin(const std::string& text) noexcept;
    void prepare(const std::string& text);
    void execute();
    void finishExecution(SQLRETURN code);
    /// Fetches the rows of a result that nobody wants: some servers compute them only then, and their errors with them.
    void discardRows();
    /// Passes over the results that follow, so that an error in one of them is not lost.
    void drainResults();

    void requireMarkers(ado::CommandText& command, std::size_t given);
    std::size_t countMarkers(const std::string& text);
    void forgetBindings() noexcept;
    void bindParameters(ado::ParameterValues values);
    void run(ado::CommandText& command);
    void runPrepared(const std::string& text);
};

} // namespace orvel::engines::odbc

#endif
