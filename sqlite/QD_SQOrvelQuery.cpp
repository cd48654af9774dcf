#include "QD_SQOrvelQuery.h"

#include <sqlite3.h>

#include <cstring>
#include <new>
#include <typeinfo>

#include "QD_SQOrvelException.h"
#include "core/diagnostics.h"
#include "core/entry_frame.h"
#include "platform/text.h"
#include "sqlite/sqlite_statement.h"
#include "sqlite/sqlite_text.h"

namespace platform = orvel::platform;
using orvel::inspected;

namespace {

constexpr const char* closeName = "QD_SQOrvelQuery::close";
constexpr const char* nextRowName = "QD_SQOrvelQuery::nextRow";

/// A value that SQLite has no memory to convert must not pass for NULL, which a number has become by then.
void requireMemory(sqlite3_stmt* statement) {
    if (sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM) {
        throw std::bad_alloc();
    }
}

} // namespace

inline sqlite3_stmt* QD_SQOrvelQuery::current() const {
    return statement.isValid() ? statement->get() : nullptr;
}

bool QD_SQOrvelQuery::isValid() const { return current() != nullptr; }

inline sqlite3_value* QD_SQOrvelQuery::valueAt(int index) const {
    return sqlite3_column_value(current(), index);
}

/// NULL counts only within the current row; outside it SQLite's answers are passed on as they are.
inline bool QD_SQOrvelQuery::isNullValue(int index, sqlite3_value* value) const {
    return index >= 0 && index < fieldCount && sqlite3_value_type(value) == SQLITE_NULL;
}

inline void QD_SQOrvelQuery::assignNarrow(std::string& narrow, const char* utf8, std::size_t length) const {
    if (isNarrowUtf8()) {
        narrow.assign(utf8, length);
    } else {
        platform::assignNarrow(narrow, {utf8, length});
    }
}

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
    : connection(owner), statement(shared) {
    statement->addQuery();
}

QD_SQOrvelQuery::~QD_SQOrvelQuery() { QD_SQOrvelQuery::close(); }

void QD_SQOrvelQuery::share(orvel::SqliteStatement* shared) {
    statement = QD_OrvelTypedHandle<orvel::SqliteStatement>(shared);
    statement->addQuery();
}

bool QD_SQOrvelQuery::eof() const { return atEnd; }

int QD_SQOrvelQuery::numFields() const { return fieldCount; }

inline void QD_SQOrvelQuery::step() {
    sqlite3_stmt* const stepping = current();
    if (stepping == nullptr) {
        atEnd = true;
        return;
    }
    fieldCount = 0;
    if (atEnd) { // SQLite begins the statement again
        connection->checkTransaction();
    }
    switch (const int result = sqlite3_step(stepping)) {
    case SQLITE_DONE:
        atEnd = true;
        connection->noteSuccess();
        break;
    case SQLITE_ROW:
        fieldCount = sqlite3_data_count(stepping);
        encoding = Encoding::unasked;
        break;
    default:
        fail(result);
    }
}

/// Runs the statement to its first row, or to its end; SQLite's code when that failed, which its reset tells.
std::optional<int> QD_SQOrvelQuery::start() {
    const int result = sqlite3_step(current());
    if (result == SQLITE_ROW) {
        atEnd = false;
        fieldCount = sqlite3_data_count(current());
    } else if (result != SQLITE_DONE) {
        return sqlite3_reset(current());
    }
    return std::nullopt;
}

void QD_SQOrvelQuery::nextRow() {
    try {
        step();
    } catch (QD_OrvelException& exception) {
        orvel::logCatch(orvel::CatchForm::libraryException, nextRowName, orvel::Where::current().line(),
                        exception.errorMessage());
    } catch (...) {
        orvel::logSwallowed(nextRowName, orvel::Where::current().line());
    }
}

