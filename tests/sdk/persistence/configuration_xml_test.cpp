// The file format: what is written, and what is refused with which words.
#include "sdk/persistence/configuration_xml.h"

#include <gtest/gtest.h>

#include <random>

using namespace vex;
using namespace vex::persistence;

namespace {

Configuration every_kind()
{
    Configuration all;
    all.add({.kind = ItemKind::device,
             .name = "Left",
             .identity = {"Maker", "M1", "1.0", "SN 7", "left one", "02:00:00:00:00:01"},
             .values = {{"Width", "640", {}}, {"Gain", "3.5", {{"GainSelector", "All"}, {"Tap", "1"}}}},
             .link = {{"AnswerTimeout", "500", {}}}});
    all.add({.kind = ItemKind::stream, .name = "S", .values = {{"RequestTimeout", "10", {}}}});
    all.add({.kind = ItemKind::parameters, .name = "P", .values = {{"A", "<&>\"'", {}}}});
    all.add({.kind = ItemKind::properties, .name = "L", .properties = {{"n", "v"}, {"", ""}}});
    all.add({.kind = ItemKind::string, .name = "T", .text = "a\nb"});
    return all;
}

const char* const every_kind_text = R"(<?xml version="1.0" encoding="UTF-8"?>
<configuration version="1">
  <device name="Left">
    <identity vendor="Maker" model="M1" version="1.0" serial="SN 7" userName="left one" mac="02:00:00:00:00:01"/>
    <features>
      <feature name="Width" value="640"/>
      <feature name="Gain" value="3.5">
        <for selector="GainSelector" value="All"/>
        <for selector="Tap" value="1"/>
      </feature>
    </features>
    <link>
      <feature name="AnswerTimeout" value="500"/>
    </link>
  </device>
  <stream name="S">
    <parameters>
      <feature name="RequestTimeout" value="10"/>
    </parameters>
  </stream>
  <parameters name="P">
    <feature name="A" value="&lt;&amp;&gt;&quot;'"/>
  </parameters>
  <properties name="L">
    <property name="n" value="v"/>
    <property name="" value=""/>
  </properties>
  <string name="T" value="a\u000Ab" escaped="true"/>
</configuration>
)";

std::string error_of(std::string_view text)
{
    Configuration configuration;
    configuration.add({.name = "before"});
    const PvResult result = from_xml(text, configuration);
    EXPECT_EQ(configuration.items().size(), result.IsOK() ? configuration.items().size() : 1U);
    return result.IsOK() ? "read" : std::string(result.description());
}

std::string inside(const std::string& text) { return "<configuration version=\"1\">\n" + text + "</configuration>"; }

TEST(ConfigurationXml, IsAsDocumented) { EXPECT_EQ(to_xml(every_kind()), every_kind_text); }

TEST(ConfigurationXml, ReadsWhatItWrote)
{
    Configuration read;
    const PvResult result = from_xml(every_kind_text, read);
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(read.items(), every_kind().items());
    EXPECT_EQ(to_xml(read), every_kind_text);
}

TEST(ConfigurationXml, PassesOverWhatItDoesNotKnow)
{
    Configuration read;
    ASSERT_TRUE(from_xml("\xEF\xBB\xBF<!-- a note --><configuration version='1.7' made='x'><robot/>text"
                         "<string value='v' weight='3'><inner/></string></configuration>\n<!-- end -->",
                         read)
                    .IsOK());
    ASSERT_EQ(read.items().size(), 1U);
    EXPECT_EQ(read.items()[0], (Item{.kind = ItemKind::string, .name = "", .text = "v"}));
}

TEST(ConfigurationXml, RefusesLaterVersions)
{
    Configuration read;
    const PvResult result = from_xml("<configuration version=\"2.1\"/>", read);
    EXPECT_EQ(result.GetCode(), PvResult::BadVersion);
    EXPECT_EQ(result.description(), "Line 1: The configuration has version 2.1, and this program reads version 1");
}

