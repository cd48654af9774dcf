#include "QD_OrvelException.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "QD_OrvelTools.h"
#include "tests/support/expect_error.h"

namespace {

using orvel::tests::describe;
using orvel::tests::Error;
using orvel::tests::expectError;

TEST(ErrorText, gapsAndOutsidersFallBackWhile35HasATextOfItsOwn) {
    for (const auto& [code, text] : {std::pair(0, "No Error"),
                                     {1, "Cannot read configuration file"},
                                     {12, "The database is not open"},
                                     {30, "Cannot retrieve the last inserted ID"},
                                     {31, "Unspecified Error"},
                                     {32, "Out of memory"},
                                     {34, "Internal provider error"},
                                     {35, "Unspecified error"},
                                     {36, "Unspecified Error"},
                                     {-1, "Unspecified Error"}}) {
        EXPECT_STREQ(errorText(static_cast<QD_OrvelError>(code)), text) << code;
    }
}

TEST(Exception, saysEverythingInOneLineWhichStaysWhileTheTraceGrows) {
    QD_OrvelException exception(QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelConnection::checkDB", 1000, "100 %s", 0);
    exception.addFunction("QD_SQOrvelConnection::execNoQuery");
    const std::string message = exception.errorMessage();
    EXPECT_EQ(message, "Orvel: The database is not open. (12), Provider: 100 %s (1000), hr: 0, Trace: "
                       "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::execNoQuery");
    EXPECT_STREQ(exception.errorString(), "100 %s") << "the provider's text, here as well";
    exception.addFunction("b");
    exception.addFunction(nullptr);
    EXPECT_EQ(exception.errorMessage(), message);
    EXPECT_EQ(describe(exception),
              (Error{12, 1000, "100 %s", orvel::tests::traceOf("checkDB execNoQuery") + " <- b", 0}));
}

TEST(Exception, takesNullForEmptyAndKeeps32BitsOfACode) {
    const auto hr = static_cast<unsigned long>(static_cast<int>(0x80040E38U)); // its upper half is filled
    QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, nullptr, static_cast<unsigned long>(-1), nullptr, hr);
    exception.addFunction("open");
    EXPECT_EQ(describe(exception), (Error{34, 4294967295UL, "", " <- open", 2147749432UL}));
}

TEST(Exception, copiesShareNothing) {
    auto original = std::make_unique<QD_OrvelException>(QD_ORVEL_ERR_NOT_OPEN, "f", 1000, "text", 7);
    const std::string message = original->errorMessage();
    const QD_OrvelException copy(*original);
    QD_OrvelException assigned(QD_ORVEL_ERR_PROVIDER, "other", 5, "text", 6);
    assigned = *original;
    original->addFunction("later");
    original.reset();
    EXPECT_EQ(describe(copy), (Error{12, 1000, "text", "f", 7}));
    assigned = *&assigned;
    EXPECT_EQ(describe(assigned), describe(copy));
    assigned.addFunction("more");
    EXPECT_EQ(assigned.errorMessage(), message) << "the formatted message was copied, too";
}

TEST(Tools, nullAndEmptyTextsHaveTheirOwnCodes) {
    const Error parameter{23, 0, "", "QD_OrvelTools::throwOnNullOrEmptyString", 0};
    expectError([] { QD_OrvelTools::throwOnNullOrEmptyString(nullptr); }, parameter);
    expectError([] { QD_OrvelTools::throwOnNullOrEmptyString(""); }, parameter);
    EXPECT_NO_THROW(QD_OrvelTools::throwOnNullOrEmptyString("x"));
    expectError([] { QD_OrvelTools::throwOnNullString(nullptr); },
                {22, 0, "", "QD_OrvelTools::throwOnNullString", 0});
    EXPECT_NO_THROW(QD_OrvelTools::throwOnNullString(""));
}

} // namespace
