#include "QD_SQOrvelQuery.h"

#include <sqlite3.h>

#include <cstring>

#include "QD_SQOrvelException.h"
#include "core/diagnostics.h"
#include "core/entry_frame.h"
#include "platform/text.h"
#include "sqlite/sqlite_statement.h"
#include "sqlite/sqlite_text.h"

namespace platform = orvel::platform;
using orvel::inspected;

QD_SQOrvelQuery::QD_SQOrvelQuery() = default;

QD_SQOrvelQuery::QD_SQOrvelQuery(QD_SQOrvelConnection* owner, sqlite3_stmt* compiled, bool ended) try
    : connection(owner), atEnd(ended) {
    if (owner == nullptr) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_INVALID_POINTER, "QD_SQOrvelQuery::QD_SQOrvelQuery", 1000,
                                  "Null Database pointer", 0);
    }
    if (compiled == nullptr) {
        return;
    }
    share(new orvel::SqliteStatement(compiled));
    if (!ended) {
        fieldCount = sqlite3_data_count(compiled);
    }
} catch (...) {
    orvel::stampCurrent({"QD_SQOrvelQuery::QD_SQOrvelQuery", QD_ORVEL_ERR_CREATE_QUERY});
}

QD_SQOrvelQuery::QD_SQOrvelQuery(QD_SQOrvelConnection* owner, orvel::SqliteStatement* shared)
    : connection(owner) {
    share(shared);
}

QD_SQOrvelQuery::~QD_SQOrvelQuery() { QD_SQOrvelQuery::close(); }

void QD_SQOrvelQuery::share(orvel::SqliteStatement* shared) {
    statement = QD_OrvelTypedHandle<orvel::SqliteStatement>(shared);
    statement->addQuery();
}

bool QD_SQOrvelQuery::eof() const { return atEnd; }

int QD_SQOrvelQuery::numFields() const { return fieldCount; }

void QD_SQOrvelQuery::nextRow() {
    try {
        sqlite3_stmt* const stepping = current();
        fieldCount = 0;
        if (stepping == nullptr) {
            atEnd = true;
            return;
        }
        switch (const int result = sqlite3_step(stepping)) {
        case SQLITE_DONE:
            atEnd = true;
            break;
        case SQLITE_ROW:
            fieldCount = sqlite3_data_count(stepping);
            break;
        default:
            fail(result);
        }
    } catch (QD_OrvelException& exception) {
        orvel::logCatch(orvel::CatchForm::libraryException, "QD_SQOrvelQuery::nextRow",
                        orvel::Where::current().line(), exception.errorMessage());
    } catch (...) {
        orvel::logSwallowed("QD_SQOrvelQuery::nextRow", orvel::Where::current().line());
        close();
    }
}

void QD_SQOrvelQuery::fail(int stepResult) {
    atEnd = true; // first: also when the words for the failure cannot be had
    sqlite3* const db = sqlite3_db_handle(current());
    sqlite3_reset(current()); // only now does SQLite tell what went wrong; once closed, `db` may be gone
    const std::string message = orvel::sqliteMessage(db);
    close();
    throw QD_SQOrvelException(QD_ORVEL_ERR_RETRIEVE_ROW, "QD_SQOrvelQuery::nextRow",
                              static_cast<unsigned long>(stepResult), message.c_str(), 0);
}

bool QD_SQOrvelQuery::getFieldIndex(const char* name, int& index) const {
    return inspected("QD_SQOrvelQuery::getFieldIndex", false, [&] {
        const int column = columnNamed(name);
        if (column >= 0) {
            index = column;
        }
        return column >= 0;
    });
}

/// -1 when there is no such column, or no current row.
int QD_SQOrvelQuery::columnNamed(const char* name) const {
    if (!isValid() || name == nullptr || *name == '\0') {
        return -1;
    }
    const int column = platform::narrowIsUtf8()
                           ? statement->columnNamed(name)
                           : statement->columnNamed(platform::narrowToUtf8(name).c_str());
    return column < fieldCount ? column : -1;
}

bool QD_SQOrvelQuery::getFieldName(int index, std::string& name) const {
    return inspected("QD_SQOrvelQuery::getFieldName", false, [&] {
        if (!isValid() || index < 0 || index >= fieldCount) {
            return false;
        }
        const char* const utf8 = sqlite3_column_name(current(), index);
        if (utf8 == nullptr) {
            return false;
        }
        platform::assignNarrow(name, utf8);
        return true;
    });
}

bool QD_SQOrvelQuery::getFieldDeclType(int index, std::string& type) const {
    return inspected("QD_SQOrvelQuery::getFieldDeclType", false, [&] {
        if (!isValid() || index < 0 || index >= fieldCount) {
            return false;
        }
        const char* const declared = sqlite3_column_decltype(current(), index);
        if (declared == nullptr) { // an expression
            return false;
        }
        type = declared;
        return true;
    });
}

/// Reads the value once and asks whether it is NULL only when it reads as 0: a second call per field would cost as much
/// as the first. The value may be used directly because a query has one thread.
template <class Number>
bool QD_SQOrvelQuery::readNumber(const char* function, int index, Number& value,
                                 Number (*convert)(sqlite3_value*)) const {
    value = 0;
    return inspected(function, false, [&] {
        if (!isValid()) {
            return false;
        }
        sqlite3_value* const field = valueAt(index);
        value = convert(field);
        return value != 0 || !isNullValue(index, field);
    });
}

