#ifndef ORVEL_TESTS_CONNECTED_H
#define ORVEL_TESTS_CONNECTED_H

#include <string>
#include <vector>

#include "QD_OrvelInterface.h"
#include "tests/support/fields.h"

// A connection with what tests do through it most, in few words.

namespace orvel::tests {

inline void add(const QD_OrvelCommandHandle& to, int value) { to->addIntParam(value); }
inline void add(const QD_OrvelCommandHandle& to, long long value) { to->addInt64Param(value); }
inline void add(const QD_OrvelCommandHandle& to, double value) { to->addDoubleParam(value); }
inline void add(const QD_OrvelCommandHandle& to, const char* value) { to->addStringParam(value); }
inline void add(const QD_OrvelCommandHandle& to, const std::string& value) { add(to, value.c_str()); }
inline void add(const QD_OrvelCommandHandle& to, const std::vector<unsigned char>& value) {
    to->addBlobParam(value.data(), static_cast<int>(value.size()));
}

/// The command with these parameters in the place of those it had.
template <class... Values>
QD_OrvelCommandHandle with(QD_OrvelCommandHandle command, const Values&... values) {
    command->resetParams();
    (add(command, values), ...);
    return command;
}

struct Connected {
    QD_OrvelConnectionHandle connection; ///< open

    int run(const std::string& sql) const { return connection->execNoQuery(sql.c_str(), 0); }
    int ask(const std::string& sql) const { return connection->execQueryScalar(sql.c_str(), 0); }
    QD_OrvelQueryHandle query(const std::string& sql) const { return connection->execQuery(sql.c_str(), 0); }
    QD_OrvelCommandHandle command(const std::string& sql) const {
        return connection->createCommand(sql.c_str(), 0);
    }
    std::string text(const std::string& sql) const { return textOf(query(sql)); }
};

} // namespace orvel::tests

#endif
