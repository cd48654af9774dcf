#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <utility>

#include "tests/config/config_fixture.h"
#include "tests/support/locale.h"

namespace {

using namespace orvel::tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class Lookup : public ConfigTest {};

const std::string everything = configuration(R"(
  <CommonSection><Key>common</Key><DefaultTimeout>1500</DefaultTimeout></CommonSection>
  <ProviderSection><ADO>
    <Defaults><Key>default</Key></Defaults>
    <Engine><Properties><Key>provider property</Key></Properties></Engine>
  </ADO></ProviderSection>
  <DatabaseSection><Engine>
    <Properties><Key>property</Key></Properties>
    <Commands><Key>command</Key><a><b>deeper</b></a></Commands>
    <DatabaseTemplates><Id><Key>database template</Key></Id></DatabaseTemplates>
    <TableTemplates><Id><Key>table template</Key></Id></TableTemplates>
  </Engine></DatabaseSection>)");

using Reader = std::function<bool(QD_OrvelConfig&, const char* key, std::string& value, bool required)>;
struct LookupCase {
    std::string name;
    int code;
    std::string value;
    Reader read;
};

const std::array lookups{
    LookupCase{"getProviderDefault", 26, "default",
               [](auto& c, auto* key, auto& v, bool r) { return c.getProviderDefault(key, v, r); }},
    LookupCase{
        "getProviderDBProperty", 26, "provider property",
        [](auto& c, auto* key, auto& v, bool r) { return c.getProviderDBProperty("Engine", key, v, r); }},
    LookupCase{"getDBCommand", 26, "command",
               [](auto& c, auto* key, auto& v, bool r) { return c.getDBCommand("Engine", key, v, r); }},
    LookupCase{"getDBProperty", 26, "property",
               [](auto& c, auto* key, auto& v, bool r) { return c.getDBProperty("Engine", key, v, r); }},
    LookupCase{"getDBDatabaseCommand", 25, "database template",
               [](auto& c, auto* key, auto& v, bool r) {
                   return c.getDBDatabaseCommand("Engine", "Id", key, v, r);
               }},
    LookupCase{
        "getDBTableCommand", 24, "table template",
        [](auto& c, auto* key, auto& v, bool r) { return c.getDBTableCommand("Engine", "Id", key, v, r); }},
};

TEST_F(Lookup, findsTheValueOfItsPlaceAndNoOther) {
    QD_OrvelConfig config(makeFile(everything).c_str());
    EXPECT_EQ(commonDefault(config), "common");
    for (const LookupCase& lookup : lookups) {
        std::string value = "left over";
        EXPECT_TRUE(lookup.read(config, "Key", value, true)) << lookup.name;
        EXPECT_EQ(value, lookup.value) << lookup.name;
    }
}

TEST_F(Lookup, aMissingValueIsFalseOrItsOwnErrorWithADoubledTrace) {
    QD_OrvelConfig config(makeFile(everything).c_str());
    EXPECT_EQ(commonDefault(config, "Absent"), "");
    for (const LookupCase& lookup : lookups) {
        std::string value = "left over";
        EXPECT_FALSE(lookup.read(config, "Absent", value, false)) << lookup.name;
        EXPECT_EQ(value, "") << lookup.name;
        value = "left over";
        const std::string name = "QD_OrvelConfig::" + lookup.name;
        EXPECT_EQ(errorOf([&] { lookup.read(config, "Absent", value, true); }),
                  (Error{lookup.code, 0, "", name + " <- " + name, 0}));
        EXPECT_EQ(value, "") << lookup.name;
    }
    EXPECT_THAT(DiagnosticLines::all(), IsEmpty());
}

TEST_F(Lookup, anInvalidPathIsAnUnreadableConfigurationAndOneLogLine) {
    QD_OrvelConfig config(makeFile(everything).c_str());
    std::string value = "left over";
    const Error error =
        errorOf([&] { config.getDBTableCommand("Engine", "[", "CreateTable", value, false); });
    EXPECT_EQ(error, (Error{1, 0, error.provText, "QD_OrvelConfig::getDBTableCommand", 0x80004005UL}));
    EXPECT_NE(error.provText.find("TableTemplates[1]/[[1]"), std::string::npos) << error.provText;
    EXPECT_EQ(value, "");
    EXPECT_THAT(DiagnosticLines::all(),
                ElementsAre(MatchesRegex("CATCH ... : QD_OrvelConfig, Line [0-9]+, "
                                         "QD_OrvelConfig::getDBTableCommand - Unspecified error\n")));
}

TEST_F(Lookup, namesTakeTheWayThatTheirPathHasAsAnExpression) {
    QD_OrvelConfig config(makeFile(configuration(R"(
      <CommonSection x="attribute"><A>a</A><A><n>second</n></A><B><n>first</n></B><Key>k</Key>
        <D-1.x_2>odd</D-1.x_2><and>and</and><text>text</text><p:q xmlns:p="u">prefixed</p:q></CommonSection>
      <Key>outside</Key>)"))
                              .c_str());
    constexpr const char* invalid = "invalid";
    const std::array<std::pair<const char*, const char*>, 26> cases{{
        {"Key", "k"},          {"B/n", "first"},    {"A/n", "second"},      {"*", "a"},
        {"A[2]", "second"},    {"..//Key", "k"},    {"../Key", "outside"},  {"Key|B", "k"},
        {" Key", "k"},         {"@x", "attribute"}, {"/Key", "k"},          {"D-1.x_2", "odd"},
        {"and", "and"},        {"text", "text"},    {"Key | //B", "first"}, {"A[99]", ""},
        {"p:q", invalid},      {"", invalid},       {"[", invalid},         {"a b", invalid},
        {"1a", invalid},       {"'", invalid},      {"A or 1", invalid},    {"Key) + count(/", invalid},
        {"\xff\xfe", invalid}, {"$Key", invalid},
    }};
    for (const auto& [name, expected] : cases) {
        std::string value;
        const Error error = errorOf([&, key = name] { config.getCommonDefault(key, value); });
        EXPECT_EQ(error.code == 1 ? invalid : value, expected) << name << ": " << error.provText;
    }
}

TEST_F(Lookup, aSlashInANameLeadsDeeperAndAnEmptyStepAnywhere) {
    QD_OrvelConfig config(makeFile(everything).c_str());
    std::string value;
    EXPECT_TRUE(config.getDBCommand("Engine", "a/b", value, true));
    EXPECT_EQ(value, "deeper");
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_TRUE(config.getProviderDBProperty(name, "Key", value, true));
        EXPECT_EQ(value, "provider property");
        EXPECT_EQ(errorOf([&, name] { config.getCommonDefault(name, value); }).code, 1);
    }
}

TEST_F(Lookup, theOutputMayBeTheStringThatHoldsTheName) {
    QD_OrvelConfig config(makeFile(everything).c_str());
    std::string both = "Key";
    EXPECT_TRUE(config.getCommonDefault(both.c_str(), both));
    EXPECT_EQ(both, "common");
}

TEST_F(Lookup, theFirstSectionCountsAtWhateverDepth) {
    const std::array<std::pair<std::string, const char*>, 5> cases{{
        {"<a><b><CommonSection><Key>deep</Key></CommonSection></b></a>", "deep"},
        {"<CommonSection/><CommonSection><Key>second</Key></CommonSection>", ""},
        {"<a><CommonSection><Key>1</Key></CommonSection></a><CommonSection><Key>2</Key></CommonSection>",
         "1"},
        {"<CommonSection><Key>1</Key><Key>2</Key></CommonSection>", "1"},
        {"<CommonSection><x><Key>too deep</Key></x></CommonSection>", ""},
    }};
    for (const auto& [body, expected] : cases) {
        EXPECT_EQ(commonDefaultOf(makeFile(configuration(body))), expected) << body;
    }
}

TEST_F(Lookup, aValueIsTheTextBelowItsElementWithoutOuterWhiteSpace) {
    const std::array<std::pair<const char*, const char*>, 12> cases{{
        {"", ""},
        {" \t\r\n ", ""},
        {"<child/>", ""},
        {"<![CDATA[  ]]>", ""},
        {"\n  first\n    second\r\nthird \n", "first\n    second\nthird"},
        {"a<b>b</b><![CDATA[<c>]]><!-- no --><?no no?>d", "ab<c>d"},
        {"a <b> b </b>", "a  b"},
        {"&lt;&#228;&amp;", "<\xc3\xa4&"},
        {"\xc2\xa0", "\xc2\xa0"}, // a no-break space is text
        {"%s%n", "%s%n"},
        {"<Key>inner</Key>", "inner"},
        {"<x xml:space='preserve'> y </x>", "y"},
    }};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(commonDefaultOf(makeFile(configurationOf(text))), expected) << text;
    }
    const std::string large(3'000'000, 'x');
    EXPECT_EQ(commonDefaultOf(makeFile(configurationOf(large))), large);
}

