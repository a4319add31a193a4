// The camera's features as a client sees them: the description in our own node map engine, over the control channel.
#include "sdk/genapi/node_map.h"
#include "tests/sdk/softcam/host_port.h"
#include "tools/softcam/description.h"

using namespace vex;

using namespace std::chrono_literals;
namespace reg = softcam::reg;

namespace {

class NodeMap : public SoftCam {
protected:
    void SetUp() override
    {
        SoftCam::SetUp();
        port = std::make_unique<HostPort>(host);
        map = GenApi::load_node_map(softcam::description_xml(), *port);
    }

    GenApi::INode& node(const char* name)
    {
        GenApi::INode* found = map->node(name);
        if (found == nullptr) {
            throw std::runtime_error(std::string("no node ") + name);
        }
        return *found;
    }
    std::string text(const char* name) { return node(name).to_string(); }
    void set(const char* name, const char* value) { node(name).from_string(value); }

    std::unique_ptr<HostPort> port;
    std::unique_ptr<GenApi::INodeMap> map;
};

}  // namespace

TEST_F(NodeMap, TakesTheDescriptionWithoutComplaint)
{
    for (const GenApi::Diagnostic& diagnostic : map->diagnostics()) {
        ADD_FAILURE() << diagnostic.text;
    }
    for (std::size_t i = 0; i < map->node_count(); ++i) {
        EXPECT_TRUE(map->node_at(i)->defect().empty()) << map->node_at(i)->name() << map->node_at(i)->defect();
    }
    EXPECT_GT(map->features().size(), 90U);
}

TEST_F(NodeMap, EveryReadableFeatureCanBeRead)
{
    int readable = 0;
    for (GenApi::INode* feature : map->features()) {
        if (!GenApi::is_readable(feature->access())) {
            continue;
        }
        ++readable;
        EXPECT_NO_THROW((void)feature->to_string()) << feature->name();
    }
    EXPECT_GT(readable, 80);
    EXPECT_EQ(text("DeviceVendorName"), "Vexkam");
    EXPECT_EQ(text("DeviceID"), "T-1");
    EXPECT_EQ(text("GevCurrentIPAddress"), camera_address);
    EXPECT_EQ(text("PixelFormat"), "Mono8");
}

TEST_F(NodeMap, FormulasFollowThePixelFormat)
{
    struct Case {
        const char* format;
        const char* size;
        const char* filter;
        std::int64_t largest;
    };
    for (const Case& c :
         {Case{"Mono8", "Bpp8", "None", 255}, Case{"Mono10", "Bpp16", "None", 1023},
          Case{"Mono10Packed", "Bpp12", "None", 1023}, Case{"Mono12Packed", "Bpp12", "None", 4095},
          Case{"Mono16", "Bpp16", "None", 65535}, Case{"BayerGR8", "Bpp8", "BayerGR", 255},
          Case{"BayerRG10", "Bpp16", "BayerRG", 1023}, Case{"BayerGB12", "Bpp16", "BayerGB", 4095},
          Case{"BayerBG16", "Bpp16", "BayerBG", 65535}, Case{"BayerRG10Packed", "Bpp12", "BayerRG", 1023},
          Case{"BayerGB12Packed", "Bpp12", "BayerGB", 4095}, Case{"RGB8Packed", "Bpp24", "None", 255},
          Case{"YUV422Packed", "Bpp16", "None", 255}, Case{"YUYVPacked", "Bpp16", "None", 255}}) {
        set("PixelFormat", c.format);
        EXPECT_EQ(text("PixelSize"), c.size) << c.format;
        EXPECT_EQ(text("PixelColorFilter"), c.filter) << c.format;
        EXPECT_EQ(node("PixelDynamicRangeMax").int_value(), c.largest) << c.format;
        EXPECT_EQ(node("PayloadSize").int_value(), 640 * 480 * node("PixelSize").int_value() / 8) << c.format;
    }
}

