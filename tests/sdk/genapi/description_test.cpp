// Loading: what real files do, what is passed over, and what makes a node or a description unusable.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/sdk/genapi/memory_port.h"

using namespace camera_xml;
using GenApi::AccessMode;
using GenApi::InterfaceType;
using GenApi::Visibility;

namespace {

bool is_noted(const GenApi::INodeMap& map, std::string_view node, std::string_view text)
{
    return std::any_of(map.diagnostics().begin(), map.diagnostics().end(), [&](const GenApi::Diagnostic& note) {
        return note.node == node && note.text.find(text) != std::string::npos;
    });
}

const std::string width = "<Integer Name=\"Width\"><Value>640</Value></Integer>";

}  // namespace

TEST(Description, TellsWhatItsHeadSays)
{
    Camera camera(description(width, {.more = "MajorVersion=\"3\" MinorVersion=\"4\" SubMinorVersion=\"5\" "
                                              "ToolTip=\"A probe\" ProductGuid=\"P\" VersionGuid=\"V\""}),
                  true);
    const GenApi::DescriptionInfo& info = camera.map->info();
    EXPECT_EQ(info.model_name, "Probe");
    EXPECT_EQ(info.vendor_name, "Maker");
    EXPECT_EQ(info.tool_tip, "A probe");
    EXPECT_EQ(info.standard_name_space, "GEV");
    EXPECT_EQ(info.product_guid, "P");
    EXPECT_EQ(info.version_guid, "V");
    EXPECT_EQ(info.schema_major, 1);
    EXPECT_EQ(info.schema_minor, 1);
    EXPECT_EQ(info.major, 3);
    EXPECT_EQ(info.minor, 4);
    EXPECT_EQ(info.sub_minor, 5);
}

TEST(Description, SkipsTextBeforeTheXml)
{
    Camera camera("My camera (192.168.0.2) <not xml\n" + description(width), true);
    EXPECT_EQ(camera["Width"].int_value(), 640);
}

TEST(Description, SkipsAByteOrderMarkAndWhatFollowsTheRoot)
{
    Camera camera("\xEF\xBB\xBF" + description(width) + std::string(100, '\0') + "garbage </x>", true);
    EXPECT_EQ(camera["Width"].int_value(), 640);
}

TEST(Description, ReadsLatin1)
{
    Camera camera("<Float Name=\"Exposure\"><Value>1</Value><Unit>\xB5s</Unit></Float>");
    EXPECT_EQ(camera["Exposure"].unit(), "\xC2\xB5s");
}

TEST(Description, ReadsUtf16)
{
    const std::string xml = description(width);
    std::string little("\xFF\xFE");
    std::string big("\xFE\xFF");
    for (const char c : xml) {
        little += {c, '\0'};
        big += {'\0', c};
    }
    EXPECT_EQ(Camera(little, true)["Width"].int_value(), 640);
    EXPECT_EQ(Camera(big, true)["Width"].int_value(), 640);
}

TEST(Description, ResolvesEntitiesAndKeepsTextsTogetherAcrossComments)
{
    Camera camera("<Float Name=\"X\"><ToolTip>a &lt; b &amp; c &#181;s <!-- no --> end</ToolTip>"
                  "<Description><![CDATA[<raw>]]></Description><Value>1</Value></Float>");
    EXPECT_EQ(camera["X"].tool_tip(), "a < b & c \xC2\xB5s end");
    EXPECT_EQ(camera["X"].description(), "<raw>");
}

TEST(Description, ReadsNumbersThatAreSplitAsOne)
{
    Camera camera("<Integer Name=\"A\"><Value>1<!-- x -->2</Value><Max>3<![CDATA[4]]><!-- y --><![CDATA[5]]></Max>"
                  "</Integer><Float Name=\"F\"><Value> 1<!-- x -->.<![CDATA[5]]> </Value></Float>"
                  "<Integer Name=\"B\"><pValue>A<!-- the first -->2</pValue></Integer>"
                  "<Integer Name=\"A2\"><Value>7</Value></Integer>"
                  "<Integer Name=\"Apart\"><Value>1 <!-- x --> 2</Value></Integer>"
                  "<IntSwissKnife Name=\"K\"><Formula>1<!-- x -->2 + <![CDATA[1]]></Formula></IntSwissKnife>");
    EXPECT_EQ(camera["A"].int_value(), 12);
    EXPECT_EQ(camera["A"].int_max(), 345);
    EXPECT_EQ(camera["F"].float_value(), 1.5);
    EXPECT_EQ(camera["B"].int_value(), 7);
    EXPECT_EQ(camera["K"].int_value(), 13);
    EXPECT_NE(std::string(camera["Apart"].defect()).find("<Value> is not valid: \"1 2\""), std::string::npos)
        << camera["Apart"].defect();
}

