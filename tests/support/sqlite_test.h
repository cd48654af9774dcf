#ifndef ORVEL_TESTS_SQLITE_TEST_H
#define ORVEL_TESTS_SQLITE_TEST_H

#include <gtest/gtest.h>

#include <string>

#include "QD_OrvelInterface.h"
#include "tests/support/expect_error.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

/// A configuration file whose DatabaseSection/SQLite holds `sections`.
inline std::string sqliteConfiguration(const std::string& sections = "", const std::string& common = "") {
    return "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion><CommonSection>" + common +
           "</CommonSection><DatabaseSection><SQLite>" + sections + "</SQLite></DatabaseSection></Orvel>";
}

/// Tests on real SQLite files in a directory of their own.
class SqliteTest : public testing::Test {
protected:
    TemporaryDirectory directory;
    std::string config = directory.write("config.xml", sqliteConfiguration());

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
};

} // namespace orvel::tests

#endif
