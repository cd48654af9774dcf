#ifndef ORVEL_PLATFORM_ADO_ROW_STORE_H
#define ORVEL_PLATFORM_ADO_ROW_STORE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <limits>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace orvel::platform::ado {

/// Rows that had to be fetched before their reader asked for them: packed, in memory up to a limit and beyond it in a file
/// without a name. Rows come out in the order in which they went in. Rows that went to the file come out once all are in; one
/// that comes while none is waiting stays in memory, and stays valid while others come.
class RowStore {
public:
    /// Drops all rows, and keeps a little memory for others.
    void clear() noexcept {
        if (!blocks.empty() || file != nullptr) {
            drop();
        }
    }
    /// Drops the rows that have not been taken out, and leaves the one that was.
    void dropWaiting() noexcept { rows = 0; }
    /// Begins a row of so many values, which have so many bytes together.
    /// @throws ComError  DB_E_OUTOFSPACE when there is no file to be had
    void beginRow(std::size_t columns, std::size_t bytes);
    void addNull() noexcept { addSize(sizeOfNull); }
    void addValue(std::string_view value) noexcept {
        addSize(static_cast<Size>(value.size()));
        std::memcpy(place, value.data(), value.size());
        place += value.size();
    }
    /// Keeps the row.
    /// @throws ComError  DB_E_OUTOFSPACE when the file cannot take it
    void endRow();

    /// Takes the next row out: false when there is none.
    /// @throws ComError  the file cannot be read
    bool next(std::size_t columns) { return rows > 0 && takeNext(columns); }
    /// Of the rows in memory.
    std::size_t bytes() const noexcept { return kept; }
    /// The one taken out; null data for NULL.
    std::span<const std::string_view> row() const noexcept { return values; }
    /// Of the row taken out; null data for NULL.
    std::string_view value(std::size_t column) const noexcept { return values[column]; }

private:
    using Size = std::uint32_t;
    static constexpr Size sizeOfNull = std::numeric_limits<Size>::max();

    struct Close {
        void operator()(std::FILE* open) const noexcept { std::fclose(open); }
    };

    std::vector<char> packed; ///< the row that comes to the file or goes from it
    char* place = nullptr;    ///< of the next value of the row that comes
    std::size_t rowSize = 0;
    std::deque<std::vector<char>> blocks;
    std::size_t kept = 0;     ///< bytes in memory
    std::size_t rows = 0;     ///< in memory and in the file
    std::size_t position = 0; ///< of the next row in the first block
    std::unique_ptr<std::FILE, Close> file;
    bool isReading = false; ///< from the file
    std::vector<std::string_view> values;

    void drop() noexcept;
    void addSize(Size size) noexcept {
        std::memcpy(place, &size, sizeof size);
        place += sizeof size;
    }
    bool takeNext(std::size_t columns);
    void readFromFile();
    std::size_t unpack(const char* row, std::size_t columns);
};

} // namespace orvel::platform::ado

#endif
