#ifndef ORVEL_ENGINES_MARIADB_VALUES_H
#define ORVEL_ENGINES_MARIADB_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engines/mariadb/client.h"
#include "platform/ado/Variant.h"

namespace orvel::engines::mariadb {

namespace ado = platform::ado;

/// How the values of a result come: as the server writes them, or as the client library puts them into our memory.
enum class Format : std::uint8_t { text, binary };

/// What a column's values become.
enum class Kind : std::uint8_t {
    int8,
    uint8,
    int16,
    uint16,
    int32,
    uint32,
    int64,
    uint64,
    single,
    real,
    boolean,
    numeric,
    date,
    text,
    bytes
};

/// A column's type.
struct ColumnType {
    std::int32_t type = 0; ///< an ado::DataType
    Kind kind = Kind::text;
    enum_field_types fieldType = MYSQL_TYPE_NULL;
    std::uint8_t decimals = 0;   ///< digits of a second's fraction
    std::uint8_t binarySize = 0; ///< of a value in our memory; 0 for texts and bytes, whose sizes differ
};

ColumnType columnType(const MYSQL_FIELD& field) noexcept;

/// Puts a value into `value`, whose memory is used again where it can be.
/// @param data  not null
void readValue(const ColumnType& type, Format format, std::string_view data, ado::Variant& value);

/// Of numbers the size of their type, of texts and binaries their own, of the rest that of their text.
std::size_t valueSize(const ColumnType& type, Format format, std::string_view data);

} // namespace orvel::engines::mariadb

#endif
