// What the camera tells on its message channel.
#include "tests/sdk/softcam/camera_fixture.h"

using namespace vex;

using namespace std::chrono_literals;
namespace reg = softcam::reg;

namespace {

class Events : public SoftCam {
protected:
    void SetUp() override
    {
        SoftCam::SetUp();
        ASSERT_EQ(host.write(0x0B10, 0x7F000001), status::success);
        ASSERT_EQ(host.write(0x0B14, 5000), status::success);
        ASSERT_EQ(host.write(0x0B00, messages.port()), status::success);
    }

    void enable(std::uint32_t kind) { ASSERT_EQ(host.write(reg::event_notification + 4 * kind, 1), status::success); }

    /// The next event, acknowledged.
    Bytes next_event()
    {
        auto message = messages.receive();
        if (!message) {
            ADD_FAILURE() << "no event";
            return Bytes(64);
        }
        EXPECT_EQ(message->source.port, host.read(0x0B1C));
        const Bytes& bytes = message->bytes;
        messages.send(camera_address, bytes_of({0, 0, bytes[2], bytes[3] + 1U, 0, 0, bytes[6], bytes[7]}),
                      message->source.port);
        return {bytes.begin() + 8, bytes.end()};
    }

    HostSocket messages;
};

}  // namespace

TEST_F(Events, OnlyWhatIsEnabledIsTold)
{
    host.open_stream();
    enable(1);
    enable(3);
    clock.advance(1s);
    start();
    const Bytes frame_start = next_event();
    EXPECT_EQ(u16_at(frame_start, 2), 0x9001U);
    EXPECT_EQ(u16_at(frame_start, 4), 0U);
    EXPECT_EQ(u16_at(frame_start, 6), 1U);
    EXPECT_EQ(number_at(frame_start, 16, 8), 1U);
    const auto packets = expect_frame(test_pattern::FrameSettings{});
    EXPECT_EQ(number_at(frame_start, 8, 8), number_at(packets[0].payload, 4, 8)) << "the frame's own timestamp";
    EXPECT_EQ(u16_at(next_event(), 2), 0x9003U);
    EXPECT_FALSE(messages.receive(30ms));
}

TEST_F(Events, AcquisitionAndFramesAreToldInOrder)
{
    host.open_stream();
    for (std::uint32_t kind = 0; kind < 4; ++kind) {
        enable(kind);
    }
    ASSERT_EQ(host.write(reg::acquisition_mode, 2), status::success);
    ASSERT_EQ(host.write(reg::acquisition_frame_count, 2), status::success);
    start();
    EXPECT_EQ(u16_at(next_event(), 2), 0x9000U);
    EXPECT_EQ(u16_at(next_event(), 2), 0x9001U);
    EXPECT_EQ(u16_at(next_event(), 2), 0x9002U);
    clock.advance(34ms);
    EXPECT_EQ(u16_at(next_event(), 2), 0x9001U);
    EXPECT_EQ(u16_at(next_event(), 2), 0x9003U) << "the last frame has been taken";
    const Bytes end = next_event();
    EXPECT_EQ(u16_at(end, 2), 0x9002U);
    EXPECT_EQ(number_at(end, 16, 8), 2U);
}

TEST_F(Events, TestEventsAreCounted)
{
    enable(4);
    for (std::uint32_t i = 1; i <= 3; ++i) {
        ASSERT_EQ(host.write(reg::test_event_generate, 1), status::success);
        const Bytes event = next_event();
        EXPECT_EQ(u16_at(event, 2), 0x9004U);
        EXPECT_EQ(u16_at(event, 4), 0xFFFFU);
        EXPECT_EQ(u32_at(event, 16), i);
    }
    ASSERT_EQ(host.write(reg::event_notification + 16, 0), status::success);
    ASSERT_EQ(host.write(reg::test_event_generate, 1), status::success);
    EXPECT_FALSE(messages.receive(30ms));
    EXPECT_EQ(camera.message_statistics().sent, 3U);
}

TEST_F(Events, LosingControlClosesTheChannel)
{
    enable(4);
    ASSERT_EQ(host.write(0x0A00, 0), status::success);
    host.take_control();
    ASSERT_EQ(host.write(reg::test_event_generate, 1), status::success);
    EXPECT_FALSE(messages.receive(30ms));
    EXPECT_EQ(host.read(0x0B00), 0U);
}

TEST_F(Events, UserSetsRememberWhatIsEnabled)
{
    enable(4);
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_save, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_selector, 0), status::success);
    ASSERT_EQ(host.write(reg::user_set_load, 1), status::success);
    ASSERT_EQ(host.write(reg::test_event_generate, 1), status::success);
    EXPECT_FALSE(messages.receive(30ms));
    ASSERT_EQ(host.write(reg::user_set_selector, 1), status::success);
    ASSERT_EQ(host.write(reg::user_set_load, 1), status::success);
    ASSERT_EQ(host.write(reg::test_event_generate, 1), status::success);
    EXPECT_EQ(u16_at(next_event(), 2), 0x9004U);
}
