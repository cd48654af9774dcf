#include "sqlite/sqlite_text.h"

#include <sqlite3.h>

#include <stdexcept>

#include "platform/text.h"

namespace orvel {

void ansiToUtf8(std::string& text) {
    if (!platform::narrowIsUtf8()) {
        text = platform::narrowToUtf8(text);
    }
}

void utf8ToAnsi(std::string& text) {
    if (!platform::narrowIsUtf8()) {
        text = platform::utf8ToNarrow(text);
    }
}

std::string sqliteMessage(sqlite3* db) {
    std::string message = sqlite3_errmsg(db);
    try {
        utf8ToAnsi(message);
    } catch (const std::runtime_error&) {
    } // left in UTF-8
    return message;
}

} // namespace orvel
