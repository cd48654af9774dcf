#ifndef ORVEL_ENGINES_ODBC_PARAMETER_BUFFER_H
#define ORVEL_ENGINES_ODBC_PARAMETER_BUFFER_H

#include <cstdint>
#include <vector>

#include "engines/odbc/driver_manager.h"
#include "platform/ado/engine.h"

namespace orvel::engines::odbc {

class Statement;

/// The memory that a marker is bound to. It is bound once; values of the same kind change it in place.
class ParameterBuffer {
public:
    /// Takes a value over; binds the marker (from 1) again only when something else than the value has
    /// changed.
    void take(const ado::ParameterObject& parameter, SQLUSMALLINT number, Statement& statement);
    void forgetBinding() noexcept { bound = {}; }
    /// Gives memory back that a large value took. The marker is bound again before it is used again.
    void releaseLargeMemory() noexcept;

private:
    /// What the driver knows of the marker.
    struct Binding {
        SQLSMALLINT transferType = 0;
        SQLSMALLINT sqlType = 0;
        SQLULEN size = 0;
        SQLSMALLINT digits = 0;
        const void* data = nullptr;
        SQLLEN capacity = 0;

        friend bool operator==(const Binding&, const Binding&) = default;
    };

    Binding bound;
    std::int32_t integer = 0;
    std::int64_t bigInteger = 0;
    double real = 0;
    std::vector<char> bytes;
    SQLLEN length = SQL_NULL_DATA;

    Binding takeInteger(const ado::Variant& value);
    Binding takeReal(const ado::Variant& value);
    Binding takeDecimal(const ado::ParameterObject& parameter);
    Binding takeText(const ado::Variant& value, const Statement& statement);
    Binding takeBytes(const ado::Variant& value);
    Binding takeRaw(const char* data, std::size_t size, SQLSMALLINT transferType, SQLSMALLINT sqlType);
    bool takeNull(const ado::Variant& value);
};

} // namespace orvel::engines::odbc

#endif
