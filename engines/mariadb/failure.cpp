#include "engines/mariadb/failure.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/ado/status.h"

namespace {

using namespace orvel::engines::mariadb;
using namespace orvel::platform;
using namespace orvel::platform::ado;

struct NumberStatus {
    std::int32_t number;
    std::uint32_t status;
};

// What the server's SQLSTATE does not tell.
constexpr NumberStatus statuses[] = {
    {1021, dbOutOfSpace},        {1037, eOutOfMemory},        {1038, eOutOfMemory},
    {1044, dbPermissionDenied},  {1049, dbNotFound},          {1114, dbOutOfSpace},
    {1142, dbPermissionDenied},  {1143, dbPermissionDenied},  {1205, dbResourceLocked},
    {1227, dbPermissionDenied},  {1265, dbCantConvertValue},  {1290, dbReadOnly},
    {1317, dbAbortLimitReached}, {1370, dbPermissionDenied},  {1792, dbReadOnly},
    {1836, dbReadOnly},          {1969, dbAbortLimitReached}, {2008, eOutOfMemory},
    {3024, dbAbortLimitReached},
};
static_assert(std::ranges::is_sorted(statuses, {}, &NumberStatus::number));

// Behind these the server closes the connection: shut down, a packet that is too large or broken, killed.
constexpr std::int32_t serverLosses[] = {1053, 1153, 1156, 1157, 1158, 1159, 1160, 1161, 1927};

// The client library's own numbers.
constexpr std::int32_t firstOfClient = 2000;
constexpr std::int32_t endOfClient = 3000;

constexpr std::int32_t otherColumns = 2057;

bool isOfClient(std::int32_t number) noexcept {
    return (number >= firstOfClient && number < endOfClient) || number >= 5000;
}

/// What the library could not do leaves open what the server has done, and whether the two are in step.
bool isLoss(std::int32_t number) noexcept {
    return number == 0 || (isOfClient(number) && number != otherColumns) ||
           std::ranges::find(serverLosses, number) != std::end(serverLosses);
}

std::uint32_t statusOf(std::int32_t number, const char* sqlState) noexcept {
    const auto* const known = std::ranges::lower_bound(statuses, number, {}, &NumberStatus::number);
    return known != std::end(statuses) && known->number == number ? known->status : statusOfState(sqlState);
}

Failure failureOf(unsigned int number, const char* sqlState, const char* text) {
    const auto native = static_cast<std::int32_t>(number);
    if (native == 0) { // the end of a stream that the server has cut
        return failureWith(eFail, CR_SERVER_LOST, "Lost connection to server while rows were read");
    }
    Failure failure;
    failure.status = statusOf(native, sqlState);
    failure.diagnostics.push_back({sqlState, native, text});
    failure.isLoss = isLoss(native);
    return failure;
}

} // namespace

namespace orvel::engines::mariadb {

Failure failureOf(MYSQL* connection) {
    return ::failureOf(mysql_errno(connection), mysql_sqlstate(connection), mysql_error(connection));
}

/// What fails while rows are read is told of the connection alone.
Failure failureOf(MYSQL_STMT* plan) {
    if (mysql_stmt_errno(plan) == 0 && plan->mysql != nullptr) {
        return failureOf(plan->mysql);
    }
    return ::failureOf(mysql_stmt_errno(plan), mysql_stmt_sqlstate(plan), mysql_stmt_error(plan));
}

Failure failureWith(std::uint32_t status, std::int32_t number, const char* text) {
    Failure failure;
    failure.status = status;
    failure.diagnostics.push_back({"HY000", number, text});
    failure.isLoss = isLoss(number);
    return failure;
}

bool isWorthAnotherHost(const Failure& failure) noexcept {
    constexpr std::int32_t answers[] = {1040, 1042, 1043, 1047, 1053, 1129, 1130, 1203, 1226};
    const std::int32_t number = failure.nativeError();
    return isOfClient(number) || std::ranges::find(answers, number) != std::end(answers);
}

bool meansNoPlan(const Failure& failure) noexcept {
    constexpr std::int32_t notSupported = 1295, withoutParameters = 1835;
    const std::int32_t number = failure.nativeError();
    return number == notSupported || number == withoutParameters;
}

bool meansRollback(const Failure& failure) noexcept {
    // The row has changed, waited for a lock, lock table full, deadlock, and the three that an XA transaction has.
    constexpr std::int32_t rollbacks[] = {1020, 1205, 1206, 1213, 1402, 1613, 1614};
    return failure.sqlState() == "40001" ||
           std::ranges::find(rollbacks, failure.nativeError()) != std::end(rollbacks);
}

bool meansPlanOutdated(const Failure& failure, bool& ran) noexcept {
    constexpr std::int32_t unknownPlan = 1243, needsPreparing = 1615;
    const std::int32_t number = failure.nativeError();
    ran = number == otherColumns;
    return ran || number == unknownPlan || number == needsPreparing;
}

} // namespace orvel::engines::mariadb
