#include "core/entry_frame.h"

#include "core/diagnostics.h"

namespace {
constexpr const char* caughtText = "Runtime exception caught";
} // namespace

namespace orvel {

void replaceCurrent(const char* name, QD_OrvelError code, unsigned int line) {
    logCatch(CatchForm::replaced, name, line, caughtText);
    throw QD_OrvelException(code, name, 1, "Runtime Exception", 0);
}

void stampCurrent(Operation operation, Where where) {
    try {
        throw;
    } catch (QD_OrvelException& exception) {
        exception.addFunction(operation.name);
        throw;
    } catch (...) {
        replaceCurrent(operation.name, operation.code, where.line());
    }
}

void logSwallowed(const char* name, unsigned int line) noexcept {
    logCatch(CatchForm::swallowed, name, line, caughtText);
}

void logInspected(const char* name, unsigned int line) noexcept {
    logCatch(CatchForm::replaced, name, line, caughtText);
}

} // namespace orvel
