#include "platform/odbc/diagnostic.h"

#include <gtest/gtest.h>

#include "platform/ado/status.h"
#include "platform/hresult.h"
#include "platform/odbc/connection_string.h"

namespace {

using namespace orvel::platform;
using namespace orvel::platform::odbc;

TEST(Diagnostic, aKindOfFailureHasOneStatusWhateverTheEngine) {
    struct Case {
        Engine engine;
        const char* state;
        std::int32_t native;
        std::uint32_t status;
    };
    const Case cases[] = {
        {Engine::postgresql, "55P03", 1, ado::dbResourceLocked},
        {Engine::mariadb, "HY000", 1205, ado::dbResourceLocked},
        {Engine::sqlServer, "HYT00", 1222, ado::dbResourceLocked},
        {Engine::sqlite, "HY000", 5, ado::dbResourceLocked},
        {Engine::postgresql, "HY000", 5, eFail}, // that number is a lock in SQLite alone
        {Engine::postgresql, "55006", 1, ado::dbTableInUse},
        {Engine::postgresql, "40P01", 1, ado::dbConcurrencyViolation},
        {Engine::mariadb, "40001", 1213, ado::dbConcurrencyViolation},
        {Engine::postgresql, "23505", 1, ado::dbIntegrityViolation},
        {Engine::mariadb, "23000", 1062, ado::dbIntegrityViolation},
        {Engine::sqlite, "HY000", 19, ado::dbIntegrityViolation},
        {Engine::postgresql, "42501", 1, ado::dbPermissionDenied},
        {Engine::mariadb, "42000", 1142, ado::dbPermissionDenied},
        {Engine::postgresql, "42601", 1, ado::dbErrorsInCommand},
        {Engine::postgresql, "42P01", 1, ado::dbNoTable},
        {Engine::mariadb, "28000", 1045, ado::dbAuthenticationFailed},
        {Engine::postgresql, "22P02", 1, ado::dbCantConvertValue},
        {Engine::postgresql, "57014", 1, ado::dbAbortLimitReached},
        {Engine::other, "40003", 0, ado::xactInDoubt},
        {Engine::other, "HY010", 0, eUnexpected},
        {Engine::other, "08S01", 0, eFail},
        {Engine::other, "", 0, eFail},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(statusOf({each.state, each.native, ""}, each.engine), each.status)
            << each.state << ' ' << each.native;
    }
    EXPECT_EQ(statusOf({"HY000", 1, "no such table: t"}, Engine::sqlite), ado::dbNoTable);
    EXPECT_EQ(statusOf({"HY000", 1, "near \"x\": syntax error"}, Engine::sqlite), ado::dbErrorsInCommand);
}

TEST(ConnectionString, losesOurOwnNameAndGetsTheAccountInBraces) {
    EXPECT_EQ(driverConnectionString("provider=msdasql;DSN=x", "", ""), "DSN=x");
    EXPECT_EQ(driverConnectionString("DSN=x", "me", "a;b}c"), "DSN=x;UID={me};PWD={a;b}}c}");
    EXPECT_EQ(keywordValue("DRIVER=x;PROTOCOL=7.4-1;A=b", "Protocol"), "7.4-1");
    EXPECT_EQ(keywordValue("MyProtocol=1;Protocol", "Protocol"), "");
}

} // namespace
