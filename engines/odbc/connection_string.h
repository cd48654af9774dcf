#ifndef ORVEL_ENGINES_ODBC_CONNECTION_STRING_H
#define ORVEL_ENGINES_ODBC_CONNECTION_STRING_H

#include <string>
#include <string_view>

namespace orvel::engines::odbc {

/// The driver manager's connection string: with the user and the password, where they are not empty, put behind in
/// braces.
std::string driverConnectionString(std::string_view given, std::string_view userId,
                                   std::string_view password);

/// The value of the first such keyword, whatever its case; empty when there is none. What stands in braces is one
/// value, with nothing to be found in it.
std::string keywordValue(std::string_view connectionString, std::string_view keyword);

/// Replaces the value behind every "PWD=" and "PASSWORD=" of a message. A name with a brace in it can make a driver take
/// the rest of the connection string for a part of that name, and show it.
void hidePasswords(std::string& message);

} // namespace orvel::engines::odbc

#endif
