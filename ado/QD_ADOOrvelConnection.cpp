#include "QD_ADOOrvelConnection.h"

#include <algorithm>
#include <new>
#include <utility>

#include "QD_ADOOrvelCommand.h"
#include "QD_ADOOrvelException.h"
#include "QD_ADOOrvelQuery.h"
#include "QD_OrvelTools.h"
#include "ado/ado_values.h"
#include "ado/com_error_translation.h"
#include "config/command_template.h"
#include "core/diagnostics.h"
#include "core/first_field.h"
#include "platform/ado/class_factory.h"
#include "platform/ado/connection_string.h"
#include "platform/ado/constants.h"
#include "platform/secret_text.h"
#include "platform/text.h"

namespace ado = orvel::platform::ado;
namespace platform = orvel::platform;
using orvel::adoFramed;
using orvel::needed;

namespace {

constexpr int defaultTimeout = 30000; // milliseconds

int wholeSeconds(int milliseconds) { return std::max(0, milliseconds / 1000); }

bool isNullOrEmpty(const char* text) { return text == nullptr || *text == '\0'; }

std::string orEmpty(const char* text) { return text != nullptr ? text : ""; }

} // namespace

QD_OrvelConnectionHandle QD_ADOOrvelConnection::create(const char* configFile, const char* server,
                                                       const char* database, const char* instance) {
    QD_OrvelConnectionHandle made(new (std::nothrow)
                                      QD_ADOOrvelConnection(configFile, server, database, instance));
    return made;
}

QD_ADOOrvelConnection::QD_ADOOrvelConnection(const char* configFile, const char* serverName,
                                             const char* databaseKey, const char* instanceName)
    : config(configFile),
      server(orEmpty(serverName)),
      instance(orEmpty(instanceName)),
      database(orEmpty(databaseKey)) {
    config.getDBProperty(database.c_str(), "MasterDBName", masterDBName, true);
    config.getDefaultTimeout(timeoutMs);
    if (timeoutMs < 1) {
        timeoutMs = defaultTimeout;
    }
}

QD_ADOOrvelConnection::QD_ADOOrvelConnection(const QD_ADOOrvelConnection& other)
    : QD_OrvelConnection(other),
      timeoutMs(other.timeoutMs),
      config(other.config.getFileName()),
      server(other.server),
      instance(other.instance),
      database(other.database),
      masterDBName(other.masterDBName) {}

QD_ADOOrvelConnection::~QD_ADOOrvelConnection() { QD_ADOOrvelConnection::close(); }

void QD_ADOOrvelConnection::open(const char* name, const char* /*path*/, unsigned int /*flags*/) {
    bool entered = false;
    try {
        adoFramed({"QD_ADOOrvelConnection::open", QD_ORVEL_ERR_OPEN_DATABASE}, connection, [&] {
            for (const char* text : {name, database.c_str(), instance.c_str()}) {
                QD_OrvelTools::throwOnNullOrEmptyString(text);
            }
            connection.reset(); // goes even when no other can be made
            connection = ado::createObject<ado::Connection>().shared();
            const platform::SecretText text(connectionString(name));
            setBusyTimeout(timeoutMs);
            needed(connection).open(text.text, "", "", 0);
            entered = true;
            providerName = platform::utf8ToNarrow(connection->provider());
            providerVersion = platform::utf8ToNarrow(connection->version());
            dbName = name;
        });
    } catch (...) {
        if (entered) { // an open that fails leaves nothing open; here, as closing takes the engine's words along
            QD_ADOOrvelConnection::close();
        }
        throw;
    }
}

/// In UTF-8.
std::string QD_ADOOrvelConnection::connectionString(const char* name) {
    platform::SecretText text;
    config.getProviderDBProperty(database.c_str(), "ConnectionString", text.text, true);
    std::string serverName = server;
    if (serverName.empty()) {
        config.getProviderDBProperty(database.c_str(), "LocalServerName", serverName, true);
    }
    std::string utf8 = platform::narrowToUtf8(text.text);
    for (const auto& [placeholder, value] : {std::pair{"$(instanceName)", instance.c_str()},
                                             {"$(serverName)", serverName.c_str()},
                                             {"$(dbName)", name}}) {
        const std::string placed = ado::placedValue(utf8, placeholder, platform::narrowToUtf8(value));
        orvel::replacePlaceholder(utf8, placeholder, placed.c_str());
    }
    return utf8;
}

