#ifndef ORVEL_SQLITE_TEXT_H
#define ORVEL_SQLITE_TEXT_H

#include <string>

struct sqlite3;

namespace orvel {

/// Convert in place between the process's narrow encoding and UTF-8; std::runtime_error for a text that
/// cannot be converted.
void ansiToUtf8(std::string& text);
void utf8ToAnsi(std::string& text);

/// SQLite's message about the last failure on `db`, in the narrow encoding if that can take it.
std::string sqliteMessage(sqlite3* db);

} // namespace orvel

#endif
