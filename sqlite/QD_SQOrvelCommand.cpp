#include "QD_SQOrvelCommand.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <memory>
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

/// A copy of `size` items that its parameter owns. Throws 32 in the name of `function`.
template <class Item>
std::unique_ptr<Item[]> copyOf(const Item* items, std::size_t size, const char* function) {
    std::unique_ptr<Item[]> copy(new (std::nothrow) Item[size]);
    if (copy == nullptr) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_OUT_OF_MEMORY, function, 0, "", 0);
    }
    std::memcpy(copy.get(), items, size * sizeof(Item));
    return copy;
}

} // namespace

QD_SQOrvelCommand::QD_SQOrvelCommand(QD_SQOrvelConnection* owner, const char* text,
                                     unsigned int commandFlags) try
    : connection(owner),
      statement(new orvel::SqliteStatement(nullptr)),
      sql(text != nullptr ? text : ""),
      flags(commandFlags) {
    QD_OrvelTools::throwOnNullOrEmptyString(text);
    checkDB();
    orvel::ansiToUtf8(sql);
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
        if (const int stepped = run(); stepped != SQLITE_DONE) {
            endWith(stepped, name);
        }
        sqlite3* const db = sqlite3_db_handle(statement->get()); // the connection may be closed meanwhile
        const int changes = sqlite3_changes(db);
        if (const int result = resetVM(); result != SQLITE_OK) {
            throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, name, static_cast<unsigned long>(result),
                                      orvel::sqliteMessage(db).c_str(), 0);
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
        const int stepped = run();
        if (stepped != SQLITE_DONE && stepped != SQLITE_ROW) {
            endWith(stepped, name);
        }
        auto* const query = new (std::nothrow) QD_SQOrvelQuery(connection.get(), statement.get());
        if (query == nullptr && !statement->isRead()) {
            resetVM();
        }
        return QD_OrvelQueryHandle(query);
    });
}

/// Binds and steps once, compiling the statement anew as often as the schema has changed under it.
int QD_SQOrvelCommand::run() {
    connection->noticeEndedTransaction();
    for (;;) {
        applyParams();
        const int stepped = sqlite3_step(statement->get());
        if (stepped == SQLITE_DONE || stepped == SQLITE_ROW) {
            return stepped;
        }
        // A statement of the legacy interface steps to 1 for almost every error; the reset tells a schema change.
        if (resetVM() != SQLITE_SCHEMA) {
            return stepped;
        }
        recompile();
    }
}

void QD_SQOrvelCommand::recompile() {
    // The connection may have been opened on another database since, where this command has no business.
    const bool sameDatabase = sqlite3_db_handle(statement->get()) == static_cast<sqlite3*>(*connection.get());
    statement->replace(nullptr);
    if (!sameDatabase) {
        throw QD_SQOrvelException(QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelCommand::checkDB", nullPointer,
                                  "The connection was closed after the command was made", 0);
    }
    statement->replace(connection->compile(sql.c_str()));
    checkVM();
}

/// A command whose run failed is not used again: whoever has it must see that.
void QD_SQOrvelCommand::endWith(int stepResult, const char* function) {
    sqlite3* const db = sqlite3_db_handle(statement->get());
    resetVM(); // only now does SQLite tell what went wrong; without its statement, a closed database is gone
    const std::string message = orvel::sqliteMessage(db);
    statement->replace(nullptr);
    throw QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, function, static_cast<unsigned long>(stepResult),
                              message.c_str(), 0);
}

void QD_SQOrvelCommand::addStringParam(const char* text) {
    if (text == nullptr || *text == '\0') {
        addEmptyParam(QD_ORVEL_DATA_STRING);
        return;
    }
    std::string converted;
    if (!platform::narrowIsUtf8()) {
        converted = platform::narrowToUtf8(text);
        text = converted.c_str();
    }
    params.push_back({QD_SQOrvelParameter::Text{
        copyOf(text, std::strlen(text) + 1, "QD_SQOrvelCommand::addStringParam")}});
}

void QD_SQOrvelCommand::addIntParam(int value) { params.push_back({value}); }

void QD_SQOrvelCommand::addInt64Param(long long value) { params.push_back({value}); }

void QD_SQOrvelCommand::addDoubleParam(double value) { params.push_back({value}); }

void QD_SQOrvelCommand::addBlobParam(const unsigned char* data, int length) {
    if (data == nullptr || length <= 0) {
        addEmptyParam(QD_ORVEL_DATA_BLOB);
        return;
    }
    params.push_back({QD_SQOrvelParameter::Blob{
        copyOf(data, static_cast<std::size_t>(length), "QD_SQOrvelCommand::addBlobParam"), length}});
}

void QD_SQOrvelCommand::addEmptyParam(QD_OrvelDataKind /*kind*/) { params.push_back({std::monostate{}}); }

void QD_SQOrvelCommand::applyParams() {
    checkDB();
    checkVM();
    if (statement->isBound()) {
        return;
    }
    sqlite3_stmt* const target = statement->get();
    const int markers = sqlite3_bind_parameter_count(target);
    const QD_SQOrvelParameter null;
    const int given = static_cast<int>(params.size());
    // Markers without a parameter must not keep what an earlier run left there: those values may be gone.
    for (int index = 1; index <= std::max(given, markers); ++index) {
        const QD_SQOrvelParameter& parameter =
            index <= given ? params[static_cast<std::size_t>(index - 1)] : null;
        if (const int result = parameter.bind(target, index); result != SQLITE_OK) {
            throw QD_SQOrvelException(QD_ORVEL_ERR_BIND_PARAMETER, "QD_SQOrvelCommand::applyParams",
                                      static_cast<unsigned long>(result),
                                      orvel::sqliteMessage(sqlite3_db_handle(target)).c_str(), 0);
        }
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
    if (statement.isValid() && statement->isRead() &&
        std::ranges::any_of(params, &QD_SQOrvelParameter::isReadInPlace)) {
        statement->keep(std::move(params));
    }
    params.clear();
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
