#include "core/entry_frame.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "core/diagnostics.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr orvel::Operation operation{"QD_SQOrvelConnection::execNoQuery", QD_ORVEL_ERR_SQL_STATEMENT};

TEST(EntryFrame, aForeignExceptionIsReplacedOrSwallowedWithOneLine) {
    const DiagnosticLines lines;
    expectError([] { orvel::framed(operation, [] { throw std::runtime_error("no"); }); },
                {13, 1, "Runtime Exception", operation.name});
    orvel::swallowed("QD_ADOOrvelQuery::close", [] { throw 1; });
    EXPECT_FALSE(orvel::inspected("QD_OrvelConfig::x", false, []() -> bool { throw 1; }));
    EXPECT_EQ(orvel::inspected("QD_OrvelConnection::y", 0, [] { return 7; }), 7);
    EXPECT_THAT(DiagnosticLines::all(),
                ElementsAre(MatchesRegex("CATCH ... : QD_SQOrvelInterface, Line [0-9]+, "
                                         "QD_SQOrvelConnection::execNoQuery - Runtime exception caught\n"),
                            MatchesRegex("CATCH\\.\\.\\. : QD_ADOOrvelInterface, Line [0-9]+, .*"),
                            MatchesRegex("CATCH \\.\\.\\. : QD_OrvelConfig, Line [0-9]+, .*")));
}

TEST(Diagnostics, goToStandardErrorInOrderLinesCutAt255CharactersAndTheSqlTraceWhileItIsOn) {
    testing::internal::CaptureStderr();
    std::fprintf(stderr, "before ");
    orvel::logCatch(orvel::CatchForm::comError, "QD_OrvelTransaction::begin", 12, "refused");
    orvel::traceSql("SELECT 0");
    orvel::setSqlTrace(2);
    orvel::traceSql("SELECT '%d'");
    orvel::setSqlTrace(0);
    const std::string text = "%s%n" + std::string(400, 'x');
    orvel::logCatch(orvel::CatchForm::libraryException, "QD_SQOrvelQuery::nextRow", 7, text.c_str());
    const std::string cut =
        "CATCH QD_OrvelException: QD_SQOrvelInterface, Line 7, QD_SQOrvelQuery::nextRow - " + text;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "before CATCH _com_error: QD_OrvelInterface, Line 12, QD_OrvelTransaction::begin - refused\n"
              "Orvel SQL:\"SELECT '%d'\"\n" +
                  cut.substr(0, 255) + "\n");
    const DiagnosticLines collected;
    orvel::logCatch(orvel::CatchForm::libraryException, "QD_SQOrvelQuery::nextRow", 7, text.c_str());
    EXPECT_THAT(DiagnosticLines::all(), ElementsAre(cut.substr(0, 255)));
}

} // namespace
