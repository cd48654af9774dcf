#ifndef QD_ADOORVEL_QUERY_H
#define QD_ADOORVEL_QUERY_H

#include <memory>
#include <string>

#include "QD_OrvelQuery.h"

namespace orvel::platform::ado {
class Connection;
class Field;
class Fields;
class Recordset;
} // namespace orvel::platform::ado

/// A cursor over a result of a client/server engine; see QD_OrvelQuery for what every cursor promises.
///
/// Values are converted exactly or not at all: a number that does not fit and a text that is no number are
/// false. Fractions become integers by rounding half to even, except that `getInt64Field` reads a decimal's
/// digits without its point: 12.5 reads as 125. Numbers become text with a decimal point whatever the locale.
///
/// The getters find a name in any letter case, `getFieldIndex` only exactly. `numFields` is 0 for a result
/// that was empty from the start and stays the number of columns at the end of one that was not.
///
/// Without a current row every getter answers false, and logs nothing: rows may be read until there is none.
///
/// A cursor that outlives its connection, closed or gone, delivers the rows that it has in memory and then ends. Unless
/// these were certainly all, `nextRow` logs that it was cut off, as it logs any failure that ends a scan; outside of a
/// transaction, whose commit fails then, that line is the only sign.
class QD_ORVEL_EXPORT QD_ADOOrvelQuery : public QD_OrvelQuery {
public:
    /// @param rows  null: a cursor at its end
    /// @throws QD_OrvelException  29 the result cannot be looked at
    explicit QD_ADOOrvelQuery(const std::shared_ptr<orvel::platform::ado::Recordset>& rows);
    QD_ADOOrvelQuery(const QD_ADOOrvelQuery&) = delete;
    QD_ADOOrvelQuery& operator=(const QD_ADOOrvelQuery&) = delete;
    ~QD_ADOOrvelQuery() override;

    bool eof() const override;
    int numFields() const override;
    void nextRow() override;

    /// -1 in `index` when there is no such column, or there was no row when the query was made.
    bool getFieldIndex(const char* name, int& index) const override;
    bool getFieldName(int index, std::string& name) const override;

    /// The name of the column's ADO data type, "adVarWChar" for example.
    bool getFieldDeclType(int index, std::string& type) const override;
    bool getIntField(const char* name, int& value) const override;
    bool getIntField(int index, int& value) const override;
    bool getInt64Field(const char* name, long long& value) const override;
    bool getInt64Field(int index, long long& value) const override;
    bool getDoubleField(const char* name, double& value) const override;
    bool getDoubleField(int index, double& value) const override;
    bool getStringField(const char* name, std::string& value) const override;
    bool getStringField(int index, std::string& value) const override;
    bool getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const override;
    bool getBlobField(int index, unsigned int& size, unsigned char* buffer) const override;
    void close() override;

protected:
    bool isValid() const;

    /// True for a column whose type is "empty", whatever its value.
    bool isFieldNull(int index) const;
    bool isFieldNull(const char* name) const;

    /// The connection the result came from; null when there is none.
    std::shared_ptr<orvel::platform::ado::Connection> getActiveConnection() const;

    // What the getters do: by name, or by index when the name is null.
    bool _getIntField(const char* name, int index, int& value) const;
    bool _getInt64Field(const char* name, int index, long long& value) const;
    bool _getDoubleField(const char* name, int index, double& value) const;
    bool _getStringField(const char* name, int index, std::string& value) const;
    bool _getBlobField(const char* name, int index, unsigned int& size, unsigned char* buffer) const;

private:
    std::shared_ptr<orvel::platform::ado::Recordset> recordset;
    orvel::platform::ado::Fields* fields = nullptr; ///< the recordset's
    int fieldCount = 0;

    orvel::platform::ado::Field& field(const char* name, int index) const;
    bool isEmptyType(const char* name, int index) const;
    void refreshFields();
    template <class Take>
    bool takeValue(const char* name, int index, Take take) const;
};

#endif
