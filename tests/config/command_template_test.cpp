#include "config/command_template.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using orvel::replacePlaceholder;
using orvel::upgradeStepName;

TEST(Placeholder, isReplacedEverywhereByTheValueAsItIs) {
    struct Case {
        const char* text;
        const char* placeholder;
        const char* value;
        const char* expanded;
    };
    for (const Case& c : {
             Case{"CREATE INDEX ix_$(tableName) ON $(tableName)(id);", "$(tableName)", "T2",
                  "CREATE INDEX ix_T2 ON T2(id);"},
             Case{"$(TableName) $(tablename)", "$(tableName)", "T", "$(TableName) $(tablename)"},
             Case{"DROP $(tableName)", "$(tableName)", "$(tableName)", "DROP $(tableName)"},
             Case{"$(dbName)$(dbName)", "$(dbName)", "x$(dbName)y", "x$(dbName)yx$(dbName)y"},
             Case{"'$(dbName)'", "$(dbName)", "O'Hara \"%s\" \\1 $&", "'O'Hara \"%s\" \\1 $&'"},
             Case{"a$(dbName)b", "$(dbName)", nullptr, "ab"},
             Case{"a$(dbName)b", "$(dbName)", "", "ab"},
             Case{"a$(dbName", "$(dbName)", "x", "a$(dbName"},
             Case{"aaaaa", "aa", "b", "bba"},
             Case{"text", "", "x", "text"},
             Case{"text", nullptr, "x", "text"},
             Case{"", "$(dbName)", "x", ""},
         }) {
        std::string text = c.text;
        replacePlaceholder(text, c.placeholder, c.value);
        EXPECT_EQ(text, c.expanded) << c.text;
    }
}

TEST(Placeholder, thatComesLaterIsFoundInWhatAnEarlierOneInserted) {
    std::string text = "CREATE $(dbName) ON '$(dbPathName)'";
    replacePlaceholder(text, "$(dbName)", "x$(dbPathName)");
    replacePlaceholder(text, "$(dbPathName)", "/d/x.dbf");
    EXPECT_EQ(text, "CREATE x/d/x.dbf ON '/d/x.dbf'");
}

TEST(Placeholder, mayBeReplacedByThePartOfTheTextItself) {
    std::string text = "ab$(dbName)cd-and-long-enough-not-to-be-inline";
    replacePlaceholder(text, "$(dbName)", text.c_str() + 11);
    EXPECT_EQ(text, "abcd-and-long-enough-not-to-be-inlinecd-and-long-enough-not-to-be-inline");
}

TEST(UpgradeStep, isNamedByItsNumberAsASignedOne) {
    EXPECT_EQ(upgradeStepName(0), "AlterTable0");
    EXPECT_EQ(upgradeStepName(12), "AlterTable12");
    EXPECT_EQ(upgradeStepName(4294967295U), "AlterTable-1");
}

} // namespace
