#include "platform/ado/row_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

constexpr std::size_t firstBlockSize = std::size_t{16} * 1024;
constexpr std::size_t blockSize = std::size_t{256} * 1024;
constexpr std::size_t mostInMemory = std::size_t{64} * 1024 * 1024;

std::uint32_t sizeAt(const char* place) noexcept {
    std::uint32_t size = 0;
    std::memcpy(&size, place, sizeof size);
    return size;
}

[[noreturn]] void failFile() {
    throw orvel::platform::ComError(orvel::platform::ado::dbOutOfSpace,
                                    "Rows that were to wait in a temporary file could not be kept.");
}

} // namespace

namespace orvel::platform::ado {

void RowStore::drop() noexcept {
    if (blocks.size() > 1 || (!blocks.empty() && blocks.front().capacity() > firstBlockSize)) {
        blocks.clear();
    } else if (!blocks.empty()) {
        blocks.front().clear();
    }
    kept = 0;
    rows = 0;
    position = 0;
    file.reset();
    isReading = false;
}

void RowStore::beginRow(std::size_t columns, std::size_t bytes) {
    rowSize = columns * sizeof(Size) + bytes;
    if (file == nullptr && rows > 0 && kept + rowSize > mostInMemory) {
        file.reset(std::tmpfile());
        if (file == nullptr) {
            failFile();
        }
    }
    if (file != nullptr) {
        packed.resize(rowSize);
        place = packed.data();
        return;
    }
    if (blocks.empty() || blocks.back().capacity() - blocks.back().size() < rowSize) {
        const std::size_t usual = blocks.empty() ? firstBlockSize : blockSize;
        blocks.emplace_back().reserve(std::max(usual, rowSize));
    }
    blocks.back().resize(blocks.back().size() + rowSize);
    place = blocks.back().data() + blocks.back().size() - rowSize;
}

void RowStore::endRow() {
    const auto size = static_cast<Size>(rowSize);
    if (file == nullptr) {
        kept += rowSize;
    } else if (std::fwrite(&size, sizeof size, 1, file.get()) != 1 ||
               std::fwrite(packed.data(), 1, packed.size(), file.get()) != packed.size()) {
        failFile();
    }
    ++rows;
}

/// @pre rows > 0
bool RowStore::takeNext(std::size_t columns) {
    while (blocks.size() > 1 && position == blocks.front().size()) {
        blocks.pop_front();
        position = 0;
    }
    if (!blocks.empty() && position < blocks.front().size()) {
        position += unpack(blocks.front().data() + position, columns);
    } else {
        readFromFile();
        unpack(packed.data(), columns);
    }
    --rows;
    return true;
}

void RowStore::readFromFile() {
    Size size = 0;
    if ((!std::exchange(isReading, true) && std::fseek(file.get(), 0, SEEK_SET) != 0) ||
        std::fread(&size, sizeof size, 1, file.get()) != 1) {
        failFile();
    }
    packed.resize(size);
    if (std::fread(packed.data(), 1, size, file.get()) != size) {
        failFile();
    }
}

/// @return its size
std::size_t RowStore::unpack(const char* row, std::size_t columns) {
    values.resize(columns);
    const char* from = row;
    for (std::string_view& value : values) {
        const Size size = sizeAt(from);
        from += sizeof size;
        value = size == sizeOfNull ? std::string_view() : std::string_view(from, size);
        from += value.size();
    }
    return static_cast<std::size_t>(from - row);
}

} // namespace orvel::platform::ado
