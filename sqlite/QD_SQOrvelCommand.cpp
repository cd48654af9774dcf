#include "QD_SQOrvelCommand.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "QD_OrvelTools.h"
#include "QD_SQOrvelException.h"
#include "QD_SQOrvelQuery.h"
#include "core/diagnostics.h"
#include "core/entry_frame.h"
#include "platform/text.h"
#include "sqlite/sqlite_statement.h"
#include "sqlite/sqlite_text.h"

namespace platform = orvel::platform;
using orvel::framed;

namespace {

// Marks the library's own checks among SQLite's result codes.
constexpr unsigned long nullPointer = 1000;

[[noreturn]] void throwOutOfMemory(const char* function) {
    throw QD_SQOrvelException(QD_ORVEL_ERR_OUT_OF_MEMORY, function, 0, "", 0);
}

/// Adds a parameter: `fill` gives a new slot its value.
template <class Fill>
void addTo(orvel::SqliteParameters& params, const char* function, Fill fill) {
    try {
        fill(params.next());
        params.add();
    } catch (const std::bad_alloc&) {
        throwOutOfMemory(function);
    }
}

} // namespace

QD_SQOrvelCommand::QD_SQOrvelCommand(QD_SQOrvelConnection* owner, const char* text,
                                     unsigned int commandFlags) try
    : connection(owner),
      statement(new orvel::SqliteStatement(nullptr)),
      sql(text != nullptr ? text : ""),
      flags(commandFlags),
      params(new orvel::SqliteParameters) {
    QD_OrvelTools::throwOnNullOrEmptyString(text);
    checkDB();
    orvel::ansiToUtf8(sql);
    orvel::requireSqlSize(sql.size());
    statement->addCommand();
    statement->replace(owner->compile(sql.c_str()));
    checkVM();
} catch (...) {
    orvel::stampCurrent({"QD_SQOrvelCommand::QD_SQOrvelCommand", QD_ORVEL_ERR_CREATE_COMMAND});
}

QD_SQOrvelCommand::~QD_SQOrvelCommand() { QD_SQOrvelCommand::close(); }

int QD_SQOrvelCommand::execNoQuery(unsigned int /*flags*/) {
    constexpr const char* name = "QD_SQOrvelCommand::execNoQuery";
    return framed({name, QD_ORVEL_ERR_SQL_STATEMENT}, [&] {
        checkDB();
        checkVM();
        if (run(name) == SQLITE_ROW) {
            endWith(SQLITE_ROW, resetVM(), name);
        }
        sqlite3* const db = sqlite3_db_handle(statement->get()); // the connection may be closed meanwhile
        const int changes = sqlite3_changes(db);
        if (const int result = resetVM(); result != SQLITE_OK) {
            connection->noteFailure(db, result);
            throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, name, static_cast<unsigned long>(result),
                                      orvel::sqliteMessage(db, result).c_str(), 0);
        }
        return changes;
    });
}

QD_OrvelQueryHandle QD_SQOrvelCommand::execQuery(unsigned int /*flags*/) {
    constexpr const char* name = "QD_SQOrvelCommand::execQuery";
    return framed({name, QD_ORVEL_ERR_SQL_STATEMENT}, [&] {
        checkDB();
        checkVM();
        orvel::traceSql(sql.c_str());
        // Made first: what a statement has done cannot be told as failed for want of memory.
        const QD_OrvelQueryHandle rows(new (std::nothrow) QD_SQOrvelQuery(connection.get(), statement.get()));
        if (rows.isValid()) {
            run(name);
        } else {
            orvel::logNoMemory(name);
        }
        return rows;
    });
}

/// Binds and steps once, compiling the statement anew as often as the schema has changed under it. Answers whether
/// there is a row: 100 or 101.
int QD_SQOrvelCommand::run(const char* function) {
    connection->checkTransaction();
    for (;;) {
        applyParams();
        const int stepped = sqlite3_step(statement->get());
        if (stepped == SQLITE_DONE || stepped == SQLITE_ROW) {
            connection->noteSuccess();
            return stepped;
        }
        // A statement of the legacy interface steps to 1 for almost every error; the reset tells the reason.
        if (const int result = resetVM(); result != SQLITE_SCHEMA) {
            endWith(stepped, result, function);
        }
        recompile();
    }
}

void QD_SQOrvelCommand::recompile() {
    // The connection may have been opened on another database since, where this command has no business.
    sqlite3* const open = *connection.get();
    const bool anotherDatabase = open != nullptr && open != sqlite3_db_handle(statement->get());
    statement->replace(nullptr);
    if (anotherDatabase) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelCommand::checkDB", nullPointer,
                                  "The connection was closed after the command was made", 0);
    }
    statement->replace(connection->compile(sql.c_str()));
    checkVM();
}

