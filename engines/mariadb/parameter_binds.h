#ifndef ORVEL_ENGINES_MARIADB_PARAMETER_BINDS_H
#define ORVEL_ENGINES_MARIADB_PARAMETER_BINDS_H

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "engines/mariadb/client.h"
#include "platform/ado/engine.h"

namespace orvel::engines::mariadb {

/// The values of a command's parameters, where the client library finds them. They stay where they are as long as they can, so
/// that the library has to be told of them once.
class ParameterBinds {
public:
    /// @throws ComError  DB_E_DATAOVERFLOW for 1 GiB and more
    void take(ado::ParameterValues values);
    /// Tells the library of types and places, where it does not know them.
    /// @return false when it fails
    bool bind(MYSQL_STMT* plan);
    /// The library has forgotten them.
    void forget() noexcept { binds.clear(); }

private:
    struct Place {
        std::array<char, 8> number{};
        std::string text;
        unsigned long length = 0;
        my_bool isNull = 0;
    };

    std::vector<MYSQL_BIND> binds;
    std::vector<Place> places;
    bool hasChanged = false; ///< since the library was told

    void takeNull(std::size_t index, const ado::ParameterObject& parameter) noexcept;
    void takeValue(std::size_t index, const ado::Variant& value);
    template <class Number>
    void setNumber(std::size_t index, enum_field_types type, Number number) noexcept;
    void setText(std::size_t index, enum_field_types type, const char* data, std::size_t size);
    void set(std::size_t index, enum_field_types type, const void* buffer, std::size_t size) noexcept;
};

} // namespace orvel::engines::mariadb

#endif
