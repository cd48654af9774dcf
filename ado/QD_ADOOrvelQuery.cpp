#include "QD_ADOOrvelQuery.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "ado/ado_values.h"
#include "ado/com_error_translation.h"
#include "platform/ado/Recordset.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/text.h"

namespace ado = orvel::platform::ado;
namespace platform = orvel::platform;
using orvel::needed;

namespace {

/// The low 64 bits of the magnitude with its sign; the scale is not looked at.
long long digitsOf(const ado::Decimal& decimal) {
    const std::uint64_t magnitude = decimal.low;
    return static_cast<long long>(decimal.sign == ado::Decimal::negative ? 0 - magnitude : magnitude);
}

/// Apart, so that a field by its position pays nothing for the text.
[[gnu::noinline]] ado::Field& fieldNamed(ado::Fields& columns, const char* name) {
    return columns.item(platform::narrowToUtf8(name));
}

/// Copies a binary value; `size` is the buffer's at first, and then the value's.
bool takeBytes(ado::Field& field, unsigned int& size, unsigned char* buffer) {
    const unsigned int capacity = size;
    const std::int32_t length = field.actualSize();
    size = static_cast<unsigned int>(std::max(length, 0)); // below 0 it is not known
    if (length < 0) {
        throw platform::ComError(platform::eUnexpected, "A value has no size.");
    }
    if (size == 0 || buffer == nullptr || capacity < size) {
        return size != 0 && buffer == nullptr;
    }
    const ado::Variant& chunk = field.getChunk(length);
    const auto* const bytes = std::get_if<ado::Bytes>(&chunk);
    if (bytes == nullptr || bytes->size() < size) {
        return false;
    }
    std::memcpy(buffer, bytes->data(), size);
    return true;
}

} // namespace

QD_ADOOrvelQuery::QD_ADOOrvelQuery(const std::shared_ptr<ado::Recordset>& rows) try : recordset(rows) {
    if (!QD_ADOOrvelQuery::eof()) { // a result that cannot tell is at its end
        refreshFields();
    }
} catch (...) {
    // The members are gone by now, the argument is not.
    orvel::translateComError("QD_ADOOrvelQuery::QD_ADOOrvelQuery", QD_ORVEL_ERR_CREATE_QUERY,
                             orvel::connectionOrNull(rows), orvel::Where::current().line());
}

QD_ADOOrvelQuery::~QD_ADOOrvelQuery() { QD_ADOOrvelQuery::close(); }

void QD_ADOOrvelQuery::refreshFields() {
    fields = &recordset->fields();
    fieldCount = fields->count();
}

bool QD_ADOOrvelQuery::eof() const {
    return orvel::adoInspected("QD_ADOOrvelQuery::eof", true, recordset,
                               [&] { return recordset == nullptr || recordset->eof(); });
}

int QD_ADOOrvelQuery::numFields() const { return fieldCount; }

void QD_ADOOrvelQuery::nextRow() {
    orvel::adoSwallowed("QD_ADOOrvelQuery::nextRow", recordset, [&] {
        if (recordset == nullptr) {
            return;
        }
        fieldCount = 0;
        fields = nullptr;
        recordset->moveNext();
        refreshFields();
    });
}

bool QD_ADOOrvelQuery::getFieldIndex(const char* name, int& index) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getFieldIndex", false, recordset, [&] {
        index = -1;
        if (recordset == nullptr || name == nullptr) {
            return false;
        }
        const std::string wanted = platform::narrowToUtf8(name);
        for (int position = 0; position < fieldCount; ++position) {
            if (needed(fields).item(position).name() == wanted) {
                index = position;
                return true;
            }
        }
        return false;
    });
}

bool QD_ADOOrvelQuery::getFieldName(int index, std::string& name) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getFieldName", false, recordset, [&] {
        name.clear();
        if (recordset == nullptr || index < 0 || index >= fieldCount) {
            return false;
        }
        platform::assignNarrow(name, field(nullptr, index).name());
        return true;
    });
}

bool QD_ADOOrvelQuery::getFieldDeclType(int index, std::string& type) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getFieldDeclType", false, recordset, [&] {
        type.clear();
        if (recordset == nullptr || index < 0 || index >= fieldCount) {
            return false;
        }
        type = orvel::dataTypeName(field(nullptr, index).type());
        return true;
    });
}

/// Hands the value of a field to `take`, unless there is none.
template <class Take>
bool QD_ADOOrvelQuery::takeValue(const char* name, int index, Take take) const {
    if (fields == nullptr) { // there was no row from the start: no failure, as behind the last one
        return false;
    }
    const ado::Variant& content = field(name, index).value();
    if (ado::isEmptyOrNull(content)) {
        return false;
    }
    take(content);
    return true;
}

