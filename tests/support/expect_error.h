#ifndef ORVEL_TESTS_EXPECT_ERROR_H
#define ORVEL_TESTS_EXPECT_ERROR_H

#include <gtest/gtest.h>

#include <ostream>
#include <source_location>
#include <sstream>
#include <string>

#include "QD_OrvelException.h"

namespace orvel::tests {

/// Everything an exception says, so that a test compares it whole.
struct Error {
    int code = 0;
    unsigned long provCode = 0;
    std::string provText;
    std::string trace;
    unsigned long hr = 0;

    friend bool operator==(const Error&, const Error&) = default;
    friend void PrintTo(const Error& error, std::ostream* out) {
        *out << error.code << ", provider " << error.provCode << " \"" << error.provText << "\", hr "
             << error.hr << ", trace \"" << error.trace << "\"";
    }
};

inline Error describe(const QD_OrvelException& exception) {
    std::string trace;
    exception.stackTrace(trace);
    return {exception.errorCode(), exception.provErrorCode(), exception.provErrorString(), trace,
            exception.hrErrorCode()};
}

/// The error that `body` raises; code -1 when it raises none. A foreign exception fails the test by leaving it.
template <class Body>
Error errorOf(Body&& body) {
    try {
        std::forward<Body>(body)();
    } catch (const QD_OrvelException& exception) {
        return describe(exception);
    }
    return {-1, 0, "nothing was thrown", "", 0};
}

template <class Body>
void expectError(Body&& body, const Error& expected,
                 std::source_location where = std::source_location::current()) {
    const testing::ScopedTrace here(where.file_name(), static_cast<int>(where.line()), "expected error");
    EXPECT_EQ(errorOf(std::forward<Body>(body)), expected);
}

/// A trace, innermost first: "compile execQuery" is "C::compile <- C::execQuery" for the class C. A name that
/// brings its own class along keeps it.
inline std::string traceOf(const std::string& functions,
                           const std::string& className = "QD_SQOrvelConnection") {
    std::istringstream names(functions);
    std::string trace;
    for (std::string name; names >> name;) {
        trace +=
            (trace.empty() ? "" : " <- ") + (name.find(':') < name.size() ? "" : className + "::") + name;
    }
    return trace;
}

} // namespace orvel::tests

#endif
