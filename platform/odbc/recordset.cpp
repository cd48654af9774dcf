#include "platform/odbc/recordset.h"

#include <algorithm>

#include "platform/ado/ascii_case.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"

namespace orvel::platform::odbc {

Recordset::Recordset(std::shared_ptr<Connection> ofConnection, std::shared_ptr<Statement> ofStatement,
                     SQLSMALLINT columnCount)
    : connection(std::move(ofConnection)), statement(std::move(ofStatement)) {
    if (statement == nullptr) {
        return;
    }
    statement->reader().begin(columnCount, statement->ranBefore());
    columns.reserve(static_cast<std::size_t>(columnCount));
    for (std::size_t position = 0; position < static_cast<std::size_t>(columnCount); ++position) {
        columns.emplace_back(*this, position);
    }
    row = 1;
    advance();
}

Recordset::~Recordset() {
    if (statement != nullptr) {
        statement->closeCursor();
    }
}

/// To the row behind the current one. At the end, results that follow are passed over for their errors.
void Recordset::advance() {
    const std::uint64_t number = std::exchange(row, 0) + 1; // a failure leaves the recordset at its end
    try {
        if (statement->reader().next()) {
            row = number;
        } else {
            statement->drainResults();
        }
    } catch (...) {
        statement->closeCursor(); // what is left of it must not harm a later transaction
        throw;
    }
}

Statement& Recordset::requireOpen() const {
    beginCall();
    if (statement == nullptr) {
        throw ComError(ado::adErrObjectClosed, "The recordset is closed.");
    }
    return *statement;
}

const ResultReader* Recordset::currentRow() const {
    const ResultReader& reader = requireOpen().reader();
    return row != 0 ? &reader : nullptr;
}

bool Recordset::eof() {
    beginCall();
    return row == 0;
}

void Recordset::moveNext() {
    if (currentRow() == nullptr) {
        throw ComError(ado::adErrNoCurrentRecord, "There is no current row.");
    }
    try {
        advance();
    } catch (...) {
        statement->session().noteBrokenScan();
        throw;
    }
}

std::int32_t Recordset::state() { return statement != nullptr ? ado::adStateOpen : ado::adStateClosed; }

void Recordset::close() {
    requireOpen().closeCursor();
    statement.reset();
    row = 0;
}

ado::Ref<ado::Connection> Recordset::activeConnection() { return connection; }

std::int32_t Recordset::count() { return static_cast<std::int32_t>(columns.size()); }

const Column& Recordset::column(std::size_t position) const {
    return requireOpen().reader().columns()[position];
}

ado::Field& Recordset::item(std::string_view name) {
    const auto& described = requireOpen().reader().columns();
    const auto found = std::ranges::find_if(described, [name](const Column& column) {
        return ado::equalIgnoringCase(column.description.name, name);
    });
    return fieldAt(static_cast<std::size_t>(found - described.begin()));
}

ado::Field& Recordset::item(std::int32_t position) {
    requireOpen();
    return fieldAt(static_cast<std::size_t>(static_cast<std::uint32_t>(position)));
}

Field& Recordset::fieldAt(std::size_t position) {
    if (position >= columns.size()) {
        throw ComError(ado::adErrItemNotFound, "The recordset has no such column.");
    }
    return columns[position];
}

std::string Field::name() { return recordset->column(position).description.name; }

std::int32_t Field::type() { return recordset->column(position).type; }

const ado::Variant& Field::value() {
    const ResultReader* const reader = recordset->currentRow();
    if (reader == nullptr) {
        current = ado::Empty{};
        rowOfValue = 0;
    } else if (rowOfValue != recordset->row) {
        readCell(reader->columns()[position], reader->cell(position), current);
        rowOfValue = recordset->row;
    }
    return current;
}

std::int32_t Field::actualSize() {
    const ResultReader* const reader = recordset->currentRow();
    return reader != nullptr ? odbc::actualSize(reader->columns()[position], reader->cell(position)) : 0;
}

ado::Variant Field::getChunk(std::int32_t length) {
    const ResultReader* const reader = recordset->currentRow();
    if (reader == nullptr) {
        return ado::Empty{};
    }
    Cell cell = reader->cell(position);
    if (cell.length == SQL_NULL_DATA) {
        return ado::Null{};
    }
    ado::Variant chunk;
    if (reader->columns()[position].kind == CellKind::bytes) {
        cell.length = std::clamp<SQLLEN>(length, 0, cell.length);
        readCell(reader->columns()[position], cell, chunk);
        return chunk;
    }
    std::string text = ado::toText(value());
    text.resize(std::min(text.size(), static_cast<std::size_t>(std::max(length, 0))));
    return text;
}

} // namespace orvel::platform::odbc
