#include "QD_SQOrvelConnection.h"

#include <sqlite3.h>

#include <new>
#include <optional>
#include <utility>

#include "QD_OrvelTools.h"
#include "QD_SQOrvelCommand.h"
#include "QD_SQOrvelException.h"
#include "QD_SQOrvelQuery.h"
#include "core/diagnostics.h"
#include "core/entry_frame.h"
#include "core/first_field.h"
#include "platform/files.h"
#include "platform/text.h"
#include "sqlite/sqlite_statement.h"
#include "sqlite/sqlite_text.h"

namespace platform = orvel::platform;
using orvel::framed;

namespace {

constexpr const char* openName = "QD_SQOrvelConnection::open";
constexpr const char* execQueryName = "QD_SQOrvelConnection::execQuery";
constexpr const char* closeName = "QD_SQOrvelConnection::close";

constexpr int defaultBusyTimeout = 30000; // milliseconds

// Marks the library's own "not open" among SQLite's result codes.
constexpr unsigned long nullDatabase = 1000;

bool isNullOrEmpty(const char* text) { return text == nullptr || *text == '\0'; }

/// The query, or null with a line: where an empty handle counts as no rows, the line is the only sign.
QD_SQOrvelQuery* orLine(QD_SQOrvelQuery* query) {
    if (query == nullptr) {
        orvel::logNoMemory(execQueryName);
    }
    return query;
}

} // namespace

QD_OrvelConnectionHandle QD_SQOrvelConnection::create(const char* configFile) {
    return QD_OrvelConnectionHandle(new (std::nothrow) QD_SQOrvelConnection(configFile));
}

QD_SQOrvelConnection::QD_SQOrvelConnection(const char* configFile) : config(configFile) {
    config.getDefaultTimeout(busyTimeout);
    if (busyTimeout <= 0) {
        busyTimeout = defaultBusyTimeout;
    }
}

QD_SQOrvelConnection::QD_SQOrvelConnection(const QD_SQOrvelConnection& other)
    : QD_OrvelConnection(other), busyTimeout(other.busyTimeout), config(other.config.getFileName()) {}

QD_SQOrvelConnection::~QD_SQOrvelConnection() { QD_SQOrvelConnection::close(); }

void QD_SQOrvelConnection::open(const char* name, const char* path, unsigned int /*flags*/) {
    framed({openName, QD_ORVEL_ERR_OPEN_DATABASE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        std::string fileName;
        getDBPathName(name, path, fileName);
        const std::string diskName = platform::diskName(fileName.c_str());
        try {
            openFile(diskName, fileName);
            dbPathName = std::move(fileName); // nothing may fail between SQLite's success and this
            setBusyTimeout(busyTimeout);
        } catch (...) {
            orvel::swallowed(closeName, [&] { close(); }); // an override may throw
            QD_SQOrvelConnection::close();
            throw;
        }
    });
}

/// A failure may leave a handle, which has the message of the failure and must be closed.
void QD_SQOrvelConnection::openFile(const std::string& diskName, const std::string& fileName) {
    // One thread at a time uses a connection and all that was made from it, so SQLite's mutex would be locked for nothing.
    constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    forgetTransaction(); // that of a database which is still open is left to it
    if (const int result = sqlite3_open_v2(diskName.c_str(), &db, flags, nullptr); result != SQLITE_OK) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_OPEN_DATABASE, openName, static_cast<unsigned long>(result),
                                  (orvel::sqliteMessage(db, result) + " " + fileName).c_str(), 0);
    }
}

bool QD_SQOrvelConnection::isOpen() const { return db != nullptr; }

void QD_SQOrvelConnection::close() {
    orvel::swallowed(closeName, [&] {
        if (db == nullptr) {
            return;
        }
        rollBack(); // SQLite would keep the transaction, and its locks, for as long as a statement is alive
        forgetTransaction();
        direct.release();
        sqlite3_close_v2(db); // with statements alive, these go on and the last of them closes the database
        dbPathName.clear();
        db = nullptr;
    });
}

int QD_SQOrvelConnection::execNoQuery(const char* sql, unsigned int /*flags*/) {
    return framed({"QD_SQOrvelConnection::execNoQuery", QD_ORVEL_ERR_SQL_STATEMENT}, [&] {
        if (isNullOrEmpty(sql)) {
            return 0;
        }
        checkDB();
        checkTransaction();
        orvel::traceSql(sql);
        const orvel::Utf8Text text(sql);
        const char* rest = runFirstStatement(text.get());
        while (*rest != '\0') {
            checkTransaction(); // the statement before may have ended one, and this one may begin another
            rest = runFirstStatement(rest);
        }
        return sqlite3_changes(db);
    });
}

/// Runs the first statement of a text to its end; answers where the rest begins.
const char* QD_SQOrvelConnection::runFirstStatement(const char* text) {
    for (;;) {
        sqlite3_stmt* statement = nullptr;
        const char* tail = nullptr;
        compile(text, &statement, &tail);
        if (statement == nullptr) {
            return tail;
        }
        int stepped = SQLITE_ROW;
        while (stepped == SQLITE_ROW) {
            stepped = sqlite3_step(statement);
        }
        // A statement of the legacy interface steps to 1 for almost every error; finalizing tells the real code.
        const int finalized = sqlite3_finalize(statement);
        if (finalized == SQLITE_SCHEMA) {
            continue;
        }
        if (finalized == SQLITE_OK && stepped != SQLITE_ERROR) {
            noteSuccess();
            return tail;
        }
        noteFailure(db, finalized);
        throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "QD_SQOrvelConnection::execNoQuery",
                                  static_cast<unsigned long>(finalized),
                                  orvel::sqliteMessage(db, finalized).c_str(), 0);
    }
}

