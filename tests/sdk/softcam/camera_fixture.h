// A camera and a host on the loopback network; the host speaks in literal bytes.
#pragma once

#include "sdk/test_pattern/test_pattern.h"
#include "tests/sdk/eventually.h"
#include "tests/sdk/net/wine.h"
#include "tests/sdk/transmitterraw/packets.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"
#include "tools/softcam/camera.h"
#include "tools/softcam/registers.h"

/// A host application with a control socket and a stream socket.
class Host {
public:
    explicit Host(std::string camera) : camera_(std::move(camera)) {}

    Bytes ask(const Bytes& datagram)
    {
        control_.send(camera_, datagram);
        const auto answer = control_.receive_from(camera_);
        EXPECT_TRUE(answer) << "no answer";
        return answer ? answer->bytes : Bytes(12);
    }

    std::uint32_t read(std::uint32_t address)
    {
        const Bytes answer = ask(read_register(next_id(), address));
        EXPECT_EQ(status_of(answer), status::success) << std::hex << address;
        return u32_at(answer, 8);
    }
    unsigned write(std::uint32_t address, std::uint32_t value)
    {
        return status_of(ask(write_register(next_id(), address, value)));
    }
    Bytes read_bytes(std::uint32_t address, unsigned count)
    {
        Bytes answer = ask(read_memory(next_id(), address, count));
        EXPECT_EQ(status_of(answer), status::success) << std::hex << address;
        return answer.size() >= 12 ? Bytes(answer.begin() + 12, answer.end()) : Bytes{};
    }
    unsigned write_bytes(std::uint32_t address, const Bytes& data)
    {
        return status_of(ask(write_memory(next_id(), address, data)));
    }

    void take_control() { ASSERT_EQ(write(0x0A00, 2), status::success); }

    /// Opens the stream channel towards this host.
    void open_stream(std::uint32_t packet_size = 9000)
    {
        ASSERT_EQ(write(0x0D18, 0x7F000001), status::success);
        ASSERT_EQ(write(0x0D04, packet_size), status::success);
        ASSERT_EQ(write(0x0D00, stream_.port()), status::success);
    }

    /// Waits until the camera has ended its acquisition by itself.
    bool wait_for_end()
    {
        const auto end = vex::net::Clock::steady().now() + std::chrono::seconds(10);
        while (read(softcam::reg::acquisition_status) != 0) {
            if (vex::net::Clock::steady().now() > end) {
                return false;
            }
        }
        return true;
    }

    HostSocket& stream() { return stream_; }
    HostSocket& control() { return control_; }
    unsigned next_id() { return ++id_; }
    void move_to(std::string camera) { camera_ = std::move(camera); }

private:
    std::string camera_;
    HostSocket control_;
    HostSocket stream_;
    unsigned id_ = 0;
};

class SoftCam : public testing::Test {
protected:
    const char* const camera_address = device_address("127.0.0.26");

    SoftCam() : camera({.adapter = camera_address, .serial_number = "T-1"}, clock), host(camera_address) {}

    void SetUp() override
    {
        camera.start();
        host.take_control();
        // one frame at a time unless a test says otherwise
        ASSERT_EQ(host.write(softcam::reg::acquisition_mode, 1), status::success);
    }

    /// Takes the next frame and checks it against the pattern, pixel by pixel.
    std::vector<StreamPacket> expect_frame(const vex::test_pattern::FrameSettings& expected)
    {
        const std::vector<StreamPacket> packets = receive_block(host.stream());
        if (packets.empty() || packets[0].format != 1) {
            ADD_FAILURE() << "no leader";
            return packets;
        }
        const Bytes& leader = packets[0].payload;
        EXPECT_EQ(number_at(leader, 12, 4), expected.pixel_format);
        EXPECT_EQ(number_at(leader, 16, 4), expected.width);
        EXPECT_EQ(number_at(leader, 20, 4), expected.height);
        EXPECT_EQ(number_at(leader, 24, 4), expected.offset_x);
        EXPECT_EQ(number_at(leader, 28, 4), expected.offset_y);
        EXPECT_EQ(number_at(packets.back().payload, 4, 4), expected.height);
        std::vector<std::uint8_t> picture(vex::test_pattern::image_bytes(expected));
        vex::test_pattern::render(expected, packets[0].block_id, picture);
        EXPECT_TRUE(data_of(packets) == picture) << "block " << packets[0].block_id;
        return packets;
    }

    void start() { ASSERT_EQ(host.write(softcam::reg::acquisition_start, 1), status::success); }

    ManualClock clock;
    softcam::Camera camera;
    Host host;
};
