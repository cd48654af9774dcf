#include "config/command_template.h"

#include <string_view>

#include "QD_OrvelConfig.h"
#include "platform/secret_text.h"

namespace {
std::size_t occurrences(std::string_view text, std::string_view token) {
    std::size_t count = 0;
    for (std::size_t at = text.find(token); at != std::string_view::npos;
         at = text.find(token, at + token.size())) {
        ++count;
    }
    return count;
}
} // namespace

namespace orvel {

void replacePlaceholder(std::string& text, const char* placeholder, const char* value) {
    const std::string_view token(placeholder != nullptr ? placeholder : "");
    const std::string_view replacement(value != nullptr ? value : "");
    std::size_t found = token.empty() ? std::string::npos : text.find(token);
    if (found == std::string::npos) {
        return;
    }
    std::string expanded;
    expanded.reserve(text.size() +
                     occurrences(text, token) * replacement.size()); // growing would leave copies
    std::size_t copied = 0;
    for (; found != std::string::npos; found = text.find(token, copied)) {
        expanded.append(text, copied, found - copied).append(replacement);
        copied = found + token.size();
    }
    expanded.append(text, copied);
    text.swap(expanded);
    platform::wipe(expanded); // it may hold a password
}

std::string upgradeStepName(unsigned int step) {
    return "AlterTable" + std::to_string(static_cast<int>(step));
}

bool readTableTemplate(QD_OrvelConfig& config, const char* databaseKey, const char* tableID,
                       const char* templateName, const char* tableName, std::string& sql, bool required) {
    if (!config.getDBTableCommand(databaseKey, tableID, templateName, sql, required)) {
        return false;
    }
    replacePlaceholder(sql, "$(tableName)", tableName);
    return true;
}

} // namespace orvel
