#include "config/command_template.h"

#include <string_view>

#include "QD_OrvelConfig.h"

namespace orvel {

void replacePlaceholder(std::string& text, const char* placeholder, const char* value) {
    const std::string_view token(placeholder != nullptr ? placeholder : "");
    const std::string_view replacement(value != nullptr ? value : "");
    std::size_t found = token.empty() ? std::string::npos : text.find(token);
    if (found == std::string::npos) {
        return;
    }
    std::string expanded;
    std::size_t copied = 0;
    for (; found != std::string::npos; found = text.find(token, copied)) {
        expanded.append(text, copied, found - copied).append(replacement);
        copied = found + token.size();
    }
    expanded.append(text, copied);
    text = std::move(expanded);
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
