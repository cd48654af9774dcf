#include "platform/ado/row_store.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using Size = std::uint32_t;

constexpr Size sizeOfNull = std::numeric_limits<Size>::max();
constexpr std::size_t blockSize = std::size_t{256} * 1024;
constexpr std::size_t mostInMemory = std::size_t{64} * 1024 * 1024;

Size sizeAt(const char* place) noexcept {
    Size size = 0;
    std::memcpy(&size, place, sizeof size);
    return size;
}

[[noreturn]] void failFile() {
    throw orvel::platform::ComError(orvel::platform::ado::dbOutOfSpace,
                                    "Rows that were to wait in a temporary file could not be kept.");
}

} // namespace

namespace orvel::platform::ado {

void RowStore::addSize(Size size) {
    const std::size_t end = packed.size();
    packed.resize(end + sizeof size);
    std::memcpy(packed.data() + end, &size, sizeof size);
}

void RowStore::addNull() { addSize(sizeOfNull); }

void RowStore::addValue(std::string_view value) {
    addSize(static_cast<Size>(value.size()));
    packed.insert(packed.end(), value.begin(), value.end());
}

void RowStore::endRow() {
    if (file == nullptr && kept + packed.size() > mostInMemory) {
        file.reset(std::tmpfile());
        if (file == nullptr) {
            failFile();
        }
    }
    if (file != nullptr) {
        const auto size = static_cast<Size>(packed.size());
        if (std::fwrite(&size, sizeof size, 1, file.get()) != 1 ||
            std::fwrite(packed.data(), 1, packed.size(), file.get()) != packed.size()) {
            failFile();
        }
        ++rowsInFile;
        return;
    }
    if (blocks.empty() || blocks.back().capacity() - blocks.back().size() < packed.size()) {
        blocks.emplace_back().reserve(std::max(blockSize, packed.size()));
    }
    blocks.back().insert(blocks.back().end(), packed.begin(), packed.end());
    kept += packed.size();
}

bool RowStore::next(std::size_t columns) {
    while (!blocks.empty() && position == blocks.front().size()) {
        blocks.pop_front();
        position = 0;
    }
    if (!blocks.empty()) {
        unpack(blocks.front().data() + position, columns);
        return true;
    }
    if (!nextFromFile()) {
        return false;
    }
    unpack(packed.data(), columns);
    return true;
}

bool RowStore::nextFromFile() {
    if (file == nullptr) {
        return false;
    }
    if (!std::exchange(isReading, true) && std::fseek(file.get(), 0, SEEK_SET) != 0) {
        failFile();
    }
    if (rowsInFile == 0) {
        return false;
    }
    --rowsInFile;
    Size size = 0;
    if (std::fread(&size, sizeof size, 1, file.get()) != 1) {
        failFile();
    }
    packed.resize(size);
    if (std::fread(packed.data(), 1, size, file.get()) != size) {
        failFile();
    }
    return true;
}

void RowStore::unpack(const char* row, std::size_t columns) {
    values.resize(columns);
    const char* place = row;
    for (std::string_view& value : values) {
        const Size size = sizeAt(place);
        place += sizeof size;
        value = size == sizeOfNull ? std::string_view() : std::string_view(place, size);
        place += value.size();
    }
    position += !blocks.empty() ? static_cast<std::size_t>(place - row) : 0;
}

} // namespace orvel::platform::ado
