#ifndef ORVEL_TESTS_CONFIG_FIXTURE_H
#define ORVEL_TESTS_CONFIG_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "QD_OrvelConfig.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

/// What every configuration file needs, and a body.
inline std::string configuration(const std::string& body, const std::string& minorVersion = "2") {
    return "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>" + minorVersion + "</MinorVersion>" + body +
           "</Orvel>";
}

/// A file with one common default, "Key".
inline std::string configurationOf(const std::string& value, const std::string& minorVersion = "2") {
    return configuration("<CommonSection><Key>" + value + "</Key></CommonSection>", minorVersion);
}

inline std::string commonDefault(QD_OrvelConfig& config, const char* key = "Key") {
    std::string value = "left over";
    const bool found = config.getCommonDefault(key, value);
    EXPECT_EQ(found, !value.empty()) << key;
    return value;
}

/// The common default "Key" as an object sees it that is made now.
inline std::string commonDefaultOf(const std::string& fileName) {
    QD_OrvelConfig config(fileName.c_str());
    return commonDefault(config);
}

/// Starts and ends with nothing cached, no master and the initial defaults.
class ConfigTest : public testing::Test {
protected:
    ConfigTest() { reset(); }
    ~ConfigTest() override { reset(); }
    ConfigTest(const ConfigTest&) = delete;
    ConfigTest& operator=(const ConfigTest&) = delete;

    TemporaryDirectory directory;
    DiagnosticLines lines;

    /// A file that no other in the test shares its name with.
    std::string makeFile(const std::string& content) {
        return directory.write("config" + std::to_string(++files) + ".xml", content);
    }
    static void setMaster(const std::string& name) {
        QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_MASTER_CONFIG_FILE, 0, name.c_str());
    }

private:
    int files = 0;

    static void reset() {
        QD_OrvelConfig::flushCache();
        setMaster("");
        QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_CONFIG_FILE, 0, "OrvelConfig.xml");
        QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, QD_ORVEL_PROVIDER_SQLITE, "");
        QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_SECONDARY_PROVIDER, QD_ORVEL_PROVIDER_SQLITE, "");
        QD_OrvelConfig::setAppDefaultValue(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    }
};

} // namespace orvel::tests

#endif