/// A command whose run failed is not used again: whoever has it must see that.
void QD_SQOrvelCommand::endWith(int stepResult, int resetResult, const char* function) {
    sqlite3* const db = sqlite3_db_handle(statement->get());
    connection->noteFailure(db, resetResult);
    try {
        throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, function, static_cast<unsigned long>(stepResult),
                                  orvel::sqliteMessage(db, resetResult).c_str(), 0);
    } catch (...) {
        statement->replace(nullptr); // behind the message: without its statement, a closed database is gone
        throw;
    }
}

void QD_SQOrvelCommand::addStringParam(const char* text) {
    if (text == nullptr || *text == '\0') {
        addEmptyParam(QD_ORVEL_DATA_STRING);
        return;
    }
    try {
        std::string converted;
        if (!platform::narrowIsUtf8()) {
            converted = platform::narrowToUtf8(text);
            text = converted.c_str();
        }
        params->addCopy(QD_ORVEL_DATA_STRING, text, std::strlen(text));
    } catch (const std::bad_alloc&) {
        throwOutOfMemory("QD_SQOrvelCommand::addStringParam");
    }
}

void QD_SQOrvelCommand::addIntParam(int value) {
    addTo(*params, "QD_SQOrvelCommand::addIntParam", [value](QD_SQOrvelParameter& parameter) {
        parameter.kind = QD_ORVEL_DATA_INT;
        parameter.integer = value;
    });
}

void QD_SQOrvelCommand::addInt64Param(long long value) {
    addTo(*params, "QD_SQOrvelCommand::addInt64Param", [value](QD_SQOrvelParameter& parameter) {
        parameter.kind = QD_ORVEL_DATA_INT64;
        parameter.wide = value;
    });
}

void QD_SQOrvelCommand::addDoubleParam(double value) {
    addTo(*params, "QD_SQOrvelCommand::addDoubleParam", [value](QD_SQOrvelParameter& parameter) {
        parameter.kind = QD_ORVEL_DATA_DOUBLE;
        parameter.real = value;
    });
}

void QD_SQOrvelCommand::addBlobParam(const unsigned char* data, int length) {
    if (data == nullptr || length <= 0) {
        addEmptyParam(QD_ORVEL_DATA_BLOB);
        return;
    }
    try {
        params->addCopy(QD_ORVEL_DATA_BLOB, data, static_cast<std::size_t>(length));
    } catch (const std::bad_alloc&) {
        throwOutOfMemory("QD_SQOrvelCommand::addBlobParam");
    }
}

void QD_SQOrvelCommand::addEmptyParam(QD_OrvelDataKind /*kind*/) {
    addTo(*params, "QD_SQOrvelCommand::addEmptyParam",
          [](QD_SQOrvelParameter& parameter) { parameter.kind = QD_SQOrvelParameter::null; });
}

void QD_SQOrvelCommand::applyParams() {
    checkDB();
    checkVM();
    if (statement->isBound()) {
        return;
    }
    sqlite3_stmt* const target = statement->get();
    statement->makeRoomToKeep();
    if (const int result = params->bind(target, statement->markers()); result != SQLITE_OK) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_BIND_PARAMETER, "QD_SQOrvelCommand::applyParams",
                                  static_cast<unsigned long>(result),
                                  orvel::sqliteMessage(sqlite3_db_handle(target), result).c_str(), 0);
    }
    statement->setBound(true);
}

void QD_SQOrvelCommand::resetParams() {
    // A run that a query still reads keeps its bindings, so the next one must ask SQLite for new ones.
    if (statement.isValid()) {
        statement->setBound(false);
    }
    deleteParams();
}

void QD_SQOrvelCommand::deleteParams() {
    if (statement.isValid() && statement->isRead() && params->anyIsReadInPlace()) {
        statement->keep(params->release());
    } else {
        params->clear();
    }
}

int QD_SQOrvelCommand::resetVM() {
    if (statement.isNull()) {
        return SQLITE_OK;
    }
    statement->setBound(false);
    return sqlite3_reset(statement->get());
}

void QD_SQOrvelCommand::close() {
    orvel::swallowed("QD_SQOrvelCommand::close", [&] {
        // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.VirtualCall): a destructor wants its own class's version
        resetParams();
        if (statement.isNull()) {
            return;
        }
        statement->dropCommand();
        statement.release(); // finalizes it, unless a query goes on reading
    });
}

void QD_SQOrvelCommand::checkDB() const {
    if (connection.isNull()) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelCommand::checkDB", nullPointer,
                                  "Null Database pointer", 0);
    }
}

void QD_SQOrvelCommand::checkVM() const {
    if (statement.isNull() || statement->get() == nullptr) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_INVALID_POINTER, "QD_SQOrvelCommand::checkVM", nullPointer,
                                  "Null virtual machine pointer", 0);
    }
}
