#ifndef ORVEL_ENGINES_MARIADB_CLIENT_H
#define ORVEL_ENGINES_MARIADB_CLIENT_H

#include <errmsg.h>
#include <mysql.h>

#include <memory>

// The client library's C interface, with its objects owned.

namespace orvel::engines::mariadb {

struct Release {
    void operator()(MYSQL* connection) const noexcept { mysql_close(connection); }
    void operator()(MYSQL_RES* result) const noexcept { mysql_free_result(result); }
    void operator()(MYSQL_STMT* plan) const noexcept { mysql_stmt_close(plan); }
};

using ConnectionHandle = std::unique_ptr<MYSQL, Release>;
using Result = std::unique_ptr<MYSQL_RES, Release>;
using Plan = std::unique_ptr<MYSQL_STMT, Release>;

} // namespace orvel::engines::mariadb

#endif