TEST_F(NodeMap, LimitsAndIncrementsFollowTheGeometry)
{
    EXPECT_EQ(node("Width").int_max(), 3840);
    node("OffsetX").set_int_value(101);
    EXPECT_EQ(node("Width").int_max(), 3739);
    EXPECT_EQ(node("Width").int_increment(), 1);
    set("PixelFormat", "BayerRG8");
    EXPECT_EQ(node("Width").int_increment(), 2);
    EXPECT_EQ(node("OffsetX").int_value(), 100);
    EXPECT_THROW(node("Width").set_int_value(333), GenApi::Error);
    node("BinningHorizontal").set_int_value(4);
    EXPECT_EQ(node("WidthMax").int_value(), 960);
    EXPECT_EQ(node("OffsetX").int_value(), 0);
    EXPECT_EQ(node("OffsetX").int_max(), 320);
}

TEST_F(NodeMap, AvailabilityFollowsOtherFeatures)
{
    EXPECT_FALSE(GenApi::is_available(node("TriggerSoftware").access()));
    set("TriggerMode", "On");
    EXPECT_TRUE(GenApi::is_available(node("TriggerSoftware").access()));
    EXPECT_FALSE(GenApi::is_available(node("AcquisitionFrameCount").access()));
    set("AcquisitionMode", "MultiFrame");
    EXPECT_EQ(node("AcquisitionFrameCount").int_value(), 10);
    EXPECT_TRUE(GenApi::is_available(node("EnumEntry_PixelFormat_RGB8Packed").access()));
    set("SensorType", "Monochrome");
    EXPECT_FALSE(GenApi::is_available(node("EnumEntry_PixelFormat_RGB8Packed").access()));
    EXPECT_THROW(set("PixelFormat", "RGB8Packed"), GenApi::Error);
    EXPECT_FALSE(GenApi::is_available(node("UserSetSave").access()));
    set("UserSetSelector", "UserSet2");
    EXPECT_TRUE(GenApi::is_available(node("UserSetSave").access()));
}

TEST_F(NodeMap, TransportLayerLockProtectsTheGeometry)
{
    node("TLParamsLocked").set_int_value(1);
    EXPECT_FALSE(GenApi::is_writable(node("Width").access()));
    EXPECT_FALSE(GenApi::is_writable(node("PixelFormat").access()));
    EXPECT_TRUE(GenApi::is_writable(node("Gain").access()));
    node("TLParamsLocked").set_int_value(0);
    EXPECT_TRUE(GenApi::is_writable(node("Width").access()));
}

