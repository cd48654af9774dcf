#include "engines/mariadb/login.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

#include "platform/ado/ascii_case.h"
#include "platform/ado/connection_string.h"
#include "platform/ado/status.h"
#include "platform/secret_text.h"

namespace {

using namespace orvel::engines::mariadb;
using namespace orvel::platform;
using ado::ConnectionEntry;

[[noreturn]] void refuse(const std::string& reason) { throw ComError(ado::adErrInvalidArgument, reason); }

struct Keyword {
    std::string_view name;
    void (*take)(Parameters& parameters, ConnectionEntry& entry);
    /// The keyword that this one is another name of.
    std::string_view meaning;
};

template <std::string Parameters::* Member>
void takeText(Parameters& parameters, ConnectionEntry& entry) {
    parameters.*Member = std::move(entry.value);
}

template <bool Parameters::* Member>
void takeSwitch(Parameters& parameters, ConnectionEntry& entry) {
    parameters.*Member = ado::isOn(entry);
}

template <mysql_option Option>
void takeOption(Parameters& parameters, ConnectionEntry& entry) {
    parameters.options.emplace_back(Option, std::move(entry.value));
}

/// Whoever names what belongs to TLS wants it.
template <mysql_option Option>
void takeTlsOption(Parameters& parameters, ConnectionEntry& entry) {
    parameters.requiresTls = true;
    takeOption<Option>(parameters, entry);
}

unsigned int portOf(std::string text) {
    constexpr std::int32_t most = 65535;
    const std::int32_t port = ado::numberOf({"port", std::move(text)});
    if (port < 0 || port > most) {
        refuse("The connection string has a port that cannot be.");
    }
    return static_cast<unsigned int>(port);
}

void takePort(Parameters& parameters, ConnectionEntry& entry) {
    parameters.port = entry.value.empty() ? 0 : portOf(entry.value);
}

/// An address of many colons has a port behind its brackets alone.
Parameters::Host hostOf(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    const bool hasBrackets = text.starts_with('[') && text.find(']') != std::string_view::npos;
    const std::size_t end = hasBrackets ? text.find(']') + 1 : std::min(text.find(':'), text.size());
    const std::string_view behind = text.substr(end);
    if (!hasBrackets && behind.find(':', 1) != std::string_view::npos) {
        return {std::string(text), 0};
    }
    const std::string_view name = hasBrackets ? text.substr(1, end - 2) : text.substr(0, end);
    return {std::string(name), behind.starts_with(':') ? portOf(std::string(behind.substr(1))) : 0};
}

void takeHosts(Parameters& parameters, ConnectionEntry& entry) {
    parameters.hosts.clear();
    for (std::string_view left = entry.value;;) {
        const std::size_t comma = left.find(',');
        parameters.hosts.push_back(hostOf(left.substr(0, comma)));
        if (comma == std::string_view::npos) {
            return;
        }
        left.remove_prefix(comma + 1);
    }
}

void takeTimeout(Parameters& parameters, ConnectionEntry& entry) {
    parameters.timeout = std::max(ado::numberOf(entry), 0);
}

void takeVerification(Parameters& parameters, ConnectionEntry& entry) {
    parameters.verifiesServer = ado::isOn(entry);
    parameters.requiresTls = parameters.requiresTls || parameters.verifiesServer;
}

void takeTls(Parameters& parameters, ConnectionEntry& entry) {
    const bool isWanted = ado::isOn(entry);
    parameters.requiresTls = parameters.requiresTls || isWanted;
}

void requireUtf8(Parameters& /*parameters*/, ConnectionEntry& entry) {
    if (!ado::equalIgnoringCase(entry.value, "utf8mb4")) {
        refuse("The charset is utf8mb4.");
    }
}

constexpr Keyword keywords[] = {
    {"server", &takeHosts, "server"},
    {"host", &takeHosts, "server"},
    {"port", &takePort, "port"},
    {"database", &takeText<&Parameters::database>, "database"},
    {"user id", &takeText<&Parameters::user>, "user"},
    {"uid", &takeText<&Parameters::user>, "user"},
    {"user", &takeText<&Parameters::user>, "user"},
    {"password", &takeText<&Parameters::password>, "password"},
    {"pwd", &takeText<&Parameters::password>, "password"},
    {"socket", &takeText<&Parameters::socket>, "socket"},
    {"initstmt", &takeText<&Parameters::initialStatement>, "initstmt"},
    {"connect-timeout", &takeTimeout, "connect-timeout"},
    {"charset", &requireUtf8, "charset"},
    {"local-infile", &takeSwitch<&Parameters::allowsLocalFiles>, "local-infile"},
    {"plugin-dir", &takeOption<MYSQL_PLUGIN_DIR>, "plugin-dir"},
    {"ssl", &takeTls, "ssl"},
    {"ssl-ca", &takeTlsOption<MYSQL_OPT_SSL_CA>, "ssl-ca"},
    {"ssl-capath", &takeTlsOption<MYSQL_OPT_SSL_CAPATH>, "ssl-capath"},
    {"ssl-cert", &takeTlsOption<MYSQL_OPT_SSL_CERT>, "ssl-cert"},
    {"ssl-key", &takeTlsOption<MYSQL_OPT_SSL_KEY>, "ssl-key"},
    {"ssl-cipher", &takeTlsOption<MYSQL_OPT_SSL_CIPHER>, "ssl-cipher"},
    {"ssl-crl", &takeTlsOption<MYSQL_OPT_SSL_CRL>, "ssl-crl"},
    {"ssl-crlpath", &takeTlsOption<MYSQL_OPT_SSL_CRLPATH>, "ssl-crlpath"},
    {"ssl-verify-server-cert", &takeVerification, "ssl-verify-server-cert"},
    {"tls-version", &takeTlsOption<MARIADB_OPT_TLS_VERSION>, "tls-version"},
};

void take(Parameters& parameters, ConnectionEntry& entry, std::set<std::string_view>& taken) {
    const auto* const keyword = std::ranges::find(keywords, entry.keyword, &Keyword::name);
    if (keyword == std::end(keywords)) {
        refuse("The connection string has an unknown keyword \"" + entry.keyword + "\".");
    }
    if (!taken.insert(keyword->meaning).second) { // which of them was meant, and who wrote the other one?
        refuse("The connection string has the keyword \"" + entry.keyword + "\" twice.");
    }
    if (entry.value.find('\0') != std::string::npos) {
        refuse("A value of the connection string holds a zero character.");
    }
    keyword->take(parameters, entry);
    wipe(entry.value);
}

} // namespace

namespace orvel::engines::mariadb {

Parameters::~Parameters() { platform::wipe(password); }

Parameters parametersOf(const ado::Login& login) {
    Parameters parameters;
    std::set<std::string_view> taken;
    for (ConnectionEntry& entry : ado::parseConnectionString(login.connectionString)) {
        take(parameters, entry, taken);
    }
    if (parameters.user.empty()) {
        parameters.user = login.userId;
    }
    if (parameters.password.empty()) {
        parameters.password = login.password;
    }
    const bool isShorter =
        login.timeout > 0 && (parameters.timeout <= 0 || login.timeout < parameters.timeout);
    parameters.timeout = isShorter ? login.timeout : parameters.timeout;
    return parameters;
}

} // namespace orvel::engines::mariadb
