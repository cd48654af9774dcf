// Tables and databases, all by statements of the configuration.

#include "QD_ADOOrvelConnection.h"
#include "QD_OrvelTools.h"
#include "ado/com_error_translation.h"
#include "config/command_template.h"
#include "core/entry_frame.h"
#include "core/first_field.h"

using orvel::adoFramed;

bool QD_ADOOrvelConnection::tableExists(const char* table) {
    return adoFramed({"QD_ADOOrvelConnection::tableExists", QD_ORVEL_ERR_TABLE_EXISTS}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        return execQueryScalar(command("DoesTableExist", "$(tableName)", table).c_str(), 0) > 0;
    });
}

int QD_ADOOrvelConnection::getTables(std::vector<std::string>& names) {
    names.clear();
    return adoFramed({"QD_ADOOrvelConnection::getTables", QD_ORVEL_ERR_TABLE_EXISTS}, connection,
                     [&] { return namesFrom(command("ListTables", nullptr, nullptr), names); });
}

int QD_ADOOrvelConnection::getTableColumnNames(const char* table, std::vector<std::string>& names) {
    names.clear();
    return adoFramed({"QD_ADOOrvelConnection::getTableColumnNames", QD_ORVEL_ERR_TABLE_EXISTS}, connection,
                     [&] { return namesFrom(command("ListTableColumns", "$(tableName)", table), names); });
}

/// The first field of every row, NULL left out.
int QD_ADOOrvelConnection::namesFrom(const std::string& sql, std::vector<std::string>& names) {
    orvel::appendFirstTexts(execQuery(sql.c_str(), 0), names);
    return static_cast<int>(names.size());
}

int QD_ADOOrvelConnection::getTableRowCount(const char* table) {
    return adoFramed({"QD_ADOOrvelConnection::getTableRowCount", QD_ORVEL_ERR_TABLE_EXISTS}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        checkDB();
        return execQueryScalar((std::string("SELECT COUNT(*) FROM ") + table + ";").c_str(), 0);
    });
}

void QD_ADOOrvelConnection::createTable(const char* tableID, const char* tableName) {
    adoFramed({"QD_ADOOrvelConnection::createTable", QD_ORVEL_ERR_CREATE_TABLE}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(tableID);
        QD_OrvelTools::throwOnNullOrEmptyString(tableName);
        checkDB();
        runTableTemplate(tableID, "CreateTable", tableName, true);
        runTableTemplate(tableID, "SetupTable", tableName, false);
    });
}

void QD_ADOOrvelConnection::alterTable(const char* tableID, unsigned int step, const char* tableName) {
    adoFramed({"QD_ADOOrvelConnection::alterTable", QD_ORVEL_ERR_ALTER_TABLE}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(tableID);
        QD_OrvelTools::throwOnNullOrEmptyString(tableName);
        checkDB();
        runTableTemplate(tableID, orvel::upgradeStepName(step).c_str(), tableName, true);
    });
}

/// Skipped when it is not required and missing.
void QD_ADOOrvelConnection::runTableTemplate(const char* tableID, const char* templateName,
                                             const char* tableName, bool required) {
    std::string sql;
    if (orvel::readTableTemplate(config, database.c_str(), tableID, templateName, tableName, sql, required)) {
        execNoQuery(sql.c_str(), 0);
    }
}

void QD_ADOOrvelConnection::dropTable(const char* table) {
    // Its statement goes through execNoQuery, which translates; nothing else here reaches the object model.
    orvel::framed({"QD_ADOOrvelConnection::dropTable", QD_ORVEL_ERR_DELETE_TABLE}, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(table);
        checkDB();
        execNoQuery(command("DropTable", "$(tableName)", table).c_str(), 0);
    });
}

void QD_ADOOrvelConnection::compressDatabase() {}

bool QD_ADOOrvelConnection::databaseExists(const char* name, const char* /*path*/) {
    return adoFramed({"QD_ADOOrvelConnection::databaseExists", QD_ORVEL_ERR_DATABASE_EXISTS}, connection,
                     [&] {
                         QD_OrvelTools::throwOnNullOrEmptyString(name);
                         const std::string sql = command("DoesDatabaseExist", "$(dbName)", name);
                         QD_ADOOrvelConnection temporary(*this); // no handle may ever refer to it
                         temporary.open(masterDBName.c_str(), nullptr, 0);
                         return temporary.execQueryScalar(sql.c_str(), 0) > 0;
                     });
}

void QD_ADOOrvelConnection::createDatabase(const char* databaseID, const char* name, const char* path,
                                           unsigned int /*flags*/) {
    adoFramed({"QD_ADOOrvelConnection::createDatabase", QD_ORVEL_ERR_CREATE_DATABASE}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(databaseID);
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        std::string fileName;
        getDBPathName(name, path, fileName);
        std::string sql;
        config.getDBDatabaseCommand(database.c_str(), databaseID, "CreateDatabase", sql, true);
        orvel::replacePlaceholder(sql, "$(dbName)", name);
        orvel::replacePlaceholder(sql, "$(dbPathName)", fileName.c_str());
        QD_ADOOrvelConnection temporary(*this);
        temporary.open(masterDBName.c_str(), nullptr, 0);
        temporary.execNoQuery(sql.c_str(), 0);
        temporary.close();
        temporary.open(name, nullptr, 0);
        if (config.getDBDatabaseCommand(database.c_str(), databaseID, "SetupDatabase", sql, false)) {
            orvel::replacePlaceholder(sql, "$(dbName)", name);
            temporary.execNoQuery(sql.c_str(), 0);
        }
    });
}

void QD_ADOOrvelConnection::dropDatabase(const char* name, const char* /*path*/) {
    adoFramed({"QD_ADOOrvelConnection::dropDatabase", QD_ORVEL_ERR_DELETE_DATABASE}, connection, [&] {
        QD_OrvelTools::throwOnNullOrEmptyString(name);
        if (dbName == name) {
            close();
        }
        const std::string sql = command("DropDatabase", "$(dbName)", name);
        QD_ADOOrvelConnection temporary(*this);
        temporary.open(masterDBName.c_str(), nullptr, 0);
        temporary.execNoQuery(sql.c_str(), 0);
    });
}

/// A required command of the configuration, with one placeholder replaced.
std::string QD_ADOOrvelConnection::command(const char* name, const char* placeholder, const char* value) {
    std::string sql;
    config.getDBCommand(database.c_str(), name, sql, true);
    orvel::replacePlaceholder(sql, placeholder, value);
    return sql;
}
