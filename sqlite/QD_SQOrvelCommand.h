#ifndef QD_SQORVEL_COMMAND_H
#define QD_SQORVEL_COMMAND_H

#include <memory>
#include <string>

#include "QD_OrvelCommand.h"
#include "QD_SQOrvelConnection.h"

namespace orvel {
class SqliteParameters;
class SqliteStatement;
} // namespace orvel

/// One SQLite statement, compiled once; see QD_OrvelCommand for what every command promises.
///
/// Only the first statement of the text counts. Markers without a parameter are NULL; parameters without a
/// marker are error 27. A run that fails, one that yields rows through `execNoQuery` included, ends the
/// command: every later run is error 22. Such a statement may have done its work all the same ("INSERT ... RETURNING").
///
/// Only a change of the schema makes it compile the statement again.
///
/// **Reading the query of a command.** Command and query share the statement, and the query always reports
/// `eof()` true and `numFields()` 0 at first. Its first row, if there is one, is read by index; after each
/// `nextRow`, a non-zero `numFields()` tells that there is a row, and then names work as well:
///
///     auto rows = command->execQuery(0);
///     int id = 0;
///     if (rows->getIntField(0, id)) { ... }        // the first row
///     for (rows->nextRow(); rows->numFields() != 0; rows->nextRow()) { ... }  // the others
///
/// While such a query lives, the next run steps the same statement onward with the parameters it has; new
/// ones cannot be bound (27). Once it is closed or gone, the next run binds anew and begins at the first row.
/// A query may outlive its command.
class QD_ORVEL_EXPORT QD_SQOrvelCommand : public QD_OrvelCommand {
public:
    QD_SQOrvelCommand(const QD_SQOrvelCommand&) = delete;
    QD_SQOrvelCommand& operator=(const QD_SQOrvelCommand&) = delete;
    ~QD_SQOrvelCommand() override;

    /// @return what SQLite counts as changed
    /// @throws QD_OrvelException  22 the command has ended, 27 binding failed, 31 busy, 34 SQLite refused or the
    ///         statement yields rows (provider code 100), 13 anything else
    int execNoQuery(unsigned int flags) override;

    /// Errors as `execNoQuery`, rows aside.
    QD_OrvelQueryHandle execQuery(unsigned int flags) override;

    /// A parameter for which there is no memory is an error, and not added. A text that is not valid in the narrow encoding
    /// ends in std::runtime_error.
    ///
    /// @throws QD_OrvelException  32 no memory
    void addStringParam(const char* text) override;
    void addIntParam(int value) override;
    void addInt64Param(long long value) override;
    void addDoubleParam(double value) override;

    /// @param length  in bytes; 0 and less add NULL
    /// @throws QD_OrvelException  32 no memory
    void addBlobParam(const unsigned char* data, int length) override;

    /// Every kind is the same NULL.
    void addEmptyParam(QD_OrvelDataKind kind) override;
    void resetParams() override;
    void close() override;

protected:
    friend class QD_SQOrvelConnection;

    /// @throws QD_OrvelException  23 no text, 12 no connection or not open, 22 no statement, 34 SQLite refused,
    ///         28 anything else
    QD_SQOrvelCommand(QD_SQOrvelConnection* owner, const char* text, unsigned int commandFlags);

    void applyParams();
    void deleteParams();

    /// Takes the statement back to its beginning; answers SQLite's result code, 0 without a statement.
    int resetVM();
    void checkDB() const;
    void checkVM() const;

private:
    QD_SQOrvelConnectionHandle connection;
    QD_OrvelTypedHandle<orvel::SqliteStatement> statement;
    std::string sql; // in UTF-8
    unsigned int flags;
    std::unique_ptr<orvel::SqliteParameters> params;

    int run(const char* function);
    void recompile();
    [[noreturn]] void endWith(int stepResult, int resetResult, const char* function);
};

#endif
