#include "core/entry_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "core/diagnostics.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"

namespace {

using orvel::tests::DiagnosticLines;
using orvel::tests::Error;
using orvel::tests::errorOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr orvel::Operation operation{"QD_SQOrvelConnection::execNoQuery", QD_ORVEL_ERR_SQL_STATEMENT};

/// Stands for a provider's exception: its type must survive the frames.
class Derived : public QD_OrvelException {
public:
    using QD_OrvelException::QD_OrvelException;
};

TEST(EntryFrame, stampsALibraryExceptionAndLetsTheSameObjectGoOn) {
    const DiagnosticLines lines;
    const QD_OrvelException* thrown = nullptr;
    try {
        orvel::framed({"outer", QD_ORVEL_ERR_PROVIDER}, [&] {
            try {
                orvel::framed(operation,
                              [] { throw Derived(QD_ORVEL_ERR_BUSY, operation.name, 5, "locked", 0); });
            } catch (const QD_OrvelException& inner) {
                thrown = &inner;
                throw;
            }
        });
        FAIL() << "nothing was thrown";
    } catch (const Derived& exception) {
        EXPECT_EQ(&exception, thrown);
        EXPECT_EQ(
            orvel::tests::describe(exception),
            (Error{31, 5, "locked",
                   "QD_SQOrvelConnection::execNoQuery <- QD_SQOrvelConnection::execNoQuery <- outer", 0}));
    }
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST(EntryFrame, replacesAForeignExceptionAndLogsOneLine) {
    const DiagnosticLines lines;
    EXPECT_EQ(errorOf([] { orvel::framed(operation, [] { throw std::runtime_error("no"); }); }),
              (Error{13, 1, "Runtime Exception", "QD_SQOrvelConnection::execNoQuery", 0}));
    EXPECT_THAT(DiagnosticLines::all(),
                ElementsAre(MatchesRegex("CATCH ... : QD_SQOrvelInterface, Line [0-9]+, "
                                         "QD_SQOrvelConnection::execNoQuery - Runtime exception caught\n")));
}

TEST(EntryFrame, swallowsAndInspectsWithTheirOwnForms) {
    const DiagnosticLines lines;
    orvel::swallowed("QD_ADOOrvelQuery::close", [] { throw 1; });
    EXPECT_FALSE(orvel::inspected("QD_OrvelConfig::x", false, []() -> bool { throw 1; }));
    EXPECT_EQ(orvel::inspected("QD_OrvelConnection::y", 0, [] { return 7; }), 7);
    EXPECT_THAT(DiagnosticLines::all(),
                ElementsAre(MatchesRegex("CATCH\\.\\.\\. : QD_ADOOrvelInterface, Line [0-9]+, .*"),
                            MatchesRegex("CATCH \\.\\.\\. : QD_OrvelConfig, Line [0-9]+, .*")));
}

TEST(EntryFrame, passesResultsThroughUnchanged) {
    int value = 3;
    int& same = orvel::framed(operation, [&]() -> int& { return value; });
    EXPECT_EQ(&same, &value);
}

TEST(CatchLine, isCutAt255CharactersAndNeverAFormat) {
    const DiagnosticLines lines;
    const std::string text = "%s%n" + std::string(400, 'x');
    orvel::logCatch(orvel::CatchForm::libraryException, "QD_SQOrvelQuery::nextRow", 7, text.c_str());
    ASSERT_EQ(DiagnosticLines::all().size(), 1U);
    const std::string whole =
        "CATCH QD_OrvelException: QD_SQOrvelInterface, Line 7, QD_SQOrvelQuery::nextRow - " + text;
    EXPECT_EQ(DiagnosticLines::all().front(), whole.substr(0, 255));
}

TEST(CatchLine, goesToStandardErrorBehindWhatWasBufferedThere) {
    testing::internal::CaptureStderr();
    std::fprintf(stderr, "before ");
    orvel::logCatch(orvel::CatchForm::comError, "QD_ADOOrvelConnection::open", 12, "refused");
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "before CATCH _com_error: QD_ADOOrvelInterface, Line 12, QD_ADOOrvelConnection::open - refused\n");
}

TEST(SqlTrace, writesOneLineAStatementWhileItIsOn) {
    testing::internal::CaptureStderr();
    orvel::traceSql("SELECT 0");
    orvel::setSqlTrace(2);
    orvel::traceSql("SELECT '%d'");
    orvel::setSqlTrace(0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Orvel SQL:\"SELECT '%d'\"\n");
}

} // namespace
