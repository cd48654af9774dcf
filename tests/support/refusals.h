#ifndef ORVEL_TESTS_REFUSALS_H
#define ORVEL_TESTS_REFUSALS_H

#include <string>

#include "QD_OrvelConnection.h"
#include "tests/support/expect_error.h"

namespace orvel::tests {

/// That a closed connection refuses a name that is missing before it asks for anything else, and then what needs
/// its database, with the provider's code and words of `closed`. Texts of statements may be missing.
inline void expectRefusals(QD_OrvelConnection& on, const std::string& className, const Error& closed) {
    const auto expect = [&](const std::string& whenEmpty, const std::string& whenClosed, const auto& run) {
        const std::string empty = traceOf("QD_OrvelTools::throwOnNullOrEmptyString " + whenEmpty, className);
        const std::string trace = traceOf("checkDB " + whenClosed, className);
        for (const char* text : {static_cast<const char*>(nullptr), ""}) {
            whenEmpty.empty() ? run(text) : expectError([&] { run(text); }, {23, 0, "", empty, 0});
        }
        whenClosed.empty()
            ? void()
            : expectError([&] { run("x"); }, {closed.code, closed.provCode, closed.provText, trace, 0});
    };
    expect("open", "", [&](auto text) { on.open(text, nullptr, 0); });
    expect("tableExists", "execQuery tableExists", [&](auto text) { on.tableExists(text); });
    expect("getTableRowCount", "getTableRowCount", [&](auto text) { on.getTableRowCount(text); });
    expect("createTable", "createTable", [&](auto text) { on.createTable(text, "t"); });
    expect("createTable", "createTable", [&](auto text) { on.createTable("Unknown", text); });
    expect("alterTable", "alterTable", [&](auto text) { on.alterTable("Unknown", 3, text); });
    expect("alterTable", "alterTable", [&](auto text) { on.alterTable(text, 3, "t"); });
    expect("dropTable", "dropTable", [&](auto text) { on.dropTable(text); });
    expect("databaseExists", "", [&](auto text) { on.databaseExists(text, ""); });
    expect("createDatabase", "", [&](auto text) { on.createDatabase("Unknown", text, "", 0); });
    expect("createDatabase", "", [&](auto text) { on.createDatabase(text, "d", "", 0); });
    expect("dropDatabase", "", [&](auto text) { on.dropDatabase(text, ""); });
    expect("", "execNoQuery", [&](auto text) { EXPECT_EQ(on.execNoQuery(text, 0), 0); });
    expect("", "execQuery", [&](auto text) { EXPECT_EQ(on.execQueryScalar(text, 0), 0); });
}

} // namespace orvel::tests

#endif
