#ifndef ORVEL_TESTS_SQLITE_TEST_H
#define ORVEL_TESTS_SQLITE_TEST_H

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <type_traits>

#include "QD_SQOrvelConnection.h"
#include "tests/support/connected.h"
#include "tests/support/expect_error.h"
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
class SqliteTest : public testing::Test, protected Connected {
protected:
    explicit SqliteTest(const std::string& sections = "") { configure(sections); }

    TemporaryDirectory directory;
    const std::string path = directory.path().string();
    std::string config;
    SqliteProbe* probe = nullptr;                ///< what `connection` designates
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

    int rows(const std::string& table = "t") const { return ask("SELECT COUNT(*) FROM " + table); }
};

} // namespace orvel::tests

#endif
