#include "engines/odbc/result_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "engines/odbc/statement.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using orvel::engines::odbc::Column;

constexpr std::size_t mostRowsInBlock = 100; // more gain nothing
constexpr std::size_t mostBytesInBlock = std::size_t{1024} * 1024;
constexpr std::size_t firstPiece = 1024;

bool isUnbound(const Column& column) noexcept { return column.bound == 0; }

} // namespace

namespace orvel::engines::odbc {

void ResultReader::begin(SQLSMALLINT columnCount, bool samePlan) {
    end();
    const SchemaPoint now = statement.session().schemaPoint();
    if (samePlan && isBound && static_cast<std::size_t>(columnCount) == described.size() &&
        (now.sameAs(describedAt) || isDescribedAsBefore())) {
        describedAt = now;
        return;
    }
    describedAt = {};
    std::vector<Column> columns;
    columns.reserve(static_cast<std::size_t>(columnCount));
    for (SQLUSMALLINT number = 1; number <= columnCount; ++number) {
        columns.push_back(describeColumn(statement, number));
    }
    if (!isBound || columns != described) {
        isBound = false; // first: without memory, nothing below can be relied on
        described = std::move(columns);
        layOut();
        bind();
        isBound = true;
    }
    describedAt = now;
}

bool ResultReader::isDescribedAsBefore() const {
    SQLUSMALLINT number = 0;
    return std::ranges::all_of(
        described, [&](const Column& column) { return isDescribedAs(statement.get(), ++number, column); });
}

void ResultReader::end() noexcept {
    rowsInBlock = row = 0;
    constexpr std::size_t worthKeeping = std::size_t{64} * 1024;
    for (std::size_t column = boundColumns; column < storages.size(); ++column) {
        if (storages[column].capacity > worthKeeping) {
            storages[column].data.reset();
            storages[column].capacity = 0;
        }
    }
}

void ResultReader::layOut() {
    const auto firstUnbound = std::ranges::find_if(described, isUnbound);
    boundColumns = static_cast<std::size_t>(firstUnbound - described.begin());
    std::size_t rowBytes = 1;
    for (const Column& column : described) {
        rowBytes += column.bound;
    }
    blockSize = firstUnbound != described.end()
                    ? 1
                    : std::clamp<std::size_t>(mostBytesInBlock / rowBytes, 1, mostRowsInBlock);
    storages.clear();
    for (const Column& column : described) {
        Storage storage;
        storage.capacity = column.bound;
        storage.data = std::make_unique_for_overwrite<char[]>(column.bound * blockSize);
        storage.lengths = std::make_unique_for_overwrite<SQLLEN[]>(blockSize);
        storages.push_back(std::move(storage));
    }
    rowStates.assign(blockSize, SQL_ROW_SUCCESS);
    writtenRows = blockSize;
    setLimits();
}

void ResultReader::setLimits() {
    limits.clear();
    for (std::size_t column = 0; column < boundColumns; ++column) {
        if (described[column].variesInLength()) {
            const std::size_t most = described[column].bound - described[column].terminator();
            limits.push_back({storages[column].lengths.get(), static_cast<SQLLEN>(most), column});
        }
    }
}

void ResultReader::unbind() {
    isBound = false;
    statement.check(SQLFreeStmt(statement.get(), SQL_UNBIND));
    statement.check(SQLSetStmtAttr(statement.get(), SQL_ATTR_ROW_ARRAY_SIZE, sqlNumber(1), 0));
}

void ResultReader::bind() {
    const SQLHSTMT handle = statement.get();
    statement.check(SQLFreeStmt(handle, SQL_UNBIND));
    statement.check(SQLSetStmtAttr(handle, SQL_ATTR_ROW_ARRAY_SIZE, sqlNumber(blockSize), 0));
    statement.check(SQLSetStmtAttr(handle, SQL_ATTR_ROW_STATUS_PTR, rowStates.data(), 0));
    statement.check(SQLSetStmtAttr(handle, SQL_ATTR_ROWS_FETCHED_PTR, &rowsInBlock, 0));
    for (std::size_t column = 0; column < boundColumns; ++column) {
        const Storage& storage = storages[column];
        statement.check(SQLBindCol(handle, static_cast<SQLUSMALLINT>(column + 1),
                                   described[column].transferType(), storage.data.get(),
                                   static_cast<SQLLEN>(storage.capacity), storage.lengths.get()));
    }
}

bool ResultReader::next() {
    if (row + 1 < rowsInBlock) {
        ++row;
    } else if (!fetchBlock()) {
        end();
        return false;
    }
    requireWholeRow();
    return true;
}

/// What a driver leaves alone, as MariaDB's the length of a bit that is not NULL, must not show the row before.
void ResultReader::resetIndicators() noexcept {
    for (std::size_t column = 0; column < boundColumns; ++column) {
        std::fill_n(storages[column].lengths.get(), writtenRows, described[column].untoldLength());
    }
    std::fill_n(rowStates.begin(), writtenRows, SQLUSMALLINT{SQL_ROW_SUCCESS});
    writtenRows = 0;
}

bool ResultReader::fetchBlock() {
    const bool hadTheLastRow = rowsInBlock > 0 && rowsInBlock < blockSize;
    rowsInBlock = row = 0;
    if (!statement.isUsable()) {
        if (hadTheLastRow) {
            return false;
        }
        throw ComError(ado::adErrInvalidConnection,
                       "The connection was closed before the last row was read.");
    }
    resetIndicators();
    const SQLRETURN code = SQLFetch(statement.get());
    if (code == SQL_NO_DATA) {
        return false;
    }
    writtenRows = blockSize;
    if (!succeeded(code)) {
        rowsInBlock = 0; // a driver may have counted rows that are not there
        statement.check(code);
    }
    requireBlock();
    writtenRows = rowsInBlock;
    for (std::size_t column = boundColumns; column < described.size(); ++column) {
        readPieces(column);
    }
    return true;
}

/// A success has rows, as many as there is room for at most: without their number they would be lost in silence.
void ResultReader::requireBlock() const {
    if (rowsInBlock == 0 || rowsInBlock > blockSize) {
        throw ComError(eFail, "The driver did not say how many rows it has delivered.");
    }
}

/// Keeps the first `have` bytes, with place for `wanted` more.
void ResultReader::Storage::makeRoom(std::size_t have, std::size_t wanted) {
    if (capacity >= have + wanted) {
        return;
    }
    const std::size_t larger = std::max(have + wanted, capacity * 2);
    auto grown = std::make_unique_for_overwrite<char[]>(larger);
    std::copy_n(data.get(), have, grown.get());
    data = std::move(grown);
    capacity = larger;
}

/// Lengths alone tell the truth: some drivers cut a value and report success.
void ResultReader::readPieces(std::size_t index) {
    const Column& column = described[index];
    Storage& storage = storages[index];
    std::size_t have = 0;
    std::size_t wanted = firstPiece;
    for (;;) {
        storage.makeRoom(have, wanted);
        SQLLEN remaining = column.untoldLength();
        const SQLRETURN code =
            SQLGetData(statement.get(), static_cast<SQLUSMALLINT>(index + 1), column.transferType(),
                       storage.data.get() + have, static_cast<SQLLEN>(storage.capacity - have), &remaining);
        if (code == SQL_NO_DATA && column.variesInLength()) {
            break; // the last piece ended where the value did
        }
        statement.check(code);
        if (remaining == SQL_NULL_DATA) {
            storage.lengths[0] = SQL_NULL_DATA;
            return;
        }
        if (remaining < 0 && remaining != SQL_NO_TOTAL) {
            throw ComError(eFail, "The driver did not say how long a value of column \"" +
                                      column.description.name + "\" is.");
        }
        const std::size_t room = storage.capacity - have - column.terminator();
        if (remaining != SQL_NO_TOTAL && static_cast<std::size_t>(remaining) <= room) {
            have += static_cast<std::size_t>(remaining);
            break;
        }
        have += room;
        wanted = remaining == SQL_NO_TOTAL ? firstPiece : static_cast<std::size_t>(remaining) - room + 1;
    }
    storage.lengths[0] = static_cast<SQLLEN>(have);
}

/// What was bound with a limit must have kept to it: nothing is ever cut in silence.
void ResultReader::requireWholeRow() const {
    if (rowStates[row] == SQL_ROW_ERROR || rowStates[row] == SQL_ROW_NOROW) {
        throw ComError(eFail, "The driver could not deliver a row.");
    }
    for (const Limit& limit : limits) {
        const SQLLEN length = limit.lengths[row];
        if (length > limit.most || length < SQL_NULL_DATA) {
            throw ComError(ado::dbDataOverflow,
                           "A value of column \"" + described[limit.column].description.name +
                               "\" is longer than the driver described it, or of no length.");
        }
    }
}

Cell ResultReader::cell(std::size_t column) const noexcept {
    const Storage& storage = storages[column];
    const std::size_t stride = column < boundColumns ? storage.capacity : 0;
    return {storage.data.get() + row * stride, storage.lengths[row]};
}

} // namespace orvel::engines::odbc