TEST(ConfigurationXml, NamesTheLineOfWhatIsWrong)
{
    EXPECT_EQ(error_of(""), "Line 1: No document element found");
    EXPECT_EQ(error_of("\n\n<other/>"), "Line 3: The file's element is <other> and not <configuration>");
    EXPECT_EQ(error_of("<configuration/>"), "Line 1: The configuration's version '' is none");
    EXPECT_EQ(error_of("<configuration version='0'/>"), "Line 1: The configuration's version '0' is none");
    EXPECT_EQ(error_of("<configuration version='one'/>"), "Line 1: The configuration's version 'one' is none");
    EXPECT_EQ(error_of("<configuration version='1'/>\n<more/>"), "Line 2: There is a second element <more> outside");
    EXPECT_EQ(error_of("\n<!DOCTYPE x [<!ENTITY a \"b\">]>\n<configuration version='1'/>"),
              "Line 2: A configuration has no document type");
    EXPECT_EQ(error_of(inside("<string name='a'/>")), "Line 2: A string has no value");
    EXPECT_EQ(error_of(inside("<parameters>\n<feature name='a'/></parameters>")), "Line 3: A feature has no value");
    EXPECT_EQ(error_of(inside("<parameters><feature name='a' value='1'>\n\n<for value='1'/></feature></parameters>")),
              "Line 4: A for has no selector");
    EXPECT_EQ(error_of(inside("<properties><property value='1'/></properties>")), "Line 2: A property has no name");
    EXPECT_EQ(error_of(inside("<string value='\\q' escaped='true'/>")),
              "Line 2: An escape in the value of a string is none");
    EXPECT_EQ(error_of(inside("<string value='a'>\n")), "Line 3: Start-end tags mismatch");
}

TEST(ConfigurationXml, RefusesEveryTruncation)
{
    const std::string_view whole = every_kind_text;
    for (std::size_t size = 0; size < whole.find("</configuration>") + 15; ++size) {
        EXPECT_NE(error_of(whole.substr(0, size)), "read") << size;
    }
}

TEST(ConfigurationXml, RefusesWhatIsTooMuch)
{
    EXPECT_EQ(error_of(std::string(largest_file + 1, ' ')), "It is larger than 64 MiB");
    EXPECT_EQ(error_of(std::string(most_tags + 1, '<')), "Line 1: There are more than 4000000 tags");
    EXPECT_EQ(error_of(std::string(most_attributes + 1, '=')), "Line 1: There are more than 4000000 attributes");
    const auto nested = [](int count) {
        std::string elements;
        for (int i = 0; i < count; ++i) {
            elements += "<a>";
        }
        for (int i = 0; i < count; ++i) {
            elements += "</a>";
        }
        return inside(elements);
    };
    constexpr int most = deepest_nesting - 1;  // beside the configuration itself
    Configuration read;
    EXPECT_TRUE(from_xml(nested(most), read).IsOK());
    EXPECT_EQ(error_of(nested(most + 1)), "Line 2: Elements are nested more than 32 deep");
    EXPECT_EQ(error_of(nested(1'000'000)), "Line 2: Elements are nested more than 32 deep");
}

TEST(ConfigurationXml, ReadsLineEndsInValuesAsSpaces)
{
    Configuration read;
    ASSERT_TRUE(from_xml(inside("<string name='a' value='x\ty\r\nz\n'/>"), read).IsOK());
    ASSERT_EQ(read.items().size(), 1U);
    EXPECT_EQ(read.items().front().text, "x y z ");
}

TEST(ConfigurationXml, SurvivesDamage)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 5000; ++round) {
        std::string text = every_kind_text;
        for (unsigned n = random() % 4 + 1; n > 0; --n) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        Configuration read;
        const PvResult result = from_xml(text, read);
        if (result.IsOK()) {
            Configuration again;
            ASSERT_TRUE(from_xml(to_xml(read), again).IsOK());
            EXPECT_EQ(again.items(), read.items());
        } else {
            EXPECT_TRUE(result.description().starts_with("Line ")) << result.description();
        }
    }
}

}  // namespace
