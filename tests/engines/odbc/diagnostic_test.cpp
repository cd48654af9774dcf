#include "engines/odbc/diagnostic.h"

#include <gtest/gtest.h>

#include <tuple>

#include "engines/odbc/connection_string.h"
#include "platform/ado/status.h"
#include "platform/hresult.h"

namespace {

using namespace orvel::platform;
using namespace orvel::engines::odbc;

TEST(Diagnostic, aKindOfFailureHasOneStatusWhateverTheEngine) {
    using Row = std::tuple<Engine, const char*, std::int32_t, const char*, std::uint32_t>;
    for (const auto& [engine, state, native, text, status] :
         {Row{Engine::postgresql, "55P03", 1, "", ado::dbResourceLocked},
          Row{Engine::mariadb, "HY000", 1205, "", ado::dbResourceLocked},
          Row{Engine::sqlServer, "HYT00", 1222, "", ado::dbResourceLocked},
          Row{Engine::sqlite, "HY000", 5, "", ado::dbResourceLocked},
          Row{Engine::postgresql, "HY000", 5, "", eFail}, // that number is a lock in SQLite alone
          Row{Engine::postgresql, "55006", 1, "", ado::dbTableInUse},
          Row{Engine::postgresql, "42501", 1, "", ado::dbPermissionDenied},
          Row{Engine::mariadb, "42000", 1142, "", ado::dbPermissionDenied},
          Row{Engine::mariadb, "01000", 1265, "", ado::dbCantConvertValue},
          Row{Engine::postgresql, "22P02", 1, "", ado::dbCantConvertValue},
          Row{Engine::other, "40003", 0, "", ado::xactInDoubt},
          Row{Engine::other, "HY010", 0, "", eUnexpected}, Row{Engine::other, "08S01", 0, "", eFail},
          Row{Engine::other, "", 0, "", eFail},
          Row{Engine::sqlite, "HY000", 1, "no such table: t", ado::dbNoTable}}) {
        EXPECT_EQ(statusOf({state, native, text}, engine), status) << state << ' ' << native;
    }
    for (const std::int32_t gone : {2006, 5014}) {
        EXPECT_TRUE(meansConnectionLost({"HY000", gone, ""}, Engine::mariadb)) << gone;
    }
    EXPECT_FALSE(meansConnectionLost({"HY000", 2006, ""}, Engine::sqlite));
}

TEST(DriverConnectionString, getsTheAccountInBraces) {
    EXPECT_EQ(driverConnectionString("DSN=x", "me", "a;b}c"), "DSN=x;UID={me};PWD={a;b}}c}");
    EXPECT_EQ(keywordValue("DRIVER=x;PROTOCOL=7.4-1;A=b", "Protocol"), "7.4-1");
    EXPECT_EQ(keywordValue("MyProtocol=1;Protocols=2;Protocol", "Protocol"), "");
    EXPECT_EQ(keywordValue("A={x}};Protocol=1;};B=;Protocol=2", "Protocol"), "2");
}

} // namespace
