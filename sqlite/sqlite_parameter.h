#ifndef ORVEL_SQLITE_PARAMETER_H
#define ORVEL_SQLITE_PARAMETER_H

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "QD_OrvelCommand.h"

struct sqlite3_stmt;

/// One positional parameter of a command. Texts and blobs are copies; SQLite reads them where they are.
struct QD_SQOrvelParameter {
    static constexpr int null = 0; ///< the kind of a parameter without a value

    int kind = null; ///< or a QD_OrvelDataKind
    union {
        int integer;
        long long wide = 0;
        double real;
        std::size_t size; ///< of the bytes: of a text without its terminating zero
    };
    std::size_t capacity = 0;
    std::unique_ptr<unsigned char[]> bytes;

    /// Room for `length` bytes and a zero behind them.
    /// @throws std::bad_alloc  nothing has changed
    void reserve(std::size_t length);

    /// SQLite has the value's address, not the value.
    bool isReadInPlace() const noexcept { return kind == QD_ORVEL_DATA_STRING || kind == QD_ORVEL_DATA_BLOB; }
};

namespace orvel {

/// The parameters of a command, in order. What is cleared keeps its memory for those that come after it.
class SqliteParameters {
public:
    /// Binds each to its marker, counted from 1, and NULL to the markers behind the last one, which must not keep what an
    /// earlier run left there: those values may be gone. Answers SQLite's result code of the first that fails.
    int bind(sqlite3_stmt* statement, int markers) const;

    /// A slot behind the last parameter, which `add` makes a parameter once it has its value.
    /// @throws std::bad_alloc  nothing has changed; so do those below
    QD_SQOrvelParameter& next() {
        if (used == slots.size()) {
            slots.emplace_back();
        }
        return slots[used];
    }
    void add() noexcept { ++used; }
    /// The same for a copy of bytes.
    void addCopy(int kind, const void* data, std::size_t size);

    bool anyIsReadInPlace() const noexcept;
    void clear() noexcept {
        used = 0;
        if (anyIsLarge) {
            dropLargeMemory();
        }
    }
    /// The parameters with their memory; none are left.
    std::vector<QD_SQOrvelParameter> release() noexcept;

private:
    std::vector<QD_SQOrvelParameter> slots;
    std::size_t used = 0;
    bool anyIsLarge = false; // and its memory not worth keeping

    void dropLargeMemory() noexcept;
};

} // namespace orvel

#endif
