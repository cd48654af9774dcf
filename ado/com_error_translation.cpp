#include "ado/com_error_translation.h"

#include <cstdint>
#include <string>

#include "QD_ADOOrvelException.h"
#include "core/diagnostics.h"
#include "platform/text.h"

namespace {

using namespace orvel;

struct ProviderErrors {
    bool collected = false;
    std::string text; // in the narrow encoding
    std::int32_t code = 0;
};

/// All descriptions, run together, and the code of the last one.
ProviderErrors collectProviderErrors(const AdoConnection& connection) noexcept {
    ProviderErrors result;
    try {
        if (connection == nullptr) {
            return result;
        }
        const auto errors = connection->errors();
        const std::int32_t count = errors->count();
        for (std::int32_t index = 0; index < count; ++index) {
            const auto error = errors->item(index);
            result.text += platform::messageToNarrow(error->description());
            result.code = error->nativeError();
        }
        result.collected = count > 0;
    } catch (...) {
        result = {};
    } // a failure to explain a failure explains nothing
    return result;
}

/// Logs the words for a status; without memory for them, the line all the same.
void logStatus(const char* name, const platform::ComError& error, unsigned int line) noexcept {
    try {
        logCatch(CatchForm::comError, name, line, error.message().c_str());
    } catch (...) {
        logCatch(CatchForm::comError, name, line, "There is no memory for the reason");
    }
}

/// Logs a failure of the object model in the words of the engine, or else in those for its status.
ProviderErrors logComError(const char* name, const AdoConnection& connection, const platform::ComError& error,
                           unsigned int line) noexcept {
    ProviderErrors errors = collectProviderErrors(connection);
    if (errors.collected) {
        logCatch(CatchForm::comError, name, line, errors.text.c_str());
    } else {
        logStatus(name, error, line);
    }
    return errors;
}

} // namespace

namespace orvel {

void translateComError(const char* name, QD_OrvelError code, const AdoConnection& connection,
                       unsigned int line) {
    try {
        throw;
    } catch (const platform::ComError& error) {
        const ProviderErrors errors = logComError(name, connection, error, line);
        const std::string& text = errors.collected ? errors.text : error.description();
        throw QD_ADOOrvelException(code, name, static_cast<std::uint32_t>(errors.code), text.c_str(),
                                   error.hresult());
    } catch (...) {
        replaceCurrent(name, code, line);
    }
}

void logTranslated(CatchForm otherwise, const char* name, const AdoConnection& connection,
                   unsigned int line) noexcept {
    try {
        throw;
    } catch (const platform::ComError& error) {
        logComError(name, connection, error, line);
    } catch (...) {
        if (otherwise == CatchForm::swallowed) {
            logSwallowed(name, line);
        } else {
            logInspected(name, line);
        }
    }
}

} // namespace orvel
