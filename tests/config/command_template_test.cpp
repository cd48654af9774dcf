#include "config/command_template.h"

#include <gtest/gtest.h>

TEST(CommandTemplate, hasEveryPlaceholderReplacedByTheValueAsItIs) {
    const auto expanded = [](std::string text, const char* placeholder, const char* value) {
        orvel::replacePlaceholder(text, placeholder, value);
        return text;
    };
    EXPECT_EQ(expanded("$(tableName) ON $(tableName)(id)", "$(tableName)", "T2"), "T2 ON T2(id)");
    EXPECT_EQ(expanded("$(TableName) $(tableName", "$(tableName)", "T"), "$(TableName) $(tableName");
    EXPECT_EQ(expanded("$(dbName)$(dbName)", "$(dbName)", "x$(dbName)y"), "x$(dbName)yx$(dbName)y");
    EXPECT_EQ(expanded("'$(dbName)'", "$(dbName)", "O'Hara \"%s\" \\1 $&"), "'O'Hara \"%s\" \\1 $&'");
    EXPECT_EQ(expanded("a$(dbName)b", "$(dbName)", nullptr), "ab");
    EXPECT_EQ(expanded("aaaaa", "aa", "b"), "bba");
    EXPECT_EQ(expanded("text", "", "x"), "text");
    EXPECT_EQ(expanded("text", nullptr, "x"), "text");
}
