#ifndef QD_ORVEL_QUERY_H
#define QD_ORVEL_QUERY_H

#include <string>

#include "QD_OrvelExport.h"
#include "QD_OrvelHandle.h"

/// A forward-only cursor. It stands on its first row, or at its end, once a connection has made it.
///
/// Reading never throws. A getter answers true when it delivered a value; it answers false when the field is NULL,
/// the column is unknown or the access failed (a failure is logged). The number and text getters then leave 0, 0.0 or
/// an empty text; what the others leave is the provider's matter. Columns are counted from 0. Texts are in the
/// process's narrow encoding.
///
/// A query made by an SQLite *command* is different: it reports `eof()` true and `numFields()` 0 from the
/// start and is read by index; see QD_SQOrvelCommand.
///
/// Used by one thread at a time, like the connection it came from. The order of the virtual operations is
/// part of the interface.
class QD_ORVEL_EXPORT QD_OrvelQuery : public QD_OrvelHandableClass {
public:
    QD_OrvelQuery() = default;
    QD_OrvelQuery(const QD_OrvelQuery&) = delete;
    QD_OrvelQuery& operator=(const QD_OrvelQuery&) = delete;
    ~QD_OrvelQuery() override;

    /// True when there is no current row.
    virtual bool eof() const = 0;

    /// Number of fields of the current row.
    virtual int numFields() const = 0;

    /// Moves to the next row. A failure is logged and ends the cursor, which then looks like any cursor at its end; on servers
    /// it also makes the commit of an open transaction fail. Not to be called again once `eof` is
    /// true: what then happens is the engine's matter.
    virtual void nextRow() = 0;

    /// Finds the first column of that name; the comparison is exact.
    virtual bool getFieldIndex(const char* name, int& index) const = 0;
    virtual bool getFieldName(int index, std::string& name) const = 0;

    /// The type a column was declared with, as the engine words it; false for an expression.
    virtual bool getFieldDeclType(int index, std::string& type) const = 0;

    virtual bool getIntField(const char* name, int& value) const = 0;
    virtual bool getIntField(int index, int& value) const = 0;
    virtual bool getInt64Field(const char* name, long long& value) const = 0;
    virtual bool getInt64Field(int index, long long& value) const = 0;
    virtual bool getDoubleField(const char* name, double& value) const = 0;
    virtual bool getDoubleField(int index, double& value) const = 0;
    virtual bool getStringField(const char* name, std::string& value) const = 0;
    virtual bool getStringField(int index, std::string& value) const = 0;

    /// Copies a blob.
    ///
    /// @param size    in: the buffer's capacity in bytes; out: the blob's length. Unchanged when the field is NULL.
    /// @param buffer  null asks for the length alone, and is answered with true unless the blob is empty
    /// @return false, with nothing copied, when the blob is NULL or empty or the buffer is too small
    virtual bool getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const = 0;
    virtual bool getBlobField(int index, unsigned int& size, unsigned char* buffer) const = 0;

    /// Lets go of the rows and of the locks that reading them held. Never throws; twice is harmless.
    virtual void close() = 0;
};

/// Result of `execQuery`.
class QD_ORVEL_EXPORT QD_OrvelQueryHandle : public QD_OrvelTypedHandle<QD_OrvelQuery> {
public:
    using QD_OrvelTypedHandle::QD_OrvelTypedHandle;
};

#endif
