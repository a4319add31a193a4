// Finding a device on a line: rates, templates, and the texts that name devices.
#include "sdk/genicp/probe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sdk/genicp/device_id.h"
#include "sdk/genicp/device_template.h"
#include "tests/sdk/genicp/camera_files.h"
#include "tests/sdk/genicp/scripted_port.h"

using namespace vex;
using namespace genicp_test;

namespace {

using Rates = std::vector<std::uint32_t>;

class GencpProbe : public testing::Test {
protected:
    PvResult find(std::uint32_t device_rate, std::uint32_t refused_rate = 0)
    {
        link = std::make_unique<ScriptedLink>(device, clock, device_rate);
        link->refused_rate = refused_rate;
        const auto begin = clock.now();
        PvResult result = genicp::find_device(*link, "COM3", how, how.baud_rates, milliseconds(250), clock, found);
        took = clock.now() - begin;
        return result;
    }

    ManualClock clock;
    softlink::GencpDevice device{{}, clock};
    std::unique_ptr<ScriptedLink> link;
    genicp::DeviceTemplate how;
    genicp::FoundDevice found;
    net::Clock::duration took{};
};

const std::string lines = "# a class of cameras\n\nBaudRates = 115200, 9600\r\nParity = Even\nStopBits=2\n"
                          "Manufacturer = Vex\nModel = SoftLink\n";

}  // namespace

TEST_F(GencpProbe, FindsTheDeviceAtEachRate)
{
    for (const std::uint32_t rate : how.baud_rates) {
        ASSERT_TRUE(find(rate).IsOK()) << rate;
        EXPECT_EQ(found.baud_rate, rate);
        EXPECT_EQ(found.facts.serial_number, "SL-0001");
        EXPECT_EQ(link->rates.back(), rate);
    }
}

