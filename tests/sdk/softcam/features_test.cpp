// The registers behind the features: limits, dependencies, user sets, reset.
#include <random>

#include "tests/sdk/softcam/camera_fixture.h"
#include "tests/sdk/virtualdevice/random_commands.h"

using namespace vex;

using namespace std::chrono_literals;
namespace reg = softcam::reg;

using Features = SoftCam;
using UserSets = SoftCam;
using DeviceControl = SoftCam;

TEST_F(Features, GeometryOutsideItsLimitsIsRefused)
{
    EXPECT_EQ(host.write(reg::width, 15), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::width, 3841), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::width, 3840), status::success);
    EXPECT_EQ(host.write(reg::offset_x, 1), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::width, 800), status::success);
    EXPECT_EQ(host.write(reg::offset_x, 3040), status::success);
    EXPECT_EQ(host.write(reg::width, 801), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::offset_x, 0xFFFFFFFF), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::height, 1), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::height, 2881), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::offset_y, 2401), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::offset_y, 2400), status::success);
    EXPECT_EQ(host.read(reg::width), 800U);
    EXPECT_EQ(host.read(reg::height), 480U);
}

TEST_F(Features, MosaicAndPackedFormatsWantEvenGeometry)
{
    ASSERT_EQ(host.write(reg::width, 101), status::success);
    ASSERT_EQ(host.write(reg::height, 51), status::success);
    ASSERT_EQ(host.write(reg::offset_x, 7), status::success);
    ASSERT_EQ(host.write(reg::pixel_format, 0x01080009), status::success);
    EXPECT_EQ(host.read(reg::width), 100U);
    EXPECT_EQ(host.read(reg::height), 50U);
    EXPECT_EQ(host.read(reg::offset_x), 6U);
    EXPECT_EQ(host.write(reg::width, 99), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::height, 49), status::invalid_parameter);
    ASSERT_EQ(host.write(reg::pixel_format, 0x010C0006), status::success);
    EXPECT_EQ(host.write(reg::width, 99), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::height, 49), status::success);
}

TEST_F(Features, UnknownFormatsPatternsAndModesAreRefused)
{
    EXPECT_EQ(host.write(reg::pixel_format, 0x01080002), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::pixel_format, 0), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::test_pattern, 9), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::acquisition_mode, 3), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::acquisition_frame_count, 0), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::trigger_mode, 2), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::trigger_source, 3), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::gain, 241), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::black_level, 256), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::user_set_selector, 3), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::acquisition_start, 2), status::invalid_parameter);
}

TEST_F(Features, RatesAndTimesOutsideTheirLimitsAreRefused)
{
    const Bytes before = host.read_bytes(reg::exposure_time, 8);
    EXPECT_EQ(host.write_bytes(reg::exposure_time, bytes_of({0x40, 0x22, 0, 0, 0, 0, 0, 0})), status::invalid_parameter)
        << "9 us";
    EXPECT_EQ(host.write_bytes(reg::exposure_time, bytes_of({0x7F, 0xF8, 0, 0, 0, 0, 0, 0})), status::invalid_parameter)
        << "no number";
    EXPECT_EQ(host.read_bytes(reg::exposure_time, 8), before);
    EXPECT_EQ(host.write_bytes(reg::frame_period, Bytes(8)), status::invalid_parameter);
    EXPECT_EQ(host.write_bytes(reg::frame_period, Bytes(8, 0xFF)), status::invalid_parameter);
}

TEST_F(Features, BinningHalvesTheLargestSizeAndRefitsTheImage)
{
    ASSERT_EQ(host.write(reg::width, 3840), status::success);
    ASSERT_EQ(host.write(reg::height, 2000), status::success);
    ASSERT_EQ(host.write(reg::binning_horizontal, 3), status::success);
    EXPECT_EQ(host.read(reg::width_max), 1280U);
    EXPECT_EQ(host.read(reg::width), 1280U);
    ASSERT_EQ(host.write(reg::binning_vertical, 2), status::success);
    EXPECT_EQ(host.read(reg::height_max), 1440U);
    EXPECT_EQ(host.read(reg::height), 1440U);
    EXPECT_EQ(host.read(reg::payload_size), 1280U * 1440U);
    EXPECT_EQ(host.write(reg::binning_horizontal, 0), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::binning_horizontal, 5), status::invalid_parameter);
}

