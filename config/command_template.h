#ifndef ORVEL_COMMAND_TEMPLATE_H
#define ORVEL_COMMAND_TEMPLATE_H

#include <string>

class QD_OrvelConfig;

namespace orvel {

/// Replaces every occurrence of `placeholder` in `text` by `value`.
///
/// The value goes in as it is: nothing is quoted, and what was inserted is not searched again in this call. A
/// later call for another placeholder does search it, so values from outside must be safe to be expanded.
///
/// @param placeholder  compared byte by byte; null or empty changes nothing
/// @param value        null counts as empty; may point into `text`
void replacePlaceholder(std::string& text, const char* placeholder, const char* value);

/// The name of the table template that holds an upgrade step: "AlterTable1" for step 1. Steps above the range
/// of int have negative numbers.
std::string upgradeStepName(unsigned int step);

/// Reads a template for a kind of table and puts the table's name in for "$(tableName)".
///
/// @return false when the template is missing and not `required`; throws like the lookup otherwise
bool readTableTemplate(QD_OrvelConfig& config, const char* databaseKey, const char* tableID,
                       const char* templateName, const char* tableName, std::string& sql, bool required);

} // namespace orvel

#endif