TEST_F(Lookup, theTimeoutIsReadLikeANumber) {
    const std::array<std::pair<const char*, int>, 8> cases{{{"0", 0},
                                                            {"-5", -5},
                                                            {"abc", 0},
                                                            {"+250 ms", 250},
                                                            {"--5", 0},
                                                            {"99999999999999999999", 2147483647},
                                                            {"-2147483648", -2147483647 - 1},
                                                            {"-99999999999", -2147483647 - 1}}};
    for (const auto& [text, expected] : cases) {
        const std::string element = std::string("<DefaultTimeout>") + text + "</DefaultTimeout>";
        QD_OrvelConfig config(
            makeFile(configuration("<CommonSection>" + element + "</CommonSection>")).c_str());
        int timeout = 1;
        EXPECT_TRUE(config.getDefaultTimeout(timeout)) << text;
        EXPECT_EQ(timeout, expected) << text;
    }
    QD_OrvelConfig without(makeFile(configuration("")).c_str());
    int timeout = 1;
    EXPECT_FALSE(without.getDefaultTimeout(timeout));
    EXPECT_EQ(timeout, 0);
}

TEST_F(Lookup, namesAndValuesAreInTheNarrowEncoding) {
    const std::string file =
        makeFile(configuration("<CommonSection><Gr\xc3\xb6\xc3\x9f\x65>gro\xc3\x9f</Gr\xc3\xb6\xc3\x9f\x65>"
                               "<Euro>\xe2\x82\xac</Euro></CommonSection>"));
    QD_OrvelConfig utf8(file.c_str());
    EXPECT_EQ(commonDefault(utf8, "Gr\xc3\xb6\xc3\x9f\x65"), "gro\xc3\x9f");
    const Locale latin1("de_DE.ISO-8859-1");
    QD_OrvelConfig config(file.c_str());
    EXPECT_EQ(commonDefault(config, "Gr\xf6\xdf\x65"), "gro\xdf");
    std::string value;
    EXPECT_EQ(errorOf([&] { config.getCommonDefault("Euro", value); }),
              (Error{1, 1, "Runtime Exception", "QD_OrvelConfig::getCommonDefault", 0}));
}

} // namespace
