#include "platform/hresult.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <utility>

namespace {

using namespace orvel::platform;

struct KnownStatus {
    std::uint32_t hresult;
    const char* text;
};

constexpr std::array knownStatuses{
    KnownStatus{eNoInterface, "No such interface supported"},
    KnownStatus{ePointer, "Invalid pointer"},
    KnownStatus{eFail, "Unspecified error"},
    KnownStatus{eUnexpected, "Catastrophic failure"},
    KnownStatus{eFileNotFound, "The system cannot find the file specified."},
    KnownStatus{eAccessDenied, "Access is denied."},
    KnownStatus{eOutOfMemory, "Not enough memory resources are available to complete this operation."},
    KnownStatus{eInvalidArgument, "The parameter is incorrect."},
    KnownStatus{0x80020005, "Type mismatch."},
    KnownStatus{0x8002000A, "Out of present range."},
    KnownStatus{0x80040154, "Class not registered"},
    KnownStatus{0x8004D00E, "No transaction is active."},
    KnownStatus{0x8004D013, "A transaction is already active."},
    KnownStatus{0x8004D016, "The outcome of the commit is in doubt."},
    KnownStatus{0x8004D019, "The transaction was aborted."},
    KnownStatus{0x800A0BB9,
                "Arguments are of the wrong type, are out of acceptable range, or are in conflict."},
    KnownStatus{0x800A0BCD, "There is no current row."},
    KnownStatus{0x800A0CC1, "The collection has no such item."},
    KnownStatus{0x800A0E78, "The operation is not allowed when the object is closed."},
    KnownStatus{0x800A0E79, "The operation is not allowed when the object is open."},
    KnownStatus{0x800A0E7A, "The provider cannot be found."},
    KnownStatus{0x800A0E7C, "The parameters of the command are inconsistent or incomplete."},
    KnownStatus{0x800A0E7D, "The connection is closed or invalid in this context."},
};

// Codes from here to the end of their facility are numbered by the interface that raised them.
constexpr std::uint32_t firstOfInterface = 0x80040200;
constexpr std::uint32_t lastOfInterface = 0x8004FFFF;

std::string unknownError(std::uint32_t hresult) {
    std::array<char, sizeof "Unknown error 0x80000000"> text{};
    std::snprintf(text.data(), text.size(), "Unknown error 0x%0" PRIX32, hresult);
    return text.data();
}

} // namespace

namespace orvel::platform {

std::string hresultText(std::uint32_t hresult) {
    const auto* const known = std::ranges::find_if(
        knownStatuses, [hresult](const KnownStatus& status) { return status.hresult == hresult; });
    if (known != knownStatuses.end()) {
        return known->text;
    }
    if (hresult > firstOfInterface && hresult <= lastOfInterface) {
        return "IDispatch error #" + std::to_string(hresult - firstOfInterface);
    }
    return unknownError(hresult);
}

ComError::ComError(std::uint32_t hresult, std::string description)
    : status(hresult), words(std::move(description)) {}

void failNullPointer() { throw ComError(ePointer, {}); }

} // namespace orvel::platform
