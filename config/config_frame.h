#ifndef ORVEL_CONFIG_FRAME_H
#define ORVEL_CONFIG_FRAME_H

#include <utility>

#include "core/entry_frame.h"
#include "platform/hresult.h"

namespace orvel {

/// Logs a failure of the platform layer and replaces it by code 1 with the failure's words and status. Called
/// while it is being handled.
[[noreturn]] void replaceComError(const char* name, const platform::ComError& error, unsigned int line);

/// The frame of the configuration store: `framed`, and failures of the platform layer translated. Every
/// failure that is not the library's own is an unreadable configuration.
template <class Body>
decltype(auto) configFramed(const char* name, Body&& body, Where where = Where::current()) {
    try {
        return std::forward<Body>(body)();
    } catch (QD_OrvelException& exception) {
        exception.addFunction(name);
        throw;
    } catch (const platform::ComError& error) {
        replaceComError(name, error, where.line());
    } catch (...) {
        replaceCurrent(name, QD_ORVEL_ERR_CONFIG_FILE, where.line());
    }
}

} // namespace orvel

#endif
