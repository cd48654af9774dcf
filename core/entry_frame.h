#ifndef ORVEL_ENTRY_FRAME_H
#define ORVEL_ENTRY_FRAME_H

#include <source_location>
#include <utility>

#include "QD_OrvelException.h"

namespace orvel {

/// One public operation: its qualified name, a literal, and the code of a failure that is none of the library's.
///
/// Two words, passed by value, so that it travels in registers; the place of the handler is not part of it
/// for the same reason. With that, a frame adds no instruction to an operation that succeeds.
struct Operation {
    const char* name;
    QD_OrvelError code;
};

using Where = std::source_location;

/// The handlers, out of line. Each is called while an exception is being handled.
[[noreturn]] void replaceCurrent(const char* name, QD_OrvelError code, unsigned int line);
void logSwallowed(const char* name, unsigned int line) noexcept;
void logInspected(const char* name, unsigned int line) noexcept;

/// Runs an operation that throws: a library exception goes on, stamped with the name; anything else is logged
/// and replaced by "Runtime Exception" with the operation's code. A throw inside `body` passes the frame as
/// well, so an operation that raises its own error shows its name twice in the trace; callers rely on that.
///
/// Handlers here and below end a thread's forced unwinding (pthread_cancel) with an abort: the library is not
/// safe to cancel.
template <class Body>
decltype(auto) framed(Operation operation, Body&& body, Where where = Where::current()) {
    try {
        return std::forward<Body>(body)();
    } catch (QD_OrvelException& exception) {
        exception.addFunction(operation.name); // the same object goes on and keeps its dynamic type
        throw;
    } catch (...) {
        replaceCurrent(operation.name, operation.code, where.line());
    }
}

/// The same for a constructor, as the handler of its function-try-block.
[[noreturn]] void stampCurrent(Operation operation, Where where = Where::current());

/// Runs an operation that must not throw.
template <class Body>
void swallowed(const char* name, Body&& body, Where where = Where::current()) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        logSwallowed(name, where.line());
    }
}

/// Runs an operation that looks at something and answers `failure` when it cannot.
template <class Result, class Body>
Result inspected(const char* name, Result failure, Body&& body, Where where = Where::current()) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        logInspected(name, where.line());
        return failure;
    }
}

} // namespace orvel

#endif