TEST_F(Features, AMonochromeSensorHasNoColourFormats)
{
    ASSERT_EQ(host.write(reg::pixel_format, 0x01080009), status::success);
    ASSERT_EQ(host.write(reg::sensor_type, 1), status::success);
    EXPECT_EQ(host.read(reg::pixel_format), 0x01080001U);
    EXPECT_EQ(host.write(reg::pixel_format, 0x02180014), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::pixel_format, 0x01100007), status::success);
}

TEST_F(Features, LinesFollowOutputAndInverters)
{
    EXPECT_EQ(host.read(reg::line_status), 0U);
    ASSERT_EQ(host.write(reg::user_output, 0xFF), status::success);
    EXPECT_EQ(host.read(reg::line_status), 2U);
    EXPECT_EQ(host.write(reg::user_output, 1), status::invalid_parameter);
    ASSERT_EQ(host.write(reg::line_inverter, 1), status::success);
    ASSERT_EQ(host.write(reg::line_inverter + 4, 1), status::success);
    EXPECT_EQ(host.read(reg::line_status), 1U);
}

TEST_F(Features, TemperatureIsPlausibleAndUptimeRuns)
{
    const auto sensor = static_cast<std::int32_t>(host.read(reg::device_temperature));
    EXPECT_GT(sensor, 40'000);
    EXPECT_LT(sensor, 50'000);
    const Bytes before = host.read_bytes(reg::device_uptime, 8);
    clock.advance(1s);
    const Bytes after = host.read_bytes(reg::device_uptime, 8);
    EXPECT_EQ(number_at(after, 0, 8) - number_at(before, 0, 8), 1'000'000'000U);
}

TEST_F(Features, UserMemoryKeepsWhatIsWritten)
{
    Bytes data(256);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<std::uint8_t>(255 - i);
    }
    ASSERT_EQ(host.write_bytes(reg::user_memory, data), status::success);
    EXPECT_EQ(host.read_bytes(reg::user_memory, 256), data);
    for (std::uint32_t i = 0; i < 5; ++i) {
        ASSERT_EQ(host.write(reg::user_value + 4 * i, 100 + i), status::success);
    }
    EXPECT_EQ(host.read(reg::user_value + 12), 103U);
}

TEST_F(UserSets, SaveAndLoadSettings)
{
    ASSERT_EQ(host.write(reg::width, 1000), status::success);
    ASSERT_EQ(host.write(reg::gain, 33), status::success);
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_save, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_selector, 0), status::success);
    ASSERT_EQ(host.write(reg::user_set_load, 1), status::success);
    EXPECT_EQ(host.read(reg::width), 640U);
    EXPECT_EQ(host.read(reg::gain), 0U);
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_load, 1), status::success);
    EXPECT_EQ(host.read(reg::width), 1000U);
    EXPECT_EQ(host.read(reg::gain), 33U);
    EXPECT_EQ(host.read(reg::payload_size), 480'000U);
}

TEST_F(UserSets, TheFactorySetCannotBeChanged) { EXPECT_EQ(host.write(reg::user_set_save, 1), status::access_denied); }

TEST_F(UserSets, SlowSavingIsAnnouncedWhereThatIsEnabled)
{
    ASSERT_EQ(host.write(reg::user_set_save_time, 20), status::success);
    ASSERT_EQ(host.write(0x0954, 0x2), status::success);
    ASSERT_EQ(host.write(reg::user_set_selector, 2), status::success);
    const Bytes pending = host.ask(write_register(0x4242, reg::user_set_save, 1));
    EXPECT_EQ(pending, bytes_of({0, 0, 0x00, 0x89, 0, 4, 0x42, 0x42, 0, 0, 0, 20}));
    const auto answer = host.control().receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(u16_at(answer->bytes, 2), 0x0083U);
}

TEST_F(UserSets, SavingAgainUnderTheSameRequestIdHappensOnce)
{
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    const std::uint64_t before = camera.control_statistics().executed;
    const Bytes request = write_register(0x4242, reg::user_set_save, 1);
    EXPECT_EQ(host.ask(request), host.ask(request));
    EXPECT_EQ(camera.control_statistics().executed, before + 1);
}

TEST_F(DeviceControl, ResetGivesControlBackAndAppliesThePowerOnSettings)
{
    ASSERT_EQ(host.write(reg::width, 1000), status::success);
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_save, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_default, 1), status::success);
    ASSERT_EQ(host.write(reg::width, 320), status::success);
    clock.advance(2s);

    EXPECT_EQ(host.write(reg::device_reset, 1), status::success);
    EXPECT_EQ(host.read(0x0A00), 0U);
    EXPECT_EQ(host.read(reg::width), 1000U);
    EXPECT_EQ(number_at(host.read_bytes(reg::device_uptime, 8), 0, 8), 0U);
}

