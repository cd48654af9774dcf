#include "platform/ado/failure.h"

#include <utility>

#include "platform/hresult.h"

namespace orvel::platform::ado {

void raise(Failure failure, ErrorList& errors) {
    if (failure.diagnostics.empty()) {
        throw ComError(failure.status, {});
    }
    errors.raise(failure.status, std::move(failure.diagnostics));
}

} // namespace orvel::platform::ado
