#ifndef ORVEL_ENGINES_POSTGRESQL_PARAMETER_ARRAYS_H
#define ORVEL_ENGINES_POSTGRESQL_PARAMETER_ARRAYS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engines/postgresql/libpq.h"
#include "platform/ado/engine.h"

namespace orvel::engines::postgresql {

/// The values of a command as the client library takes them: arrays with an entry for each marker. Texts and bytes are not
/// copied, so that the command's parameters must stay as they are until the values are sent.
class ParameterArrays {
public:
    /// @param typed  false leaves every type to the server, and sends numbers as texts
    void take(ado::ParameterValues values, bool typed);

    int count() const noexcept { return static_cast<int>(pointers.size()); }
    const char* const* values() const noexcept { return pointers.data(); }
    const int* lengths() const noexcept { return sizes.data(); }
    const int* formats() const noexcept { return forms.data(); }
    const std::vector<Oid>& types() const noexcept { return oids; }
    /// Any parameter with a type of its own.
    bool isTyped() const noexcept;

private:
    struct Number {
        std::array<char, 8> bytes;
        std::string text;
    };

    std::vector<const char*> pointers;
    std::vector<int> sizes;
    std::vector<int> forms;
    std::vector<Oid> oids;
    std::vector<Number> numbers; ///< what is not sent from where it lies

    void resize(std::size_t count);
    void takeNull(std::size_t index, const ado::ParameterObject& parameter);
    void takeValue(std::size_t index, const ado::ParameterObject& parameter, bool typed);
    void takeReal(std::size_t index, double real, bool typed);
    void takeDecimal(std::size_t index, const ado::Decimal& decimal, bool typed);
    void set(std::size_t index, Oid type, const char* data, std::size_t size, bool isBinary);
    void setText(std::size_t index, Oid type, std::string text);
    template <class Unsigned>
    void setBits(std::size_t index, Oid type, Unsigned bits);
};

} // namespace orvel::engines::postgresql

#endif