bool QD_ADOOrvelQuery::_getIntField(const char* name, int index, int& value) const {
    value = 0;
    return takeValue(name, index, [&](const ado::Variant& content) { value = ado::toInt32(content); });
}

bool QD_ADOOrvelQuery::_getInt64Field(const char* name, int index, long long& value) const {
    value = 0;
    return takeValue(name, index,
                     [&](const ado::Variant& content) { value = digitsOf(ado::toDecimal(content)); });
}

bool QD_ADOOrvelQuery::_getDoubleField(const char* name, int index, double& value) const {
    value = 0.0;
    return takeValue(name, index, [&](const ado::Variant& content) { value = ado::toDouble(content); });
}

bool QD_ADOOrvelQuery::_getStringField(const char* name, int index, std::string& value) const {
    value.clear();
    return takeValue(name, index, [&](const ado::Variant& content) {
        const auto* const text = std::get_if<std::string>(&content);
        if (text == nullptr) {
            platform::assignNarrow(value, ado::toText(content));
        } else if (text->size() <= ado::worthKeeping || !platform::narrowIsUtf8()) {
            platform::assignNarrow(value, *text);
        } else { // a large one is not to be there twice
            value = field(name, index).takeText();
        }
    });
}

bool QD_ADOOrvelQuery::_getBlobField(const char* name, int index, unsigned int& size,
                                     unsigned char* buffer) const {
    return fields != nullptr && takeBytes(field(name, index), size, buffer);
}

bool QD_ADOOrvelQuery::getIntField(const char* name, int& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getIntField", false, recordset,
                               [&] { return name != nullptr && _getIntField(name, -1, value); });
}

bool QD_ADOOrvelQuery::getIntField(int index, int& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getIntField", false, recordset,
                               [&] { return _getIntField(nullptr, index, value); });
}

bool QD_ADOOrvelQuery::getInt64Field(const char* name, long long& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getInt64Field", false, recordset,
                               [&] { return name != nullptr && _getInt64Field(name, -1, value); });
}

bool QD_ADOOrvelQuery::getInt64Field(int index, long long& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getInt64Field", false, recordset,
                               [&] { return _getInt64Field(nullptr, index, value); });
}

bool QD_ADOOrvelQuery::getDoubleField(const char* name, double& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getDoubleField", false, recordset,
                               [&] { return name != nullptr && _getDoubleField(name, -1, value); });
}

bool QD_ADOOrvelQuery::getDoubleField(int index, double& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getDoubleField", false, recordset,
                               [&] { return _getDoubleField(nullptr, index, value); });
}

bool QD_ADOOrvelQuery::getStringField(const char* name, std::string& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getStringField", false, recordset,
                               [&] { return name != nullptr && _getStringField(name, -1, value); });
}

bool QD_ADOOrvelQuery::getStringField(int index, std::string& value) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getStringField", false, recordset,
                               [&] { return _getStringField(nullptr, index, value); });
}

bool QD_ADOOrvelQuery::getBlobField(const char* name, unsigned int& size, unsigned char* buffer) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getBlobField", false, recordset,
                               [&] { return name != nullptr && _getBlobField(name, -1, size, buffer); });
}

bool QD_ADOOrvelQuery::getBlobField(int index, unsigned int& size, unsigned char* buffer) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::getBlobField", false, recordset,
                               [&] { return _getBlobField(nullptr, index, size, buffer); });
}

void QD_ADOOrvelQuery::close() {
    orvel::adoSwallowed("QD_ADOOrvelQuery::close", recordset, [&] {
        fieldCount = 0;
        fields = nullptr;
        if (recordset == nullptr) {
            return;
        }
        if (recordset->state() == ado::adStateOpen) {
            recordset->close();
        }
        recordset.reset();
    });
}

bool QD_ADOOrvelQuery::isValid() const { return recordset != nullptr; }

bool QD_ADOOrvelQuery::isFieldNull(int index) const { return isEmptyType(nullptr, index); }

bool QD_ADOOrvelQuery::isFieldNull(const char* name) const { return isEmptyType(name, -1); }

bool QD_ADOOrvelQuery::isEmptyType(const char* name, int index) const {
    return orvel::adoInspected("QD_ADOOrvelQuery::isFieldNull", true, recordset, [&] {
        return recordset == nullptr || field(name, index).type() == ado::adEmpty;
    });
}

std::shared_ptr<ado::Connection> QD_ADOOrvelQuery::getActiveConnection() const {
    return orvel::activeConnectionOf(recordset);
}

/// By name in any letter case, or by position, which ADO takes as 16 bits.
ado::Field& QD_ADOOrvelQuery::field(const char* name, int index) const {
    ado::Fields& columns = needed(fields);
    return name != nullptr ? fieldNamed(columns, name)
                           : columns.item(std::int32_t{static_cast<std::int16_t>(index)});
}
