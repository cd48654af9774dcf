#ifndef ORVEL_TESTS_SQLITE_TEST_H
#define ORVEL_TESTS_SQLITE_TEST_H

#include <gtest/gtest.h>

#include <string>

#include "QD_OrvelInterface.h"
#include "QD_SQOrvelConnection.h"
#include "tests/support/expect_error.h"
#include "tests/support/fields.h"
#include "tests/support/temporary_directory.h"

namespace orvel::tests {

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

/// What a closed connection raises.
inline Error notOpenIn(const std::string& functions) {
    return {12, 1000, "Null Database pointer", traceOf(functions)};
}

/// Tests on real SQLite files in a directory of their own, each with the database "Parts" open.
class SqliteTest : public testing::Test {
protected:
    explicit SqliteTest(const std::string& sections = "") { configure(sections); }

    TemporaryDirectory directory;
    const std::string path = directory.path().string();
    std::string config;
    SqliteProbe* probe = nullptr; ///< what `connection` designates
    QD_OrvelConnectionHandle connection;

    /// Opens `connection` anew, with a configuration whose DatabaseSection/SQLite holds `sections`.
    void configure(const std::string& sections, const std::string& common = "") {
        QD_OrvelConnection::flushDBConfig();
        config = directory.write("config.xml", "<Orvel><MinorVersion>2</MinorVersion><CommonSection>" +
                                                   common + "</CommonSection><DatabaseSection><SQLite>" +
                                                   sections + "</SQLite></DatabaseSection></Orvel>");
        connection = QD_OrvelConnectionHandle(probe = new SqliteProbe(config));
        connection->open("Parts", path.c_str(), 0);
    }

    QD_OrvelConnectionHandle closed() const {
        return QD_OrvelConnection::create(QD_ORVEL_PROVIDER_SQLITE, config.c_str());
    }
    /// Another connection, which does not wait for locks.
    QD_OrvelConnectionHandle opened(const char* name = "Parts") const {
        QD_OrvelConnectionHandle other = closed();
        other->open(name, path.c_str(), 0);
        other->setBusyTimeout(0);
        return other;
    }
    /// Whether a lock on the database keeps others from writing.
    bool isLocked() const {
        return errorOf([&] { opened()->execNoQuery("PRAGMA user_version = 1", 0); }).code == 31;
    }

    int run(const std::string& sql) const { return connection->execNoQuery(sql.c_str(), 0); }
    int ask(const std::string& sql) const { return connection->execQueryScalar(sql.c_str(), 0); }
    int rows(const std::string& table = "t") const { return ask("SELECT COUNT(*) FROM " + table); }
    QD_OrvelQueryHandle query(const std::string& sql) const { return connection->execQuery(sql.c_str(), 0); }
    QD_OrvelCommandHandle command(const char* sql) const { return connection->createCommand(sql, 0); }

    std::string text(const std::string& sql) const { return textOf(query(sql)); }
};

} // namespace orvel::tests

#endif