void QD_SQOrvelQuery::fail(int stepResult) {
    atEnd = true; // first: also when the words for the failure cannot be had
    sqlite3* const db = sqlite3_db_handle(current());
    const int result = sqlite3_reset(current()); // only now does SQLite tell what went wrong
    connection->noteFailure(db, result);
    try {
        throw QD_SQOrvelException(QD_ORVEL_ERR_RETRIEVE_ROW, nextRowName,
                                  static_cast<unsigned long>(stepResult),
                                  orvel::sqliteMessage(db, result).c_str(), 0);
    } catch (...) {
        orvel::swallowed(nextRowName,
                         [&] { close(); }); // behind the message: `db` may go; an override may throw
        QD_SQOrvelQuery::close();
        throw;
    }
}

bool QD_SQOrvelQuery::getFieldIndex(const char* name, int& index) const {
    return inspected("QD_SQOrvelQuery::getFieldIndex", false, [&] { return findColumn(name, index); });
}

inline bool QD_SQOrvelQuery::findColumn(const char* name, int& index) const {
    if (current() == nullptr || name == nullptr || *name == '\0') {
        return false;
    }
    const int column = isNarrowUtf8() ? statement->columnNamed(name) : columnNamedNarrow(name);
    if (column < 0 || column >= fieldCount) { // without a current row nothing is found
        return false;
    }
    index = column;
    return true;
}

int QD_SQOrvelQuery::columnNamedNarrow(const char* name) const {
    return statement->columnNamed(platform::narrowToUtf8(name).c_str());
}

