#ifndef ORVEL_PLATFORM_ADO_ENGINE_H
#define ORVEL_PLATFORM_ADO_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/ado/Variant.h"
#include "platform/ado/error_list.h"
#include "platform/ado/parameter_object.h"

// The seam between the object model and the engines: what an engine's client has to do.
//
// Texts are UTF-8. Every function that is not noexcept raises ComError, and what the engine said about the failure is
// then in the connection's ErrorList. A session and its statements belong to one thread at a time.

namespace orvel::platform::ado {

/// The text of a command and what was learned of it while it ran.
struct CommandText {
    std::string text;
    bool ranBefore = false;             ///< a text that runs again is worth a plan
    std::optional<std::size_t> markers; ///< for engines that have to ask how many there are
};

using ParameterValues = std::span<const std::shared_ptr<ParameterObject>>;

/// One text at a time, with the result that it gave.
///
/// A result is read forward: `beginRows` once, then `nextRow` until it is false. A statement whose session has ended
/// keeps the rows that are in memory; whatever needs the session then fails.
class Statement {
public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    virtual ~Statement() = default;

    /// False once the session has ended.
    virtual bool isUsable() const noexcept = 0;
    /// For what runs next. @param seconds  0 for no limit
    virtual void setTimeout(std::int32_t seconds) = 0;

    /// Runs a text as it stands, in which nothing is a marker. Ends the result before.
    virtual void executeText(const std::string& text) = 0;
    /// Runs a command's text; the n-th value belongs to the n-th marker. A statement runs one command in its life.
    /// @throws ComError  3708 for more values than markers, DB_E_PARAMNOTOPTIONAL for fewer
    virtual void executeCommand(CommandText& command, ParameterValues values) = 0;
    /// Gives memory back that large parameters took. Only without an open result.
    virtual void releaseLargeMemory() noexcept = 0;

    /// Of the result: 0 for one without rows.
    virtual std::int32_t columnCount() = 0;
    /// Rows that the result's statement changed; -1 when the engine does not count.
    virtual std::int64_t changedRows() = 0;
    /// Passes over all rows and all results that follow, for the errors that may be in them.
    virtual void finish() = 0;

    /// Before the first row.
    virtual void beginRows() = 0;
    /// False at the end, when the results that follow have been passed over.
    virtual bool nextRow() = 0;
    virtual const std::string& columnName(std::size_t column) const = 0;
    /// A DataType.
    virtual std::int32_t columnType(std::size_t column) const = 0;
    /// Puts a value of the current row into `value`, whose memory is used again where it can be.
    virtual void readValue(std::size_t column, Variant& value) const = 0;
    /// Bytes of a value of the current row: of numbers the size of their type, 0 for NULL.
    virtual std::int32_t valueSize(std::size_t column) const = 0;
    /// The first bytes of a binary value, or NULL; false, and nothing done, for a column of another type.
    virtual bool readBytes(std::size_t column, std::size_t most, Variant& value) const = 0;

    /// A scan has ended before its last row. Its reader sees an end like any other, so the commit has to tell.
    virtual void noteBrokenScan() noexcept = 0;
    /// Ends the result. Harmless when repeated.
    virtual void closeCursor() noexcept = 0;
};

/// One connection to an engine: connected when it is made, disconnected at the latest when the last object that shares
/// it goes.
class Session {
public:
    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    /// Names of what the engine is reached through.
    virtual const std::string& clientName() const noexcept = 0;
    virtual const std::string& clientVersion() const noexcept = 0;

    /// Rolls an open transaction back; the session's statements become unusable. Harmless when repeated.
    virtual void disconnect() noexcept = 0;
    virtual std::shared_ptr<Statement> makeStatement() = 0;

    /// Notes the level of the transactions to come.
    /// @param level  an IsolationLevel
    virtual void setIsolationLevel(std::int32_t level) = 0;
    virtual void begin() = 0;
    /// Ends the transaction whether it succeeds or fails; behind a commit that the engine has done, nothing fails.
    virtual void commit() = 0;
    /// A rollback that fails gives the session up, so that nothing later can commit its transaction.
    virtual void rollback() = 0;
};

/// What a session is opened with.
struct Login {
    const std::string& connectionString; ///< without the Provider
    std::string_view userId;             ///< empty: as the connection string says
    std::string_view password;
    std::int32_t timeout; ///< seconds, 0 for the client's own
    std::shared_ptr<ErrorList> errors;
};

/// One way to engines, by the name that the Provider keyword of a connection string gives it.
struct Provider {
    std::string_view name;
    /// Values of the connection string are written by our own rules, not by those of another library.
    bool hasOwnSyntax;
    std::shared_ptr<Session> (*open)(const Login& login);
};

/// What is built in; null for any other name. An empty name is that of the driver manager's provider.
const Provider* findProvider(std::string_view name) noexcept;

} // namespace orvel::platform::ado

namespace orvel::engines {
namespace ado = platform::ado;
using platform::ComError;
using platform::eFail;
using platform::eOutOfMemory;
} // namespace orvel::engines

#endif
