#include "core/diagnostics.h"

#include <gmock/gmock.h>

#include "tests/support/diagnostic_lines.h"

namespace {

using namespace orvel::tests;

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
    EXPECT_THAT(DiagnosticLines::all(), testing::ElementsAre(cut.substr(0, 255)));
}

} // namespace
