// A serial port whose other end and whose time are the test's.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "sdk/genicp/serial_link.h"
#include "sdk/net/clock.h"
#include "sdk/serial_port/PvSerialPort.h"
#include "tools/softlink/gencp_device.h"

namespace genicp_test {

using softlink::Answer;
using softlink::Bytes;
using std::chrono::milliseconds;

class ManualClock final : public vex::net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_; }
    void advance_to(time_point at) { now_ = std::max(now_, at); }
    void advance(duration by) { now_ += by; }

private:
    time_point now_{std::chrono::hours(1)};
};

/// What is written goes to `on_write`, whose answers can be read after their time. Reading moves the clock to where it
/// has what it wants, or by its time-out.
class ScriptedPort final : public PvSerialPort {
public:
    explicit ScriptedPort(ManualClock& clock) : clock_(clock) {}

    std::function<std::vector<Answer>(std::span<const std::uint8_t>)> on_write;
    std::vector<Bytes> written;
    PvResult write_result;
    PvResult read_result;  ///< of reads, when it is not OK
    bool is_open = true;

    void deliver(Bytes bytes, milliseconds after = {})
    {
        arrivals_.emplace_back(clock_.now() + after, std::move(bytes));
    }

    PvResult Close() override
    {
        is_open = false;
        return PvResult::OK;
    }
    PvResult Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten) override
    {
        aBytesWritten = 0;
        if (!write_result.IsOK()) {
            return write_result;
        }
        aBytesWritten = aSize;
        written.emplace_back(aBuffer, aBuffer + aSize);
        if (on_write) {
            for (Answer& answer : on_write({aBuffer, aSize})) {
                deliver(std::move(answer.bytes), answer.after);
            }
        }
        return PvResult::OK;
    }
    bool IsOpened() override { return is_open; }
    PvResult Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                  std::uint32_t aTimeout) override
    {
        aBytesRead = 0;
        if (!read_result.IsOK()) {
            return read_result;
        }
        const auto deadline = clock_.now() + milliseconds(aTimeout);
        for (;;) {
            arrive();
            const auto next = std::ranges::min_element(arrivals_, {}, &Arrival::first);
            if (ready_.size() >= aBufferSize || next == arrivals_.end() || next->first > deadline) {
                break;
            }
            clock_.advance_to(next->first);
        }
        if (ready_.size() < aBufferSize) {
            clock_.advance_to(deadline);
        }
        const std::size_t count = std::min<std::size_t>(ready_.size(), aBufferSize);
        std::copy_n(ready_.begin(), count, aBuffer);
        ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(count));
        aBytesRead = static_cast<std::uint32_t>(count);
        return (count > 0 || aBufferSize == 0) ? PvResult::OK : PvResult::Timeout;
    }
    PvResult GetRxBytesReady(std::uint32_t& aBytes) override
    {
        arrive();
        aBytes = static_cast<std::uint32_t>(ready_.size());
        return PvResult::OK;
    }
    PvResult FlushRxBuffer() override
    {
        arrive();
        ready_.clear();
        return PvResult::OK;
    }
    PvResult GetRxBufferSize(std::uint32_t& aSize) override
    {
        aSize = 65'536;
        return PvResult::OK;
    }
    PvResult SetRxBufferSize(std::uint32_t /*aSize*/) override { return PvResult::OK; }

private:
    using Arrival = std::pair<vex::net::Clock::time_point, Bytes>;

    void arrive()
    {
        for (std::size_t i = 0; i < arrivals_.size();) {
            if (arrivals_[i].first > clock_.now()) {
                ++i;
                continue;
            }
            ready_.insert(ready_.end(), arrivals_[i].second.begin(), arrivals_[i].second.end());
            arrivals_.erase(arrivals_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    ManualClock& clock_;
    std::vector<Arrival> arrivals_;
    std::deque<std::uint8_t> ready_;
};

/// A simulated camera at a port, which answers at one rate only: at any other both sides hear noise.
class ScriptedLink final : public vex::genicp::SerialLink {
public:
    ScriptedLink(softlink::GencpDevice& device, ManualClock& clock, std::uint32_t device_rate = 9600)
        : port_(clock), device_rate_(device_rate)
    {
        port_.on_write = [this, &device](std::span<const std::uint8_t> bytes) {
            const auto answers =
                device.receive(rate_ == device_rate_ ? Bytes(bytes.begin(), bytes.end()) : noise(bytes));
            return rate_ == device_rate_ ? answers : std::vector<Answer>();
        };
    }

    [[nodiscard]] PvSerialPort& port() noexcept override { return port_; }
    [[nodiscard]] ScriptedPort& scripted() noexcept { return port_; }
    [[nodiscard]] PvResult set_baud_rate(std::uint32_t baud_rate) override
    {
        rates.push_back(baud_rate);
        if (baud_rate == refused_rate) {
            return PvResult::NotSupported;
        }
        if (!rate_result.IsOK()) {
            return rate_result;
        }
        rate_ = baud_rate;
        return PvResult::OK;
    }

    std::vector<std::uint32_t> rates;
    std::uint32_t refused_rate = 0;
    PvResult rate_result;

private:
    static Bytes noise(std::span<const std::uint8_t> bytes)
    {
        Bytes heard;
        for (std::size_t i = 0; i < bytes.size(); i += 3) {
            heard.push_back(static_cast<std::uint8_t>(bytes[i] * 37 + 1));
        }
        return heard;
    }

    ScriptedPort port_;
    std::uint32_t device_rate_;
    std::uint32_t rate_ = 9600;
};

}  // namespace genicp_test
