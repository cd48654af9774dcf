#ifndef ORVEL_CONFIGURATION_PATH_H
#define ORVEL_CONFIGURATION_PATH_H

#include <initializer_list>
#include <string>
#include <vector>

namespace orvel {

/// The names that the configuration file has of its own; all others are the callers'.
namespace config_name {
inline constexpr const char* majorVersion = "MajorVersion";
inline constexpr const char* minorVersion = "MinorVersion";
inline constexpr const char* commonSection = "CommonSection";
inline constexpr const char* providerSection = "ProviderSection";
inline constexpr const char* databaseSection = "DatabaseSection";
inline constexpr const char* ado = "ADO";
inline constexpr const char* defaults = "Defaults";
inline constexpr const char* properties = "Properties";
inline constexpr const char* commands = "Commands";
inline constexpr const char* databaseTemplates = "DatabaseTemplates";
inline constexpr const char* tableTemplates = "TableTemplates";
} // namespace config_name

/// The way to one value: a section element, the first of its name anywhere in the document, and from there
/// the first child element of each further name.
///
/// Names are not checked. One that is an XPath expression rather than a name takes the way that the whole
/// path has as an expression.
class ConfigurationPath {
public:
    /// @param names  the section, then the steps below it; copied, null counts as empty
    ConfigurationPath(std::initializer_list<const char*> names);

    const std::string& section() const { return sectionName; }
    const std::vector<std::string>& steps() const { return belowSection; }

    /// True when every step is simply the name of an element.
    bool isPlain() const;

    /// The path as XPath 1.0.
    std::string expression() const;

private:
    std::string sectionName;
    std::vector<std::string> belowSection;
};

} // namespace orvel

#endif
