#ifndef ORVEL_ENGINES_ODBC_RESULT_READER_H
#define ORVEL_ENGINES_ODBC_RESULT_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engines/odbc/column.h"
#include "engines/odbc/driver_manager.h"
#include "engines/odbc/session.h"

namespace orvel::engines::odbc {

class Statement;

/// The rows of a statement's result, one after the other, each complete in memory.
///
/// When every column has a limit that holds, rows come in blocks, straight into bound memory. Otherwise they
/// come one by one: the columns before the first one without a limit are bound, that one and all behind it
/// are read piece by piece, left to right, which is what every driver can do. Memory and bindings are used
/// again by the next execution of the statement when its columns are the same.
class ResultReader {
public:
    explicit ResultReader(Statement& ofStatement) : statement(ofStatement) {}

    /// Gets ready for a new result, before its first row.
    /// @param samePlan  the statement is the one of the result before, prepared
    void begin(SQLSMALLINT columnCount, bool samePlan);
    /// False at the end. After a failure there are no more rows.
    /// @throws ComError  3709 when the connection was closed before the last row had come
    bool next();
    /// Lets the driver fetch single rows, into no memory.
    void unbind();
    /// The bindings are gone, with the plan they belonged to.
    void forgetBindings() noexcept { isBound = false; }
    /// No rows from now on.
    void end() noexcept;

    const std::vector<Column>& columns() const noexcept { return described; }
    /// Of the current row.
    Cell cell(std::size_t column) const noexcept;

private:
    struct Storage {
        std::unique_ptr<char[]> data;
        std::size_t capacity = 0; ///< of one row's value
        std::unique_ptr<SQLLEN[]> lengths;

        void makeRoom(std::size_t have, std::size_t wanted);
    };

    /// What the values of a bound column must keep to.
    struct Limit {
        const SQLLEN* lengths;
        SQLLEN most;
        std::size_t column;
    };

    Statement& statement;
    std::vector<Column> described;
    std::vector<Storage> storages;
    std::vector<Limit> limits;
    std::vector<SQLUSMALLINT> rowStates;
    std::size_t boundColumns = 0;
    std::size_t blockSize = 0;
    SQLULEN rowsInBlock = 0;
    std::size_t row = 0;
    std::size_t writtenRows = 0; ///< of the memory, by the fetch before
    bool isBound = false;
    SchemaPoint describedAt;

    bool isDescribedAsBefore() const;
    void layOut();
    void setLimits();
    void bind();
    void resetIndicators() noexcept;
    bool fetchBlock();
    void requireBlock() const;
    void readPieces(std::size_t column);
    void requireWholeRow() const;
};

} // namespace orvel::engines::odbc

#endif
