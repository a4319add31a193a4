// The fast path leaves the heap alone.
#include <gtest/gtest.h>

#include <cstring>

#include "sdk/control/control_channel.h"
#include "tests/sdk/control/counting_new.h"

using namespace vex;

namespace {

/// Answers from fixed memory, so that what the test counts is the channel's own.
class FixedTransport final : public control::ControlTransport {
public:
    std::error_code send(std::span<const std::uint8_t> datagram) noexcept override
    {
        id_[0] = datagram[6];
        id_[1] = datagram[7];
        return {};
    }
    std::optional<net::Received> receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds) noexcept override
    {
        const std::uint8_t reply[] = {0, 0, 0, 0x81, 0, 4, id_[0], id_[1], 0, 0, 0, 42};
        std::memcpy(buffer.data(), reply, sizeof reply);
        return net::Received{sizeof reply, false, device()};
    }
    void wake() noexcept override {}
    [[nodiscard]] Endpoint device() const noexcept override { return {{1}, 3956}; }
    [[nodiscard]] Endpoint local() const noexcept override { return {}; }

private:
    std::uint8_t id_[2] = {};
};

TEST(ControlChannel, ReadsARegisterWithoutTheHeap)
{
    if (!device_test::AllocationCount::is_possible()) {
        GTEST_SKIP() << "the sanitizer allocates";
    }
    FixedTransport transport;
    control::ControlChannel channel(transport, net::Clock::steady());
    std::uint32_t value = 0;
    const device_test::AllocationCount allocations;
    const auto outcome = channel.read_register(0x0A00, value);
    const PvResult result = to_result(outcome, transport.device());
    const int count = allocations.value();
    EXPECT_TRUE(result.IsOK());
    EXPECT_EQ(value, 42U);
    EXPECT_EQ(count, 0);
}

}  // namespace
