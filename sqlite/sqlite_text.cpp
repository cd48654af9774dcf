#include "sqlite/sqlite_text.h"

#include <sqlite3.h>

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

std::string sqliteMessage(sqlite3* db) { return platform::messageToNarrow(sqlite3_errmsg(db)); }

} // namespace orvel