bool QD_SQOrvelQuery::getIntField(int index, int& value) const {
    return readNumber("QD_SQOrvelQuery::getIntField", index, value, &sqlite3_value_int);
}

bool QD_SQOrvelQuery::getInt64Field(int index, long long& value) const {
    return readNumber<long long>("QD_SQOrvelQuery::getInt64Field", index, value, &sqlite3_value_int64);
}

bool QD_SQOrvelQuery::getDoubleField(int index, double& value) const {
    return readNumber("QD_SQOrvelQuery::getDoubleField", index, value, &sqlite3_value_double);
}

bool QD_SQOrvelQuery::getStringField(int index, std::string& value) const {
    value.clear();
    return inspected("QD_SQOrvelQuery::getStringField", false, [&] {
        if (!isValid()) {
            return false;
        }
        sqlite3_value* const field = valueAt(index);
        const void* const text = sqlite3_value_text(field);
        if (text == nullptr) { // NULL, or a column that does not exist
            return false;
        }
        platform::assignNarrow(
            value, {static_cast<const char*>(text), static_cast<std::size_t>(sqlite3_value_bytes(field))});
        return true;
    });
}

bool QD_SQOrvelQuery::getBlobField(int index, unsigned int& size, unsigned char* buffer) const {
    return inspected("QD_SQOrvelQuery::getBlobField", false, [&] {
        if (!isValid()) {
            return false;
        }
        sqlite3_value* const field = valueAt(index);
        if (isNullValue(index, field)) {
            return false;
        }
        const unsigned int capacity = size;
        size =
            static_cast<unsigned int>(sqlite3_value_bytes(field)); // before the bytes: it may convert a text
        const void* const bytes = sqlite3_value_blob(field);
        if (size == 0 || bytes == nullptr) {
            return false;
        }
        if (buffer == nullptr) {
            return true;
        }
        if (capacity < size) {
            return false;
        }
        std::memcpy(buffer, bytes, size);
        return true;
    });
}

template <class Get>
bool QD_SQOrvelQuery::byName(const char* function, const char* name, Get get) const {
    return inspected(function, false, [&] {
        int index = 0;
        return isValid() && getFieldIndex(name, index) && get(index);
    });
}

bool QD_SQOrvelQuery::getIntField(const char* name, int& value) const {
    value = 0;
    return byName("QD_SQOrvelQuery::getIntField", name, [&](int index) { return getIntField(index, value); });
}

bool QD_SQOrvelQuery::getInt64Field(const char* name, long long& value) const {
    value = 0;
    return byName("QD_SQOrvelQuery::getInt64Field", name,
                  [&](int index) { return getInt64Field(index, value); });
}

bool QD_SQOrvelQuery::getDoubleField(const char* name, double& value) const {
    value = 0.0;
    return byName("QD_SQOrvelQuery::getDoubleField", name,
                  [&](int index) { return getDoubleField(index, value); });
}

bool QD_SQOrvelQuery::getStringField(const char* name, std::string& value) const {
    value.clear();
    return byName("QD_SQOrvelQuery::getStringField", name,
                  [&](int index) { return getStringField(index, value); });
}

bool QD_SQOrvelQuery::getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const {
    return byName("QD_SQOrvelQuery::getBlobField", name,
                  [&](int index) { return getBlobField(index, size, buffer); });
}

void QD_SQOrvelQuery::close() {
    orvel::swallowed("QD_SQOrvelQuery::close", [&] {
        if (statement.isNull()) {
            return;
        }
        statement->dropQuery();
        statement.release();
    });
}

bool QD_SQOrvelQuery::isValid() const { return current() != nullptr; }

bool QD_SQOrvelQuery::isFieldNull(int index) const {
    return inspected("QD_SQOrvelQuery::isFieldNull", false,
                     [&] { return isValid() && fieldDataType(index) == SQLITE_NULL; });
}

bool QD_SQOrvelQuery::isFieldNull(const char* name) const {
    return byName("QD_SQOrvelQuery::isFieldNull", name,
                  [&](int index) { return fieldDataType(index) == SQLITE_NULL; });
}

int QD_SQOrvelQuery::fieldDataType(int index) const {
    return inspected("QD_SQOrvelQuery::fieldDataType", 0, [&] {
        if (index < 0 || index >= fieldCount || !isValid()) {
            return 0;
        }
        return sqlite3_column_type(current(), index);
    });
}

sqlite3_stmt* QD_SQOrvelQuery::current() const { return statement.isValid() ? statement->get() : nullptr; }

sqlite3_value* QD_SQOrvelQuery::valueAt(int index) const { return sqlite3_column_value(current(), index); }

/// NULL counts only within the current row; outside it SQLite's answers are passed on as they are.
bool QD_SQOrvelQuery::isNullValue(int index, sqlite3_value* value) const {
    return index >= 0 && index < fieldCount && sqlite3_value_type(value) == SQLITE_NULL;
}
