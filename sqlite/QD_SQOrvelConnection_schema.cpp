// Tables, databases and the templates of the configuration.

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "QD_OrvelTools.h"
#include "QD_SQOrvelConnection.h"
#include "QD_SQOrvelException.h"
#include "config/command_template.h"
#include "core/entry_frame.h"
#include "core/first_field.h"
#include "platform/files.h"
#include "sqlite/sqlite_statement.h"
#include "sqlite/sqlite_text.h"

namespace platform = orvel::platform;
using orvel::framed;

namespace {

constexpr const char* databaseKey = "SQLite"; // every SQLite connection reads its templates here

constexpr const char* dropName = "QD_SQOrvelConnection::dropDatabase";

// The code of a database file that could not be deleted; fixed, not the system's.
constexpr unsigned long cannotDelete = 13;

std::string joined(const char* before, const char* name, const char* after) {
    return std::string(before) + name + after;
}

[[noreturn]] void throwCannotDelete(const std::string& fileName) {
    const std::string message =
        joined("Database '", fileName.c_str(), "' is used by another process or access is denied");
    throw QD_SQOrvelException(QD_ORVEL_ERR_DELETE_DATABASE, dropName, cannotDelete, message.c_str(), 0);
}

/// Deletes a database and what SQLite keeps beside it. Whoever still has the deleted database open goes on writing to these
/// files, and a new database of the name would read them as its own.
void deleteDatabaseFiles(const std::string& fileName) {
    constexpr std::array suffixes = {"", "-wal", "-shm", "-journal"};
    std::array<std::string, suffixes.size()>
        names; // all of them before the first goes: from there on no memory is needed
    std::ranges::transform(suffixes, names.begin(), [&](const char* suffix) {
        return platform::diskName((fileName + suffix).c_str());
    });
    const char* kept = nullptr;
    for (std::size_t file = 0; file < names.size(); ++file) {
        const bool isDatabase = file == 0;
        if (platform::deleteFile(names[file], !isDatabase)) {
            continue;
        }
        if (isDatabase) {
            throwCannotDelete(fileName);
        }
        kept = suffixes[file];
    }
    if (kept != nullptr) {
        throwCannotDelete(fileName + kept);
    }
}

} // namespace

bool QD_SQOrvelConnection::tableExists(const char* table) {
    return framed({"QD_SQOrvelConnection::tableExists", QD_ORVEL_ERR_TABLE_EXISTS}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        const std::string sql =
            joined("SELECT COUNT(*) FROM SQLITE_MASTER WHERE TYPE='table' AND NAME='", table, "';");
        return execQueryScalar(sql.c_str(), 0) > 0;
    });
}

int QD_SQOrvelConnection::getTables(std::vector<std::string>& names) {
    return framed({"QD_SQOrvelConnection::getTables", QD_ORVEL_ERR_TABLE_EXISTS}, [&] {
        names.clear();
        std::vector<std::string> found;
        orvel::appendFirstTexts(
            execQuery("SELECT name FROM SQLITE_MASTER WHERE TYPE='table' ORDER BY name;", 0), found);
        names.swap(found);
        return static_cast<int>(names.size());
    });
}

int QD_SQOrvelConnection::getTableColumnNames(const char* table, std::vector<std::string>& names) {
    return framed({"QD_SQOrvelConnection::getTableColumnNames", QD_ORVEL_ERR_TABLE_EXISTS}, [&] {
        // Emptied before anything can fail, and yet kept to the end: the table's name may lie in the list.
        const std::vector<std::string> before = std::exchange(names, {});
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        checkDB();
        std::string sql = joined("SELECT * FROM ", table, ";");
        orvel::ansiToUtf8(sql);
        const orvel::OwnedSqliteStatement statement(compile(sql.c_str())); // never stepped: no row is read
        std::vector<std::string> found;
        for (int column = 0; column < sqlite3_column_count(statement.get()); ++column) {
            const char* const utf8 = sqlite3_column_name(statement.get(), column);
            std::string name(utf8 != nullptr ? utf8 : "");
            orvel::utf8ToAnsi(name);
            found.push_back(std::move(name));
        }
        names.swap(found); // all of them or none
        return static_cast<int>(names.size());
    });
}

