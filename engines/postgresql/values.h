#ifndef ORVEL_ENGINES_POSTGRESQL_VALUES_H
#define ORVEL_ENGINES_POSTGRESQL_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/ado/Variant.h"

namespace orvel::engines::postgresql {

namespace ado = platform::ado;

/// How the server writes a value: all columns of a result in one of the two.
enum class Format : std::uint8_t { text, binary };

/// What a column's values become.
enum class Kind : std::uint8_t {
    int16,
    int32,
    int64,
    uint32,
    single,
    real,
    boolean,
    numeric,
    date,
    time,
    timestamp,
    text,
    jsonb,
    uuid,
    bytes
};

/// A type of the server.
struct TypeInfo {
    std::uint32_t oid;
    std::int32_t type; ///< an ado::DataType
    Kind kind;
    bool isKnownInBinary; ///< and reads there as it does in text
};

/// A type that the table does not have is text.
const TypeInfo& typeInfo(std::uint32_t oid) noexcept;

/// A value as the server sent it.
struct RawValue {
    const char* data = nullptr; ///< null for NULL
    std::size_t size = 0;

    std::string_view text() const noexcept { return {data, size}; }
};

/// Puts a value into `value`, whose memory is used again where it can be.
void readValue(const TypeInfo& type, Format format, const RawValue& raw, ado::Variant& value);

/// The first bytes of a binary value.
void readBytes(Format format, const RawValue& raw, std::size_t most, ado::Variant& value);

/// Of numbers the size of their type, of texts and binaries their own, of the rest that of their text.
std::size_t valueSize(const TypeInfo& type, Format format, const RawValue& raw);

} // namespace orvel::engines::postgresql

#endif
