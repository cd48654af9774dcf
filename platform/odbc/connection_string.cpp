#include "platform/odbc/connection_string.h"

#include <algorithm>
#include <cstring>

#include "platform/ado/ascii_case.h"

namespace {

using namespace orvel::platform;

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) noexcept {
    return ado::equalIgnoringCase(text.substr(0, prefix.size()), prefix);
}

void append(std::string& connectionString, std::string_view keyword, std::string_view value) {
    if (value.empty()) {
        return;
    }
    if (!connectionString.empty() && connectionString.back() != ';') {
        connectionString += ';';
    }
    connectionString.append(keyword).append("={");
    for (const char character : value) {
        connectionString.append(character == '}' ? 2 : 1, character);
    }
    connectionString += '}';
}

} // namespace

namespace orvel::platform::odbc {

std::string driverConnectionString(std::string_view given, std::string_view userId,
                                   std::string_view password) {
    constexpr std::string_view ourselves = "Provider=MSDASQL;";
    if (startsWithIgnoringCase(given, ourselves)) {
        given.remove_prefix(ourselves.size());
    }
    std::string connectionString(given);
    append(connectionString, "UID", userId);
    append(connectionString, "PWD", password);
    return connectionString;
}

std::string keywordValue(std::string_view connectionString, std::string_view keyword) {
    while (!connectionString.empty()) {
        const std::string_view entry = connectionString.substr(0, connectionString.find(';'));
        if (entry.size() > keyword.size() && entry[keyword.size()] == '=' &&
            startsWithIgnoringCase(entry, keyword)) {
            return std::string(entry.substr(keyword.size() + 1));
        }
        connectionString.remove_prefix(std::min(entry.size() + 1, connectionString.size()));
    }
    return {};
}

void wipe(std::string& text) noexcept { explicit_bzero(text.data(), text.size()); }

} // namespace orvel::platform::odbc