TEST_F(DeviceControl, ForceIpMovesCameraAndStream)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    constexpr const char* other_address = "127.0.0.27";
    ASSERT_EQ(host.write(0x0A00, 0), status::success);
    const auto mac = camera.mac().bytes;
    Bytes payload(56);
    std::copy(mac.begin(), mac.end(), payload.begin() + 2);
    payload[20] = 127;
    payload[23] = 27;
    payload[36] = 255;
    EXPECT_EQ(status_of(host.ask(command(0x0004, host.next_id(), payload))), status::success);

    host.move_to(other_address);
    const auto end = net::Clock::steady().now() + 10s;
    while (camera.address() != *Ipv4Address::parse(other_address) && net::Clock::steady().now() < end) {
        std::this_thread::yield();
    }
    EXPECT_EQ(host.read(0x0024), 0x7F00001BU);
    EXPECT_EQ(host.read(0x0034), 0xFF000000U);
    host.take_control();
    host.open_stream();
    start();
    const auto packet = host.stream().receive();
    ASSERT_TRUE(packet);
    EXPECT_EQ(packet->source.address, *Ipv4Address::parse(other_address));
    EXPECT_EQ(packet->source.port, host.read(0x0D1C));
}

TEST_F(DeviceControl, ForceIpToAnAddressTheHostDoesNotHaveIsRefused)
{
    ASSERT_EQ(host.write(0x0A00, 0), status::success);
    const auto mac = camera.mac().bytes;
    Bytes payload(56);
    std::copy(mac.begin(), mac.end(), payload.begin() + 2);
    payload[20] = 203;
    payload[22] = 113;
    payload[23] = 5;
    EXPECT_EQ(status_of(host.ask(command(0x0004, host.next_id(), payload))), status::invalid_parameter);
    EXPECT_EQ(host.read(0x0024), Ipv4Address::parse(camera_address)->value);
}

TEST_F(DeviceControl, TwoCamerasOnOneMachineBothAnswerABroadcast)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    ManualClock other_clock;
    softcam::Camera other({.adapter = "127.0.0.28", .serial_number = "T-2"}, other_clock);
    other.start();
    HostSocket socket;
    socket.send("127.255.255.255", command(0x0002, 1, {}));
    bool first = false;
    bool second = false;
    while (!first || !second) {
        const auto answer = socket.receive();
        ASSERT_TRUE(answer) << first << second;
        const std::string serial(answer->bytes.begin() + 8 + 216, answer->bytes.begin() + 8 + 219);
        first |= serial == "T-1";
        second |= serial == "T-2";
    }
    EXPECT_NE(camera.mac(), other.mac());
}

TEST(CameraStart, SaysWhyItCannot)
{
    try {
        softcam::Camera camera({.adapter = "no-such-thing"});
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("no-such-thing"), std::string::npos);
    }
    SKIP_WHERE_BINDING_IS_LOOSE();
    softcam::Camera first({.adapter = "127.0.0.29"});
    first.start();
    softcam::Camera second({.adapter = "127.0.0.29"});
    EXPECT_THROW(second.start(), std::system_error);
}

TEST_F(DeviceControl, NothingChangesByCommandsOfOthers)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    constexpr std::uint32_t end_of_map = reg::description + 0x1000;
    for (const auto& [address, value] : words_of(camera.responder(), end_of_map)) {
        host.ask(read_register(host.next_id(), address));  // which brings what is computed up to date
    }
    const auto before = words_of(camera.responder(), end_of_map);
    RandomCommands commands(seed, before);
    const Endpoint other{{0x0A010165}, 50000};
    for (int i = 0; i < 20000; ++i) {
        const RandomCommand command = commands.next();
        unsigned code = 0;
        camera.responder().handle(command.datagram, other, [&](const Endpoint&, std::span<const std::uint8_t> data) {
            code = status_of(Bytes(data.begin(), data.end()));
        });
        if (command.writes) {
            EXPECT_NE(code, status::success) << std::hex << command.address;
        }
    }
    const auto after = words_of(camera.responder(), end_of_map);
    ASSERT_EQ(after.size(), before.size());
    for (const auto& [address, value] : after) {
        EXPECT_EQ(value, before.at(address)) << std::hex << address;
    }
}
