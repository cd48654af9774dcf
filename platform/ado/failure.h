#ifndef ORVEL_PLATFORM_ADO_FAILURE_H
#define ORVEL_PLATFORM_ADO_FAILURE_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/ado/error_list.h"

namespace orvel::platform::ado {

/// What went wrong in a call to an engine, until somebody raises it.
struct Failure {
    std::uint32_t status = 0; ///< 0: nothing
    std::vector<Diagnostic> diagnostics;
    bool isLoss = false; ///< the session is gone with it

    explicit operator bool() const noexcept { return status != 0; }
    std::string_view sqlState() const noexcept {
        return diagnostics.empty() ? std::string_view() : std::string_view(diagnostics.front().sqlState);
    }
    std::int32_t nativeError() const noexcept {
        return diagnostics.empty() ? 0 : diagnostics.front().nativeError;
    }
};

/// Raises it, and keeps what the engine said in `errors`.
[[noreturn]] void raise(Failure failure, ErrorList& errors);

} // namespace orvel::platform::ado

#endif
