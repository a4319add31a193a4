// The features of a simulated camera at the other end of a pseudo terminal.
#include "sdk/genicp/PvGenParameterArrayCL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "sdk/genicam/PvGenFile.h"
#include "sdk/net/descriptor_linux.h"
#include "tests/sdk/genicp/camera_files.h"
#include "tools/softlink/pty_device.h"

using genicp_test::CameraFiles;
using genicp_test::small_description;

namespace {

std::vector<std::string> texts(PvStringList& list)
{
    std::vector<std::string> all;
    for (std::uint32_t i = 0; i < list.GetSize(); ++i) {
        all.push_back(list.GetItem(i)->str());
    }
    return all;
}

class CameraLinkArray : public testing::Test {
protected:
    CameraLinkArray() { setenv("VEX_CAMERALINK_FOLDER", files.folder().c_str(), 1); }
    ~CameraLinkArray() override { unsetenv("VEX_CAMERALINK_FOLDER"); }

    PvString port() const { return PvString(std::string_view(camera.name())); }
    void connect()
    {
        const PvResult connected = array.Connect(port(), "GenCP:9600");
        ASSERT_TRUE(connected.IsOK()) << connected.description();
    }
    void build(const char* description = "Device")
    {
        const PvResult built = array.Build(description);
        ASSERT_TRUE(built.IsOK()) << built.description();
    }
    std::int64_t width()
    {
        std::int64_t value = -1;
        const PvResult read = array.GetIntegerValue("Width", value);
        EXPECT_TRUE(read.IsOK()) << read.description();
        return value;
    }

    const CameraFiles files;
    softlink::DeviceOptions options;
    softlink::PtyDevice camera{options, {}};
    PvGenParameterArrayCL array;
};

}  // namespace

TEST_F(CameraLinkArray, IsEmptyAtFirst)
{
    EXPECT_EQ(array.GetCount(), 0U);
    EXPECT_EQ(array.GetNodeMap(), nullptr);
    EXPECT_TRUE(array.GetDeviceID().empty());
    EXPECT_TRUE(array.GetPortID().empty());
    EXPECT_TRUE(array.GetXMLID().empty());
    std::uint32_t timeout = 0;
    EXPECT_TRUE(array.GetSerialTimeout(timeout).IsOK());
    EXPECT_EQ(timeout, PvGenParameterArrayCL::default_timeout);
}

TEST_F(CameraLinkArray, ReadsAndWritesFeaturesOfTheCamera)
{
    connect();
    EXPECT_EQ(array.GetDeviceID(), PvString("GenCP:9600:Vex:SoftLink:SL-0001"));
    EXPECT_EQ(array.GetPortID(), port());
    build();
    EXPECT_EQ(array.GetXMLID(), PvString("Device"));
    EXPECT_EQ(width(), 640);
    ASSERT_TRUE(array.SetIntegerValue("Width", 800).IsOK());
    array.InvalidateCache();
    EXPECT_EQ(width(), 800);
    PvString text;
    ASSERT_TRUE(array.GetString("DeviceModelName", text).IsOK());
    EXPECT_EQ(text, PvString("SoftLink"));
    double exposure = 0;
    ASSERT_TRUE(array.GetFloatValue("ExposureTime", exposure).IsOK());
    EXPECT_EQ(exposure, 5000.0);
    ASSERT_TRUE(array.SetEnumValue("TestPattern", PvString("GreyHorizontalRamp")).IsOK());
    ASSERT_TRUE(array.SetBooleanValue("ReverseX", true).IsOK());
    ASSERT_TRUE(array.ExecuteCommand("TriggerSoftware").IsOK());
    std::int64_t triggers = 0;
    ASSERT_TRUE(array.GetIntegerValue("TriggerCount", triggers).IsOK());
    EXPECT_EQ(triggers, 1);
}

