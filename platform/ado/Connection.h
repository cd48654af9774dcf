#ifndef ORVEL_PLATFORM_ADO_CONNECTION_H
#define ORVEL_PLATFORM_ADO_CONNECTION_H

#include <cstdint>
#include <string>

#include "platform/ado/Error.h"
#include "platform/ado/Recordset.h"
#include "platform/ado/Ref.h"
#include "platform/ado/Variant.h"

// The object model behind which an engine is reached: connections, commands, recordsets and what belongs to
// them, with the members and meanings of ActiveX Data Objects.
//
// Texts are UTF-8 both ways. Objects share ownership of what they need: an object that outlives its
// connection, or the closing of it, fails with an error. Every failing call raises ComError and leaves what
// the engine said in the connection's errors.

namespace orvel::platform::ado {

class Connection {
public:
    virtual ~Connection() = default;

    /// Whole seconds, 0 for no limit; used by the next open. Never fails.
    virtual void setConnectionTimeout(std::int32_t seconds) = 0;
    /// Whole seconds, 0 for no limit; used by execute. Never fails.
    virtual void setCommandTimeout(std::int32_t seconds) = 0;

    /// Opens and waits for the outcome. A user or password that is not empty joins the connection string.
    /// @param options  0
    /// @throws ComError  3705 when it is open
    virtual void open(const std::string& connectionString, const std::string& userId,
                      const std::string& password, std::int32_t options) = 0;
    /// An ObjectState.
    virtual std::int32_t state() = 0;
    /// What was made from the connection fails from now on; a transaction that is open is rolled back.
    /// @throws ComError  3704 when it is closed
    virtual void close() = 0;

    /// Names of what the connection goes through, once it was open: empty before.
    virtual std::string provider() = 0;
    virtual std::string version() = 0;

    /// Runs one text.
    /// @param recordsAffected  null, or takes the count of the first result: -1 when that result has rows
    /// @param options          adExecuteNoRecords: rows are not wanted, and the result is empty
    virtual Ref<Recordset> execute(const std::string& commandText, Variant* recordsAffected,
                                   std::int32_t options) = 0;

    /// What the next transaction will be, from a closed connection what its first one will be: an
    /// IsolationLevel.
    virtual void setIsolationLevel(std::int32_t level) = 0;
    /// @return the nesting level, always 1
    /// @throws ComError  XACT_E_XTIONEXISTS inside a transaction: they do not nest
    virtual std::int32_t beginTrans() = 0;
    /// Ends the transaction whether it succeeds or fails. A failed one has kept nothing, but for
    /// XACT_E_INDOUBT: then the engine's answer was lost.
    /// @throws ComError  XACT_E_NOTRANSACTION outside a transaction
    virtual void commitTrans() = 0;
    virtual void rollbackTrans() = 0;

    virtual Ref<Errors> errors() = 0;
};

} // namespace orvel::platform::ado

#endif
