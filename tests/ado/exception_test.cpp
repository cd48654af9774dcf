#include "QD_ADOOrvelException.h"

#include <gtest/gtest.h>

namespace {

TEST(AdoException, aBusyEngineIsOneCodeWhateverWasAsked) {
    struct Case {
        unsigned long provCode;
        unsigned long hr;
        QD_OrvelError expected;
    };
    const auto signedHr =
        static_cast<unsigned long>(static_cast<int>(0x80040E40U)); // its upper half is filled
    for (const Case& item :
         {Case{0, 0, QD_ORVEL_ERR_SQL_QUERY}, Case{3730, 0, QD_ORVEL_ERR_BUSY},
          Case{3731, 0, QD_ORVEL_ERR_SQL_QUERY}, Case{3732, 0, QD_ORVEL_ERR_BUSY},
          Case{5, 0, QD_ORVEL_ERR_SQL_QUERY}, Case{0, 0x80040E38, QD_ORVEL_ERR_BUSY},
          Case{0, 0x80040E40, QD_ORVEL_ERR_BUSY}, Case{0, signedHr, QD_ORVEL_ERR_BUSY},
          Case{0, 0x80040E92, QD_ORVEL_ERR_BUSY}, Case{0, 0x80040E14, QD_ORVEL_ERR_SQL_QUERY}}) {
        const QD_ADOOrvelException exception(QD_ORVEL_ERR_SQL_QUERY, "f", item.provCode, "text", item.hr);
        EXPECT_EQ(exception.errorCode(), item.expected) << item.provCode << ", " << item.hr;
        EXPECT_EQ(exception.provErrorCode(), item.provCode);
        EXPECT_STREQ(exception.provErrorString(), "text");
        QD_ADOOrvelException assigned(QD_ORVEL_ERR_NOT_OPEN, "g", 0, "", 0);
        assigned = exception;
        EXPECT_EQ(assigned.errorCode(), item.expected);
    }
}

} // namespace
