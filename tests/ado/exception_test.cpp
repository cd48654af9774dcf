#include "QD_ADOOrvelException.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

TEST(AdoException, aBusyEngineIsOneCodeWhateverWasAsked) {
    // As a code arrives that travelled through a signed int: its upper half is filled.
    const auto signedHr = static_cast<unsigned long>(static_cast<int>(0x80040E40U));
    using Row = std::tuple<unsigned long, unsigned long, bool>;
    for (const auto& [provCode, hr, busy] :
         {Row{0UL, 0UL, false}, Row{3730, 0, true}, Row{3731, 0, false}, Row{3732, 0, true}, Row{5, 0, false},
          Row{0, 0x80040E38, true}, Row{0, 0x80040E40, true}, Row{0, signedHr, true},
          Row{0, 0x80040E92, true}, Row{0, 0x80040E14, false}}) {
        QD_ADOOrvelException assigned(QD_ORVEL_ERR_NOT_OPEN, "g", 0, "", 0);
        assigned = QD_ADOOrvelException(QD_ORVEL_ERR_SQL_QUERY, "f", provCode, "text", hr);
        EXPECT_EQ(assigned.errorCode(), busy ? QD_ORVEL_ERR_BUSY : QD_ORVEL_ERR_SQL_QUERY)
            << provCode << ", " << hr;
        const std::string message = assigned.errorMessage();
        EXPECT_EQ(message.starts_with("Orvel: Unspecified Error. (31)"), busy) << message;
        EXPECT_EQ(assigned.provErrorCode(), provCode);
        EXPECT_STREQ(assigned.provErrorString(), "text");
    }
}
