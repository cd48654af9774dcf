// Imports the Unicode Character Database into a database of its own and answers questions about it.
//
//     character_catalogue DIRECTORY UNICODE_DATA_FILE CONFIGURATION_FILE
//
// Which engine that is, and every statement that depends on it, stands in the configuration file.

#include <orvel/QD_OrvelInterface.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "character_record.h"
#include "progress_bar.h"

namespace {

constexpr const char* databaseName = "Characters";
constexpr const char* tableName = "characters";

struct Arguments {
    std::string directory;
    std::string unicodeData;
    std::string configuration;
};

Arguments parsed(int count, char** values) {
    if (count != 4) {
        throw std::invalid_argument(
            "usage: character_catalogue DIRECTORY UNICODE_DATA_FILE CONFIGURATION_FILE");
    }
    return {values[1], values[2], values[3]};
}

std::vector<CharacterRecord> readRecords(const std::string& fileName) {
    std::ifstream file(fileName);
    if (!file) {
        throw std::runtime_error("cannot read " + fileName);
    }
    std::vector<CharacterRecord> records;
    for (std::string line; std::getline(file, line);) {
        try {
            records.push_back(parseRecord(line));
        } catch (const std::exception& error) {
            throw std::runtime_error(fileName + ", line " + std::to_string(records.size() + 1) + ": " +
                                     error.what());
        }
    }
    return records;
}

void heading(const std::string& text) {
    std::cout << "\n" << text << "\n" << std::string(text.size(), '-') << "\n";
}

/// Opens the database, which is created first when it does not exist.
void openDatabase(QD_OrvelConnectionHandle& connection, const std::string& directory) {
    const char* const path = directory.c_str();
    if (connection->databaseExists(databaseName, path)) {
        std::cout << "Found database " << databaseName << ".\n";
    } else {
        connection->createDatabase("Catalogue", databaseName, path, 0);
        std::cout << "Created database " << databaseName << ".\n";
    }
    connection->open(databaseName, path, 0);
    std::cout << "Provider " << connection->getProvider() << ", version " << connection->getVersion()
              << ".\n";
}

void addCodePoint(QD_OrvelCommandHandle& insert, const std::optional<std::uint32_t>& codePoint) {
    if (codePoint) {
        insert->addIntParam(static_cast<int>(*codePoint));
    } else {
        insert->addEmptyParam(QD_ORVEL_DATA_INT);
    }
}

/// Empty texts and blobs become NULL by themselves.
void addParameters(QD_OrvelCommandHandle& insert, const CharacterRecord& record) {
    insert->addIntParam(static_cast<int>(record.codePoint));
    insert->addStringParam(record.name.c_str());
    insert->addStringParam(record.category.c_str());
    insert->addIntParam(record.combiningClass);
    insert->addStringParam(record.decomposition.c_str());
    if (record.numericValue) {
        insert->addDoubleParam(*record.numericValue);
    } else {
        insert->addEmptyParam(QD_ORVEL_DATA_DOUBLE);
    }
    if (record.wholeValue) {
        insert->addInt64Param(*record.wholeValue);
    } else {
        insert->addEmptyParam(QD_ORVEL_DATA_INT64);
    }
    addCodePoint(insert, record.uppercase);
    addCodePoint(insert, record.lowercase);
    insert->addStringParam(utf8(record.codePoint).c_str());
    const std::vector<unsigned char> utf16 = utf16BigEndian(record.codePoint);
    insert->addBlobParam(utf16.data(), static_cast<int>(utf16.size()));
}

/// All or nothing: a record that is refused takes the whole import back.
void import(QD_OrvelConnectionHandle& connection, const std::vector<CharacterRecord>& records) {
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "import");
    connection->createTable("Character", tableName);
    QD_OrvelCommandHandle insert = connection->createCommand(
        "INSERT INTO characters (code_point, name, category, combining_class, decomposition, numeric_value, "
        "whole_value, uppercase, lowercase, glyph, utf16be) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        0);
    ProgressBar progress("importing", records.size());
    for (const CharacterRecord& record : records) {
        insert->resetParams();
        addParameters(insert, record);
        insert->execNoQuery(0);
        progress.advance();
    }
    transaction.commit();
    std::cout << "Imported " << records.size() << " characters.\n";
}

/// Adds a column to the table as the configuration's first upgrade step describes it.
void upgrade(QD_OrvelConnectionHandle& connection) {
    QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "upgrade");
    connection->alterTable("Character", 1, tableName);
    transaction.commit();
    std::cout << "Upgraded the table by step 1.\n";
}