TEST_F(CameraLinkArray, GivesAccessToFilesOfTheCamera)
{
    connect();
    build();
    PvGenFile file;
    ASSERT_TRUE(file.Open(&array, "UserFile", PvGenOpenModeWrite).IsOK());
    std::vector<std::uint8_t> content(5001);  // more than one step, and no round number of words
    std::iota(content.begin(), content.end(), std::uint8_t{0});
    std::int64_t count = 0;
    const auto size = static_cast<std::int64_t>(content.size());
    const PvResult written = file.Write(content.data(), size, count);
    EXPECT_TRUE(written.IsOK()) << written.description();
    EXPECT_EQ(count, size);
    ASSERT_TRUE(file.Close().IsOK());
    ASSERT_TRUE(file.Open(&array, "UserFile", PvGenOpenModeRead).IsOK());
    std::vector<std::uint8_t> back(content.size() + 1);
    EXPECT_TRUE(file.Read(back.data(), size + 1, count).IsOK());
    EXPECT_EQ(count, size);
    back.pop_back();
    EXPECT_EQ(back, content);
    EXPECT_EQ(file.Open(&array, "OtherFile", PvGenOpenModeRead).IsOK(), false);
}

TEST_F(CameraLinkArray, IsBuiltFromAFileBeforeItIsConnected)
{
    files.put("small.xml", small_description);
    build("small.xml");
    EXPECT_EQ(array.GetCount(), 1U);
    std::int64_t value = 0;
    EXPECT_FALSE(array.GetIntegerValue("Width", value).IsOK());
    connect();
    EXPECT_EQ(width(), 640);
}

TEST_F(CameraLinkArray, WantsAConnectionForTheCamerasOwnDescription)
{
    const PvResult built = array.Build("Device");
    EXPECT_EQ(built.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(array.Build("missing.xml").GetCode(), PvResult::NotFound);
    EXPECT_TRUE(array.GetXMLID().empty());
}

TEST_F(CameraLinkArray, KeepsItsFeaturesWhenBuildingFails)
{
    files.put("broken.xml", "<RegisterDescription");
    connect();
    build();
    PvGenParameter* const before = array.Get("Width");
    EXPECT_EQ(array.Build("broken.xml").GetCode(), PvResult::GenICamXMLError);
    EXPECT_EQ(array.Get("Width"), before);
    EXPECT_EQ(array.GetXMLID(), PvString("Device"));
}

TEST_F(CameraLinkArray, ParametersOfAnEarlierMapAreGone)
{
    connect();
    build();
    const auto lifetime = array.Get("Width")->lifetime();
    build("Device:0");
    EXPECT_TRUE(lifetime.expired());
    EXPECT_EQ(width(), 640);
}

TEST_F(CameraLinkArray, RefusesAnotherDeviceAndOtherTexts)
{
    EXPECT_EQ(array.Connect(port(), "GenCP:9600:Vex:Other").GetCode(), PvResult::NotFound);
    EXPECT_EQ(array.Connect(port(), "GenCP:fast").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(array.Connect(port(), "NoTemplate").GetCode(), PvResult::NotFound);
    EXPECT_EQ(array.Connect("/dev/no-such-line", "GenCP").GetCode(), PvResult::NotFound);
    EXPECT_EQ(array.Connect("", "GenCP").GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(array.GetDeviceID().empty());
    connect();
}

TEST_F(CameraLinkArray, APortHasOneConnection)
{
    connect();
    PvGenParameterArrayCL second;
    EXPECT_EQ(second.Connect(port(), "GenCP:9600").GetCode(), PvResult::StateError);
    EXPECT_TRUE(PvGenParameterArrayCL::ProbeDevice(port(), "GenCP", 100).empty()) << "the port is in use";
    connect();
}

TEST_F(CameraLinkArray, KeepsItsFeaturesWhenItIsDisconnected)
{
    EXPECT_TRUE(array.Disconnect().IsOK());
    connect();
    build();
    EXPECT_EQ(width(), 640);
    EXPECT_TRUE(array.Disconnect().IsOK());
    EXPECT_TRUE(array.GetDeviceID().empty());
    array.InvalidateCache();
    std::int64_t value = 0;
    EXPECT_EQ(array.GetIntegerValue("Width", value).GetCode(), PvResult::NotConnected);
    PvGenParameterArrayCL other;
    EXPECT_TRUE(other.Connect(port(), "GenCP:9600").IsOK()) << "the port is free";
    EXPECT_TRUE(other.Disconnect().IsOK());
    connect();
    EXPECT_EQ(width(), 640);
}

TEST_F(CameraLinkArray, ProbingNamesTheDeviceThatConnectTakes)
{
    const PvString found = PvGenParameterArrayCL::ProbeDevice(port(), "", 0);
    EXPECT_EQ(found, PvString("GenCP:9600:Vex:SoftLink:SL-0001"));
    EXPECT_TRUE(array.Connect(port(), found).IsOK());
    EXPECT_TRUE(PvGenParameterArrayCL::ProbeDevice(port(), "NoTemplate", 0).empty());
}

TEST_F(CameraLinkArray, AsksAtTheRateThatTheDeviceTextGives)
{
    ASSERT_TRUE(array.Connect(port(), "GenCP:115200").IsOK());
    EXPECT_EQ(array.GetDeviceID(), PvString("GenCP:115200:Vex:SoftLink:SL-0001"));
}

TEST_F(CameraLinkArray, LeavesTheLineAsItWas)
{
    const vex::net::Descriptor line(::open(camera.name().c_str(), O_RDWR | O_NOCTTY));
    termios before{};
    ASSERT_EQ(::tcgetattr(line.get(), &before), 0);
    ::cfsetspeed(&before, B38400);
    before.c_cflag |= CSTOPB;
    before.c_lflag |= ISIG;
    ASSERT_EQ(::tcsetattr(line.get(), TCSANOW, &before), 0);
    EXPECT_FALSE(PvGenParameterArrayCL::ProbeDevice(port(), "GenCP", 0).empty());
    termios after{};
    ASSERT_EQ(::tcgetattr(line.get(), &after), 0);
    EXPECT_EQ(::cfgetospeed(&after), speed_t{B38400});
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
}

TEST_F(CameraLinkArray, ALineOfNoiseIsNoCamera)
{
    const vex::net::Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK));
    ASSERT_EQ(::grantpt(master.get()), 0);
    ASSERT_EQ(::unlockpt(master.get()), 0);
    const PvString noisy(std::string_view(::ptsname(master.get())));
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::atomic<bool> stop{false};
    std::thread noise([&] {
        std::mt19937 random(seed);
        while (!stop) {
            std::array<std::uint8_t, 512> bytes{};
            std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random() % 3); });
            if (::write(master.get(), bytes.data(), bytes.size()) < 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));  // nobody reads at present
            }
        }
    });
    ASSERT_TRUE(array.SetSerialTimeout(20).IsOK());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(PvGenParameterArrayCL::ProbeDevice(noisy, "GenCP", 20).empty());
    EXPECT_EQ(array.Connect(noisy, "GenCP:9600").GetCode(), PvResult::NotFound);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    stop = true;
    noise.join();
}