TEST(Description, KnowsItsElementsByAnyPrefix)
{
    const std::string xml =
        "<?xml version=\"1.0\"?><ga:RegisterDescription ModelName=\"Probe\" xmlns:ga=\"http://x\">"
        "<ga:Port Name=\"Device\"/><ga:Category Name=\"Root\"><ga:pFeature>E</ga:pFeature></ga:Category>"
        "<ga:Enumeration Name=\"E\"><ga:EnumEntry Name=\"A\"><ga:Value>3</ga:Value></ga:EnumEntry>"
        "<ga:Value>3</ga:Value></ga:Enumeration><ga:StructReg><ga:Address>0</ga:Address><ga:Length>4</ga:Length>"
        "<ga:pPort>Device</ga:pPort><ga:StructEntry Name=\"S\"><ga:Bit>0</ga:Bit></ga:StructEntry></ga:StructReg>"
        "</ga:RegisterDescription>";
    Camera camera(xml + "garbage </x>", true);
    EXPECT_EQ(camera.map->info().model_name, "Probe");
    EXPECT_EQ(camera["E"].to_string(), "A");
    camera.port.set(0, {1});
    EXPECT_EQ(camera["S"].int_value(), 1);
    EXPECT_EQ(camera.map->features().size(), 1U);
    EXPECT_TRUE(camera.map->diagnostics().empty());
    EXPECT_EQ(load_error("<ga:Other xmlns:ga=\"http://x\"/>"),
              "line 1 of the description: <ga:Other> is found where <RegisterDescription> is expected");
}

TEST(Description, NotesAnEmptyFormula)
{
    Camera camera("<IntConverter Name=\"X\"><FormulaTo><!-- FROM --></FormulaTo><FormulaFrom>TO</FormulaFrom>"
                  "<pValue>R</pValue></IntConverter>" +
                  int_reg("R", 0));
    EXPECT_EQ(camera["X"].access(), AccessMode::read_only);
    EXPECT_TRUE(is_noted(*camera.map, "X", "<FormulaTo> is empty"));
}

TEST(Description, CountsTheAddressFormulasOfStructEntries)
{
    const std::string knife = "<IntSwissKnife><pVariable Name=\"B\">Base</pVariable><Formula>B * 4</Formula>"
                              "</IntSwissKnife>";
    Camera camera("<StructReg><Address>0x100</Address>" + knife +
                  "<Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Endianess>BigEndian</Endianess>"
                  "<StructEntry Name=\"A\"><LSB>31</LSB><MSB>0</MSB></StructEntry><StructEntry Name=\"B\">" +
                  knife + "<LSB>31</LSB><MSB>0</MSB></StructEntry></StructReg>" + int_reg("Same", 0x110) +
                  "<Integer Name=\"Base\"><Value>2</Value></Integer>");
    EXPECT_EQ(camera["A"].register_address(), 0x108);
    EXPECT_EQ(camera["B"].register_address(), 0x110);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 0);
    // what stands elsewhere does not take the others' bytes for its own
    EXPECT_EQ(camera.port.reads, 2);
    EXPECT_TRUE(camera["A"].is_cached());
    camera["Same"].set_int_value(9);
    EXPECT_EQ(camera["B"].int_value(), 9);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera.port.reads, 3);
}

