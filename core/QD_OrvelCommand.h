#ifndef QD_ORVEL_COMMAND_H
#define QD_ORVEL_COMMAND_H

#include "QD_OrvelExport.h"
#include "QD_OrvelHandle.h"
#include "QD_OrvelQuery.h"

/// The type of a parameter whose value is NULL. SQLite binds the same NULL for every kind, values outside the
/// list included; ADO refuses those with QD_ORVEL_ERR_BIND_PARAMETER.
enum QD_OrvelDataKind : int {
    QD_ORVEL_DATA_INT = 1,
    QD_ORVEL_DATA_INT64 = 2,
    QD_ORVEL_DATA_DOUBLE = 3,
    QD_ORVEL_DATA_STRING = 4,
    QD_ORVEL_DATA_BLOB = 5,
};

/// One SQL statement, compiled once and run any number of times with positional parameters.
///
/// Parameters are bound in the order in which they were added. They stay for the next run until
/// `resetParams`; more of them than the statement has markers are an error when it runs. Used by one thread at
/// a time, like the connection it came from. The order of the virtual operations is part of the interface.
class QD_ORVEL_EXPORT QD_OrvelCommand : public QD_OrvelHandableClass {
public:
    QD_OrvelCommand() = default;
    QD_OrvelCommand(const QD_OrvelCommand&) = delete;
    QD_OrvelCommand& operator=(const QD_OrvelCommand&) = delete;
    ~QD_OrvelCommand() override;

    /// Runs the statement to its end.
    ///
    /// @param flags  kept for the interface, not used
    /// @return the number of rows changed
    /// @throws QD_OrvelException  27 or 13 a parameter could not be bound, 31 the database was busy, 34 or 13 the engine
    ///         refused the statement
    virtual int execNoQuery(unsigned int flags) = 0;

    /// Runs the statement as a query; errors as `execNoQuery`.
    virtual QD_OrvelQueryHandle execQuery(unsigned int flags) = 0;

    /// @param text  in the narrow encoding; copied; null and empty add NULL
    virtual void addStringParam(const char* text) = 0;
    virtual void addIntParam(int value) = 0;
    virtual void addInt64Param(long long value) = 0;
    virtual void addDoubleParam(double value) = 0;

    /// @param data    bytes, copied; null adds NULL
    /// @param length  in bytes; 0 adds NULL
    virtual void addBlobParam(const unsigned char* data, int length) = 0;

    /// Adds NULL.
    virtual void addEmptyParam(QD_OrvelDataKind kind) = 0;

    /// Removes all parameters.
    virtual void resetParams() = 0;

    /// Lets go of the statement and the parameters; the command cannot run again. Never throws; twice is harmless.
    virtual void close() = 0;
};

/// Result of `createCommand`.
class QD_ORVEL_EXPORT QD_OrvelCommandHandle : public QD_OrvelTypedHandle<QD_OrvelCommand> {
public:
    using QD_OrvelTypedHandle::QD_OrvelTypedHandle;
};

#endif
