#include "QD_OrvelError.h"

#include <array>
#include <cstddef>

namespace {

constexpr const char* unspecified = "Unspecified Error";

constexpr std::array texts = {
    "No Error",
    "Cannot read configuration file",
    "Cannot create connection object",
    "Cannot create database",
    "Cannot open database",
    "Cannot delete database",
    "Cannot compress database",
    "Cannot query existence of database",
    "Cannot create table",
    "Cannot alter table",
    "Cannot delete table",
    "Cannot query existence of table",
    "The database is not open",
    "Cannot process SQL statement",
    "Cannot process SQL query",
    "Error during begin transaction",
    "Error during commit transaction",
    "Error during abort transaction",
    "Nested transactions are not allowed",
    "The field index is out of bounds",
    "Cannot retrieve record field",
    "Cannot retrieve record row",
    "A pointer is invalid",
    "A parameter is invalid",
    "The ID of the table is unknown",
    "The ID of the database is unknown",
    "Configuration value is empty or was not found",
    "Cannot bind Command parameter",
    "Cannot create Command object",
    "Cannot create Query object",
    "Cannot retrieve the last inserted ID",
    unspecified, // busy has no message of its own
    "Out of memory",
    "Cannot compile SQL statement",
    "Internal provider error",
    "Unspecified error",
};
static_assert(texts.size() == QD_ORVEL_ERR_UNSPECIFIED + 1);

} // namespace

const char* errorText(QD_OrvelError code) noexcept {
    const auto index = static_cast<unsigned int>(code); // negative values become large ones
    return index < texts.size() ? texts[index] : unspecified;
}
