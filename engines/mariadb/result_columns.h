#ifndef ORVEL_ENGINES_MARIADB_RESULT_COLUMNS_H
#define ORVEL_ENGINES_MARIADB_RESULT_COLUMNS_H

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engines/mariadb/client.h"
#include "engines/mariadb/values.h"

namespace orvel::engines::mariadb {

/// The columns of a result and the values of its current row: in the client library's memory for texts, in ours for plans.
class ResultColumns {
public:
    std::size_t count() const noexcept { return columns.size(); }
    const std::string& name(std::size_t column) const noexcept { return columns[column].name; }
    const ColumnType& type(std::size_t column) const noexcept { return columns[column].type; }
    Format valueFormat() const noexcept { return format; }
    bool haveSingles() const noexcept;

    void clear() noexcept { columns.clear(); }
    /// Of an answer that begins. What is as it was stays as it is.
    void describe(std::span<const MYSQL_FIELD> fields, Format newFormat);
    /// The plan has nothing of our memory yet.
    void forgetBinds() noexcept { isBound = false; }
    /// Makes our memory known to the plan, where it is not.
    /// @return false when the library fails
    bool bind(MYSQL_STMT* plan);

    /// A row of a text.
    void take(MYSQL_ROW row, const unsigned long* lengths) noexcept;
    /// A row of a plan, which is in our memory but for large values: those stay with the library until they are asked for.
    void take(MYSQL_STMT* plan);
    /// Of the row: null data for NULL.
    std::span<const std::string_view> row() const noexcept { return cells; }
    std::size_t rowSize() const noexcept;
    /// A value of the row is still with the library; its size is known.
    static bool isLarge(std::string_view value) noexcept { return value.data() == &largeMark; }
    /// The first bytes of such a value.
    static void fetchLarge(MYSQL_STMT* plan, std::size_t column, std::span<char> into) noexcept;

private:
    struct Column {
        std::string name;
        ColumnType type;
        // What the type was made of.
        unsigned long declaredLength = 0;
        unsigned int flags = 0;
        unsigned int characters = 0;
        // Of a plan's row.
        std::array<char, sizeof(MYSQL_TIME)> number{};
        std::vector<char> bytes; ///< of a text, or of bytes
        unsigned long length = 0;
        my_bool isNull = 0;
        my_bool isCut = 0;

        bool hasNumber() const noexcept { return type.binarySize != 0; }
    };

    static constexpr char largeMark = 0; ///< stands where the value would

    std::vector<Column> columns;
    std::vector<MYSQL_BIND> binds;
    std::vector<std::string_view> cells;
    Format format = Format::text;
    bool isBound = false;

    bool areAs(std::span<const MYSQL_FIELD> fields) const noexcept;
    std::string_view takeCut(MYSQL_STMT* plan, std::size_t index);
};

} // namespace orvel::engines::mariadb

#endif
