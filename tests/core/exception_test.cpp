#include "QD_OrvelException.h"

#include <memory>
#include <tuple>
#include <utility>

#include "QD_ADOOrvelException.h"
#include "QD_SQOrvelException.h"
#include "tests/support/expect_error.h"

namespace {

using namespace orvel::tests;

TEST(ErrorText, gapsAndOutsidersFallBackWhile35HasATextOfItsOwn) {
    using Row = std::pair<int, const char*>;
    for (const auto& [code, text] :
         {Row{0, "No Error"}, Row{1, "Cannot read configuration file"}, Row{12, "The database is not open"},
          Row{30, "Cannot retrieve the last inserted ID"}, Row{31, "Unspecified Error"},
          Row{32, "Out of memory"}, Row{34, "Internal provider error"}, Row{35, "Unspecified error"},
          Row{36, "Unspecified Error"}, Row{-1, "Unspecified Error"}}) {
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
    EXPECT_EQ(describe(exception), (Error{12, 1000, "100 %s", traceOf("checkDB execNoQuery") + " <- b"}));
}

TEST(Exception, takesNullForEmptyAndKeeps32BitsOfACode) {
    constexpr auto filled = 0xFFFFFFFF80040E38UL; // as a signed code arrives: its upper half is filled
    QD_OrvelException exception(QD_ORVEL_ERR_PROVIDER, nullptr, filled, nullptr, filled);
    exception.addFunction("open");
    EXPECT_EQ(describe(exception), (Error{34, 0x80040E38UL, "", " <- open", 0x80040E38UL}));
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

TEST(Exception, ofABusyEngineIsOneCodeWhateverWasAsked) {
    using Row = std::tuple<unsigned long, unsigned long, bool>;
    for (const auto& [provCode, hr, busy] :
         {Row{0UL, 0UL, false}, Row{3730, 0, true}, Row{3731, 0, false}, Row{3732, 0, true}, Row{5, 0, false},
          Row{0, 0x80040E38, true}, Row{0, 0x80040E40, true}, Row{0, 0xFFFFFFFF80040E40, true},
          Row{0, 0x80040E92, true}, Row{0, 0x80040E14, false}}) {
        QD_ADOOrvelException assigned(QD_ORVEL_ERR_NOT_OPEN, "g", 0, "", 0);
        assigned = QD_ADOOrvelException(QD_ORVEL_ERR_SQL_QUERY, "f", provCode, "text", hr);
        EXPECT_EQ(describe(assigned), (Error{busy ? QD_ORVEL_ERR_BUSY : QD_ORVEL_ERR_SQL_QUERY, provCode,
                                             "text", "f", hr & 0xFFFFFFFF}));
    }
    EXPECT_EQ(QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "f", 1, "", 0).errorCode(), QD_ORVEL_ERR_PROVIDER);
    QD_SQOrvelException target(QD_ORVEL_ERR_NOT_OPEN, "g", 0, "", 0);
    target = QD_SQOrvelException(QD_ORVEL_ERR_PROVIDER, "f", 5, "locked", 0);
    QD_SQOrvelException copy(target);
    EXPECT_STREQ(copy.errorMessage(),
                 "Orvel: Unspecified Error. (31), Provider: locked (5), hr: 0, Trace: f");
}

} // namespace
