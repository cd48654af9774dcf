#include "config/application_defaults.h"

#include "core/diagnostics.h"

namespace {

/// All slots but the trace switch, which is read without the lock and lives with the trace.
struct Slots {
    std::string configFile = "OrvelConfig.xml";
    std::string masterConfigFile;
    int primaryProvider = QD_ORVEL_PROVIDER_SQLITE;
    int secondaryProvider = QD_ORVEL_PROVIDER_SQLITE;
};

/// Never destroyed: a static object of the application may outlive those of the library.
Slots& slots() {
    static Slots& instance = *new Slots;
    return instance;
}

void assignText(std::string& slot, const char* text) {
    if (text != nullptr) {
        slot = text;
    }
}

template <class Value>
void hand(const Value& slot, Value* output) {
    if (output != nullptr) {
        *output = slot;
    }
}

} // namespace

namespace orvel {

std::recursive_mutex& configLock() {
    static std::recursive_mutex& instance = *new std::recursive_mutex;
    return instance;
}

void setApplicationDefault(QD_OrvelAppDefault kind, int value, const char* text) {
    const std::lock_guard guard(configLock());
    switch (kind) {
    case QD_ORVEL_APPDEF_CONFIG_FILE:
        return assignText(slots().configFile, text);
    case QD_ORVEL_APPDEF_PRIMARY_PROVIDER:
        slots().primaryProvider = value;
        return;
    case QD_ORVEL_APPDEF_SECONDARY_PROVIDER:
        slots().secondaryProvider = value;
        return;
    case QD_ORVEL_APPDEF_SQL_TRACE:
        return setSqlTrace(value);
    case QD_ORVEL_APPDEF_MASTER_CONFIG_FILE:
        return assignText(slots().masterConfigFile, text);
    }
}

void getApplicationDefault(QD_OrvelAppDefault kind, std::string* text, int* value) {
    const std::lock_guard guard(configLock());
    switch (kind) {
    case QD_ORVEL_APPDEF_CONFIG_FILE:
        return hand(slots().configFile, text);
    case QD_ORVEL_APPDEF_PRIMARY_PROVIDER:
        return hand(slots().primaryProvider, value);
    case QD_ORVEL_APPDEF_SECONDARY_PROVIDER:
        return hand(slots().secondaryProvider, value);
    case QD_ORVEL_APPDEF_SQL_TRACE:
        return hand(sqlTrace(), value);
    case QD_ORVEL_APPDEF_MASTER_CONFIG_FILE:
        return hand(slots().masterConfigFile, text);
    }
}

std::string masterConfigFile() {
    std::string name;
    getApplicationDefault(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, &name, nullptr);
    return name;
}

} // namespace orvel
