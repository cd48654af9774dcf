#ifndef ORVEL_TESTS_ADO_NATIVE_H
#define ORVEL_TESTS_ADO_NATIVE_H

#include <cstdlib>
#include <string>

#include "tests/ado/behaviour.h"

namespace orvel::tests {

/// Engines through their own client libraries, with a table of 3000 rows.
class Native : public Behaviour {
protected:
    void SetUp() override {
        Behaviour::SetUp();
        run("CREATE TABLE t (id INTEGER PRIMARY KEY, v VARCHAR(40))");
        run(mine({"", "", "INSERT INTO t SELECT g, 'v' || g FROM generate_series(1, 3000) g",
                  "INSERT INTO t SELECT seq, CONCAT('v', seq) FROM seq_1_to_3000"}));
    }

    std::string valueOf(int id) const { return text("SELECT v FROM t WHERE id = " + std::to_string(id)); }
    /// As the shipped configuration connects, with other words in the connection string.
    QD_OrvelConnectionHandle connectedWith(const std::string& shipped, const std::string& instead) const {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody sets it
        std::string text = configuration(std::getenv("ORVEL_TEST_PASSWORD"));
        text.replace(text.find(shipped), shipped.size(), instead);
        QD_OrvelConnection::flushDBConfig();
        return closed(directory.write("with.xml", text));
    }
};

} // namespace orvel::tests

#endif