TEST_F(NodeMap, ConvertersWorkBothWays)
{
    node("AcquisitionFrameRate").set_float_value(25.0);
    EXPECT_EQ(number_at(host.read_bytes(reg::frame_period, 8), 0, 8), 40'000'000U);
    EXPECT_DOUBLE_EQ(node("AcquisitionFrameRate").float_value(), 25.0);
    EXPECT_DOUBLE_EQ(node("ResultingFrameRate").float_value(), 25.0);
    node("ExposureTime").set_float_value(50'000.0);
    EXPECT_DOUBLE_EQ(node("ResultingFrameRate").float_value(), 20.0);
    node("Gain").set_float_value(6.5);
    EXPECT_EQ(host.read(reg::gain), 65U);
    EXPECT_DOUBLE_EQ(node("Gain").float_value(), 6.5);
    EXPECT_DOUBLE_EQ(node("Gain").float_max(), 24.0);
    EXPECT_NEAR(node("DeviceTemperature").float_value(), 45.0, 2.0);
}

TEST_F(NodeMap, SelectorsReachTheirOwnRegisters)
{
    for (const char* value : {"Value1", "Value2", "Value3", "Value4", "Value5"}) {
        set("UserDefinedValueSelector", value);
        node("UserDefinedValue").set_int_value(-(value[5] - '0'));
    }
    for (std::uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(static_cast<std::int32_t>(host.read(reg::user_value + 4 * i)), -static_cast<std::int32_t>(i + 1));
    }
    set("LineSelector", "Line2");
    set("LineInverter", "1");
    EXPECT_EQ(host.read(reg::line_inverter + 4), 1U);
    EXPECT_TRUE(node("LineStatus").bool_value());
    set("LineSelector", "Line1");
    EXPECT_FALSE(node("LineInverter").bool_value());
    EXPECT_EQ(text("LineMode"), "Input");
}

TEST_F(NodeMap, AllKindsOfValuesCanBeWritten)
{
    set("UserText", "hello");
    EXPECT_EQ(text("UserText"), "hello");
    node("UserFloat").set_float_value(-2.5);
    EXPECT_EQ(host.read(reg::user_float), 0xC0200000U);
    node("UserSignedLow").set_int_value(-524288);
    node("UserSignedHigh").set_int_value(-1);
    EXPECT_EQ(host.read(reg::user_signed), 0xFFF80000U);
    EXPECT_EQ(node("UserSignedLow").int_value(), -524288);
    const Bytes data(256, 0x5A);
    node("UserMemory").set_bytes(data);
    EXPECT_EQ(host.read_bytes(reg::user_memory, 256), data);
    node("ReverseY").set_bool_value(true);
    EXPECT_EQ(host.read(reg::reverse), 0x40000000U);
    node("UserOutputValue").set_bool_value(true);
    EXPECT_EQ(host.read(reg::user_output), 0xFFU);
}

TEST_F(NodeMap, LoadingAUserSetShowsInCachedFeatures)
{
    EXPECT_EQ(node("Width").int_value(), 640);
    node("Width").set_int_value(800);
    set("UserSetSelector", "UserSet1");
    node("UserSetSave").execute();
    EXPECT_TRUE(node("UserSetSave").is_done());
    set("UserSetSelector", "Default");
    node("UserSetLoad").execute();
    EXPECT_EQ(node("Width").int_value(), 640);
    set("UserSetSelector", "UserSet1");
    node("UserSetLoad").execute();
    EXPECT_EQ(node("Width").int_value(), 800);
}

TEST_F(NodeMap, EventFeaturesReadTheEventAsItWasSent)
{
    HostSocket messages;
    ASSERT_EQ(host.write(0x0B10, 0x7F000001), status::success);
    ASSERT_EQ(host.write(0x0B14, 0), status::success);
    ASSERT_EQ(host.write(0x0B00, messages.port()), status::success);
    set("EventSelector", "FrameStart");
    set("EventNotification", "On");
    set("EventSelector", "Test");
    EXPECT_EQ(text("EventNotification"), "Off");
    set("EventNotification", "On");
    host.open_stream();
    clock.advance(2s);
    set("AcquisitionMode", "SingleFrame");
    node("AcquisitionStart").execute();
    const auto frame = messages.receive();
    ASSERT_TRUE(frame);
    // addresses count from the first byte of the event, its head included
    ASSERT_TRUE(map->deliver_event(0x9001, std::span(frame->bytes).subspan(8)));
    EXPECT_EQ(node("EventFrameStart").int_value(), 0x9001);
    EXPECT_GE(node("EventFrameStartTimestamp").int_value(), 2'000'000'000);
    EXPECT_EQ(node("EventFrameStartFrameID").int_value(), 1);
    node("TestEventGenerate").execute();
    const auto test = messages.receive();
    ASSERT_TRUE(test);
    ASSERT_TRUE(map->deliver_event(0x9004, std::span(test->bytes).subspan(8)));
    EXPECT_EQ(node("EventTestCount").int_value(), 1);
}

TEST_F(NodeMap, CommandsReachTheCamera)
{
    host.open_stream();
    set("AcquisitionMode", "SingleFrame");
    node("AcquisitionStart").execute();
    EXPECT_TRUE(node("AcquisitionStart").is_done());
    expect_frame(test_pattern::FrameSettings{});
    const std::int64_t before = node("GevTimestampValue").int_value();
    clock.advance(1s);
    node("GevTimestampControlLatch").execute();
    EXPECT_GE(node("GevTimestampValue").int_value(), before + 1'000'000'000) << "the latch drops the cached value";
}
