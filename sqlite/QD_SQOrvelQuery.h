#ifndef QD_SQORVEL_QUERY_H
#define QD_SQORVEL_QUERY_H

#include <optional>
#include <string>

#include "QD_OrvelQuery.h"
#include "QD_SQOrvelConnection.h"

struct sqlite3_stmt;
struct sqlite3_value;

namespace orvel {
class SqliteStatement;
}

/// A cursor over an SQLite statement; see QD_OrvelQuery for what every cursor promises.
///
/// Values are converted as SQLite does: text to a number by the digits it begins with, numbers to text, large
/// integers cut to 32 bits. Column names compare byte for byte. The getters by index do not check the index:
/// SQLite answers for columns it does not have, with true and 0 for numbers and false for texts and blobs.
class QD_ORVEL_EXPORT QD_SQOrvelQuery : public QD_OrvelQuery {
public:
    /// A cursor over a statement that was already stepped to its first row, or to its end.
    ///
    /// @param owner     kept alive, with the database, as long as the cursor; null: 22
    /// @param compiled  taken over, unless the constructor throws; null makes an empty cursor
    /// @param ended     what `eof` reports; true leaves `numFields` at 0 even when there is a current row
    QD_SQOrvelQuery(QD_SQOrvelConnection* owner, sqlite3_stmt* compiled, bool ended);
    QD_SQOrvelQuery(const QD_SQOrvelQuery&) = delete;
    QD_SQOrvelQuery& operator=(const QD_SQOrvelQuery&) = delete;
    ~QD_SQOrvelQuery() override;

    bool eof() const override;
    int numFields() const override;

    /// Past the end, SQLite begins the statement again: a statement that changes data changes it again.
    void nextRow() override;

    /// Leaves `index` alone when there is no such column, or no current row.
    bool getFieldIndex(const char* name, int& index) const override;
    bool getFieldName(int index, std::string& name) const override;
    bool getFieldDeclType(int index, std::string& type) const override;
    bool getIntField(const char* name, int& value) const override;
    bool getIntField(int index, int& value) const override;
    bool getInt64Field(const char* name, long long& value) const override;
    bool getInt64Field(int index, long long& value) const override;
    bool getDoubleField(const char* name, double& value) const override;
    bool getDoubleField(int index, double& value) const override;
    bool getStringField(const char* name, std::string& value) const override; ///< `name` may lie in `value`
    bool getStringField(int index, std::string& value) const override;
    bool getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const override;
    bool getBlobField(int index, unsigned int& size, unsigned char* buffer) const override;
    void close() override;

protected:
    bool isValid() const;
    bool isFieldNull(int index) const;
    bool isFieldNull(const char* name) const;

    /// SQLite's type of a value of the current row: 1 integer, 2 float, 3 text, 4 blob, 5 NULL; 0 outside it.
    int fieldDataType(int index) const;

private:
    friend class QD_SQOrvelCommand;
    friend class QD_SQOrvelConnection;

    QD_SQOrvelConnectionHandle connection;
    QD_OrvelTypedHandle<orvel::SqliteStatement> statement;
    bool atEnd = true;
    enum class Encoding : unsigned char { unasked, utf8, other };
    mutable Encoding encoding = Encoding::unasked; // of narrow text, asked once a row at most
    int fieldCount = 0;

    QD_SQOrvelQuery();
    QD_SQOrvelQuery(QD_SQOrvelConnection* owner, orvel::SqliteStatement* shared);

    void share(orvel::SqliteStatement* shared);
    sqlite3_stmt* current() const;
    sqlite3_value* valueAt(int index) const;
    bool isNullValue(int index, sqlite3_value* value) const;
    std::optional<int> start();
    void step();
    void reportLoss(sqlite3* db, int result) noexcept;
    [[noreturn]] void fail(int stepResult);

    bool isNarrowUtf8() const {
        return encoding == Encoding::unasked ? askForEncoding() : encoding == Encoding::utf8;
    }
    bool askForEncoding() const;
    int columnNamedNarrow(const char* name) const;
    void assignNarrow(std::string& narrow, const char* utf8, std::size_t length) const;

    bool findColumn(const char* name, int& index) const;
    // Of a statement that is there, into outputs that have their preset.
    bool read(int index, int& value) const;
    bool read(int index, long long& value) const;
    bool read(int index, double& value) const;
    bool read(int index, std::string& value) const;
    bool read(int index, unsigned int& size, unsigned char* buffer) const;
    template <auto Convert, class Number>
    bool readNumber(int index, Number& value) const;
    template <class... Output>
    using Getter = bool (QD_SQOrvelQuery::*)(int, Output...) const;
    template <class... Output>
    bool byName(const char* function, const char* name, Getter<Output...> getter, Output... output) const;
};

#endif