TEST_F(CameraLinkArray, FeaturesShowTheCameraThatIsConnectedLast)
{
    const softlink::PtyDevice other(options, {});
    const PvString second(std::string_view(other.name()));
    connect();
    build();
    EXPECT_EQ(width(), 640);
    {
        PvGenParameterArrayCL writer;
        ASSERT_TRUE(writer.Connect(second, "GenCP:9600").IsOK());
        ASSERT_TRUE(writer.Build("Device").IsOK());
        ASSERT_TRUE(writer.SetIntegerValue("Width", 800).IsOK());
    }
    ASSERT_TRUE(array.Connect(second, "GenCP:9600").IsOK());
    EXPECT_EQ(array.GetPortID(), second);
    EXPECT_EQ(width(), 800);
    EXPECT_FALSE(array.Connect("/dev/no-such-line", "GenCP").IsOK());
    EXPECT_TRUE(array.GetPortID().empty()) << "the connection before has ended";
    array.InvalidateCache();
    std::int64_t value = 0;
    EXPECT_EQ(array.GetIntegerValue("Width", value).GetCode(), PvResult::NotConnected);
}

TEST_F(CameraLinkArray, TimeoutsHoldForTheConnectionToo)
{
    const auto wait_in_vain = [&] {
        camera.be_silent(true);
        array.InvalidateCache();
        const auto begin = std::chrono::steady_clock::now();
        std::int64_t value = 0;
        EXPECT_EQ(array.GetIntegerValue("Width", value).GetCode(), PvResult::Timeout);
        camera.be_silent(false);
        return std::chrono::steady_clock::now() - begin;
    };
    constexpr std::chrono::seconds with_the_default(4);  // for all attempts, at least
    ASSERT_TRUE(array.SetSerialTimeout(50).IsOK());
    connect();
    build();
    EXPECT_LT(wait_in_vain(), with_the_default);
    ASSERT_TRUE(array.SetSerialTimeout(1000).IsOK());
    connect();
    ASSERT_TRUE(array.SetSerialTimeout(50).IsOK());
    EXPECT_LT(wait_in_vain(), with_the_default);
}

