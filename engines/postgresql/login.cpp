#include "engines/postgresql/login.h"

#include <algorithm>
#include <iterator>

#include "engines/postgresql/libpq.h"
#include "platform/ado/ascii_case.h"
#include "platform/ado/connection_string.h"
#include "platform/ado/status.h"
#include "platform/secret_text.h"

namespace {

using namespace orvel::engines::postgresql;
using namespace orvel::platform;
using ado::equalIgnoringCase;

constexpr std::pair<std::string_view, std::string_view> synonyms[] = {
    {"server", "host"}, {"database", "dbname"},   {"user id", "user"},
    {"uid", "user"},    {"password", "password"}, {"pwd", "password"},
};

constexpr std::string_view savepointKeyword = "statementsavepoints";

[[noreturn]] void refuse(const std::string& reason) { throw ComError(ado::adErrInvalidArgument, reason); }

std::string parameterName(const std::string& keyword) {
    const auto* const synonym =
        std::ranges::find(synonyms, keyword, &std::pair<std::string_view, std::string_view>::first);
    return synonym != std::end(synonyms) ? std::string(synonym->second) : keyword;
}

bool isKnown(const PQconninfoOption* known, std::string_view name) noexcept {
    for (; known->keyword != nullptr; ++known) {
        if (known->keyword == name) {
            return true;
        }
    }
    return false;
}

void put(Parameters& parameters, std::string name, std::string value) {
    parameters.names.push_back(std::move(name));
    parameters.values.push_back(std::move(value));
}

bool has(const Parameters& parameters, std::string_view name) noexcept {
    return std::ranges::find(parameters.names, name) != parameters.names.end();
}

/// What must not depend on the server's or the user's settings: how values are written, and when a host that is gone is
/// given up.
void addDefaults(Parameters& parameters) {
    constexpr std::string_view settings = "-c datestyle=ISO -c bytea_output=hex -c extra_float_digits=1";
    const auto options = std::ranges::find(parameters.names, "options");
    if (options != parameters.names.end()) {
        std::string& own = parameters.values[static_cast<std::size_t>(options - parameters.names.begin())];
        own = std::string(settings) + " " + own;
    } else {
        put(parameters, "options", std::string(settings));
    }
    constexpr std::pair<const char*, const char*> defaults[] = {
        {"client_encoding", "UTF8"}, {"fallback_application_name", "orvel"},
        {"keepalives_idle", "20"},   {"keepalives_interval", "10"},
        {"keepalives_count", "4"},   {"tcp_user_timeout", "60000"},
        {"gssencmode", "disable"}, // the library that looks for tickets first does not survive a lack of memory
    };
    for (const auto& [name, value] : defaults) {
        if (!has(parameters, name)) {
            put(parameters, name, value);
        }
    }
}

void take(Parameters& parameters, ado::ConnectionEntry& entry, const PQconninfoOption* known) {
    const std::string name = parameterName(entry.keyword);
    if (name == savepointKeyword) {
        parameters.savepoints = ado::isOn(entry);
        return;
    }
    if (name == "connect_timeout") {
        parameters.timeout = ado::numberOf(entry);
        return;
    }
    if (!isKnown(known, name)) {
        refuse("The connection string has an unknown keyword \"" + entry.keyword + "\".");
    }
    if (has(parameters, name)) { // which of them was meant, and who wrote the other one?
        refuse("The connection string has the keyword \"" + entry.keyword + "\" twice.");
    }
    if (name == "client_encoding" && !equalIgnoringCase(entry.value, "UTF8")) {
        refuse("The client_encoding is UTF8.");
    }
    if (entry.value.find('\0') != std::string::npos) {
        refuse("A value of the connection string holds a zero character.");
    }
    put(parameters, name, std::move(entry.value));
}

} // namespace

namespace orvel::engines::postgresql {

Parameters::~Parameters() { std::ranges::for_each(values, platform::wipe); }

Parameters parametersOf(const ado::Login& login) {
    const Options known(PQconndefaults());
    if (known == nullptr) {
        throw ComError(eOutOfMemory, {});
    }
    Parameters parameters;
    parameters.values.reserve(64); // growing would leave copies
    for (ado::ConnectionEntry& entry : ado::parseConnectionString(login.connectionString)) {
        take(parameters, entry, known.get());
        platform::wipe(entry.value);
    }
    for (const auto& [name, value] : {std::pair{"user", login.userId}, {"password", login.password}}) {
        if (!value.empty() && !has(parameters, name)) {
            put(parameters, name, std::string(value));
        }
    }
    addDefaults(parameters);
    const bool isShorter =
        login.timeout > 0 && (parameters.timeout <= 0 || login.timeout < parameters.timeout);
    parameters.timeout = isShorter ? login.timeout : std::max(parameters.timeout, 0);
    return parameters;
}

} // namespace orvel::engines::postgresql