int QD_SQOrvelConnection::getTableRowCount(const char* table) {
    return framed({"QD_SQOrvelConnection::getTableRowCount", QD_ORVEL_ERR_TABLE_EXISTS}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        checkDB();
        return execQueryScalar(joined("SELECT COUNT(*) FROM ", table, ";").c_str(), 0);
    });
}

void QD_SQOrvelConnection::createTable(const char* tableID, const char* tableName) {
    framed({"QD_SQOrvelConnection::createTable", QD_ORVEL_ERR_CREATE_TABLE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(tableID);
        QD_OrvelTools::throwOnNullOrEmptyString(tableName);
        checkDB();
        runTableTemplate(tableID, "CreateTable", tableName, true);
        runTableTemplate(tableID, "SetupTable", tableName, false);
    });
}

void QD_SQOrvelConnection::alterTable(const char* tableID, unsigned int step, const char* tableName) {
    framed({"QD_SQOrvelConnection::alterTable", QD_ORVEL_ERR_ALTER_TABLE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(tableID);
        QD_OrvelTools::throwOnNullOrEmptyString(tableName);
        checkDB();
        runTableTemplate(tableID, orvel::upgradeStepName(step).c_str(), tableName, true);
    });
}

/// Skipped when it is not required and missing.
void QD_SQOrvelConnection::runTableTemplate(const char* tableID, const char* templateName,
                                            const char* tableName, bool required) {
    std::string sql;
    if (orvel::readTableTemplate(config, databaseKey, tableID, templateName, tableName, sql, required)) {
        execNoQuery(sql.c_str(), 0);
    }
}

void QD_SQOrvelConnection::dropTable(const char* table) {
    framed({"QD_SQOrvelConnection::dropTable", QD_ORVEL_ERR_DELETE_TABLE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        checkDB();
        execNoQuery(joined("DROP TABLE ", table, ";").c_str(), 0);
    });
}

void QD_SQOrvelConnection::compressDatabase() {
    framed({"QD_SQOrvelConnection::compressDatabase", QD_ORVEL_ERR_COMPRESS_DATABASE}, [&] {
        checkDB();
        execNoQuery("VACUUM;", 0);
    });
}

bool QD_SQOrvelConnection::databaseExists(const char* name, const char* path) {
    return framed({"QD_SQOrvelConnection::databaseExists", QD_ORVEL_ERR_DATABASE_EXISTS}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        std::string fileName;
        getDBPathName(name, path, fileName);
        return platform::fileExists(fileName.c_str());
    });
}

void QD_SQOrvelConnection::createDatabase(const char* databaseID, const char* name, const char* path,
                                          unsigned int /*flags*/) {
    framed({"QD_SQOrvelConnection::createDatabase", QD_ORVEL_ERR_CREATE_DATABASE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(databaseID);
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        // This template only says that the database is known: opening a file creates it.
        std::string text;
        config.getDBDatabaseCommand(databaseKey, databaseID, "CreateDatabase", text, true);
        QD_SQOrvelConnection temporary(*this); // no handle may ever refer to it
        temporary.open(name, path, 0);
        if (config.getDBDatabaseCommand(databaseKey, databaseID, "SetupDatabase", text, false)) {
            orvel::replacePlaceholder(text, "$(dbName)", name);
            temporary.execNoQuery(text.c_str(), 0);
        }
    });
}

void QD_SQOrvelConnection::dropDatabase(const char* name, const char* path) {
    framed({dropName, QD_ORVEL_ERR_DELETE_DATABASE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        std::string fileName;
        getDBPathName(name, path, fileName);
        if (hasOpen(fileName)) {
            close();
        }
        deleteDatabaseFiles(fileName);
    });
}

/// One file may have several names; which of them differ by letter case alone is the file system's matter.
bool QD_SQOrvelConnection::hasOpen(const std::string& fileName) const {
    return db != nullptr &&
           (dbPathName == fileName || platform::isSameFile(dbPathName.c_str(), fileName.c_str()));
}

void QD_SQOrvelConnection::getDBCommand(const char* name, std::string& text, bool required) {
    config.getDBCommand(databaseKey, name, text, required);
}
