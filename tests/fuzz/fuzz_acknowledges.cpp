// Whatever a device answers: to the search, to register and memory accesses, to the reading of its description.
//
// The input is a script of answers. Each begins with a byte that says how much of it is put right, so that the fuzzer
// gets past the matching of acknowledges: 0x01 request ID, 0x02 acknowledge code, 0x04 status, 0x08 length, 0x10 comes
// from a stranger, 0x20 ends the waiting for this sending. Then follow the length in one byte, in words, and the bytes.
#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

#include "sdk/control/control_channel.h"
#include "sdk/control/control_transport.h"
#include "sdk/control/discovery.h"
#include "sdk/description/description_url.h"
#include "sdk/device/device_memory.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;
using std::chrono::milliseconds;

class ManualClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_; }
    void advance(duration by) { now_ += by; }

private:
    time_point now_{std::chrono::hours(1)};
};

/// Takes every question and never answers: what arrives is the script's.
class SilentNetwork final : public control::SearchNetwork {
public:
    [[nodiscard]] std::vector<net::Interface> interfaces() override { return {}; }
    [[nodiscard]] std::unique_ptr<control::SearchPorts> open(std::span<const net::Interface> /*interfaces*/,
                                                             bool /*broadcasts*/) override
    {
        return std::make_unique<Ports>();
    }
    [[nodiscard]] const net::Clock& clock() const noexcept override { return clock_; }

private:
    struct Ports final : control::SearchPorts {
        [[nodiscard]] std::span<const control::UnusableInterface> unusable() const noexcept override { return {}; }
        std::error_code send(std::size_t, const Endpoint&, std::span<const std::uint8_t>) noexcept override
        {
            return {};
        }
        std::optional<Arrival> receive(std::span<std::uint8_t>, milliseconds) override { return std::nullopt; }
    };

    ManualClock clock_;
};

/// Answers from the script; when that is over nothing answers any more.
class ScriptedDevice final : public control::ControlTransport {
public:
    ScriptedDevice(ManualClock& clock, View script) : clock_(clock), script_(script) {}

    std::error_code send(std::span<const std::uint8_t> datagram) noexcept override
    {
        std::copy_n(datagram.begin(), request_.size(), request_.begin());
        silent_ = false;
        return {};
    }

    std::optional<net::Received> receive(std::span<std::uint8_t> buffer, milliseconds timeout) noexcept override
    {
        require(timeout.count() > 0);
        if (silent_ || script_.size() < 2) {
            clock_.advance(timeout);
            return std::nullopt;
        }
        const std::uint8_t how = script_[0];
        const std::size_t size = std::min<std::size_t>(script_[1] * std::size_t{4} + (how >> 6), script_.size() - 2);
        const std::size_t given = std::min(size, buffer.size());
        std::copy_n(script_.begin() + 2, given, buffer.begin());
        script_ = script_.subspan(2 + size);
        silent_ = (how & 0x20) != 0;
        clock_.advance(milliseconds(1));
        if (given >= 8) {
            put_right(buffer, given, how);
        }
        return net::Received{given, given < size, (how & 0x10) != 0 ? Endpoint{{2}, 1} : device()};
    }

    void wake() noexcept override {}
    [[nodiscard]] Endpoint device() const noexcept override { return {{0xC0A80102}, 3956}; }
    [[nodiscard]] Endpoint local() const noexcept override { return {{0xC0A80101}, 40000}; }

private:
    void put_right(std::span<std::uint8_t> buffer, std::size_t size, std::uint8_t how) const
    {
        if ((how & 0x01) != 0) {
            std::copy_n(request_.begin() + 6, 2, buffer.begin() + 6);
        }
        if ((how & 0x02) != 0) {
            buffer[2] = request_[2];
            buffer[3] = static_cast<std::uint8_t>(request_[3] + 1);
        }
        if ((how & 0x04) != 0) {
            buffer[0] = buffer[1] = 0;
        }
        if ((how & 0x08) != 0) {
            buffer[4] = static_cast<std::uint8_t>((size - 8) >> 8);
            buffer[5] = static_cast<std::uint8_t>(size - 8);
            // a memory answer repeats the address that was asked for
            if (request_[3] == 0x84 && size >= 12) {
                std::copy_n(request_.begin() + 8, 4, buffer.begin() + 8);
            }
        }
    }

    ManualClock& clock_;
    View script_;
    std::array<std::uint8_t, 12> request_{};
    bool silent_ = false;
};

void check_accesses(View script)
{
    ManualClock clock;
    ScriptedDevice transport(clock, script);
    control::ControlChannel channel(transport, clock);
    channel.set_retry_policy({milliseconds(20), 2});
    const auto began = clock.now();

    std::uint32_t value = 0;
    const auto tell = [&](const control::ControlOutcome& outcome) {
        require(to_result(outcome, transport.device()).IsOK() == outcome.ok());
    };
    tell(channel.read_register(0x0A00, value));
    tell(channel.write_register(0x0A00, 2));
    channel.set_concatenation(true);
    const std::array<std::uint32_t, 3> addresses = {0x0904, 0x0934, 0x0938};
    std::array<std::uint32_t, 4> values = {0, 0, 0, 0x5A5A5A5A};
    tell(channel.read_registers(addresses, values));
    require(values[3] == 0x5A5A5A5A);
    const std::array<control::RegisterWrite, 2> writes = {control::RegisterWrite{0xA000, 1}, {0xA004, 2}};
    tell(channel.write_registers(writes));
    std::array<std::uint8_t, 600> memory{};
    memory.back() = 0x5A;
    tell(channel.read_memory(0x0203, std::span(memory).first(599)));
    require(memory.back() == 0x5A);
    tell(channel.write_memory(0x0203, std::span(memory).first(7)));
    // four exchanges and some blocks, each with at most ten seconds of pending answers
    require(clock.now() - began < std::chrono::minutes(3));

    description::Description description;
    const PvResult result = description::fetch_description(device::memory_of(channel, 0), {}, description);
    require(!result.IsOK() || description.name.ends_with(".xml"));
}

void check_search(View script)
{
    SilentNetwork network;
    const net::Interface host{"lo", "", {0x7F000027}, {0xFFFFFFFF}, {}, {}, 65536, true};
    control::Discovery discovery({&host, 1}, {}, network);
    std::size_t found = 0;
    while (script.size() >= 2) {
        const std::size_t size =
            std::min<std::size_t>(script[1] * std::size_t{4} + (script[0] >> 6), script.size() - 2);
        discovery.handle(0, script.subspan(2, size), [&](const control::FoundDevice&) {
            ++found;
            return true;
        });
        script = script.subspan(2 + size);
    }
    require(found <= discovery.statistics().acknowledges);
}

void check_url(View bytes)
{
    const auto url = description::parse_description_url({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    require(!url || url->name.find_first_of("/\\") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    check_accesses({data, size});
    check_search({data, size});
    check_url({data, size});
    return 0;
}
