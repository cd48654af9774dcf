#include "platform/ado/error_list.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "platform/text.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::ado;

class Entry final : public Error {
public:
    explicit Entry(Diagnostic from) : diagnostic(std::move(from)) {}
    std::string description() const override { return diagnostic.text; }
    std::int32_t nativeError() const override { return diagnostic.nativeError; }
    std::string sqlState() const override { return diagnostic.sqlState; }

private:
    Diagnostic diagnostic;
};

struct StateStatus {
    std::string_view sqlState;
    std::uint32_t status;
};

// Sorted, whole states before and apart from classes.
constexpr StateStatus states[] = {
    {"07001", dbParamNotOptional},
    {"07002", dbParamNotOptional},
    {"07006", dbCantConvertValue},
    {"07009", dbBadOrdinal},
    {"0A000", dbNotSupported},
    {"22001", dbDataOverflow},
    {"22003", dbDataOverflow},
    {"22008", dbDataOverflow},
    {"22012", dbErrorsInCommand},
    {"25000", xactNoTransaction},
    {"25001", xactTransactionExists},
    {"25006", dbReadOnly},
    {"25P01", xactNoTransaction},
    {"3D000", dbNotFound},
    {"3F000", dbErrorsInCommand},
    {"40001", dbConcurrencyViolation},
    {"40003", xactInDoubt},
    {"40P01", dbConcurrencyViolation},
    {"42501", dbPermissionDenied},
    {"42701", dbDuplicateColumn},
    {"42703", dbNoColumn},
    {"42P01", dbNoTable},
    {"42P07", dbDuplicateTable},
    {"42S01", dbDuplicateTable},
    {"42S02", dbNoTable},
    {"42S11", dbDuplicateIndex},
    {"42S12", dbNoIndex},
    {"42S21", dbDuplicateColumn},
    {"42S22", dbNoColumn},
    {"44000", dbIntegrityViolation},
    {"53100", dbOutOfSpace},
    {"53200", eOutOfMemory},
    {"55006", dbTableInUse},
    {"55P03", dbResourceLocked},
    {"57014", dbAbortLimitReached},
    {"HY001", eOutOfMemory},
    {"HY008", dbCanceled},
    {"HY010", eUnexpected},
    {"HY014", eOutOfMemory},
    {"HYC00", dbNotSupported},
    {"HYT00", dbAbortLimitReached},
    {"IM001", dbNotSupported},
    {"S0001", dbDuplicateTable},
    {"S0002", dbNoTable},
    {"S0022", dbNoColumn},
    {"S1002", dbBadOrdinal},
    {"S1008", dbCanceled},
    {"S1010", eUnexpected},
    {"S1C00", dbNotSupported},
    {"S1T00", dbAbortLimitReached},
};
constexpr StateStatus classes[] = {
    {"21", dbErrorsInCommand},      {"22", dbCantConvertValue}, {"23", dbIntegrityViolation},
    {"28", dbAuthenticationFailed}, {"37", dbErrorsInCommand},  {"42", dbErrorsInCommand},
};
static_assert(std::ranges::is_sorted(states, {}, &StateStatus::sqlState));

} // namespace

namespace orvel::platform::ado {

Ref<Error> ErrorList::item(std::int32_t index) const {
    if (index < 0 || index >= count()) {
        throw ComError(adErrItemNotFound, "There is no error at this position.");
    }
    return std::make_shared<Entry>(entries[static_cast<std::size_t>(index)]);
}

void ErrorList::raise(std::uint32_t status, std::vector<Diagnostic> diagnostics) {
    std::string words = messageToNarrow(diagnostics.front().text);
    fill(std::move(diagnostics));
    throw ComError(status, std::move(words));
}

std::uint32_t statusOfState(std::string_view sqlState) noexcept {
    const auto state = std::ranges::lower_bound(states, sqlState, {}, &StateStatus::sqlState);
    if (state != std::end(states) && state->sqlState == sqlState) {
        return state->status;
    }
    const auto category = std::ranges::find(classes, sqlState.substr(0, 2), &StateStatus::sqlState);
    return category != std::end(classes) ? category->status : eFail;
}

} // namespace orvel::platform::ado
