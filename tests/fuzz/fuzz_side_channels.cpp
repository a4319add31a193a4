// Whatever an application writes to the registers of a camera's serial ports and I2C bus.
//
// The input is a script of accesses. Each begins with a byte: bits 0 and 1 are the block, bit 2 writes, bit 3 lets time
// go by. Then follow the offset in words, in two bytes, the length in words, in one, and for a write the bytes.
#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "sdk/peripherals/serial_device.h"
#include "tests/fuzz/input.h"
#include "tools/softcam/registers.h"
#include "tools/softcam/side_channels.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;

class ManualClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_; }
    void advance(duration by) { now_ += by; }

private:
    time_point now_{std::chrono::hours(1)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ManualClock clock;
    virtual_device::RegisterMap map;
    softcam::SideChannels channels(
        map, std::make_unique<peripherals::Loopback>(), std::make_unique<peripherals::CommandLineDevice>("fuzzed"),
        [](std::uint32_t port, std::uint32_t count) { require(port <= 2 && count != 0); }, clock);
    channels.set_faults({.uart = {.lost = 10, .overruns = 10, .seed = 1}, .i2c = {.stuck = 10, .seed = 1}});
    std::vector<std::uint8_t> bytes;
    for (View script(data, size); script.size() >= 4;) {
        const std::uint8_t how = script[0];
        const std::uint32_t address =
            softcam::reg::serial0 + (how & 3U) * 0x1000U + ((script[1] * 256U + script[2]) & 0x3FFU) * 4U;
        bytes.assign(script[3] * std::size_t{4} + 4, 0);
        script = script.subspan(4);
        if ((how & 0x04) != 0) {
            const std::size_t given = std::min(bytes.size(), script.size());
            std::copy_n(script.begin(), given, bytes.begin());
            script = script.subspan(given);
            (void)map.write(address, bytes);
        } else {
            (void)map.read(address, bytes);
        }
        if ((how & 0x08) != 0) {
            clock.advance(std::chrono::microseconds(700));
            (void)channels.update();
        }
    }
    channels.power_on();
    return 0;
}
