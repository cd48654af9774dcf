#include "config/configuration_path.h"

#include <algorithm>
#include <iterator>

#include "platform/xml_document.h"

namespace {
const char* orEmpty(const char* name) { return name != nullptr ? name : ""; }

/// XPath allows no predicate behind the short forms of a step.
bool takesPredicate(const std::string& name) {
    const std::string lastStep = name.substr(name.rfind('/') + 1);
    return !name.empty() && lastStep != "." && lastStep != "..";
}
} // namespace

namespace orvel {

ConfigurationPath::ConfigurationPath(std::initializer_list<const char*> names)
    : sectionName(orEmpty(*names.begin())) {
    belowSection.reserve(names.size() - 1);
    std::transform(names.begin() + 1, names.end(), std::back_inserter(belowSection), orEmpty);
}

bool ConfigurationPath::isPlain() const {
    return std::ranges::all_of(belowSection, platform::XmlDocument::isElementName);
}

std::string ConfigurationPath::expression() const {
    // "//Section/x" alone would go on in every section of that name.
    std::string path = "(//" + sectionName + ")[1]";
    for (const std::string& name : belowSection) {
        path.append("/").append(name).append(takesPredicate(name) ? "[1]" : "");
    }
    return path;
}

} // namespace orvel
