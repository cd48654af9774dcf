#ifndef ORVEL_PLATFORM_ADO_ROW_STORE_H
#define ORVEL_PLATFORM_ADO_ROW_STORE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

namespace orvel::platform::ado {

/// Rows that had to be fetched before their reader asked for them: packed, in memory up to a limit and beyond it in a file
/// without a name. Rows come out in the order in which they went in, once all are in.
class RowStore {
public:
    /// Begins a row.
    void beginRow() { packed.clear(); }
    void addNull();
    void addValue(std::string_view value);
    /// Keeps the row.
    /// @throws ComError  DB_E_OUTOFSPACE when the file cannot take it
    void endRow();

    /// Takes the next row out: false when there is none.
    /// @throws ComError  the file cannot be read
    bool next(std::size_t columns);
    /// Of the row taken out; null data for NULL.
    std::string_view value(std::size_t column) const noexcept { return values[column]; }

private:
    struct Close {
        void operator()(std::FILE* open) const noexcept { std::fclose(open); }
    };

    std::vector<char> packed; ///< the row that comes or, read from the file, goes
    std::deque<std::vector<char>> blocks;
    std::size_t kept = 0;     ///< bytes in memory
    std::size_t position = 0; ///< of the next row in the first block
    std::unique_ptr<std::FILE, Close> file;
    std::size_t rowsInFile = 0;
    bool isReading = false; ///< from the file
    std::vector<std::string_view> values;

    void addSize(std::uint32_t size);
    bool nextFromFile();
    void unpack(const char* row, std::size_t columns);
};

} // namespace orvel::platform::ado

#endif
