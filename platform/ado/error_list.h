#ifndef ORVEL_PLATFORM_ADO_ERROR_LIST_H
#define ORVEL_PLATFORM_ADO_ERROR_LIST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ado/Error.h"

namespace orvel::platform::ado {

/// One thing that an engine said about a failure.
struct Diagnostic {
    std::string sqlState;
    std::int32_t nativeError = 0;
    std::string text; ///< UTF-8
};

/// The errors of a connection, shared by everything made from it.
class ErrorList final : public Errors {
public:
    /// Begins a call: clears the errors of the call before.
    void clear() noexcept {
        if (!entries.empty()) {
            forget();
        }
    }
    const std::vector<Diagnostic>& all() const noexcept { return entries; }
    void fill(std::vector<Diagnostic> diagnostics) { entries = std::move(diagnostics); }

    /// Keeps the diagnostics of a failed call and raises the failure, in the words of the first.
    /// @param diagnostics  at least one
    [[noreturn]] void raise(std::uint32_t status, std::vector<Diagnostic> diagnostics);

    std::int32_t count() const override { return static_cast<std::int32_t>(entries.size()); }
    Ref<Error> item(std::int32_t index) const override;

private:
    std::vector<Diagnostic> entries;

    /// Apart: every call of the model begins with the question whether there are any.
    [[gnu::noinline]] void forget() noexcept { entries.clear(); }
};

/// The status code of a failure, as far as its SQLSTATE tells.
std::uint32_t statusOfState(std::string_view sqlState) noexcept;

} // namespace orvel::platform::ado

#endif
