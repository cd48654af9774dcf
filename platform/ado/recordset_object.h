#ifndef ORVEL_PLATFORM_ADO_RECORDSET_OBJECT_H
#define ORVEL_PLATFORM_ADO_RECORDSET_OBJECT_H

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/ado/Recordset.h"
#include "platform/ado/connection_object.h"

namespace orvel::platform::ado {

class RecordsetObject;

class FieldObject final : public Field {
public:
    void attach(RecordsetObject& toRecordset, std::size_t atPosition) noexcept {
        recordset = &toRecordset;
        position = atPosition;
        rowOfValue = 0;
    }
    /// Keeps memory for the values to come, but not much of it.
    void forgetLargeValues() noexcept;

    std::string name() override;
    std::int32_t type() override;
    const Variant& value() override;
    std::string takeText() override;
    std::int32_t actualSize() override;
    const Variant& getChunk(std::int32_t length) override;

private:
    RecordsetObject* recordset = nullptr;
    std::size_t position = 0;
    std::uint64_t rowOfValue = 0; ///< 0: of none
    Variant current;
    Variant chunk; ///< of the last call for one
};

/// A recordset and its fields in one object.
class RecordsetObject final : public Recordset, public Fields {
public:
    /// Reads the first row of the statement's result. A null statement makes a closed recordset.
    RecordsetObject(std::shared_ptr<ConnectionObject> ofConnection, std::shared_ptr<Statement> ofStatement,
                    std::int32_t columnCount);
    RecordsetObject(const RecordsetObject&) = delete;
    RecordsetObject& operator=(const RecordsetObject&) = delete;
    ~RecordsetObject() override;

    bool eof() override;
    void moveNext() override;
    Fields& fields() override { return *this; }
    std::int32_t state() override;
    void close() override;
    Ref<Connection> activeConnection() override;

    std::int32_t count() override;
    Field& item(std::string_view name) override;
    Field& item(std::int32_t position) override;

private:
    friend class FieldObject;

    std::shared_ptr<ConnectionObject> connection;
    std::shared_ptr<Statement> statement; ///< null once closed
    std::vector<FieldObject> columns;
    std::uint64_t row = 0; ///< counted, 0 at the end

    void advance();
    void beginCall() const noexcept { connection->errorList().clear(); }
    Statement& requireOpen() const {
        beginCall();
        return statement != nullptr ? *statement : failClosed();
    }
    const Statement* currentRow() const {
        const Statement& rows = requireOpen();
        return row != 0 ? &rows : nullptr;
    }
    [[noreturn]] static Statement& failClosed();
    FieldObject& fieldAt(std::size_t position);
};

} // namespace orvel::platform::ado

#endif
