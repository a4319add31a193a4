// Cameras that are reached by pipes, as behind a bridge.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "sdk/genicp/PvGenParameterArrayCL.h"
#include "tools/softlink/pipe_device.h"

using vex::net::PipeName;

namespace {

constexpr const char* found = "GenCP:9600:Vex:SoftLink:SL-0001";

class CameraLinkPipe : public testing::Test {
protected:
    void serve(const std::string& name, const softlink::FaultRates& rates = {})
    {
        camera.emplace(*PipeName::parse(name), softlink::DeviceOptions(), rates);
        port = PvString(camera->name());
    }
    void use()
    {
        const PvResult connected = array.Connect(port, "GenCP");
        ASSERT_TRUE(connected.IsOK()) << connected.description();
        EXPECT_EQ(array.GetDeviceID(), PvString(found));
        EXPECT_EQ(array.GetPortID(), port);
        const PvResult built = array.Build("Device");
        ASSERT_TRUE(built.IsOK()) << built.description();
        ASSERT_TRUE(array.SetIntegerValue("Width", 800).IsOK());
        array.InvalidateCache();
        std::int64_t width = 0;
        ASSERT_TRUE(array.GetIntegerValue("Width", width).IsOK());
        EXPECT_EQ(width, 800);
    }

    const std::string free_name = "pipe:softlink-" + std::to_string(std::random_device{}());
    std::optional<softlink::PipeDevice> camera;
    PvString port;
    PvGenParameterArrayCL array;
};

}  // namespace

TEST_F(CameraLinkPipe, ReachesACameraByTcp)
{
    serve("tcp:0");
    use();
}

TEST_F(CameraLinkPipe, ReachesACameraByName)
{
    serve(free_name);
    use();
}

TEST_F(CameraLinkPipe, ComesThroughABadLine)
{
    softlink::FaultRates rates;
    rates.seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(rates.seed));
    rates.doubled = 100;
    rates.garbage = 100;
    serve("tcp:0", rates);
    use();
}

TEST_F(CameraLinkPipe, ProbingNamesTheDeviceThatConnectTakes)
{
    serve("tcp:0");
    const PvString device = PvGenParameterArrayCL::ProbeDevice(port, "GenCP", 0);
    EXPECT_EQ(device, PvString(found));
    EXPECT_TRUE(array.Connect(port, device).IsOK());
    EXPECT_TRUE(PvGenParameterArrayCL::ProbeDevice(port, "GenCP", 0).empty()) << "the camera is in use";
}

TEST_F(CameraLinkPipe, IsAskedOnceBecauseItsRateIsNotSetFromHere)
{
    softlink::FaultRates rates;
    rates.lost_answers = 1000;
    serve("tcp:0", rates);
    ASSERT_TRUE(array.SetSerialTimeout(500).IsOK());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(array.Connect(port, "GenCP").GetCode(), PvResult::NotFound);
    constexpr std::chrono::seconds at_each_rate(8);  // twice half a second, at least
    EXPECT_LT(std::chrono::steady_clock::now() - begin, at_each_rate);
}

TEST_F(CameraLinkPipe, TellsOfNamesThatNobodyServes)
{
    EXPECT_EQ(array.Connect(PvString(free_name), "GenCP").GetCode(), PvResult::NotFound);
    serve("tcp:0");
    camera.reset();
    EXPECT_EQ(array.Connect(port, "GenCP").GetCode(), PvResult::NotFound);
    EXPECT_TRUE(PvGenParameterArrayCL::ProbeDevice(port, "GenCP", 0).empty());
    for (const char* const wrong : {"pipe:", "pipe:a/b", "tcp:", "tcp:65536", "TCP:host:1"}) {
        EXPECT_EQ(array.Connect(wrong, "GenCP").GetCode(), PvResult::InvalidParameter) << wrong;
    }
}

TEST_F(CameraLinkPipe, IsLostWhenTheOtherProgramEnds)
{
    serve("tcp:0");
    use();
    const std::string name = camera->name();
    camera.reset();
    array.InvalidateCache();
    std::int64_t width = 0;
    EXPECT_EQ(array.GetIntegerValue("Width", width).GetCode(), PvResult::NotConnected);
    serve(name);
    use();
}