TEST_F(GencpProbe, IsBoundedInTime)
{
    const PvResult result = find(31'250);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_EQ(result.description(), "COM3: no device answers at any rate");
    EXPECT_EQ(link->rates, how.baud_rates);
    EXPECT_GE(took, 16 * milliseconds(250));
    EXPECT_LE(took, 16 * milliseconds(250) + milliseconds(500)) << "and the time that the bytes need on the line";
    EXPECT_EQ(device.statistics().executed, 0U);
}

TEST_F(GencpProbe, PassesOverRatesThatTheLineCannotHave)
{
    ASSERT_TRUE(find(115'200, 9600).IsOK());
    EXPECT_EQ(found.baud_rate, 115'200U);
}

TEST_F(GencpProbe, IsNotHeldUpByWhatHasComeBefore)
{
    link = std::make_unique<ScriptedLink>(device, clock, 9600);
    const auto frame = wire::gencp::read_memory_acknowledge(9, Bytes(500, 0));
    link->scripted().deliver(Bytes(frame.bytes().begin(), frame.bytes().begin() + 20));
    const auto begin = clock.now();
    ASSERT_TRUE(genicp::find_device(*link, "COM3", how, how.baud_rates, milliseconds(250), clock, found).IsOK());
    EXPECT_LT(clock.now() - begin, milliseconds(250));
}

TEST_F(GencpProbe, WritesNothingToTheDevice)
{
    ASSERT_TRUE(find(9600).IsOK());
    EXPECT_EQ(device.word(wire::gencp::abrm::access_privilege), 0U);
    EXPECT_EQ(device.statistics().refused, 0U);
}

TEST_F(GencpProbe, EndsWhenTheLineHasGone)
{
    link = std::make_unique<ScriptedLink>(device, clock, 921'600);
    link->scripted().read_result = PvResult(PvResult::NotConnected, "The serial port COM3 has gone");
    EXPECT_EQ(genicp::find_device(*link, "COM3", how, how.baud_rates, milliseconds(250), clock, found).GetCode(),
              PvResult::NotConnected);
    EXPECT_EQ(link->rates.size(), 1U);
}

TEST_F(GencpProbe, LeavesDevicesOfOtherClassesAlone)
{
    how.name = "Others";
    how.manufacturer = "Somebody";
    const PvResult result = find(9600);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_EQ(result.description(), "COM3: the device \"Vex SoftLink\" is none of the class \"Others\"");
}

TEST(GencpTemplates, AreReadFromText)
{
    genicp::DeviceTemplate made;
    const PvResult parsed = genicp::parse_template(lines, made);
    ASSERT_TRUE(parsed.IsOK()) << parsed.description();
    EXPECT_EQ(made.baud_rates, (Rates{115'200, 9600}));
    EXPECT_EQ(made.line.Parity, PvParityEven);
    EXPECT_EQ(made.line.StopBits, 2U);
    EXPECT_EQ(made.line.ByteSize, 8U);
    EXPECT_EQ(made.manufacturer, "Vex");
    EXPECT_EQ(made.model, "SoftLink");
}

TEST(GencpTemplates, TellWhichLineIsWrong)
{
    genicp::DeviceTemplate made;
    for (const char* const wrong : {"Speed = 9", "BaudRates =", "BaudRates = fast", "Parity = Mark", "StopBits = -1",
                                    "no setting", "BaudRates = 0"}) {
        const PvResult result = genicp::parse_template(std::string("# one\n") + wrong, made);
        EXPECT_EQ(result.GetCode(), PvResult::InvalidDataFormat) << wrong;
        EXPECT_EQ(result.description(),
                  std::string("Line 2 of the template, \"") + wrong + "\", is no setting that a template has");
    }
    EXPECT_EQ(genicp::parse_template("StopBits = 3", made).GetCode(), PvResult::InvalidDataFormat);
}

TEST(GencpTemplates, AreTheBuiltInOneAndThoseOfTheFolder)
{
    const CameraFiles files;
    files.put("Zebra.template", lines);
    files.put("Ant.template", "Speed = 9");
    files.put("GenCP.template", lines);
    files.put("Upper.TEMPLATE", lines);
    files.put("camera.xml", "");
    EXPECT_EQ(genicp::template_names(files.folder()), (std::vector<std::string>{"GenCP", "Ant", "Upper", "Zebra"}));
    EXPECT_EQ(genicp::template_names(""), (std::vector<std::string>{"GenCP"}));
    genicp::DeviceTemplate found;
    ASSERT_TRUE(genicp::find_template("", files.folder(), found).IsOK());
    EXPECT_EQ(found.name, "GenCP");
    EXPECT_EQ(found.baud_rates.size(), 8U) << "the built-in one cannot be replaced";
    EXPECT_TRUE(genicp::find_template("Upper", files.folder(), found).IsOK());
    ASSERT_TRUE(genicp::find_template("Zebra", files.folder(), found).IsOK());
    EXPECT_EQ(found.name, "Zebra");
    EXPECT_EQ(found.model, "SoftLink");
    EXPECT_EQ(genicp::find_template("Ant", files.folder(), found).GetCode(), PvResult::InvalidDataFormat);
    EXPECT_EQ(genicp::find_template("Bee", files.folder(), found).GetCode(), PvResult::NotFound);
    EXPECT_EQ(found.name, "Zebra") << "a failure changes nothing";
}

TEST(GencpDeviceId, SaysWhatItIsGiven)
{
    const auto id = genicp::parse_device_id("GenCP:115200:Vex:SoftLink:SL-0001");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->template_name, "GenCP");
    EXPECT_EQ(id->baud_rate, 115'200U);
    EXPECT_EQ(id->manufacturer, "Vex");
    EXPECT_EQ(id->model, "SoftLink");
    EXPECT_EQ(id->serial_number, "SL-0001");
    EXPECT_EQ(id->text(), "GenCP:115200:Vex:SoftLink:SL-0001");
    for (const char* const wrong : {"GenCP:fast", "GenCP:-1", "GenCP:99999999999", "a:1:2:3:4:5"}) {
        EXPECT_FALSE(genicp::parse_device_id(wrong)) << wrong;
    }
}

TEST(GencpDeviceId, LeavesOpenWhatItDoesNotSay)
{
    genicp::DeviceFacts facts;
    facts.manufacturer = "Vex: cameras ";
    facts.model = "SoftLink";
    facts.serial_number = "7";
    const genicp::DeviceId found = genicp::device_id_of("GenCP", 9600, facts);
    EXPECT_EQ(found.text(), "GenCP:9600:Vex_ cameras:SoftLink:7");
    for (const char* const named : {"", "GenCP", "GenCP:9600", "::Vex_ cameras", ":::SoftLink", "::::7"}) {
        EXPECT_TRUE(genicp::parse_device_id(named)->names(found)) << named;
    }
    for (const char* const other : {"::Vex", ":::softlink", "::::8"}) {
        EXPECT_FALSE(genicp::parse_device_id(other)->names(found)) << other;
    }
}