TEST_F(CameraLinkArray, WaitsForTheLineBesideTheTimeout)
{
    options.baud_rate = 57'600;
    const softlink::PtyDevice slow(options, {});
    // four times 20 ms are not enough for the longest messages at this rate
    ASSERT_TRUE(array.SetSerialTimeout(20).IsOK());
    ASSERT_TRUE(array.Connect(PvString(std::string_view(slow.name())), "GenCP:57600").IsOK());
    build();
    EXPECT_EQ(width(), 640);
}

TEST_F(CameraLinkArray, ListsTemplatesAndDescriptions)
{
    files.put("Mine.template", "BaudRates = 9600\n");
    files.put("small.xml", small_description);
    PvStringList list;
    list.Add("left over");
    PvGenParameterArrayCL::GetDeviceTemplates(list);
    EXPECT_EQ(texts(list), (std::vector<std::string>{"GenCP", "Mine"}));
    ASSERT_TRUE(array.GetXMLIDs(list).IsOK());
    EXPECT_EQ(texts(list), (std::vector<std::string>{"small.xml"}));
    ASSERT_TRUE(array.Connect(port(), "Mine").IsOK());
    ASSERT_TRUE(array.GetXMLIDs(list).IsOK());
    EXPECT_EQ(texts(list), (std::vector<std::string>{"Device", "Device:0", "Device:1", "small.xml"}));
}

TEST_F(CameraLinkArray, SerialTimeoutHasLimits)
{
    std::uint32_t timeout = 0;
    for (const std::uint32_t good : {10U, 60'000U, 2500U}) {
        EXPECT_TRUE(array.SetSerialTimeout(good).IsOK());
        EXPECT_TRUE(array.GetSerialTimeout(timeout).IsOK());
        EXPECT_EQ(timeout, good);
    }
    for (const std::uint32_t bad : {0U, 9U, 60'001U, 0xFFFFFFFFU}) {
        EXPECT_EQ(array.SetSerialTimeout(bad).GetCode(), PvResult::InvalidParameter);
    }
    EXPECT_TRUE(array.GetSerialTimeout(timeout).IsOK());
    EXPECT_EQ(timeout, 2500U);
}

TEST_F(CameraLinkArray, KeepsAHeartbeatingDevice)
{
    softlink::DeviceOptions beating;
    beating.heartbeat = std::chrono::milliseconds(300);
    const softlink::PtyDevice other(beating, {});
    ASSERT_TRUE(array.Connect(PvString(std::string_view(other.name())), "GenCP").IsOK());
    build();
    std::int64_t before = 0;
    ASSERT_TRUE(array.GetIntegerValue("CommandCount", before).IsOK());
    std::int64_t beats = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (std::int64_t looks = 1; beats < 5 && std::chrono::steady_clock::now() < deadline; ++looks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::int64_t now = 0;
        ASSERT_TRUE(array.GetIntegerValue("CommandCount", now).IsOK());
        beats = now - before - looks;
    }
    EXPECT_GE(beats, 5) << "commands that nobody here gave";
}

TEST_F(CameraLinkArray, ComesThroughABadLine)
{
    softlink::FaultRates rates;
    rates.seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(rates.seed));
    rates.lost_answers = 10;
    rates.doubled = 30;
    rates.flipped = 10;
    rates.garbage = 30;
    const softlink::PtyDevice bad(options, rates);
    ASSERT_TRUE(array.SetSerialTimeout(200).IsOK());
    PvResult connected;
    for (int attempt = 0; attempt < 5; ++attempt) {  // finding the device is given few attempts
        connected = array.Connect(PvString(std::string_view(bad.name())), "GenCP:9600");
        if (connected.IsOK()) {
            break;
        }
    }
    ASSERT_TRUE(connected.IsOK()) << connected.description();
    build();
    for (int round = 1; round <= 50; ++round) {
        ASSERT_TRUE(array.ExecuteCommand("TriggerSoftware").IsOK());
        std::int64_t count = 0;
        ASSERT_TRUE(array.GetIntegerValue("TriggerCount", count).IsOK());
        ASSERT_EQ(count, round);
    }
}
