#include "sqlite/sqlite_text.h"

#include <sqlite3.h>

#include <cstring>
#include <limits>

#include "QD_OrvelError.h"
#include "QD_SQOrvelException.h"
#include "core/diagnostics.h"
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

void requireSqlSize(std::size_t size) {
    if (size > std::numeric_limits<int>::max()) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "QD_SQOrvelConnection::compile", SQLITE_TOOBIG,
                                  sqlite3_errstr(SQLITE_TOOBIG), 0);
    }
}

Utf8Text::Utf8Text(const char* text) : utf8(text) {
    if (platform::narrowIsUtf8()) {
        requireSqlSize(std::strlen(text));
    } else {
        converted = platform::narrowToUtf8(text);
        utf8 = converted.c_str();
        requireSqlSize(converted.size());
    }
}

void logNoMemory(const char* function, std::source_location where) noexcept {
    logCatch(CatchForm::swallowed, function, where.line(), errorText(QD_ORVEL_ERR_OUT_OF_MEMORY));
}

std::string sqliteMessage(sqlite3* db, int result) {
    // A handle that was closed while statements are alive answers every question with "bad parameter or other API misuse".
    return platform::messageToNarrow(sqlite3_errcode(db) == result ? sqlite3_errmsg(db)
                                                                   : sqlite3_errstr(result));
}

} // namespace orvel