void importOnce(QD_OrvelConnectionHandle& connection, const std::vector<CharacterRecord>& records) {
    if (connection->tableExists(tableName)) {
        std::cout << "Table " << tableName << " is there already: nothing is imported.\n";
        return;
    }
    import(connection, records);
    upgrade(connection);
}

int sizeInKibibytes(QD_OrvelConnectionHandle& connection) {
    std::string sql;
    connection->getDBCommand("DatabaseSize", sql, true);
    return connection->execQueryScalar(sql.c_str(), 0);
}

/// A second table of the same kind, filled and dropped, leaves room that compressing gives back.
void compress(QD_OrvelConnectionHandle& connection) {
    if (connection->tableExists("scratch")) {
        connection->dropTable("scratch");
    }
    connection->createTable("Character", "scratch");
    const int copied =
        connection->execNoQuery("INSERT INTO scratch SELECT code_point, name, category, combining_class, "
                                "decomposition, numeric_value, "
                                "whole_value, uppercase, lowercase, glyph, utf16be FROM characters",
                                0);
    connection->dropTable("scratch");
    const int before = sizeInKibibytes(connection);
    connection->compressDatabase();
    std::cout << "Copied " << copied << " rows, dropped the copy, compressed: " << before << " KiB before, "
              << sizeInKibibytes(connection) << " KiB after.\n";
}

void showSchema(QD_OrvelConnectionHandle& connection) {
    heading("Tables and columns");
    std::vector<std::string> tables;
    connection->getTables(tables);
    for (const std::string& table : tables) {
        std::vector<std::string> columns;
        connection->getTableColumnNames(table.c_str(), columns);
        std::cout << std::left << std::setw(12) << table << std::right << std::setw(7)
                  << connection->getTableRowCount(table.c_str()) << " rows ";
        for (const std::string& column : columns) {
            std::cout << " " << column;
        }
        std::cout << "\n";
    }
}

void showCategories(QD_OrvelConnectionHandle& connection) {
    heading("Characters in each general category");
    const QD_OrvelQueryHandle rows = connection->execQuery(
        "SELECT category, COUNT(*) AS members FROM characters GROUP BY category ORDER BY category", 0);
    for (int column = 0; !rows->eof(); rows->nextRow()) {
        std::string category;
        int members = 0;
        rows->getStringField("category", category);
        rows->getIntField("members", members);
        std::cout << std::left << std::setw(4) << category << std::right << std::setw(7) << members
                  << (++column % 6 == 0 ? "\n" : "    ");
    }
    std::cout << "\n";
}

std::string codePointText(int codePoint) {
    std::ostringstream text;
    text << "U+" << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << codePoint;
    return text.str();
}

std::string hexadecimal(const std::vector<unsigned char>& bytes) {
    std::ostringstream text;
    for (const unsigned char byte : bytes) {
        text << std::hex << std::setw(2) << std::setfill('0') << int{byte};
    }
    return text.str();
}

std::vector<unsigned char> blobField(const QD_OrvelQueryHandle& rows, int index) {
    unsigned int size = 0;
    if (!rows->getBlobField(index, size, nullptr)) {
        return {};
    }
    std::vector<unsigned char> bytes(size);
    rows->getBlobField(index, size, bytes.data());
    return bytes;
}

void showCharacters(QD_OrvelConnectionHandle& connection, const std::vector<int>& codePoints) {
    heading("Lookup by code point");
    const QD_OrvelCommandHandle lookup = connection->createCommand(
        "SELECT name, category, glyph, utf16be FROM characters WHERE code_point = ?", 0);
    for (const int codePoint : codePoints) {
        lookup->resetParams();
        lookup->addIntParam(codePoint);
        const QD_OrvelQueryHandle rows = lookup->execQuery(0); // a command's query is read by index
        std::string name;
        std::string category;
        std::string glyph;
        if (rows->getStringField(0, name)) {
            rows->getStringField(1, category);
            rows->getStringField(2, glyph);
        } else {
            name = "(not assigned)";
        }
        std::cout << std::left << std::setw(9) << codePointText(codePoint) << std::setw(4) << category
                  << std::setw(10) << hexadecimal(blobField(rows, 3)) << std::setw(40) << name << glyph
                  << "\n";
    }
}

