#include "engines/odbc/connection_string.h"

#include <algorithm>

#include "platform/ado/ascii_case.h"
#include "platform/ado/connection_string.h"

namespace {

using namespace orvel::platform;
using ado::endOfEntry;

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

/// How long the keyword of a password and its equals sign are at the front of a text; 0 when there is none.
std::size_t passwordKeyword(std::string_view text) noexcept {
    for (const std::string_view keyword : {"PWD=", "PASSWORD="}) {
        if (text.size() >= keyword.size() && startsWithIgnoringCase(text, keyword)) {
            return keyword.size();
        }
    }
    return 0;
}

} // namespace

namespace orvel::engines::odbc {

std::string driverConnectionString(std::string_view given, std::string_view userId,
                                   std::string_view password) {
    std::string connectionString(given);
    append(connectionString, "UID", userId);
    append(connectionString, "PWD", password);
    return connectionString;
}

std::string keywordValue(std::string_view connectionString, std::string_view keyword) {
    while (!connectionString.empty()) {
        const std::string_view entry = connectionString.substr(0, endOfEntry(connectionString));
        if (entry.size() > keyword.size() && entry[keyword.size()] == '=' &&
            startsWithIgnoringCase(entry, keyword)) {
            return std::string(entry.substr(keyword.size() + 1));
        }
        connectionString.remove_prefix(std::min(entry.size() + 1, connectionString.size()));
    }
    return {};
}

void hidePasswords(std::string& message) {
    for (std::size_t position = 0; position < message.size(); ++position) {
        const std::size_t value = position + passwordKeyword(std::string_view(message).substr(position));
        if (value > position) {
            // To the semicolon or, in braces, to the last one that closes: rather too much than too little.
            const std::size_t end = message.find(
                ';', message.substr(value, 1) == "{" ? std::max(value, message.rfind('}') + 1) : value);
            message.replace(value, std::min(end, message.size()) - value, "***");
            position = value;
        }
    }
}

} // namespace orvel::engines::odbc
