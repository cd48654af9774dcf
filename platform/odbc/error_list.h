#ifndef ORVEL_PLATFORM_ODBC_ERROR_LIST_H
#define ORVEL_PLATFORM_ODBC_ERROR_LIST_H

#include <memory>
#include <utility>
#include <vector>

#include "platform/ado/Error.h"
#include "platform/ado/status.h"
#include "platform/odbc/diagnostic.h"

namespace orvel::platform::odbc {

/// The errors of a connection, shared by everything made from it.
class ErrorList final : public ado::Errors {
public:
    /// Begins a call: what is left from the one before is nobody's business now.
    void clear() noexcept {
        if (!entries.empty()) {
            entries.clear();
        }
    }
    void fill(std::vector<Diagnostic> diagnostics) { entries = std::move(diagnostics); }
    const std::vector<Diagnostic>& all() const noexcept { return entries; }

    std::int32_t count() const override { return static_cast<std::int32_t>(entries.size()); }
    ado::Ref<ado::Error> item(std::int32_t index) const override {
        if (index < 0 || index >= count()) {
            throw ComError(ado::adErrItemNotFound, "There is no error at this position.");
        }
        return std::make_shared<Entry>(entries[static_cast<std::size_t>(index)]);
    }

private:
    class Entry final : public ado::Error {
    public:
        explicit Entry(Diagnostic from) : diagnostic(std::move(from)) {}
        std::string description() const override { return diagnostic.text; }
        std::int32_t nativeError() const override { return diagnostic.nativeError; }
        std::string sqlState() const override { return diagnostic.sqlState; }

    private:
        Diagnostic diagnostic;
    };

    std::vector<Diagnostic> entries;
};

} // namespace orvel::platform::odbc

#endif
