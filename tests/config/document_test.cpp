// Documents in all encodings, and documents that mean harm.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>
#include <utility>

#include "tests/config/config_fixture.h"

namespace {

using namespace orvel::tests;

class Document : public ConfigTest {
protected:
    /// What two objects see that are made one after the other, by a plain name and by an expression.
    void expectValue(const std::string& content, const std::string& expected, const std::string& name) {
        const std::string file = makeFile(content);
        for (int object = 0; object < 2; ++object) {
            QD_OrvelConfig config(file.c_str());
            EXPECT_EQ(commonDefault(config), expected) << name << ", object " << object;
            EXPECT_EQ(commonDefault(config, " Key"), expected) << name << ", object " << object;
        }
    }
    Error errorOfLoading(const std::string& content) {
        QD_OrvelConfig config(makeFile(content).c_str());
        std::string value;
        return errorOf([&] { config.getCommonDefault("Key", value); });
    }
};

std::string utf16(const std::u16string& text, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : text) {
        const auto high = static_cast<char>(unit >> 8);
        const auto low = static_cast<char>(unit & 0xff);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

std::string prolog(const std::string& encoding) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>";
}

TEST_F(Document, isReadInItsDeclaredEncodingByEveryObject) {
    const std::u16string wide =
        u"<?xml version='1.0' encoding='UTF-16'?><r><MinorVersion>2</MinorVersion><CommonSection>"
        u"<Key>\u00e9\u20ac\U0001F600</Key></CommonSection></r>";
    const std::string expected = "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80";
    for (const bool bigEndian : {false, true}) {
        expectValue(utf16(wide, bigEndian), expected, "UTF-16");
        expectValue(utf16(u"\ufeff" + wide, bigEndian), expected, "UTF-16 with a byte order mark");
    }
    const std::string body = configurationOf(expected);
    expectValue(body, expected, "undeclared");
    expectValue("\xef\xbb\xbf" + body, expected, "UTF-8 with a byte order mark");
    expectValue("\xef\xbb\xbf" + prolog("UTF-8") + body, expected, "UTF-8 with both");
    expectValue(prolog("ISO-8859-1") + configurationOf("\xe9\xdf"), "\xc3\xa9\xc3\x9f", "ISO-8859-1");
    expectValue(prolog("windows-1252") + configurationOf("\x80\x93"), "\xe2\x82\xac\xe2\x80\x9c",
                "windows-1252");
    EXPECT_EQ(errorOfLoading(prolog("no-such-encoding") + configurationOf("x")).code, 1);
    EXPECT_EQ(errorOfLoading(prolog("UTF-8") + configurationOf("\xe9")).code, 1);
}

std::string withSubset(const std::string& subset, const std::string& value) {
    return "<!DOCTYPE Orvel [" + subset + "]>" + configurationOf(value);
}

TEST_F(Document, itsOwnEntitiesAreReplaced) {
    const std::array<std::pair<std::string, std::string>, 6> cases{{
        {withSubset("<!ENTITY e 'text'>", "a&e;b&e;"), "atextbtext"},
        {withSubset("<!ENTITY e '&f;!'><!ENTITY f '&#228;&#38;lt;'>", "&e;&f;"), "\xc3\xa4<!\xc3\xa4<"},
        {withSubset("<!ENTITY e '<x>in</x><x/>'>", "&e;out"), "inout"},
        {withSubset("<!ENTITY e ''>", " &e; "), ""},
        {withSubset("<!ENTITY e 'x'>", "<a b='&e;'/>&e;"), "x"},
        {"<!DOCTYPE Orvel [<!ENTITY k '<Key>k</Key>'><!ENTITY c '<CommonSection>&k;</CommonSection>'>]>" +
             configuration("&c;"),
         "k"},
    }};
    for (const auto& [content, expected] : cases) {
        expectValue(content, expected, content);
    }
}

TEST_F(Document, readsNoOtherFileAndNoAddress) {
    const std::string secret = directory.write("secret.txt", "secret");
    const std::string dtd = directory.write("some.dtd", "<!ENTITY e 'from the dtd'>");
    const std::array<std::pair<std::string, std::string>, 5> cases{{
        {withSubset("<!ENTITY e SYSTEM 'file://" + secret + "'>", "a&e;b"), "ab"},
        {withSubset("<!ENTITY e SYSTEM '" + secret + "'>", "<x y='z'/>&e;"), ""},
        {withSubset("<!ENTITY e SYSTEM 'http://127.0.0.1:1/x'>", "a&e;b"), "ab"},
        {withSubset("<!ENTITY e 'own'><!ENTITY % p SYSTEM '" + dtd + "'>%p;", "a&e;b"), "aownb"},
        {"<!DOCTYPE Orvel SYSTEM '" + dtd + "'>" + configurationOf("a&e;b"), "ab"},
    }};
    for (const auto& [content, expected] : cases) {
        expectValue(content, expected, content);
    }
    // Whether what is not read counts as undeclared or as nothing is the parser's business.
    EXPECT_EQ(errorOfLoading(withSubset("<!ENTITY % p SYSTEM '" + dtd + "'>%p;", "a&e;b")).code, 1);
    EXPECT_EQ(commonDefaultOf(makeFile("<Orvel xmlns:xi='http://www.w3.org/2001/XInclude'>"
                                       "<MinorVersion>2</MinorVersion><CommonSection><Key>"
                                       "<xi:include parse='text' href='" +
                                       secret + "'/></Key></CommonSection></Orvel>")),
              "");
}

/// Entities each of which stands for `width` of the one before.
std::string bomb(const std::string& seed, int levels, int width) {
    std::string subset = "<!ENTITY e0 '" + seed + "'>";
    for (int level = 1; level <= levels; ++level) {
        subset += "<!ENTITY e" + std::to_string(level) + " '";
        for (int i = 0; i < width; ++i) {
            subset += "&e" + std::to_string(level - 1) + ";";
        }
        subset += "'>";
    }
    return subset;
}

TEST_F(Document, thatWouldExpandWithoutMeasureIsRefusedAtOnce) {
    const auto start = std::chrono::steady_clock::now();
    const std::string many(20'000, 'x');
    std::string quadratic = "<!ENTITY e '" + many + "'>";
    std::string references;
    for (int i = 0; i < 20'000; ++i) {
        references += "&e;";
    }
    const std::string deep = [] {
        std::string open;
        std::string close;
        for (int i = 0; i < 100'000; ++i) {
            open += "<a>";
            close += "</a>";
        }
        return open + close;
    }();
    for (const std::string& content :
         {withSubset(bomb("lol", 12, 10), "&e12;"), withSubset(bomb("", 30, 10), "&e30;"),
          withSubset(bomb("<a/>", 12, 10), "&e12;"), withSubset(bomb("lol", 12, 10), "<a b='&e12;'/>"),
          withSubset(bomb("lol", 7, 10), "&e7;"), withSubset(quadratic, references),
          withSubset("<!ENTITY a '&b;'><!ENTITY b '&a;'>", "&a;"), configurationOf(deep)}) {
        EXPECT_EQ(errorOfLoading(content).code, 1) << content.substr(0, 200);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

/// Parameter entities each of which stands for ten of the one before.
std::string parameterBomb(const std::string& seed, int levels) {
    std::string subset = "<!ENTITY % p0 '" + seed + "'>";
    for (int level = 1; level <= levels; ++level) {
        subset += "<!ENTITY % p" + std::to_string(level) + " '";
        for (int i = 0; i < 10; ++i) {
            subset += "&#37;p" + std::to_string(level - 1) + ";";
        }
        subset += "'>";
    }
    return subset + "%p" + std::to_string(levels) + ";";
}

TEST_F(Document, thatWouldDeclareWithoutMeasureIsRefusedAtOnce) {
    const std::string declarations = [] {
        std::string all;
        for (int i = 0; i < 20'000; ++i) {
            all += "<!ENTITY x" + std::to_string(i) + " \"y\">";
        }
        return all;
    }();
    std::string undeclared;
    for (int i = 0; i < 50'000; ++i) {
        undeclared += "%u;";
    }
    for (const std::string& subset :
         {parameterBomb("<!ENTITY x \"y\">", 12), parameterBomb("", 12), parameterBomb("<!-- c -->", 4),
          parameterBomb(declarations, 2), undeclared, std::string("<!ENTITY % p '&#37;p;&#37;p;'>%p;"),
          std::string("<!ENTITY % p '&#37;q;'><!ENTITY % q '&#37;p;&#37;p;'>%p;")}) {
        EXPECT_EQ(errorOfLoading(withSubset(subset, "a")).code, 1) << subset.substr(0, 200);
    }
    EXPECT_EQ(commonDefaultOf(makeFile(withSubset(parameterBomb("<!ENTITY x \"y\">", 0), "a&x;"))), "ay");
}

/// A file of 4 KiB with an entity, several sections and templates.
std::string fourKiB() {
    std::string content =
        "<?xml version='1.0' encoding='UTF-8'?><!DOCTYPE Orvel [<!ENTITY e 'ent\xc3\xa4ty'>]><!-- c -->" +
        configuration("<CommonSection a='b'><Key>a &lt; &#228; &e; b</Key></CommonSection><DatabaseSection>"
                      "<SQLite><TableTemplates><T><CreateTable><![CDATA[CREATE TABLE $(tableName);]]>"
                      "</CreateTable></T></TableTemplates></SQLite></DatabaseSection><?pi pi?>@");
    const std::size_t filler = content.find('@');
    std::string templates;
    while (content.size() - 1 + templates.size() < 4096 - 64) {
        templates +=
            "<x" + std::to_string(templates.size()) + ">text</x" + std::to_string(templates.size()) + ">";
    }
    templates.append(4096 - (content.size() - 1 + templates.size()), ' ');
    return content.replace(filler, 1, templates);
}

class DamagedDocument : public Document {
protected:
    std::size_t values = 0, missing = 0, errors = 0;

    void look(const std::string& content) {
        directory.write("damaged.xml", content);
        QD_OrvelConfig::flushCache();
        QD_OrvelConfig config(directory.file("damaged.xml").c_str());
        for (const char* name : {"Key", " Key"}) {
            std::string value;
            const Error error = errorOf([&] { config.getCommonDefault(name, value); });
            ASSERT_TRUE(error.code == -1 || error.code == 1) << error.code;
            ++(error.code == 1 ? errors : value.empty() ? missing : values);
        }
        std::string value;
        const Error error =
            errorOf([&] { config.getDBTableCommand("SQLite", "T", "CreateTable", value, true); });
        ASSERT_TRUE(error.code == -1 || error.code == 1 || error.code == 24) << error.code;
    }
};

TEST_F(DamagedDocument, isAValueAMissingOneOrCode1WhicheverByteIsWrong) {
    const std::string whole = fourKiB();
    ASSERT_EQ(whole.size(), 4096U);
    const std::string master = directory.write("master.xml", configurationOf("master"));
    testing::internal::CaptureStderr();
    for (const bool withMaster : {false, true}) {
        setMaster(withMaster ? master : "");
        look(whole);
        EXPECT_EQ(values, 2U);
        for (std::size_t i = 0; i < whole.size() && !HasFatalFailure(); ++i) {
            std::string flipped = whole;
            flipped[i] = static_cast<char>(flipped[i] ^ (1 << (withMaster ? 0 : static_cast<int>(i % 8))));
            look(flipped);
            look(whole.substr(0, i));
        }
        EXPECT_GT(values, 500U);
        EXPECT_GT(missing, 10U);
        EXPECT_GT(errors, 1000U);
        values = missing = errors = 0;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
