#ifndef ORVEL_PLATFORM_ADO_CONNECTION_OBJECT_H
#define ORVEL_PLATFORM_ADO_CONNECTION_OBJECT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/ado/Connection.h"
#include "platform/ado/engine.h"

namespace orvel::platform::ado {

class FieldObject;

class ConnectionObject final : public Connection, public std::enable_shared_from_this<ConnectionObject> {
public:
    ConnectionObject();
    ConnectionObject(const ConnectionObject&) = delete;
    ConnectionObject& operator=(const ConnectionObject&) = delete;
    ~ConnectionObject() override;

    void setConnectionTimeout(std::int32_t seconds) override;
    void setCommandTimeout(std::int32_t seconds) override;
    void open(const std::string& connectionString, const std::string& userId, const std::string& password,
              std::int32_t options) override;
    std::int32_t state() override;
    void close() override;
    std::string provider() override;
    std::string version() override;
    Ref<Recordset> execute(const std::string& commandText, Variant* recordsAffected,
                           std::int32_t options) override;
    void setIsolationLevel(std::int32_t level) override;
    std::int32_t beginTrans() override;
    void commitTrans() override;
    void rollbackTrans() override;
    Ref<Errors> errors() override;

    /// For what is made from the connection: null when it is closed.
    const std::shared_ptr<Session>& currentSession() const noexcept { return session; }
    ErrorList& errorList() noexcept { return *errorsOfLastCall; }

    /// What an executed statement answers: its counts, and its rows unless they are not wanted.
    Ref<Recordset> deliver(const std::shared_ptr<Statement>& statement, Variant* recordsAffected,
                           std::int32_t options);

    /// Fields of a recordset that is gone: their memory is for those of the next one.
    std::vector<FieldObject> takeSpareFields() noexcept;
    void keepSpareFields(std::vector<FieldObject>&& fields) noexcept;

private:
    std::shared_ptr<ErrorList> errorsOfLastCall = std::make_shared<ErrorList>();
    std::shared_ptr<Session> session;
    std::shared_ptr<Statement>
        direct; ///< of the last text that was executed; used again when nobody reads from it
    std::vector<FieldObject> spareFields;
    std::string clientName;
    std::string clientVersion;
    std::int32_t connectionTimeout = 0;
    std::int32_t commandTimeout = 0;
    std::int32_t isolationLevel = 0;

    Session& requireOpen();
    const std::shared_ptr<Statement>& directStatement();
};

} // namespace orvel::platform::ado

#endif
