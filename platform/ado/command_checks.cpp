#include "platform/ado/command_checks.h"

#include <string>

#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace orvel::platform::ado {

void requireTextLength(std::size_t bytes) {
    if (bytes >= lengthLimit) {
        throw ComError(adErrInvalidArgument, "The text of the statement has 1 GiB or more.");
    }
}

void requireValueLength(std::size_t bytes) {
    if (bytes >= lengthLimit) {
        throw ComError(dbDataOverflow, "The value of a parameter has 1 GiB or more.");
    }
}

void failForMarkers(std::size_t markers, std::size_t values) {
    if (values > markers) {
        throw ComError(adErrInvalidParamInfo, "The command has " + std::to_string(values) +
                                                  " parameters for " + std::to_string(markers) + " markers.");
    }
    throw ComError(dbParamNotOptional, "The command has " + std::to_string(markers) + " markers and " +
                                           std::to_string(values) + " parameters.");
}

} // namespace orvel::platform::ado
