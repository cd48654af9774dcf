#ifndef ORVEL_ENGINES_ODBC_COLUMN_H
#define ORVEL_ENGINES_ODBC_COLUMN_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "engines/odbc/driver_manager.h"
#include "platform/ado/engine.h"

namespace orvel::engines::odbc {

class Statement;

/// What a column's values become.
enum class CellKind : std::uint8_t {
    integer,
    unsignedInteger,
    single,
    real,
    boolean,
    decimal,
    date,
    text,
    bytes
};

/// What the driver says of a column.
struct Description {
    std::string name;
    SQLSMALLINT sqlType = 0;
    SQLULEN size = 0;
    SQLSMALLINT scale = 0;

    friend bool operator==(const Description&, const Description&) = default;
};

/// How one column of a result is read. What its type is called decides, never what a caller asks for: drivers
/// convert a number that does not fit to -1 and report success.
struct Column {
    Description description;
    std::int32_t type = 0; ///< an ado::DataType
    CellKind kind = CellKind::text;
    /// Bytes that hold every value of the column; 0: there is no such limit, or none to rely on.
    std::size_t bound = 0;

    friend bool operator==(const Column&, const Column&) = default;

    /// How the driver is asked for it.
    SQLSMALLINT transferType() const noexcept;
    /// Bytes that the driver puts behind a value.
    std::size_t terminator() const noexcept;
    /// Values vary in length, so one that is longer than was described would show in its length.
    bool variesInLength() const noexcept { return terminator() > 0 || kind == CellKind::bytes; }
    /// What stands in the place of a length until the driver has told it. Some drivers tell it only for NULL where
    /// every value has the same size; a length that varies must be told.
    SQLLEN untoldLength() const noexcept {
        return variesInLength() ? std::numeric_limits<SQLLEN>::min() : static_cast<SQLLEN>(bound);
    }
};

/// The column with this number (from 1) of a statement's result.
/// @throws ComError  the driver does not describe it
Column describeColumn(Statement& statement, SQLUSMALLINT number);

/// Whether the driver still says the same of it: enough when the statement is the same, and cheaper.
bool isDescribedAs(SQLHSTMT statement, SQLUSMALLINT number, const Column& column);

/// One value as the driver delivered it; `length` is SQL_NULL_DATA for NULL.
struct Cell {
    const char* data = nullptr;
    SQLLEN length = SQL_NULL_DATA;
};

/// Puts a cell into `value`, whose memory is used again where it can be.
void readCell(const Column& column, const Cell& cell, ado::Variant& value);

/// What a value takes: of numbers the size of their type, of texts and binaries their own.
/// @throws ComError  DB_E_DATAOVERFLOW for a size that has no place in 32 bits
std::int32_t actualSize(const Column& column, const Cell& cell);

} // namespace orvel::engines::odbc

#endif
