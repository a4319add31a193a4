// What a serial line brings while a request waits for its answer: anything, in pieces of any size. The reader keeps to
// its memory, the client to its time, and the next good answer is found.
#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

#include "sdk/genicp/client.h"
#include "sdk/genicp/frame_reader.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

namespace gencp = wire::gencp;
using fuzz::require;
using fuzz::View;

class StepClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_; }
    void advance(duration by) { now_ += by; }

private:
    time_point now_{std::chrono::hours(1)};
};

/// Reads give pieces of the input, each after a millisecond; then nothing comes any more.
class InputPort final : public PvSerialPort {
public:
    InputPort(StepClock& clock, View input) : clock_(clock), input_(input) {}

    void give(View bytes) { input_ = bytes; }

    PvResult Close() override { return PvResult::OK; }
    PvResult Write(const std::uint8_t* /*aBuffer*/, std::uint32_t aSize, std::uint32_t& aBytesWritten) override
    {
        aBytesWritten = aSize;
        return PvResult::OK;
    }
    bool IsOpened() override { return true; }
    PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                  std::uint32_t aTimeout) override
    {
        require(aBufferSize > 0 && aBufferSize <= gencp::largest_frame);
        const std::size_t count = std::min<std::size_t>(aBufferSize, input_.size());
        std::copy_n(input_.begin(), count, aBuffer);
        input_ = input_.subspan(count);
        aBytesRead = static_cast<std::uint32_t>(count);
        clock_.advance(std::chrono::milliseconds(count > 0 ? 1 : aTimeout));
        return count > 0 ? PvResult::OK : PvResult::Timeout;
    }
    PvResult GetRxBytesReady(std::uint32_t& aBytes) override
    {
        aBytes = 0;
        return PvResult::OK;
    }
    PvResult FlushRxBuffer() override { return PvResult::OK; }
    PvResult GetRxBufferSize(std::uint32_t& aSize) override
    {
        aSize = 0;
        return PvResult::OK;
    }
    PvResult SetRxBufferSize(std::uint32_t /*aSize*/) override { return PvResult::OK; }

private:
    StepClock& clock_;
    View input_;
};

void check_decoders(View input)
{
    if (const auto frame = gencp::decode_frame(input)) {
        fuzz::require_within(frame->scd, input);
        require(gencp::text_of(frame->status()) != nullptr);
        if (const auto write = gencp::decode_write_memory(frame->scd)) {
            fuzz::require_within(write->data, input);
        }
        if (const auto event = gencp::decode_event(frame->scd)) {
            fuzz::require_within(event->data, input);
        }
        (void)gencp::decode_read_memory(frame->scd);
        (void)gencp::decode_number(frame->scd);
    }
}

void check_reader(View input)
{
    if (input.empty()) {
        return;
    }
    const std::size_t piece = 1 + input.front();
    genicp::FrameReader reader;
    for (View rest = input.subspan(1); !rest.empty();) {
        const std::size_t taken = reader.add(rest.first(std::min(piece, rest.size())));
        require(taken > 0);
        rest = rest.subspan(taken);
        while (const auto frame = reader.next()) {
            require(frame->scd.size() <= gencp::largest_scd);
        }
        require(reader.missing() >= 1 && reader.missing() <= gencp::largest_frame);
    }
    while (reader.give_up()) {
        while (reader.next()) {
        }
    }
    // whatever it was, a frame behind it is found
    const gencp::Frame good = gencp::pending_acknowledge(0x1234, 5);
    require(reader.add(good.bytes()) == good.bytes().size());
    const auto found = reader.next();
    require(found && found->request_id == 0x1234);
}

void check_client(View input)
{
    StepClock clock;
    InputPort port(clock, input);
    genicp::Client client(port, clock);
    std::array<std::uint8_t, 16> block{};
    const auto begin = clock.now();
    (void)client.read(0, block);
    require(clock.now() - begin <= genicp::Client::pending_limit + std::chrono::seconds(5));
    // what is left over of the input may answer a request or two, and no more than it has frames
    bool found = false;
    for (std::uint16_t id = 2; id < 100 && !found; ++id) {
        const gencp::Frame good = gencp::read_memory_acknowledge(id, std::array<std::uint8_t, 16>{7});
        port.give(good.bytes());
        found = client.read(0, block).ok() && block[0] == 7;
    }
    require(found);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    check_decoders({data, size});
    check_reader({data, size});
    check_client({data, size});
    return 0;
}
