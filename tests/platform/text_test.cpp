#include "platform/text.h"

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/hresult.h"
#include "tests/support/locale.h"

using namespace orvel::platform;

TEST(Text, utf8PassesUntouchedEvenWhenItIsInvalid) {
    const orvel::tests::Locale utf8("C.UTF-8");
    EXPECT_EQ(narrowToUtf8("a\xff\xc3\xa9"), "a\xff\xc3\xa9");
    EXPECT_EQ(utf8ToNarrow("a\xff\xc3\xa9"), "a\xff\xc3\xa9");
}

TEST(Text, anotherCodesetConvertsBothWaysOrRefuses) {
    const orvel::tests::Locale latin1("de_DE.ISO-8859-1");
    EXPECT_EQ(diskName("file:x\\\xdf"), "./file:x/\xc3\x9f");
    EXPECT_EQ(utf8ToNarrow(narrowToUtf8(std::string(100'000, '\xe9'))), std::string(100'000, '\xe9'));
    EXPECT_THROW(utf8ToNarrow("\xe2\x82\xac"), std::runtime_error); // the euro sign is not in ISO-8859-1
    EXPECT_THROW(utf8ToNarrow("\xc3"), std::runtime_error);         // cut in the middle
}

TEST(Text, aByteOfACharacterIsNoCharacterOfItsOwn) {
    const orvel::tests::Locale big5("zh_TW.BIG5");
    for (const char* text : {"", "a\\\xa5\x5c"}) EXPECT_FALSE(narrowEndsWith(text, '\\')) << text;
    for (const char* text : {"\xa5\x5c\\", "\xff\\"}) EXPECT_TRUE(narrowEndsWith(text, '\\')) << text;
}

TEST(Text, ofAStatusWithoutWordsIsItsNumber) {
    EXPECT_EQ(hresultText(0x80040200), "Unknown error 0x80040200");
    EXPECT_EQ(hresultText(0x80040201), "IDispatch error #1");
    EXPECT_EQ(hresultText(0x8004FFFF), "IDispatch error #65023");
    EXPECT_EQ(hresultText(0x800A0CC1), "The collection has no such item.");
}

TEST(Text, hasALengthInUtf16) {
    std::string text;
    std::size_t units = 0;
    for (int round = 0; round < 5; ++round) {
        for (const auto& [character, length] : {std::pair("a", 1U), {"ü", 1U}, {"€", 1U}, {"😀", 2U}}) {
            EXPECT_EQ(utf16Length(text), units) << text;
            text += character;
            units += length;
        }
    }
}
