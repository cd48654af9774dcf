#include "platform/ado/recordset_object.h"

#include <algorithm>

#include "platform/ado/ascii_case.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::platform::ado {

RecordsetObject::RecordsetObject(std::shared_ptr<ConnectionObject> ofConnection,
                                 std::shared_ptr<Statement> ofStatement, std::int32_t columnCount)
    : connection(std::move(ofConnection)), statement(std::move(ofStatement)) {
    if (statement == nullptr) {
        return;
    }
    statement->beginRows();
    columns = connection->takeSpareFields();
    columns.resize(static_cast<std::size_t>(columnCount));
    for (std::size_t position = 0; position < columns.size(); ++position) {
        columns[position].attach(*this, position);
    }
    row = 1;
    advance();
}

RecordsetObject::~RecordsetObject() {
    if (statement != nullptr) {
        statement->closeCursor();
    }
    if (!columns.empty()) {
        connection->keepSpareFields(std::move(columns));
    }
}

/// To the row behind the current one.
void RecordsetObject::advance() {
    const std::uint64_t number = std::exchange(row, 0) + 1; // a failure leaves the recordset at its end
    try {
        if (statement->nextRow()) {
            row = number;
        }
    } catch (...) {
        statement->closeCursor(); // what is left of it must not harm a later transaction
        throw;
    }
}

Statement& RecordsetObject::failClosed() { throw ComError(adErrObjectClosed, "The recordset is closed."); }

bool RecordsetObject::eof() {
    beginCall();
    return row == 0;
}

void RecordsetObject::moveNext() {
    if (currentRow() == nullptr) {
        throw ComError(adErrNoCurrentRecord, "There is no current row.");
    }
    try {
        advance();
    } catch (...) {
        statement->noteBrokenScan();
        throw;
    }
}

std::int32_t RecordsetObject::state() { return statement != nullptr ? adStateOpen : adStateClosed; }

void RecordsetObject::close() {
    requireOpen().closeCursor();
    statement.reset();
    row = 0;
}

Ref<Connection> RecordsetObject::activeConnection() { return connection; }

std::int32_t RecordsetObject::count() { return static_cast<std::int32_t>(columns.size()); }

Field& RecordsetObject::item(std::string_view name) {
    const Statement& rows = requireOpen();
    std::size_t position = 0;
    while (position < columns.size() && !equalIgnoringCase(rows.columnName(position), name)) {
        ++position;
    }
    return fieldAt(position);
}

Field& RecordsetObject::item(std::int32_t position) {
    requireOpen();
    return fieldAt(static_cast<std::size_t>(static_cast<std::uint32_t>(position)));
}

FieldObject& RecordsetObject::fieldAt(std::size_t position) {
    if (position >= columns.size()) {
        throw ComError(adErrItemNotFound, "The recordset has no such column.");
    }
    return columns[position];
}

void FieldObject::forgetLargeValues() noexcept {
    ado::forgetLargeValue(current);
    ado::forgetLargeValue(chunk);
}

std::string FieldObject::name() { return recordset->requireOpen().columnName(position); }

std::int32_t FieldObject::type() { return recordset->requireOpen().columnType(position); }

const Variant& FieldObject::value() {
    const Statement* const rows = recordset->currentRow();
    if (rows == nullptr) {
        current = Empty{};
        rowOfValue = 0;
    } else if (rowOfValue != recordset->row) {
        rows->readValue(position, current);
        rowOfValue = recordset->row;
    }
    return current;
}

std::string FieldObject::takeText() {
    value();
    rowOfValue = 0;
    auto* const text = std::get_if<std::string>(&current);
    return text != nullptr ? std::exchange(*text, {}) : toText(current);
}

std::int32_t FieldObject::actualSize() {
    const Statement* const rows = recordset->currentRow();
    return rows != nullptr ? rows->valueSize(position) : 0;
}

const Variant& FieldObject::getChunk(std::int32_t length) {
    const Statement* const rows = recordset->currentRow();
    const std::size_t most = static_cast<std::size_t>(std::max(length, 0));
    if (rows == nullptr) {
        chunk = Empty{};
    } else if (!rows->readBytes(position, most, chunk)) {
        if (std::holds_alternative<Null>(value())) {
            chunk = Null{};
        } else {
            std::string text = toText(value());
            text.resize(std::min(text.size(), most));
            chunk = std::move(text);
        }
    }
    return chunk;
}

} // namespace orvel::platform::ado
