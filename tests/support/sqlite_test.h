#ifndef ORVEL_TESTS_SQLITE_TEST_H
#define ORVEL_TESTS_SQLITE_TEST_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "QD_OrvelInterface.h"
#include "QD_SQOrvelConnection.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

/// A configuration file whose DatabaseSection/SQLite holds `sections`.
inline std::string sqliteConfiguration(const std::string& sections = "", const std::string& common = "") {
    return "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>" + common +
           "</CommonSection><DatabaseSection><SQLite>" + sections + "</SQLite></DatabaseSection></Orvel>";
}

/// Reaches the protected members.
class SqliteProbe : public QD_SQOrvelConnection {
public:
    explicit SqliteProbe(const std::string& configFile) : QD_SQOrvelConnection(configFile.c_str()) {}
    using QD_SQOrvelConnection::abortTransaction;
    using QD_SQOrvelConnection::beginTransaction;
    using QD_SQOrvelConnection::commitTransaction;
    using QD_SQOrvelConnection::compile;
    using QD_SQOrvelConnection::getDBPathName;
};

/// Makes a directory the current one while it lives.
class CurrentDirectory {
public:
    explicit CurrentDirectory(const std::filesystem::path& path) { std::filesystem::current_path(path); }
    CurrentDirectory(const CurrentDirectory&) = delete;
    CurrentDirectory& operator=(const CurrentDirectory&) = delete;
    ~CurrentDirectory() { std::filesystem::current_path(previous); }

private:
    std::filesystem::path previous = std::filesystem::current_path();
};

/// Tests on real SQLite files in a directory of their own.
class SqliteTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string config = directory.write("config.xml", sqliteConfiguration());

    std::string path() const { return directory.path().string(); }

    QD_OrvelConnectionHandle closed() const {
        return QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, config.c_str());
    }
    QD_OrvelConnectionHandle opened(const char* name = "Parts") const {
        QD_OrvelConnectionHandle connection = closed();
        connection->open(name, directory.path().string().c_str(), 0);
        return connection;
    }

    /// The text in the first field of the first row; "(none)" when there is none.
    static std::string text(QD_OrvelConnectionHandle& connection, const char* sql) {
        std::string value;
        return connection->execQuery(sql, 0)->getStringField(0, value) ? value : "(none)";
    }

    /// How many rows a table has.
    static int rows(const QD_OrvelConnectionHandle& connection, const std::string& table = "t") {
        return connection->execQueryScalar(("SELECT COUNT(*) FROM " + table).c_str(), 0);
    }
};

} // namespace orvel::tests

#endif