QD_OrvelQueryHandle QD_SQOrvelConnection::execQuery(const char* sql, unsigned int /*flags*/) {
    return framed({execQueryName, QD_ORVEL_ERR_SQL_QUERY}, [&] {
        if (isNullOrEmpty(sql)) {
            return QD_OrvelQueryHandle(orLine(new (std::nothrow) QD_SQOrvelQuery(this, nullptr, true)));
        }
        checkDB();
        checkTransaction();
        orvel::traceSql(sql);
        const orvel::Utf8Text text(sql);
        // The query is made first: what a statement has done cannot be told as failed for want of memory.
        orvel::SqliteStatement& statement = freeStatement();
        auto* const query = orLine(new (std::nothrow) QD_SQOrvelQuery(this, &statement));
        QD_OrvelQueryHandle rows(query);
        while (query != nullptr) {
            statement.replace(compile(text.get()));
            const std::optional<int> failure = query->start();
            if (!failure) {
                noteSuccess();
                break;
            }
            if (*failure != SQLITE_SCHEMA) {
                noteFailure(db, *failure);
                throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, execQueryName,
                                          static_cast<unsigned long>(*failure),
                                          orvel::sqliteMessage(db, *failure).c_str(), 0);
            }
        }
        return rows;
    });
}

/// The one of the query before, if that has ended, or a new one.
orvel::SqliteStatement& QD_SQOrvelConnection::freeStatement() {
    if (direct.isNull() || !direct->isSpare()) {
        direct = QD_OrvelTypedHandle<orvel::SqliteStatement>(new orvel::SqliteStatement(nullptr));
    }
    return *direct.get();
}

int QD_SQOrvelConnection::execQueryScalar(const char* sql, unsigned int flags) {
    return isNullOrEmpty(sql) ? 0 : orvel::firstInteger(execQuery(sql, flags));
}

QD_OrvelCommandHandle QD_SQOrvelConnection::createCommand(const char* sql, unsigned int flags) {
    return QD_OrvelCommandHandle(new (std::nothrow) QD_SQOrvelCommand(this, sql, flags));
}

void QD_SQOrvelConnection::setBusyTimeout(int milliseconds) {
    orvel::swallowed("QD_SQOrvelConnection::setBusyTimeout", [&] {
        busyTimeout = milliseconds;
        if (db != nullptr) {
            sqlite3_busy_timeout(db, milliseconds);
        }
    });
}

long long QD_SQOrvelConnection::getLastInsertedId() {
    return orvel::inspected("QD_SQOrvelConnection::getLastInsertedId", 0LL,
                            [&]() -> long long { return db != nullptr ? sqlite3_last_insert_rowid(db) : 0; });
}

const char* QD_SQOrvelConnection::getProvider() const { return "SQLITE"; }

const char* QD_SQOrvelConnection::getVersion() const { return "3.3.5"; }

bool QD_SQOrvelConnection::isClientServer() const { return false; }

QD_SQOrvelConnection::operator sqlite3*() const { return db; }

void QD_SQOrvelConnection::checkDB() const {
    if (db == nullptr) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelConnection::checkDB", nullDatabase,
                                  "Null Database pointer", 0);
    }
}

sqlite3_stmt* QD_SQOrvelConnection::compile(const char* text) {
    return framed({"QD_SQOrvelConnection::compile", QD_ORVEL_ERR_COMPILE_SQL}, [&] {
        const char* tail = nullptr;
        return prepare(text, &tail);
    });
}

int QD_SQOrvelConnection::compile(const char* text, sqlite3_stmt** statement, const char** tail) {
    return framed({"QD_SQOrvelConnection::compile", QD_ORVEL_ERR_COMPILE_SQL}, [&] {
        *statement = nullptr;
        const char* rest = nullptr;
        *statement = prepare(text, &rest);
        *tail = rest;
        return SQLITE_OK;
    });
}

sqlite3_stmt* QD_SQOrvelConnection::prepare(const char* text, const char** tail) {
    QD_OrvelTools::throwOnNullString(text);
    checkDB();
    sqlite3_stmt* statement = nullptr;
    if (const int result = sqlite3_prepare(db, text, -1, &statement, tail); result != SQLITE_OK) {
        noteFailure(db, result);
        throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "QD_SQOrvelConnection::compile",
                                  static_cast<unsigned long>(result),
                                  orvel::sqliteMessage(db, result).c_str(), 0);
    }
    return statement;
}

void QD_SQOrvelConnection::getDBPathName(const char* name, const char* path, std::string& out) const {
    out = path != nullptr ? path : "";
    if (out.empty()) {
        out = ".\\";
    }
    if (!platform::narrowEndsWith(out, '\\')) { // a slash at the end is no separator here
        out += '\\';
    }
    out.append(name != nullptr ? name : "").append(".db3");
}