bool QD_SQOrvelQuery::getFieldName(int index, std::string& name) const {
    return inspected("QD_SQOrvelQuery::getFieldName", false, [&] {
        if (!isValid() || index < 0 || index >= fieldCount) {
            return false;
        }
        const char* const utf8 = sqlite3_column_name(current(), index);
        if (utf8 == nullptr) {
            throw std::bad_alloc();
        }
        assignNarrow(name, utf8, std::strlen(utf8));
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
template <auto Convert, class Number>
inline bool QD_SQOrvelQuery::readNumber(int index, Number& value) const {
    sqlite3_value* const field = valueAt(index);
    value = Convert(field);
    return value != 0 || !isNullValue(index, field);
}

inline bool QD_SQOrvelQuery::read(int index, int& value) const {
    return readNumber<&sqlite3_value_int>(index, value);
}

inline bool QD_SQOrvelQuery::read(int index, long long& value) const {
    return readNumber<&sqlite3_value_int64>(index, value);
}

inline bool QD_SQOrvelQuery::read(int index, double& value) const {
    return readNumber<&sqlite3_value_double>(index, value);
}

inline bool QD_SQOrvelQuery::read(int index, std::string& value) const {
    sqlite3_value* const field = valueAt(index);
    const void* const text = sqlite3_value_text(field);
    if (text == nullptr) { // NULL, or a column that does not exist
        requireMemory(current());
        return false;
    }
    assignNarrow(value, static_cast<const char*>(text), static_cast<std::size_t>(sqlite3_value_bytes(field)));
    return true;
}

inline bool QD_SQOrvelQuery::read(int index, unsigned int& size, unsigned char* buffer) const {
    sqlite3_value* const field = valueAt(index);
    const int length = sqlite3_value_bytes(field); // before the bytes: it may convert a text
    if (length == 0 && isNullValue(index, field)) {
        return false;
    }
    const unsigned int capacity = size;
    size = static_cast<unsigned int>(length);
    const void* const bytes = sqlite3_value_blob(field);
    if (size == 0) {
        return false;
    }
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    if (buffer == nullptr) {
        return true;
    }
    if (capacity < size) {
        return false;
    }
    std::memcpy(buffer, bytes, size);
    return true;
}

bool QD_SQOrvelQuery::getIntField(int index, int& value) const {
    value = 0;
    return inspected("QD_SQOrvelQuery::getIntField", false,
                     [&] { return current() != nullptr && read(index, value); });
}

bool QD_SQOrvelQuery::getInt64Field(int index, long long& value) const {
    value = 0;
    return inspected("QD_SQOrvelQuery::getInt64Field", false,
                     [&] { return current() != nullptr && read(index, value); });
}

bool QD_SQOrvelQuery::getDoubleField(int index, double& value) const {
    value = 0.0;
    return inspected("QD_SQOrvelQuery::getDoubleField", false,
                     [&] { return current() != nullptr && read(index, value); });
}

bool QD_SQOrvelQuery::getStringField(int index, std::string& value) const {
    value.clear();
    return inspected("QD_SQOrvelQuery::getStringField", false,
                     [&] { return current() != nullptr && read(index, value); });
}

bool QD_SQOrvelQuery::getBlobField(int index, unsigned int& size, unsigned char* buffer) const {
    return inspected("QD_SQOrvelQuery::getBlobField", false,
                     [&] { return current() != nullptr && read(index, size, buffer); });
}

/// A derived class may have operations of its own for finding and reading by index. Without one, two virtual calls a
/// field would cost as much as the field.
template <class... Output>
bool QD_SQOrvelQuery::byName(const char* function, const char* name, Getter<Output...> getter,
                             Output... output) const {
    return inspected(function, false, [&] {
        int index = 0;
        return typeid(*this) == typeid(QD_SQOrvelQuery)
                   ? findColumn(name, index) && read(index, output...)
                   : getFieldIndex(name, index) && (this->*getter)(index, output...);
    });
}

bool QD_SQOrvelQuery::getIntField(const char* name, int& value) const {
    value = 0;
    return byName<int&>("QD_SQOrvelQuery::getIntField", name, &QD_SQOrvelQuery::getIntField, value);
}

bool QD_SQOrvelQuery::getInt64Field(const char* name, long long& value) const {
    value = 0;
    return byName<long long&>("QD_SQOrvelQuery::getInt64Field", name, &QD_SQOrvelQuery::getInt64Field, value);
}

bool QD_SQOrvelQuery::getDoubleField(const char* name, double& value) const {
    value = 0.0;
    return byName<double&>("QD_SQOrvelQuery::getDoubleField", name, &QD_SQOrvelQuery::getDoubleField, value);
}

bool QD_SQOrvelQuery::getStringField(const char* name, std::string& value) const {
    const bool delivered = byName<std::string&>("QD_SQOrvelQuery::getStringField", name,
                                                &QD_SQOrvelQuery::getStringField, value);
    if (!delivered) {
        value.clear(); // only now: the name may lie in the value
    }
    return delivered;
}

bool QD_SQOrvelQuery::getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const {
    return byName<unsigned int&, unsigned char*>("QD_SQOrvelQuery::getBlobField", name,
                                                 &QD_SQOrvelQuery::getBlobField, size, buffer);
}

void QD_SQOrvelQuery::close() {
    orvel::swallowed(closeName, [&] {
        if (statement.isNull()) {
            return;
        }
        sqlite3* const db = sqlite3_db_handle(current());
        const int result = statement->dropQuery(db == *connection.get());
        if (result != SQLITE_OK) {
            reportLoss(db, result);
        }
        statement.release();
    });
}

/// What the statement has changed could not be committed.
void QD_SQOrvelQuery::reportLoss(sqlite3* db, int result) noexcept {
    connection->noteFailure(db, result);
    orvel::swallowed(closeName, [&] {
        orvel::logCatch(orvel::CatchForm::swallowed, closeName, orvel::Where::current().line(),
                        orvel::sqliteMessage(db, result).c_str());
    });
}

bool QD_SQOrvelQuery::askForEncoding() const {
    const bool isUtf8 = platform::narrowIsUtf8();
    encoding = isUtf8 ? Encoding::utf8 : Encoding::other;
    return isUtf8;
}

bool QD_SQOrvelQuery::isFieldNull(int index) const {
    return inspected("QD_SQOrvelQuery::isFieldNull", false,
                     [&] { return isValid() && fieldDataType(index) == SQLITE_NULL; });
}

bool QD_SQOrvelQuery::isFieldNull(const char* name) const {
    return inspected("QD_SQOrvelQuery::isFieldNull", false, [&] {
        int index = 0;
        return getFieldIndex(name, index) && fieldDataType(index) == SQLITE_NULL;
    });
}

int QD_SQOrvelQuery::fieldDataType(int index) const {
    return inspected("QD_SQOrvelQuery::fieldDataType", 0, [&] {
        if (index < 0 || index >= fieldCount || !isValid()) {
            return 0;
        }
        return sqlite3_column_type(current(), index);
    });
}