bool QD_ADOOrvelConnection::isOpen() const {
    return orvel::inspected("QD_ADOOrvelConnection::isOpen", false, [&] {
        return connection != nullptr && (connection->state() & ado::adStateOpen) != 0;
    });
}

void QD_ADOOrvelConnection::close() {
    orvel::adoSwallowed("QD_ADOOrvelConnection::close", connection, [&] {
        if (connection == nullptr) {
            return;
        }
        if (connection->state() == ado::adStateOpen) {
            connection->close();
        }
        connection.reset();
    });
    dbName.clear();
}

int QD_ADOOrvelConnection::execNoQuery(const char* sql, unsigned int /*flags*/) {
    return adoFramed({"QD_ADOOrvelConnection::execNoQuery", QD_ORVEL_ERR_SQL_STATEMENT}, connection, [&] {
        if (isNullOrEmpty(sql)) {
            return 0;
        }
        checkDB();
        orvel::traceSql(sql);
        ado::Variant affected;
        connection->execute(platform::narrowToUtf8(sql), &affected, ado::adExecuteNoRecords);
        return orvel::rowsAffected(affected);
    });
}

QD_OrvelQueryHandle QD_ADOOrvelConnection::execQuery(const char* sql, unsigned int /*flags*/) {
    return adoFramed({"QD_ADOOrvelConnection::execQuery", QD_ORVEL_ERR_SQL_QUERY}, connection, [&] {
        if (isNullOrEmpty(sql)) {
            return QD_OrvelQueryHandle(new QD_ADOOrvelQuery(nullptr));
        }
        checkDB();
        orvel::traceSql(sql);
        const auto rows = connection->execute(platform::narrowToUtf8(sql), nullptr, 0);
        return QD_OrvelQueryHandle(new QD_ADOOrvelQuery(rows.shared()));
    });
}

int QD_ADOOrvelConnection::execQueryScalar(const char* sql, unsigned int flags) {
    return isNullOrEmpty(sql) ? 0 : orvel::firstInteger(execQuery(sql, flags));
}

QD_OrvelCommandHandle QD_ADOOrvelConnection::createCommand(const char* sql, unsigned int flags) {
    return adoFramed({"QD_ADOOrvelConnection::createCommand", QD_ORVEL_ERR_CREATE_COMMAND}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(sql);
        checkDB();
        const auto made = ado::createObject<ado::Command>();
        made->setActiveConnection(connection);
        made->setCommandTimeout(wholeSeconds(timeoutMs));
        return QD_OrvelCommandHandle(new QD_ADOOrvelCommand(made.shared(), sql, flags));
    });
}

void QD_ADOOrvelConnection::setBusyTimeout(int milliseconds) {
    orvel::adoSwallowed("QD_ADOOrvelConnection::setBusyTimeout", connection, [&] {
        timeoutMs = milliseconds;
        needed(connection).setConnectionTimeout(wholeSeconds(milliseconds));
        connection->setCommandTimeout(wholeSeconds(milliseconds));
    });
}

const char* QD_ADOOrvelConnection::getProvider() const {
    return providerName ? providerName->c_str() : nullptr;
}

const char* QD_ADOOrvelConnection::getVersion() const {
    return providerVersion ? providerVersion->c_str() : nullptr;
}

bool QD_ADOOrvelConnection::isClientServer() const { return true; }

void QD_ADOOrvelConnection::getDBCommand(const char* name, std::string& text, bool required) {
    config.getDBCommand(database.c_str(), name, text, required);
}

void QD_ADOOrvelConnection::checkDB() const {
    if (connection == nullptr) {
        throw QD_ADOOrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_ADOOrvelConnection::checkDB", 1,
                                   "Null Database pointer", 0);
    }
}

void QD_ADOOrvelConnection::getDBPathName(const char* name, const char* directory, std::string& out) {
    if (name == nullptr || directory == nullptr) {
        return;
    }
    out = directory;
    if (out.starts_with("\\\\") && !server.empty()) {
        // A network path is one to everybody but the server itself, where the files may have a local
        // directory.
        std::string localServer;
        config.getProviderDBProperty(database.c_str(), "LocalServerName", localServer, false);
        std::string serverDirectory;
        if (!platform::equalIgnoringCase(localServer, server) &&
            config.getProviderDefault("ServerDBFilePath", serverDirectory, false)) {
            out = serverDirectory;
        }
    }
    if (!platform::narrowEndsWith(out, '\\')) {
        out += '\\';
    }
    out += name;
    std::string extension;
    out += config.getDBProperty(database.c_str(), "DBFileExtension", extension, false) ? extension : ".dbf";
}
