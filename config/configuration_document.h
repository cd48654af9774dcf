#ifndef ORVEL_CONFIGURATION_DOCUMENT_H
#define ORVEL_CONFIGURATION_DOCUMENT_H

#include <array>
#include <optional>
#include <string>

#include "config/configuration_path.h"
#include "platform/xml_document.h"

namespace orvel {

/// A configuration file once it is parsed. Nothing changes it after `load`, so that all readers of a file
/// share one, on any number of threads.
class ConfigurationDocument {
public:
    /// Replaces the content; after a failure nothing is found in the document.
    [[nodiscard]] std::optional<platform::XmlError> load(const std::string& fileName);

    /// True for major version 0 and a minor one of 2 or more. A higher major version is not current either:
    /// it stands for a format that this library does not know.
    bool isCurrent() const;

    /// The value at a plain path; empty when it is missing.
    ///
    /// The sections were found by `load`, so a lookup looks at the elements on its way and their siblings
    /// only, not at the templates of other databases.
    std::string valueAt(const ConfigurationPath& path) const;

    /// The content for evaluations, which are not for shared documents.
    platform::XmlDocument cloneContent() const { return content.clone(); }

private:
    struct Section {
        const char* name;
        platform::XmlElement element;
    };

    platform::XmlDocument content;
    std::array<Section, 3> sections{Section{config_name::commonSection, {}},
                                    Section{config_name::providerSection, {}},
                                    Section{config_name::databaseSection, {}}};
};

} // namespace orvel

#endif