TEST(Description, ReadsEveryCommonProperty)
{
    Camera camera(root({"X"}) +
                  "<Integer Name=\"X\" NameSpace=\"Standard\"><ToolTip>tip</ToolTip><Description>text</Description>"
                  "<DisplayName>Ex</DisplayName><Visibility>Guru</Visibility><DocuURL>http://x</DocuURL>"
                  "<IsDeprecated>Yes</IsDeprecated><EventID>9001</EventID><Streamable>Yes</Streamable>"
                  "<Value>5</Value><Unit>px</Unit><Representation>HexNumber</Representation></Integer>"
                  "<Float Name=\"F\"><Value>1.5</Value><DisplayNotation>Scientific</DisplayNotation>"
                  "<DisplayPrecision>3</DisplayPrecision></Float>");
    GenApi::INode& x = camera["X"];
    EXPECT_EQ(x.name(), "X");
    EXPECT_EQ(x.element(), "Integer");
    EXPECT_EQ(x.type(), InterfaceType::integer);
    EXPECT_EQ(x.tool_tip(), "tip");
    EXPECT_EQ(x.description(), "text");
    EXPECT_EQ(x.display_name(), "Ex");
    EXPECT_EQ(x.docu_url(), "http://x");
    EXPECT_EQ(x.unit(), "px");
    EXPECT_EQ(x.visibility(), Visibility::guru);
    EXPECT_EQ(x.name_space(), GenApi::NameSpace::standard);
    EXPECT_EQ(x.representation(), GenApi::Representation::hex_number);
    EXPECT_TRUE(x.is_streamable());
    EXPECT_TRUE(x.is_deprecated());
    EXPECT_EQ(x.event_id(), std::uint64_t{0x9001});
    EXPECT_EQ(x.category()->name(), "Root");
    EXPECT_EQ(camera["F"].display_notation(), GenApi::DisplayNotation::scientific);
    EXPECT_EQ(camera["F"].display_precision(), 3);
}

