#ifndef ORVEL_COM_ERROR_TRANSLATION_H
#define ORVEL_COM_ERROR_TRANSLATION_H

#include <memory>
#include <utility>

#include "core/diagnostics.h"
#include "core/entry_frame.h"
#include "platform/ado/Command.h"
#include "platform/ado/Connection.h"
#include "platform/ado/Recordset.h"
#include "platform/hresult.h"

// The frames of the ADO provider: those of every operation, and failures of the object model translated into
// the provider's exception with what the engine said. A frame is given the object whose connection has the
// engine's errors: a connection, a command or a recordset, which may be null; it is looked at only after a
// failure.

namespace orvel {

using AdoConnection = std::shared_ptr<platform::ado::Connection>;

/// The object, or the error of a call through a null reference.
template <class Object>
Object& needed(const std::shared_ptr<Object>& object) {
    if (object == nullptr) {
        platform::failNullPointer();
    }
    return *object;
}

template <class Object>
Object& needed(Object* object) {
    if (object == nullptr) {
        platform::failNullPointer();
    }
    return *object;
}

/// The handlers, out of line. Each is called while an exception is being handled.
[[noreturn]] void translateComError(const char* name, QD_OrvelError code, const AdoConnection& connection,
                                    unsigned int line);
void logTranslated(CatchForm otherwise, const char* name, const AdoConnection& connection,
                   unsigned int line) noexcept;

/// The connection an object belongs to; null when there is none.
inline AdoConnection activeConnectionOf(const AdoConnection& connection) { return connection; }
template <class Object>
AdoConnection activeConnectionOf(const std::shared_ptr<Object>& object) {
    return object != nullptr ? object->activeConnection().shared() : nullptr;
}

/// The same; null also when asking fails.
template <class Object>
AdoConnection connectionOrNull(const Object& object) noexcept {
    try {
        return activeConnectionOf(object);
    } catch (...) {
        return nullptr;
    }
}

/// Library exceptions go on, stamped with the operation's name.
template <class Object, class Body>
decltype(auto) adoFramed(Operation operation, const Object& object, Body&& body,
                         Where where = Where::current()) {
    try {
        return std::forward<Body>(body)();
    } catch (QD_OrvelException& exception) {
        exception.addFunction(operation.name);
        throw;
    } catch (...) {
        translateComError(operation.name, operation.code, connectionOrNull(object), where.line());
    }
}

/// Library exceptions are replaced like any other failure: these operations raise none that should be seen.
template <class Object, class Body>
decltype(auto) adoFramedOpaque(Operation operation, const Object& object, Body&& body,
                               Where where = Where::current()) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        translateComError(operation.name, operation.code, connectionOrNull(object), where.line());
    }
}

/// Runs an operation that must not throw.
template <class Object, class Body>
void adoSwallowed(const char* name, const Object& object, Body&& body,
                  Where where = Where::current()) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        logTranslated(CatchForm::swallowed, name, connectionOrNull(object), where.line());
    }
}

/// Runs an operation that looks at something and answers `failure` when it cannot.
template <class Result, class Object, class Body>
Result adoInspected(const char* name, Result failure, const Object& object, Body&& body,
                    Where where = Where::current()) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        logTranslated(CatchForm::replaced, name, connectionOrNull(object), where.line());
        return failure;
    }
}

} // namespace orvel

#endif