int showNamed(QD_OrvelConnectionHandle& connection, const std::string& word, int shown) {
    heading("Characters whose name contains " + word);
    const QD_OrvelCommandHandle search = connection->createCommand(
        "SELECT name, code_point, glyph FROM characters WHERE name LIKE ? ORDER BY code_point", 0);
    search->addStringParam(("%" + word + "%").c_str());
    const QD_OrvelQueryHandle rows = search->execQuery(0);
    int found = 0;
    for (std::string name; rows->getStringField(0, name);
         rows->nextRow()) { // no name is empty: false is the end
        int codePoint = 0;
        std::string glyph;
        rows->getIntField(1, codePoint);
        rows->getStringField(2, glyph);
        if (++found > shown) {
            continue;
        }
        std::cout << std::left << std::setw(9) << codePointText(codePoint) << std::setw(46) << name << glyph
                  << "\n";
    }
    std::cout << found << " found";
    if (found > shown) {
        std::cout << ", the first " << shown << " shown";
    }
    std::cout << "\n";
    return found;
}

int showNumericValues(QD_OrvelConnectionHandle& connection, int shown) {
    heading("Numeric values");
    const QD_OrvelQueryHandle rows = connection->execQuery(
        "SELECT name, numeric_value, whole_value FROM characters WHERE numeric_value IS NOT NULL "
        "ORDER BY numeric_value DESC, code_point",
        0);
    int count = 0;
    int fractions = 0;
    for (; !rows->eof(); rows->nextRow()) {
        std::string name;
        double value = 0.0;
        long long whole = 0;
        rows->getStringField("name", name);
        rows->getDoubleField("numeric_value", value);
        const bool isWhole = rows->getInt64Field("whole_value", whole);
        fractions += isWhole ? 0 : 1;
        if (++count > shown && (isWhole || fractions > shown)) {
            continue;
        }
        std::cout << std::right << std::setw(14);
        isWhole ? std::cout << whole : std::cout << value;
        std::cout << "  " << name << "\n";
    }
    std::cout << count << " characters have a numeric value, " << fractions << " of them a fraction\n";
    return count;
}

/// On a server the library also writes a diagnostic line, which goes to standard error unless it is sent elsewhere.
void showDiagnosticLine(const char* line) noexcept { std::cout << "logged   " << line; }

void showAnError(QD_OrvelConnectionHandle& connection) {
    heading("What an error looks like");
    const QD_OrvelDebugOutput before = QD_OrvelSetDebugOutput(&showDiagnosticLine);
    try {
        connection->execQuery("SELECT * FROM a_table_that_is_missing", 0);
    } catch (QD_OrvelException& error) {
        std::string trace;
        error.stackTrace(trace);
        std::cout << "message  " << error.errorMessage() << "\nengine   " << error.provErrorString()
                  << "\ntrace    " << trace << "\n";
    }
    QD_OrvelSetDebugOutput(before);
}

void run(const Arguments& arguments) {
    const std::vector<CharacterRecord> records = readRecords(arguments.unicodeData);
    std::cout << "Read " << records.size() << " lines of " << arguments.unicodeData << ".\n";
    // Which engine comes first is the configuration's matter.
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_PRIMARY_PROVIDER, QD_ORVEL_PROVIDER_CONFIG_DEFAULT,
                                      nullptr);
    QD_OrvelConnectionHandle connection =
        QD_OrvelConnection::create(QD_ORVEL_PROVIDER_APP_PRIMARY, arguments.configuration.c_str());
    openDatabase(connection, arguments.directory);
    importOnce(connection, records);
    compress(connection);
    showSchema(connection);
    showCategories(connection);
    showCharacters(connection, {0x41, 0xDF, 0x20AC, 0x1F600, 0x10FFFF});
    const int named = showNamed(connection, "SNOWMAN", 5);
    const int numeric = showNumericValues(connection, 3);
    showAnError(connection);
    heading("Totals");
    std::cout << "rows " << connection->getTableRowCount(tableName) << "\nnamed SNOWMAN " << named
              << "\nwith a numeric value " << numeric << "\n";
}

} // namespace

int main(int argumentCount, char** argumentValues) {
    try {
        run(parsed(argumentCount, argumentValues));
        return EXIT_SUCCESS;
    } catch (QD_OrvelException& error) {
        std::cerr << "character_catalogue: " << error.errorMessage() << "\n";
    } catch (const std::exception& error) {
        std::cerr << "character_catalogue: " << error.what() << "\n";
    }
    return EXIT_FAILURE;
}
