#include "QD_OrvelException.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "QD_OrvelTools.h"
#include "tests/support/expect_error.h"

namespace {

using orvel::tests::describe;
using orvel::tests::Error;
using orvel::tests::errorOf;

TEST(ErrorText, gapsAndOutsidersFallBackWhile35HasATextOfItsOwn) {
    struct Case {
        int code;
        const char* text;
    };
    for (const Case& expected :
         {Case{0, "No Error"}, Case{1, "Cannot read configuration file"},
          Case{12, "The database is not open"}, Case{30, "Cannot retrieve the last inserted ID"},
          Case{31, "Unspecified Error"}, Case{32, "Out of memory"}, Case{34, "Internal provider error"},
          Case{35, "Unspecified error"}, Case{36, "Unspecified Error"}, Case{-1, "Unspecified Error"}}) {
        EXPECT_STREQ(errorText(static_cast<QD_OrvelError>(expected.code)), expected.text) << expected.code;
    }
}

QD_OrvelException notOpen() {
    return {QD_ORVEL_ERR_NOT_OPEN, "QD_SQOrvelConnection::checkDB", 1000, "Null Database pointer", 0};
}

TEST(Exception, saysEverythingInOneLine) {
    QD_OrvelException exception = notOpen();
    exception.addFunction("QD_SQOrvelConnection::execNoQuery");
    EXPECT_STREQ(exception.errorString(), "Null Database pointer");
    EXPECT_STREQ(exception.provErrorString(), "Null Database pointer");
    EXPECT_STREQ(
        exception.errorMessage(),
        "Orvel: The database is not open. (12), Provider: Null Database pointer (1000), hr: 0, Trace: "
        "QD_SQOrvelConnection::checkDB <- QD_SQOrvelConnection::execNoQuery");
}

TEST(Exception, keepsTheFirstMessageWhileTheTraceGrows) {
    QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, "a", 7, "100 %s %n", 0x80040E38UL);
    const std::string first = exception.errorMessage();
    EXPECT_EQ(first,
              "Orvel: Internal provider error. (34), Provider: 100 %s %n (7), hr: 2147749432, Trace: a");
    exception.addFunction("b");
    exception.addFunction(nullptr);
    EXPECT_EQ(exception.errorMessage(), first);
    EXPECT_EQ(describe(exception).trace, "a <- b");
}

TEST(Exception, nullTextsCountAsEmpty) {
    QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, nullptr, 0, nullptr, 0);
    exception.addFunction("open");
    EXPECT_EQ(describe(exception), (Error{34, 0, "", " <- open", 0}));
}

TEST(Exception, keeps32BitsOfACodeThatCameThroughASignedInt) {
    const auto hr = static_cast<unsigned long>(static_cast<int>(0x80040E38U));
    const QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, "f", static_cast<unsigned long>(-1), "", hr);
    EXPECT_EQ(exception.hrErrorCode(), 2147749432UL);
    EXPECT_EQ(exception.provErrorCode(), 4294967295UL);
}

TEST(Exception, copiesShareNothing) {
    auto original = std::make_unique<QD_OrvelException>(notOpen());
    const std::string message = original->errorMessage();
    const QD_OrvelException copy(*original);
    QD_OrvelException assigned(QD_ORVEL_ERR_PROVIDER, "other", 5, "text", 6);
    const QD_OrvelException& result = (assigned = *original);
    original->addFunction("later");
    original.reset();

    EXPECT_EQ(&result, &assigned);
    const Error expected{12, 1000, "Null Database pointer", "QD_SQOrvelConnection::checkDB", 0};
    EXPECT_EQ(describe(copy), expected);
    EXPECT_EQ(describe(assigned), expected);
    assigned.addFunction("more");
    EXPECT_EQ(assigned.errorMessage(), message); // the formatted message was copied, too
    assigned = *&assigned;
    EXPECT_EQ(assigned.errorMessage(), message);
}

TEST(Tools, nullAndEmptyTextsHaveTheirOwnCodes) {
    const Error pointer{22, 0, "", "QD_OrvelTools::throwOnNullString", 0};
    const Error parameter{23, 0, "", "QD_OrvelTools::throwOnNullOrEmptyString", 0};
    EXPECT_EQ(errorOf([] { QD_OrvelTools::throwOnNullString(nullptr); }), pointer);
    EXPECT_NO_THROW(QD_OrvelTools::throwOnNullString(""));
    EXPECT_EQ(errorOf([] { QD_OrvelTools::throwOnNullOrEmptyString(nullptr); }), parameter);
    EXPECT_EQ(errorOf([] { QD_OrvelTools::throwOnNullOrEmptyString(""); }), parameter);
    EXPECT_NO_THROW(QD_OrvelTools::throwOnNullOrEmptyString("x"));
}

} // namespace
