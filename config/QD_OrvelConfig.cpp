#include "QD_OrvelConfig.h"

#include <map>
#include <mutex>

#include "config/application_defaults.h"
#include "config/config_frame.h"
#include "config/configuration_document.h"
#include "config/leading_integer.h"
#include "platform/files.h"

namespace {

using namespace orvel;

using DocumentCache = std::map<std::string, std::shared_ptr<const ConfigurationDocument>>;

/// The accepted documents by file name, exactly as given. Guarded by `configLock`; never destroyed, as that.
DocumentCache& documentCache() {
    static DocumentCache& instance = *new DocumentCache;
    return instance;
}

/// Puts a copy of the master file in the place of the configuration file and marks it read-only. A failure is
/// found out by the one who then reads the file.
bool copyMaster(const std::string& master, const std::string& fileName) {
    if (!platform::replaceByCopy(master.c_str(), fileName.c_str())) {
        return false;
    }
    platform::setReadOnly(fileName.c_str());
    return true;
}

} // namespace

QD_OrvelConfig::QD_OrvelConfig(const char* name) : fileName(name != nullptr ? name : "") {}

QD_OrvelConfig::~QD_OrvelConfig() = default;

bool QD_OrvelConfig::getCommonDefault(const char* key, std::string& value) {
    return lookup({"QD_OrvelConfig::getCommonDefault", QD_ORVEL_ERR_CONFIG_VALUE},
                  {config_name::commonSection, key}, value, false);
}

bool QD_OrvelConfig::getProviderDefault(const char* key, std::string& value, bool required) {
    return lookup({"QD_OrvelConfig::getProviderDefault", QD_ORVEL_ERR_CONFIG_VALUE},
                  {config_name::providerSection, config_name::ado, config_name::defaults, key}, value,
                  required);
}

bool QD_OrvelConfig::getProviderDBProperty(const char* databaseKey, const char* key, std::string& value,
                                           bool required) {
    return lookup({"QD_OrvelConfig::getProviderDBProperty", QD_ORVEL_ERR_CONFIG_VALUE},
                  {config_name::providerSection, config_name::ado, databaseKey, config_name::properties, key},
                  value, required);
}

bool QD_OrvelConfig::getDBCommand(const char* databaseKey, const char* command, std::string& value,
                                  bool required) {
    return lookup({"QD_OrvelConfig::getDBCommand", QD_ORVEL_ERR_CONFIG_VALUE},
                  {config_name::databaseSection, databaseKey, config_name::commands, command}, value,
                  required);
}

bool QD_OrvelConfig::getDBProperty(const char* databaseKey, const char* key, std::string& value,
                                   bool required) {
    return lookup({"QD_OrvelConfig::getDBProperty", QD_ORVEL_ERR_CONFIG_VALUE},
                  {config_name::databaseSection, databaseKey, config_name::properties, key}, value, required);
}

bool QD_OrvelConfig::getDBDatabaseCommand(const char* databaseKey, const char* databaseID,
                                          const char* templateName, std::string& value, bool required) {
    return lookup(
        {"QD_OrvelConfig::getDBDatabaseCommand", QD_ORVEL_ERR_UNKNOWN_DATABASE},
        {config_name::databaseSection, databaseKey, config_name::databaseTemplates, databaseID, templateName},
        value, required);
}

bool QD_OrvelConfig::getDBTableCommand(const char* databaseKey, const char* tableID, const char* templateName,
                                       std::string& value, bool required) {
    return lookup(
        {"QD_OrvelConfig::getDBTableCommand", QD_ORVEL_ERR_UNKNOWN_TABLE},
        {config_name::databaseSection, databaseKey, config_name::tableTemplates, tableID, templateName},
        value, required);
}

bool QD_OrvelConfig::getDefaultTimeout(int& milliseconds) {
    milliseconds = 0;
    std::string text;
    if (!getCommonDefault("DefaultTimeout", text)) {
        return false;
    }
    milliseconds = leadingInteger(text);
    return true;
}

bool QD_OrvelConfig::lookup(Operation missing, std::initializer_list<const char*> names, std::string& value,
                            bool required) {
    return configFramed(missing.name, [&] {
        const ConfigurationPath path(names); // before the value is cleared: a name may point into it
        value.clear();
        ensureLoaded();
        value = valueAt(path);
        if (value.empty() && required) {
            throw QD_OrvelException(missing.code, missing.name, 0, "", 0);
        }
        return !value.empty();
    });
}

std::string QD_OrvelConfig::valueAt(const ConfigurationPath& path) {
    if (path.isPlain()) {
        return document->valueAt(path);
    }
    if (evaluated == nullptr) {
        evaluated = std::make_shared<platform::XmlDocument>(document->cloneContent());
    }
    return evaluated->evaluate(path.expression()).value_or("");
}

void QD_OrvelConfig::ensureLoaded() {
    if (document != nullptr) {
        return;
    }
    const std::lock_guard guard(configLock());
    if (const auto cached = documentCache().find(fileName); cached != documentCache().end()) {
        document = cached->second;
        return;
    }
    document = loadFile();
    documentCache().emplace(fileName, document);
}

std::shared_ptr<const ConfigurationDocument> QD_OrvelConfig::loadFile() {
    const std::string master = masterConfigFile();
    const bool copied =
        !platform::fileExists(fileName.c_str()) && !master.empty() && copyMaster(master, fileName);
    auto loaded = loadXMLDOMDocument();
    if (copied || loaded->isCurrent()) { // a copy of the master is accepted whatever its version
        return loaded;
    }
    platform::setReadWrite(fileName.c_str());
    // An unset master is not told apart here: it is a copy that fails.
    if (!copyMaster(master, fileName)) {
        throw platform::ComError(platform::ePointer, "");
    }
    return loadXMLDOMDocument();
}

std::shared_ptr<const ConfigurationDocument> QD_OrvelConfig::loadXMLDOMDocument() {
    constexpr const char* name = "QD_OrvelConfig::loadXMLDOMDocument";
    return configFramed(name, [&] {
        auto parsed = std::make_shared<ConfigurationDocument>();
        if (const auto error = parsed->load(fileName)) {
            document = parsed; // the object stays loaded, and empty
            throw QD_OrvelException(QD_ORVEL_ERR_CONFIG_FILE, name, 0, error->reason.c_str(), error->code);
        }
        return parsed;
    });
}

void QD_OrvelConfig::flushCache() {
    DocumentCache dropped; // so that its documents are destroyed when the lock is free again
    const std::lock_guard guard(configLock());
    dropped.swap(documentCache());
}

void QD_OrvelConfig::setAppDefaultValue(QD_OrvelAppDefault kind, int value, const char* text) {
    setApplicationDefault(kind, value, text);
}

void QD_OrvelConfig::getAppDefaultValue(QD_OrvelAppDefault kind, std::string* text, int* value) {
    getApplicationDefault(kind, text, value);
}
