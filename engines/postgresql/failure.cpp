#include "engines/postgresql/failure.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/ado/status.h"

namespace {

using namespace orvel::engines::postgresql;

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(" \r\n") + 1);
    return text;
}

constexpr const char* connectionFailed = "08006";
constexpr const char* connectionRefused = "08001";
constexpr std::size_t stateLength = 5;

// The server has no numbers for its errors. These are the ones that its ODBC driver gives them, so that an application sees
// the same, whichever way it takes.
constexpr std::int32_t failedStatement = 1;
constexpr std::int32_t brokenConnection = 35;
constexpr std::int32_t failedConnecting = 101;

bool isState(std::string_view text) noexcept {
    return text.size() == stateLength && std::ranges::all_of(text, [](char character) {
               return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z');
           });
}

/// In "FATAL:  28P01: password authentication failed", as the most verbose words have it.
std::size_t placeOfState(std::string_view words) noexcept {
    constexpr std::string_view separator = ":  ";
    std::size_t place = words.find(separator);
    while (place != std::string_view::npos &&
           !(isState(words.substr(place + separator.size(), stateLength)) &&
             words.substr(place + separator.size() + stateLength).starts_with(": "))) {
        place = words.find(separator, place + 1);
    }
    return place == std::string_view::npos ? place : place + separator.size();
}

/// The line of the server's source, which verbose words end with, helps nobody here.
void dropSourceLine(std::string& words) {
    const std::size_t line = words.rfind('\n');
    if (line != std::string::npos && words.find(".c:", line) != std::string::npos) {
        words.resize(line);
    }
}

} // namespace

namespace orvel::engines::postgresql {

Failure failureWith(std::uint32_t status, const char* sqlState, std::string_view text) {
    Failure failure;
    failure.status = status;
    failure.diagnostics.push_back({sqlState, failedStatement, std::string(text)});
    return failure;
}

Failure failureOf(const PGconn* connection, const PGresult* result) {
    const auto field = [result](int code) {
        const char* const value = PQresultErrorField(result, code);
        return std::string_view(value != nullptr ? value : "");
    };
    const std::string_view severity = field(PG_DIAG_SEVERITY_NONLOCALIZED);
    std::string state(field(PG_DIAG_SQLSTATE));
    // Without one it is not the server's failure, but the client library's, which had no memory or did not understand:
    // what the server has done is not known then, nor whether the two are in step.
    const bool isLoss =
        PQstatus(connection) != CONNECTION_OK || severity == "FATAL" || severity == "PANIC" || state.empty();
    if (state.empty()) {
        state = connectionFailed;
    }
    std::string words(field(PG_DIAG_MESSAGE_PRIMARY));
    if (words.empty()) {
        words = trimmed(PQresultErrorMessage(result));
    } else {
        words = std::string(field(PG_DIAG_SEVERITY)) + ": " + words;
    }
    for (const auto& [code, title] :
         {std::pair{PG_DIAG_MESSAGE_DETAIL, "\nDETAIL: "}, {PG_DIAG_MESSAGE_HINT, "\nHINT: "}}) {
        words.append(field(code).empty() ? "" : title).append(field(code));
    }
    Failure failure = failureWith(ado::statusOfState(state), state.c_str(), words);
    failure.isLoss = isLoss;
    failure.diagnostics.front().nativeError = isLoss ? brokenConnection : failedStatement;
    return failure;
}

Failure connectionFailure(const PGconn* connection) {
    std::string words = trimmed(PQerrorMessage(connection));
    dropSourceLine(words);
    const std::size_t place = placeOfState(words);
    std::string state = connectionRefused;
    if (place != std::string::npos) {
        state = words.substr(place, stateLength);
        words.erase(place, stateLength + 2);
    }
    Failure failure = failureWith(ado::statusOfState(state), state.c_str(), words);
    failure.isLoss = true;
    failure.diagnostics.front().nativeError = failedConnecting;
    return failure;
}

} // namespace orvel::engines::postgresql