TEST(Description, GivesTheDefaultsOfTheStandard)
{
    Camera camera(integer("X", {.value = 5}));
    GenApi::INode& x = camera["X"];
    EXPECT_EQ(x.display_name(), "X");
    EXPECT_EQ(x.visibility(), Visibility::beginner);
    EXPECT_EQ(x.name_space(), GenApi::NameSpace::custom);
    EXPECT_EQ(x.representation(), GenApi::Representation::pure_number);
    EXPECT_EQ(x.display_notation(), GenApi::DisplayNotation::automatic);
    EXPECT_EQ(x.display_precision(), 6);
    EXPECT_FALSE(x.is_streamable());
    EXPECT_FALSE(x.is_deprecated());
    EXPECT_EQ(x.polling_time(), -1);
    EXPECT_EQ(x.event_id(), std::nullopt);
    EXPECT_EQ(x.category(), nullptr);
    EXPECT_EQ(x.int_increment(), 1);
    EXPECT_EQ(x.int_min(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(x.int_max(), std::numeric_limits<std::int64_t>::max());
}

TEST(Description, ShowsAFeatureLikeTheNodeThatHasItsValue)
{
    Camera camera(root({"X"}) + integer("X", {.value = "R"}) +
                  int_reg("R", 0, {.unit = "addr", .representation = "IPV4Address", .polling_time = 250}));
    EXPECT_EQ(camera["X"].representation(), GenApi::Representation::ipv4_address);
    EXPECT_EQ(camera["X"].unit(), "addr");
    EXPECT_EQ(camera["X"].polling_time(), 250);
}

TEST(Description, TakesOneLetterAccessModes)
{
    Camera camera(int_reg("A", 0, "R") + int_reg("B", 4, "W"));
    EXPECT_EQ(camera["A"].access(), AccessMode::read_only);
    EXPECT_EQ(camera["B"].access(), AccessMode::write_only);
}

TEST(Description, ReadsIdentifiersAsHexadecimalWithoutPrefix)
{
    Camera camera("<Port Name=\"E\"><EventID>1F</EventID></Port><Integer Name=\"A\"><EventID>0x1F</EventID>"
                  "<Value>0</Value></Integer>");
    EXPECT_EQ(camera["E"].event_id(), std::uint64_t{0x1F});
    EXPECT_EQ(camera["A"].event_id(), std::uint64_t{0x1F});
}

TEST(Description, TakesNewElementsInAnOldSchema)
{
    const std::string xml =
        "<RegisterDescription SchemaMajorVersion=\"1\" SchemaMinorVersion=\"0\"><Integer Name=\"X\"><Value>2</Value>"
        "<ValidValueSet>1;2; 4</ValidValueSet></Integer><IntSwissKnife Name=\"K\"><Constant Name=\"C\">3</Constant>"
        "<Expression Name=\"D\">C*2</Expression><Formula>D+1</Formula></IntSwissKnife></RegisterDescription>";
    Camera camera(xml, true);
    EXPECT_EQ(camera["X"].valid_int_values(), (std::vector<std::int64_t>{1, 2, 4}));
    EXPECT_EQ(camera["K"].int_value(), 7);
}

TEST(Description, ReadsNumbersBeyondTheSignedRange)
{
    Camera camera("<Integer Name=\"A\"><Value>0xFFFFFFFFFFFFFFFF</Value></Integer>"
                  "<Integer Name=\"B\"><Value>18446744073709551615</Value></Integer>"
                  "<Integer Name=\"C\"><Value>-0x10</Value></Integer>");
    EXPECT_EQ(camera["A"].int_value(), -1);
    EXPECT_EQ(camera["B"].int_value(), -1);
    EXPECT_EQ(camera["C"].int_value(), -16);
}

TEST(Description, ReadsInfiniteLimits)
{
    Camera camera("<Float Name=\"F\"><Value>1</Value><Min>-INF</Min><Max>INF</Max></Float>");
    EXPECT_EQ(camera["F"].float_max(), std::numeric_limits<double>::infinity());
    EXPECT_EQ(camera["F"].float_min(), -std::numeric_limits<double>::infinity());
}

TEST(Description, FindsNodesInsideGroupsAndReferencesAheadOfThem)
{
    Camera camera("<Integer Name=\"X\"><pValue>R</pValue></Integer><Group Comment=\"a\"><Group Comment=\"b\">" +
                  int_reg("R", 0) + "</Group></Group>");
    camera.port.set32(0, 77);
    EXPECT_EQ(camera["X"].int_value(), 77);
}

TEST(Description, KeepsUnknownElementsHarmlessAndTellsOfThem)
{
    Camera camera(root({}) +
                  "<Novelty Name=\"N\"><Value>1</Value></Novelty>"
                  "<Integer Name=\"X\"><Wonder>1</Wonder><Value>5</Value><Extension><Own>1</Own></Extension></Integer>"
                  "<ConfRom Name=\"C\"><Unit>1</Unit></ConfRom><AdvFeatureLock Name=\"L\"/>");
    EXPECT_EQ(camera["X"].int_value(), 5);
    EXPECT_EQ(camera.map->node("N"), nullptr);
    EXPECT_EQ(camera["C"].type(), InterfaceType::none);
    EXPECT_EQ(camera["L"].type(), InterfaceType::none);
    EXPECT_TRUE(is_noted(*camera.map, "X", "<Wonder>"));
    EXPECT_TRUE(is_noted(*camera.map, "", "<Novelty>"));
    EXPECT_EQ(camera.map->diagnostics().size(), 2U);
}

TEST(Description, LetsMergePriorityDecideBetweenNodesOfOneName)
{
    Camera camera("<Integer Name=\"A\"><Value>1</Value></Integer><Integer Name=\"A\" MergePriority=\"1\">"
                  "<Value>2</Value></Integer><Integer Name=\"B\"><Value>1</Value></Integer>"
                  "<Integer Name=\"B\" MergePriority=\"-1\"><Value>2</Value></Integer>"
                  "<Integer Name=\"C\"><Value>1</Value></Integer><Integer Name=\"C\"><Value>2</Value></Integer>");
    EXPECT_EQ(camera["A"].int_value(), 2);
    EXPECT_EQ(camera["B"].int_value(), 1);
    EXPECT_EQ(camera["C"].int_value(), 1);
    EXPECT_TRUE(is_noted(*camera.map, "C", "an earlier node has the same name"));
}

TEST(Description, ListsFeaturesInTheOrderOfTheCategories)
{
    Camera camera(category("Two", {"C", "A"}) + root({"A", "One", "Two"}) + category("One", {"B", "Missing"}) +
                  category("Lost", {"D"}) + integer("A", {.value = 1}) + integer("B", {.value = 1}) +
                  integer("C", {.value = 1}) + integer("D", {.value = 1}));
    std::vector<std::string_view> features;
    for (const GenApi::INode* node : camera.map->features()) {
        features.push_back(node->name());
    }
    EXPECT_EQ(features, (std::vector<std::string_view>{"A", "B", "C"}));
    std::vector<std::string_view> categories;
    for (const GenApi::INode* node : camera.map->categories()) {
        categories.push_back(node->name());
    }
    EXPECT_EQ(categories, (std::vector<std::string_view>{"One", "Two"}));
    EXPECT_EQ(camera["A"].category()->name(), "Root");
    EXPECT_EQ(camera["C"].category()->name(), "Two");
    EXPECT_EQ(camera["D"].category(), nullptr);
    EXPECT_EQ(camera["Two"].children().size(), 2U);
    EXPECT_TRUE(is_noted(*camera.map, "One", "there is no node named Missing"));
}

TEST(Description, MakesATreeOfCategoriesThatListEachOther)
{
    Camera camera(root({"A", "Root"}) + category("A", {"B"}) + category("B", {"A", "X"}) + category("P", {"Q"}) +
                  category("Q", {"P"}) + int_reg("X", 0));
    EXPECT_EQ(camera.map->categories().size(), 2U);
    EXPECT_EQ(camera["B"].children().size(), 1U);
    EXPECT_EQ(camera["Root"].children().size(), 1U);
    EXPECT_EQ(camera["Q"].children().size(), 0U);
    EXPECT_TRUE(is_noted(*camera.map, "B", "lists the category A, which is listed already"));
}

TEST(Description, RefusesWhatIsNone)
{
    EXPECT_EQ(load_error(""), "the description is empty");
    EXPECT_EQ(load_error("hello"), "the description is not XML");
    EXPECT_EQ(load_error("<html></html>"),
              "line 1 of the description: <html> is found where <RegisterDescription> is expected");
    EXPECT_EQ(load_error(std::string(101, ' '), {.largest_description = 100}),
              "the description has 101 bytes; the limit is 100");
}

TEST(Description, NamesTheLineOfBrokenXml)
{
    const std::string error = load_error("junk\n<RegisterDescription>\n\n<Integer>\n</Float>\n</RegisterDescription>");
    EXPECT_EQ(error, "line 5 of the description: Start-end tags mismatch");
    EXPECT_NE(load_error("<RegisterDescription><Integer").find("line 1"), std::string::npos);
}

TEST(Description, MakesOneMalformedNodeUnavailableAndSaysWhy)
{
    Camera camera("<Integer Name=\"Good\"><Value>1</Value></Integer>\n<Integer Name=\"Bad\">\n<Value>twelve</Value>\n"
                  "</Integer>");
    EXPECT_EQ(camera["Good"].int_value(), 1);
    EXPECT_EQ(camera["Bad"].access(), AccessMode::not_available);
    EXPECT_EQ(camera["Bad"].defect(), "line 6 of the description: <Value> is not valid: \"twelve\"");
    EXPECT_EQ(message_of<GenApi::EvaluationError>([&] { static_cast<void>(camera["Bad"].int_value()); }),
              "Bad cannot be used: line 6 of the description: <Value> is not valid: \"twelve\"");
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["Bad"].int_value()); }), PvResult::GenICamXMLError);
}

