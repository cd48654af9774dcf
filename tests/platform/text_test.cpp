#include "platform/text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <stdexcept>
#include <string>

#include "platform/files.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::platform;

TEST(Text, utf8PassesUntouchedEvenWhenItIsInvalid) {
    for (const char* locale : {"C", "POSIX", "C.UTF-8"}) {
        const orvel::tests::Locale scope(locale);
        const std::string bytes = "a\xff\xc3\xa9\0z";
        EXPECT_TRUE(narrowIsUtf8()) << locale;
        EXPECT_EQ(narrowToUtf8(bytes), bytes) << locale;
        EXPECT_EQ(utf8ToNarrow(bytes), bytes) << locale;
    }
}

TEST(Text, anotherCodesetConvertsBothWaysOrRefuses) {
    const orvel::tests::Locale latin1("de_DE.ISO-8859-1");
    EXPECT_FALSE(narrowIsUtf8());
    EXPECT_EQ(narrowToUtf8("gr\xfc\xdf"), "gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(utf8ToNarrow("gr\xc3\xbc\xc3\x9f"), "gr\xfc\xdf");
    EXPECT_EQ(narrowToUtf8(""), "");
    const std::string large(100'000, '\xe9');
    EXPECT_EQ(utf8ToNarrow(narrowToUtf8(large)), large);
    EXPECT_THROW(utf8ToNarrow("\xe2\x82\xac"), std::runtime_error); // the euro sign is not in ISO-8859-1
    EXPECT_THROW(utf8ToNarrow("\xc3"), std::runtime_error);         // cut in the middle
}

TEST(Text, utf16HasSurrogatesForWhatLiesBeyondTheFirstPlane) {
    EXPECT_EQ(utf8ToUtf16("a\xc3\xa9\xf0\x9f\x98\x80"), u"a\u00e9\U0001F600");
    EXPECT_EQ(utf8ToUtf16(""), u"");
    EXPECT_THROW(utf8ToUtf16("\xff"), std::runtime_error);
    EXPECT_THROW(utf8ToUtf16("\xc3"), std::runtime_error);
}

TEST(DiskName, shownNamesBecomeNamesOnDisk) {
    EXPECT_EQ(diskName("/tmp/x\\Parts.db3"), "/tmp/x/Parts.db3");
    EXPECT_EQ(diskName(".\\Parts.db3"), "./Parts.db3");
    EXPECT_EQ(diskName("file:x\\y"), "./file:x/y");
    const orvel::tests::Locale latin1("de_DE.ISO-8859-1");
    EXPECT_EQ(diskName("\xdf"), "\xc3\x9f");
}

} // namespace
