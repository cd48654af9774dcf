#ifndef ORVEL_ENGINES_ODBC_DRIVER_MANAGER_H
#define ORVEL_ENGINES_ODBC_DRIVER_MANAGER_H

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

// The driver manager's C interface, with its handles owned.
//
// Only the narrow functions are used, with UTF-8 in and out: that works with every driver in every locale.
// Mixed with the wide ones, literals are stored encoded twice, and the driver reports success.

namespace orvel::engines::odbc {

/// A handle that is freed with its owner.
template <SQLSMALLINT Type>
class Handle {
public:
    Handle() = default;
    Handle(Handle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { reset(); }

    [[nodiscard]] SQLRETURN allocate(SQLHANDLE parent) {
        reset();
        return SQLAllocHandle(Type, parent, &handle);
    }
    void reset() noexcept {
        if (handle != nullptr) {
            SQLFreeHandle(Type, std::exchange(handle, nullptr));
        }
    }
    SQLHANDLE get() const noexcept { return handle; }
    explicit operator bool() const noexcept { return handle != nullptr; }

private:
    SQLHANDLE handle = nullptr;
};

using EnvironmentHandle = Handle<SQL_HANDLE_ENV>;
using ConnectionHandle = Handle<SQL_HANDLE_DBC>;
using StatementHandle = Handle<SQL_HANDLE_STMT>;

inline bool succeeded(SQLRETURN code) noexcept {
    return code == SQL_SUCCESS || code == SQL_SUCCESS_WITH_INFO;
}

/// The interface takes texts it only reads as if it wrote them.
inline SQLCHAR* sqlText(const char* text) noexcept {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text));
}
inline SQLCHAR* sqlText(const std::string& text) noexcept { return sqlText(text.c_str()); }

/// Attributes that are numbers travel in a pointer.
// NOLINTNEXTLINE(performance-no-int-to-ptr): carries an integer, is never dereferenced
inline SQLPOINTER sqlNumber(std::uintptr_t value) noexcept { return reinterpret_cast<SQLPOINTER>(value); }

} // namespace orvel::engines::odbc

#endif
