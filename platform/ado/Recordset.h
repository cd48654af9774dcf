#ifndef ORVEL_PLATFORM_ADO_RECORDSET_H
#define ORVEL_PLATFORM_ADO_RECORDSET_H

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/ado/Ref.h"
#include "platform/ado/Variant.h"

namespace orvel::platform::ado {

class Connection;

/// One column, and its value in the current row.
///
/// Values can be read in any order and any number of times while the row is current.
/// Without a current row the value is Empty and its size 0: rows may be read until there is none, and that is no failure.
/// @throws ComError  3704 once the recordset is closed
class Field {
public:
    virtual ~Field() = default;

    /// UTF-8.
    virtual std::string name() = 0;
    /// A DataType.
    virtual std::int32_t type() = 0;
    /// Valid until the next row or the end of the recordset.
    virtual const Variant& value() = 0;
    /// The value as text, for one who keeps it: its memory is handed over, and a further call reads the value again.
    virtual std::string takeText() = 0;
    /// Bytes of the current value; 0 for NULL.
    virtual std::int32_t actualSize() = 0;
    /// The first `length` bytes of a binary value, as Bytes; of a text, as text; NULL of NULL. Every call
    /// begins at the front. Valid until the field is asked for another.
    virtual const Variant& getChunk(std::int32_t length) = 0;
};

/// Fields live as long as their recordset.
class Fields {
public:
    virtual ~Fields() = default;

    virtual std::int32_t count() = 0;
    /// By name: the first whose name is equal but for the case of ASCII letters.
    /// @throws ComError  3265 when there is none
    virtual Field& item(std::string_view name) = 0;
    virtual Field& item(std::int32_t position) = 0;
};

/// The rows of a result, read forward. Stands on its first row from the start; a result without columns is
/// closed from the start.
class Recordset {
public:
    virtual ~Recordset() = default;

    /// True past the last row, and for a closed recordset.
    virtual bool eof() = 0;
    /// A failure ends the recordset: it is then at its end.
    /// @throws ComError  3021 at the end, 3704 when closed, the engine's error when the next row cannot be
    /// had
    virtual void moveNext() = 0;
    virtual Fields& fields() = 0;
    /// An ObjectState.
    virtual std::int32_t state() = 0;
    /// @throws ComError  3704 when closed already
    virtual void close() = 0;
    virtual Ref<Connection> activeConnection() = 0;
};

} // namespace orvel::platform::ado

#endif
