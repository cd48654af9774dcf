#include "QD_ADOOrvelException.h"

#include <gtest/gtest.h>

#include <tuple>

TEST(AdoException, aBusyEngineIsOneCodeWhateverWasAsked) {
    // As a code arrives that travelled through a signed int: its upper half is filled.
    const auto signedHr = static_cast<unsigned long>(static_cast<int>(0x80040E40U));
    for (const auto& [provCode, hr, busy] : {std::tuple(0UL, 0UL, false),
                                             {3730, 0, true},
                                             {3731, 0, false},
                                             {3732, 0, true},
                                             {5, 0, false},
                                             {0, 0x80040E38, true},
                                             {0, 0x80040E40, true},
                                             {0, signedHr, true},
                                             {0, 0x80040E92, true},
                                             {0, 0x80040E14, false}}) {
        QD_ADOOrvelException assigned(QD_ORVEL_ERR_NOT_OPEN, "g", 0, "", 0);
        assigned = QD_ADOOrvelException(QD_ORVEL_ERR_SQL_QUERY, "f", provCode, "text", hr);
        EXPECT_EQ(assigned.errorCode(), busy ? QD_ORVEL_ERR_BUSY : QD_ORVEL_ERR_SQL_QUERY)
            << provCode << ", " << hr;
        EXPECT_EQ(assigned.provErrorCode(), provCode);
        EXPECT_STREQ(assigned.provErrorString(), "text");
    }
}
