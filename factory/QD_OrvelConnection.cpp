#include "QD_OrvelConnection.h"

#include <string>

#include "QD_ADOOrvelConnection.h"
#include "QD_OrvelConfig.h"
#include "QD_OrvelException.h"
#include "QD_SQOrvelConnection.h"
#include "core/entry_frame.h"
#include "platform/text.h"

namespace {

constexpr const char* createName = "QD_OrvelConnection::create";

std::string configurationFile(const char* argument) {
    std::string file(argument != nullptr ? argument : "");
    if (file.empty()) {
        QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_CONFIG_FILE, &file, nullptr);
    }
    return file;
}

/// A provider taken from an application default is not resolved again, unless it sends on to the configuration.
int resolvedProvider(int provider, QD_OrvelConfig& config) {
    if (provider == QD_ORVEL_PROVIDER_APP_PRIMARY) {
        QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, nullptr, &provider);
    } else if (provider == QD_ORVEL_PROVIDER_APP_SECONDARY) {
        QD_OrvelConfig::getAppDefaultValue(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, nullptr, &provider);
    }
    if (provider != QD_ORVEL_PROVIDER_CONFIG_DEFAULT) {
        return provider;
    }
    std::string name;
    config.getCommonDefault("DefaultProvider", name);
    return orvel::platform::equalIgnoringCase(name, "ADO") ? QD_ORVEL_PROVIDER_ADO : QD_ORVEL_PROVIDER_SQLITE;
}

/// The argument when there is one, an empty one included; otherwise the configuration's default.
std::string argumentOrDefault(const char* argument, QD_OrvelConfig& config, const char* key, bool required) {
    std::string value;
    if (argument != nullptr) {
        value = argument;
    } else {
        config.getProviderDefault(key, value, required);
    }
    return value;
}

QD_OrvelConnectionHandle createADO(const std::string& file, QD_OrvelConfig& config, const char* server,
                                   const char* database, const char* instance) {
    const std::string serverName = argumentOrDefault(server, config, "Server", false);
    const std::string databaseKey = argumentOrDefault(database, config, "Database", true);
    const std::string instanceName = argumentOrDefault(instance, config, "Instance", true);
    return QD_ADOOrvelConnection::create(file.c_str(), serverName.c_str(), databaseKey.c_str(),
                                         instanceName.c_str());
}

} // namespace

QD_OrvelConnection::~QD_OrvelConnection() = default;

QD_OrvelConnectionHandle QD_OrvelConnection::create(QD_OrvelProvider provider, const char* configFile,
                                                    const char* server, const char* database,
                                                    const char* instance) {
    return orvel::framed({createName, QD_ORVEL_ERR_CREATE_CONNECTION}, [&] {
        const std::string file = configurationFile(configFile);
        QD_OrvelConfig config(file.c_str());
        switch (resolvedProvider(provider, config)) {
        case QD_ORVEL_PROVIDER_SQLITE:
            return QD_SQOrvelConnection::create(file.c_str());
        case QD_ORVEL_PROVIDER_ADO:
            return createADO(file, config, server, database, instance);
        default:
            throw QD_OrvelException(QD_ORVEL_ERR_CREATE_CONNECTION, createName, 0, "", 0);
        }
    });
}

void QD_OrvelConnection::setAppDefault(QD_OrvelAppDefault slot, int value, const char* text) {
    QD_OrvelConfig::setAppDefaultValue(slot, value, text);
}

void QD_OrvelConnection::flushDBConfig() { QD_OrvelConfig::flushCache(); }
