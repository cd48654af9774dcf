#ifndef ORVEL_PLATFORM_ODBC_RECORDSET_H
#define ORVEL_PLATFORM_ODBC_RECORDSET_H

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/ado/Recordset.h"
#include "platform/odbc/connection.h"
#include "platform/odbc/statement.h"

namespace orvel::platform::odbc {

class Recordset;

class Field final : public ado::Field {
public:
    Field(Recordset& ofRecordset, std::size_t atPosition) : recordset(&ofRecordset), position(atPosition) {}

    std::string name() override;
    std::int32_t type() override;
    const ado::Variant& value() override;
    std::int32_t actualSize() override;
    ado::Variant getChunk(std::int32_t length) override;

private:
    Recordset* recordset;
    std::size_t position;
    std::uint64_t rowOfValue = 0; ///< 0: of none
    ado::Variant current;
};

/// A recordset and its fields in one object.
class Recordset final : public ado::Recordset, public ado::Fields {
public:
    /// Reads the first row of the statement's result. A null statement makes a closed recordset.
    Recordset(std::shared_ptr<Connection> ofConnection, std::shared_ptr<Statement> ofStatement,
              SQLSMALLINT columns);
    Recordset(const Recordset&) = delete;
    Recordset& operator=(const Recordset&) = delete;
    ~Recordset() override;

    bool eof() override;
    void moveNext() override;
    ado::Fields& fields() override { return *this; }
    std::int32_t state() override;
    void close() override;
    ado::Ref<ado::Connection> activeConnection() override;

    std::int32_t count() override;
    ado::Field& item(std::string_view name) override;
    ado::Field& item(std::int32_t position) override;

private:
    friend class Field;

    std::shared_ptr<Connection> connection;
    std::shared_ptr<Statement> statement; ///< null once closed
    std::vector<Field> columns;
    std::uint64_t row = 0; ///< counted, 0 at the end

    void advance();
    void beginCall() const noexcept { connection->errorList().clear(); }
    Statement& requireOpen() const;
    const ResultReader* currentRow() const;
    const Column& column(std::size_t position) const;
    Field& fieldAt(std::size_t position);
};

} // namespace orvel::platform::odbc

#endif
