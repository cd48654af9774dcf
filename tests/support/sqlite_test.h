#ifndef ORVEL_TESTS_SQLITE_TEST_H
#define ORVEL_TESTS_SQLITE_TEST_H

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <type_traits>

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

inline void add(QD_OrvelCommand& command, int value) { command.addIntParam(value); }
inline void add(QD_OrvelCommand& command, long long value) { command.addInt64Param(value); }
inline void add(QD_OrvelCommand& command, double value) { command.addDoubleParam(value); }
inline void add(QD_OrvelCommand& command, const char* value) { command.addStringParam(value); }

/// The command with these parameters alone.
template <class... Values>
QD_OrvelCommandHandle with(const QD_OrvelCommandHandle& command, const Values&... values) {
    command->resetParams();
    (add(*command.get(), values), ...);
    return command;
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
    std::string tested = "QD_SQOrvelConnection"; ///< the class that outcomes need not name

    /// What a call answers, "done", or all that its error says, as "code/provider code text [functions]".
    template <class Body>
    std::string outcome(const Body& body) const {
        std::string answer = "done";
        const Error error = errorOf([&] {
            if constexpr (std::is_same_v<decltype(body()), int>) {
                answer = std::to_string(body());
            } else {
                body();
            }
        });
        if (error.code < 0) return answer;
        const std::string functions = std::regex_replace(error.trace, std::regex(" <-|" + tested + "::"), "");
        return std::to_string(error.code) + "/" + std::to_string(error.provCode) +
               (error.provText.empty() ? "" : " ") + error.provText + " [" + functions + "]" +
               (error.hr == 0 ? "" : " hr " + std::to_string(error.hr));
    }

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
    void reopen() const {
        connection->close();
        connection->open("Parts", nullptr, 0);
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
