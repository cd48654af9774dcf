#include "config/configuration_document.h"

#include <algorithm>

#include "config/leading_integer.h"

namespace orvel {

std::optional<platform::XmlError> ConfigurationDocument::load(const std::string& fileName) {
    std::optional<platform::XmlError> error = content.load(fileName);
    for (Section& section : sections) {
        section.element = content.firstElement(section.name);
    }
    return error;
}

bool ConfigurationDocument::isCurrent() const {
    const auto version = [this](const char* name) {
        return leadingInteger(content.firstElement(name).utf8Text());
    };
    return version(config_name::majorVersion) == 0 && version(config_name::minorVersion) >= 2;
}

std::string ConfigurationDocument::valueAt(const ConfigurationPath& path) const {
    const auto* const section = std::ranges::find_if(
        sections, [&path](const Section& known) { return path.section() == known.name; });
    platform::XmlElement element = section->element;
    for (const std::string& name : path.steps()) {
        element = element.child(name);
    }
    return element.text();
}

} // namespace orvel