struct Defect {
    std::string body;
    std::string_view says;
};

class DefectiveNode : public testing::TestWithParam<Defect> {};

TEST_P(DefectiveNode, IsUnavailableAndSaysWhy)
{
    Camera camera(GetParam().body);
    GenApi::INode& node = camera["X"];
    EXPECT_EQ(node.access(), AccessMode::not_available);
    EXPECT_NE(std::string(node.defect()).find(GetParam().says), std::string::npos) << node.defect();
    EXPECT_THROW(static_cast<void>(node.to_string()), GenApi::Error);
    EXPECT_THROW(node.from_string("1"), GenApi::Error);
}

INSTANTIATE_TEST_SUITE_P(
    All, DefectiveNode,
    testing::Values(
        Defect{"<Integer Name=\"X\"><pValue>Y</pValue></Integer>",
               "<pValue> cannot be followed: there is no node named Y"},
        Defect{"<Integer Name=\"X\"><pValue>Device</pValue></Integer>",
               "<pValue> cannot be followed: Device is a Port"},
        Defect{"<Integer Name=\"X\"/>", "it has neither a Value nor a pValue"},
        Defect{"<Boolean Name=\"X\"/>", "it has neither a Value nor a pValue"},
        Defect{"<Integer Name=\"X\"><pIndex>I</pIndex></Integer><Integer Name=\"I\"><Value>0</Value></Integer>",
               "no values to choose from"},
        Defect{"<IntReg Name=\"X\"><Address>0</Address><Length>4</Length></IntReg>", "it has no pPort"},
        Defect{"<IntReg Name=\"X\"><Address>0</Address><Length>9</Length><pPort>Device</pPort></IntReg>",
               "a IntReg cannot have a Length of 9 bytes"},
        Defect{"<IntReg Name=\"X\"><Address>0</Address><Length>-4</Length><pPort>Device</pPort></IntReg>",
               "a IntReg cannot have a Length of -4 bytes"},
        Defect{"<Register Name=\"X\"><Address>0</Address><Length>0x7FFFFFFFFFFFFFFF</Length><pPort>Device</pPort>"
               "</Register>",
               "a Register cannot have a Length of 9223372036854775807 bytes"},
        Defect{"<FloatReg Name=\"X\"><Address>0</Address><Length>5</Length><pPort>Device</pPort></FloatReg>",
               "a FloatReg cannot have a Length of 5 bytes"},
        Defect{"<MaskedIntReg Name=\"X\"><Address>0</Address><Length>2</Length><Bit>16</Bit><pPort>Device</pPort>"
               "</MaskedIntReg>",
               "bit 16 does not exist in a register of 2 bytes"},
        Defect{"<MaskedIntReg Name=\"X\"><Address>0</Address><Length>2</Length><Bit>64</Bit><pPort>Device</pPort>"
               "</MaskedIntReg>",
               "<Bit> is not valid"},
        Defect{"<IntReg Name=\"X\"><Address>0x10000000000000000</Address><Length>4</Length><pPort>Device</pPort>"
               "</IntReg>",
               "<Address> is not valid"},
        Defect{"<IntSwissKnife Name=\"X\"/>", "it has no Formula"},
        Defect{"<IntSwissKnife Name=\"X\"><Formula>A+</Formula></IntSwissKnife>",
               "the formula is malformed: \"A\" is neither a variable nor a function at character 1"},
        Defect{"<SwissKnife Name=\"X\"><pVariable Name=\"A\">Y</pVariable><Formula>A</Formula></SwissKnife>",
               "<pVariable> cannot be followed: there is no node named Y"},
        Defect{"<Converter Name=\"X\"><FormulaFrom>TO</FormulaFrom><FormulaTo>FROM</FormulaTo></Converter>",
               "it has no pValue"},
        Defect{"<Command Name=\"X\"><Value>0</Value></Command>", "it has no CommandValue"},
        Defect{"<Integer Name=\"X\"><pValue>X</pValue></Integer>", "its value depends on itself: X -> X"},
        Defect{"<Integer Name=\"X\"><pValue>Y</pValue></Integer><Integer Name=\"Y\"><pValue>X</pValue></Integer>",
               "its value depends on itself: X -> Y -> X"},
        Defect{"<IntSwissKnife Name=\"X\"><pVariable Name=\"V\">R</pVariable><Formula>V</Formula></IntSwissKnife>"
               "<IntReg Name=\"R\"><pAddress>X</pAddress><Length>4</Length><pPort>Device</pPort></IntReg>",
               "its value depends on itself: X -> R -> X"},
        Defect{"<IntSwissKnife Name=\"X\"><pVariable Name=\"V\">Y</pVariable><Formula>V</Formula></IntSwissKnife>"
               "<IntSwissKnife Name=\"Y\"><pVariable Name=\"V\">X</pVariable><Formula>1 ? 2 : V</Formula>"
               "</IntSwissKnife>",
               "its value depends on itself: X -> Y -> X"},
        Defect{"<Converter Name=\"X\"><pVariable Name=\"V\">X</pVariable><FormulaTo>FROM+V</FormulaTo><FormulaFrom>TO+V"
               "</FormulaFrom><pValue>R</pValue></Converter>" +
                   int_reg("R", 0),
               "its value depends on itself: X -> X"},
        Defect{"<IntSwissKnife Name=\"X\"><Expression Name=\"A\">B</Expression><Expression Name=\"B\">A</Expression>"
               "<Formula>A</Formula></IntSwissKnife>",
               "the formula is malformed"},
        Defect{"<Integer Name=\"X\"><Value>99999999999999999999</Value></Integer>", "<Value> is not valid"},
        Defect{"<Integer Name=\"X\"><Value>1</Value><Max>-99999999999999999999</Max></Integer>", "<Max> is not valid"},
        Defect{"<Integer Name=\"X\"><Value>1</Value><Min>low</Min></Integer>", "<Min> is not valid: \"low\""},
        Defect{"<Integer Name=\"X\"><Value>1</Value><pIsAvailable>Y</pIsAvailable></Integer>",
               "<pIsAvailable> cannot be followed"}));

TEST(Description, TellsOfAPortThatItDoesNotHave)
{
    MemoryPort port;
    const GenApi::NamedPort ports[] = {{"Device", &port}, {"Other", &port}};
    const auto map = GenApi::load_node_map(description(""), ports);
    EXPECT_TRUE(is_noted(*map, "", "there is no port named Other"));
}
