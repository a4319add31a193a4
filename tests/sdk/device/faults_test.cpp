// A device on a bad network: what is read is true and what was written stays written, whatever happens on the way.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>

#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/control/raw_camera.h"
#include "tools/softcam/camera.h"
#include "tools/softcam/registers.h"

namespace {

class DeviceOnABadNetwork : public testing::TestWithParam<std::uint64_t> {
protected:
    DeviceOnABadNetwork() : random_(GetParam())
    {
        RecordProperty("seed", static_cast<int>(GetParam()));
        softcam::CameraOptions options;
        options.adapter = device_test::loopback(42).to_string();
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        PvGenParameterArray& link = *device.GetGenLink();
        EXPECT_TRUE(link.SetIntegerValue("AnswerTimeout", 30).IsOK());
        EXPECT_TRUE(link.SetIntegerValue("CommandRetries", 20).IsOK());
        const PvResult result = device.Connect(PvString(options.adapter));
        EXPECT_TRUE(result.IsOK()) << result.description();
    }

    softcam::ControlFaults faults() const
    {
        softcam::ControlFaults all;
        all.seed = GetParam();
        all.lost_commands = all.lost = all.late = all.doubled = all.reordered = all.truncated = all.wrong = 40;
        all.late_by = std::chrono::milliseconds(45);  // also after the request was given up and sent again
        all.pending = 10;
        all.pending_time = std::chrono::milliseconds(60);
        return all;
    }

    std::uint32_t number() { return static_cast<std::uint32_t>(random_()); }

    std::unique_ptr<softcam::Camera> camera;
    PvDevice device;

private:
    std::mt19937_64 random_;
};

TEST_P(DeviceOnABadNetwork, ReadsAndWritesWhatIsMeant)
{
    SCOPED_TRACE("seed " + std::to_string(GetParam()));
    constexpr std::size_t words = 64;
    std::array<std::uint8_t, words * 4> expected{};
    ASSERT_TRUE(device.WriteMemory(softcam::reg::user_memory, expected.data(), expected.size()).IsOK());
    camera->set_control_faults(faults());
    for (int i = 0; i < 150; ++i) {
        const std::uint32_t at = number() % words;
        const std::uint32_t address = softcam::reg::user_memory + at * 4;
        const std::uint32_t count = 1 + number() % static_cast<std::uint32_t>(words - at);
        std::array<std::uint8_t, words * 4> bytes{};
        switch (number() % 4) {
        case 0: {
            const std::uint32_t value = number();
            ASSERT_TRUE(device.WriteRegister(address, value).IsOK());
            for (unsigned k = 0; k < 4; ++k) {
                expected[at * 4 + k] = static_cast<std::uint8_t>(value >> (24 - 8 * k));
            }
            break;
        }
        case 1: {
            std::uint32_t value = 0;
            ASSERT_TRUE(device.ReadRegister(address, value).IsOK());
            const std::uint8_t* const word = &expected[at * 4];
            ASSERT_EQ(value, (std::uint32_t{word[0]} << 24) | (word[1] << 16) | (word[2] << 8) | word[3]) << i;
            break;
        }
        case 2:
            for (std::size_t k = 0; k < count * 4; ++k) {
                bytes[k] = expected[at * 4 + k] = static_cast<std::uint8_t>(number());
            }
            ASSERT_TRUE(device.WriteMemory(address, bytes.data(), count * 4).IsOK());
            break;
        default:
            ASSERT_TRUE(device.ReadMemory(address, bytes.data(), count * 4).IsOK());
            ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + count * 4, expected.begin() + at * 4)) << i;
        }
        ASSERT_TRUE(device.IsConnected());
    }
    const softcam::FaultStatistics done = camera->fault_statistics();
    EXPECT_GT(done.lost_commands + done.lost, 0U);
    EXPECT_GT(done.late + done.reordered, 0U);
    EXPECT_GT(done.doubled + done.truncated + done.wrong, 0U);
}

TEST_P(DeviceOnABadNetwork, ReportsARefusalAndNothingElse)
{
    SCOPED_TRACE("seed " + std::to_string(GetParam()));
    // no acknowledge is lost or waited for in vain: nobody could say what became of a command whose repetition is
    // refused
    ASSERT_TRUE(device.GetGenLink()->SetIntegerValue("AnswerTimeout", 2000).IsOK());
    softcam::ControlFaults refusing;
    refusing.seed = GetParam();
    refusing.refused = 300;
    refusing.doubled = 300;
    const std::uint32_t address = softcam::reg::user_memory;
    std::uint32_t expected = 0;
    ASSERT_TRUE(device.WriteRegister(address, expected).IsOK());
    camera->set_control_faults(refusing);
    for (int i = 0; i < 60; ++i) {
        const std::uint32_t value = number();
        const PvResult result = device.WriteRegister(address, value);
        if (result.IsOK()) {
            expected = value;
        } else {
            EXPECT_EQ(result.GetCode(), PvResult::StateError) << result.description();
        }
        camera->set_control_faults({});
        std::uint32_t read = 0;
        ASSERT_TRUE(device.ReadRegister(address, read).IsOK());
        ASSERT_EQ(read, expected) << i;
        refusing.seed = number();
        camera->set_control_faults(refusing);
    }
}

INSTANTIATE_TEST_SUITE_P(Seed, DeviceOnABadNetwork, testing::Values(1, 2, 3));

}  // namespace
