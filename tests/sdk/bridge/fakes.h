// Both sides of a bridge, in the hands of a test.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/bridge/camera_side.h"
#include "sdk/bridge/host_side.h"
#include "sdk/serial_port/receive_buffer.h"

namespace bridge_test {

using Bytes = std::vector<std::uint8_t>;

/// How long a test waits for what must come.
inline constexpr std::chrono::milliseconds patience{30'000};

inline Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

/// A device's port: what it sends is fed by the test, what it is sent is looked at by the test.
class FakePort final : public PvSerialPort {
public:
    FakePort() { (void)received_.open(); }

    // ---- the test's side ----
    /// The device sends; waits for room. False when there is none for too long.
    bool feed(std::span<const std::uint8_t> bytes)
    {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!bytes.empty() && std::chrono::steady_clock::now() < end) {
            bytes = bytes.subspan(received_.offer(bytes));
            if (!bytes.empty()) {
                (void)received_.wait_for_room(std::chrono::milliseconds(20));
            }
        }
        return bytes.empty();
    }
    bool feed(std::string_view text) { return feed(bytes_of(text)); }
    /// Takes at most so many bytes more.
    void take(std::size_t room)
    {
        {
            const std::lock_guard lock(mutex_);
            room_ = room;
        }
        changed_.notify_all();
    }
    /// Takes at most so many bytes in a call, and then says that its time is over.
    void take_in_parts(std::size_t most)
    {
        const std::lock_guard lock(mutex_);
        most_ = most;
    }
    /// The device has gone, or is back.
    void set_away(bool away)
    {
        if (away) {
            received_.end(PvResult::NotConnected);
        } else {
            received_.resume();
        }
        {
            const std::lock_guard lock(mutex_);
            away_ = away;
        }
        changed_.notify_all();
    }
    /// The next so many bytes that were sent to the device; fewer when they do not come.
    Bytes sent(std::size_t size)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience, [&] { return sent_.size() >= size; });
        size = std::min(size, sent_.size());
        const Bytes bytes(sent_.begin(), sent_.begin() + static_cast<std::ptrdiff_t>(size));
        sent_.erase(sent_.begin(), sent_.begin() + static_cast<std::ptrdiff_t>(size));
        return bytes;
    }
    [[nodiscard]] std::uint32_t unread() const { return received_.ready(); }
    /// Reads that found the device away.
    [[nodiscard]] int refused_reads() const
    {
        const std::lock_guard lock(mutex_);
        return refused_reads_;
    }

    // ---- the bridge's side ----
    PvResult Close() override
    {
        received_.close(PvResult::Aborted, PvResult::NotConnected);
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
        }
        changed_.notify_all();
        return PvResult::OK;
    }
    PvResult Write(const std::uint8_t* bytes, std::uint32_t size, std::uint32_t& written) override
    {
        std::unique_lock lock(mutex_);
        written = 0;
        if (away_) {
            return PvResult::NotConnected;
        }
        changed_.wait_for(lock, std::chrono::milliseconds(20), [this] { return room_ != 0 || closed_ || away_; });
        if (closed_) {
            return PvResult::Aborted;
        }
        written = static_cast<std::uint32_t>(std::min({std::size_t{size}, room_, most_}));
        room_ -= written;
        sent_.insert(sent_.end(), bytes, bytes + written);
        changed_.notify_all();
        return written == size ? PvResult::OK : away_ ? PvResult::NotConnected : PvResult::Timeout;
    }
    bool IsOpened() override
    {
        const std::lock_guard lock(mutex_);
        return !closed_ && !away_;
    }
    PvResult Read(std::uint8_t* bytes, std::uint32_t size, std::uint32_t& count, std::uint32_t time) override
    {
        PvResult result = received_.read({bytes, size}, count, std::chrono::milliseconds(time));
        if (result.GetCode() == PvResult::NotConnected) {
            const std::lock_guard lock(mutex_);
            ++refused_reads_;
        }
        return result;
    }
    PvResult GetRxBytesReady(std::uint32_t& bytes) override
    {
        bytes = received_.ready();
        return PvResult::OK;
    }
    PvResult FlushRxBuffer() override
    {
        received_.flush();
        return PvResult::OK;
    }
    PvResult GetRxBufferSize(std::uint32_t& size) override
    {
        size = received_.size();
        return PvResult::OK;
    }
    PvResult SetRxBufferSize(std::uint32_t size) override { return received_.resize(size); }

private:
    vex::serial_port::ReceiveBuffer received_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::uint8_t> sent_;
    std::size_t room_ = SIZE_MAX;
    std::size_t most_ = SIZE_MAX;
    bool away_ = false;
    bool closed_ = false;
    int refused_reads_ = 0;
};

/// What a bridge does to a camera's side and to a host's side, kept when those have gone.
struct Seen {
    std::mutex mutex;
    std::vector<PvSerialPortConfiguration> camera_lines;
    std::vector<PvSerialPortConfiguration> host_lines;
    int recoveries = 0;

    [[nodiscard]] std::vector<PvSerialPortConfiguration> of_camera()
    {
        const std::lock_guard lock(mutex);
        return camera_lines;
    }
    [[nodiscard]] std::vector<PvSerialPortConfiguration> of_host()
    {
        const std::lock_guard lock(mutex);
        return host_lines;
    }
};

class FakeCamera final : public vex::bridge::CameraSide {
public:
    explicit FakeCamera(Seen& seen, std::shared_ptr<FakePort> port = std::make_shared<FakePort>())
        : seen_(seen), port_(std::move(port))
    {}

    [[nodiscard]] FakePort& fake() noexcept { return *port_; }
    [[nodiscard]] PvSerialPort& port() noexcept override { return *port_; }
    [[nodiscard]] PvResult line(PvSerialPortConfiguration& configuration) override
    {
        configuration = found;
        return PvResult::OK;
    }
    [[nodiscard]] PvResult set_line(const PvSerialPortConfiguration& configuration) override
    {
        if (!set_result.IsOK()) {
            return set_result;
        }
        const std::lock_guard lock(seen_.mutex);
        seen_.camera_lines.push_back(configuration);
        return PvResult::OK;
    }
    [[nodiscard]] std::vector<std::uint32_t> baud_rates() override { return rates; }
    [[nodiscard]] PvResult recover() override
    {
        const std::lock_guard lock(seen_.mutex);
        ++seen_.recoveries;
        return recover_result;
    }
    [[nodiscard]] std::uint64_t dropped_bytes() override { return dropped; }

    PvSerialPortConfiguration found{115'200, PvParityEven, 7, 2};
    std::vector<std::uint32_t> rates{9600, 115'200};
    PvResult set_result;
    PvResult recover_result;
    std::uint64_t dropped = 0;

private:
    Seen& seen_;
    const std::shared_ptr<FakePort> port_;
};

/// Programs that come and go by the test's word.
class FakeHost final : public vex::bridge::HostSide {
public:
    explicit FakeHost(Seen& seen) : seen_(seen) {}

    // ---- the test's side ----
    void connect()
    {
        change([this] { ++waiting_; });
    }
    /// What it sent before is still read; what it was sent is forgotten.
    void disconnect()
    {
        change([this] {
            there_ = false;
            written_.clear();
        });
    }
    void send(std::span<const std::uint8_t> bytes)
    {
        change([&] { to_read_.insert(to_read_.end(), bytes.begin(), bytes.end()); });
    }
    void send(std::string_view text) { send(bytes_of(text)); }
    /// Takes at most so many bytes more.
    void take(std::size_t room)
    {
        change([&] { room_ = room; });
    }
    void take_in_parts(std::size_t most)
    {
        change([&] { most_ = most; });
    }
    /// The next so many bytes that came from the device; fewer when they do not come.
    Bytes received(std::size_t size)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience, [&] { return written_.size() >= size; });
        size = std::min(size, written_.size());
        const Bytes bytes(written_.begin(), written_.begin() + static_cast<std::ptrdiff_t>(size));
        written_.erase(written_.begin(), written_.begin() + static_cast<std::ptrdiff_t>(size));
        return bytes;
    }
    [[nodiscard]] bool has_received()
    {
        const std::lock_guard lock(mutex_);
        return !written_.empty();
    }
    /// Whether there was anything.
    bool forget_received()
    {
        const std::lock_guard lock(mutex_);
        return !std::exchange(written_, {}).empty();
    }
    [[nodiscard]] std::size_t unread()
    {
        const std::lock_guard lock(mutex_);
        return to_read_.size();
    }
    /// Until a program is served.
    bool await_attached()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return there_; });
    }
    /// Until a write waits for a program that takes nothing.
    bool await_blocked()
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return blocked_; });
    }

    // ---- the bridge's side ----
    std::error_code attach(std::chrono::milliseconds time) noexcept override
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, time, [this] { return closed_ || waiting_ > 0; })) {
            return std::make_error_code(std::errc::timed_out);
        }
        if (closed_) {
            return std::make_error_code(std::errc::operation_canceled);
        }
        --waiting_;
        there_ = true;
        changed_.notify_all();
        return {};
    }
    void part() noexcept override
    {
        change([this] { there_ = false; });
    }
    std::size_t read(std::span<std::uint8_t> bytes, std::chrono::milliseconds time,
                     std::error_code& error) noexcept override
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, time, [this] { return closed_ || !to_read_.empty() || !there_; });
        error = outcome(!to_read_.empty());
        if (closed_) {
            return 0;
        }
        const std::size_t size = std::min({bytes.size(), to_read_.size(), most_});
        std::copy_n(to_read_.begin(), size, bytes.begin());
        to_read_.erase(to_read_.begin(), to_read_.begin() + static_cast<std::ptrdiff_t>(size));
        return size;
    }
    std::size_t write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds time,
                      std::error_code& error) noexcept override
    {
        std::unique_lock lock(mutex_);
        blocked_ = room_ == 0;
        changed_.notify_all();
        changed_.wait_for(lock, time, [this] { return closed_ || room_ != 0 || !there_; });
        blocked_ = false;
        error = outcome(room_ != 0 && there_);
        if (error) {
            return 0;
        }
        const std::size_t size = std::min({bytes.size(), room_, most_});
        room_ -= size;
        written_.insert(written_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        error = size == bytes.size() ? std::error_code() : std::make_error_code(std::errc::timed_out);
        changed_.notify_all();
        return size;
    }
    void close() noexcept override
    {
        change([this] { closed_ = true; });
    }
    [[nodiscard]] PvResult configure(const PvSerialPortConfiguration& configuration) override
    {
        const std::lock_guard lock(seen_.mutex);
        if (!configure_result.IsOK()) {
            return configure_result;
        }
        seen_.host_lines.push_back(configuration);
        return PvResult::OK;
    }
    [[nodiscard]] PvResult recover() override { return recover_result; }

    PvResult configure_result;
    PvResult recover_result;

private:
    template <class Change>
    void change(Change&& made)
    {
        {
            const std::lock_guard lock(mutex_);
            made();
        }
        changed_.notify_all();
    }
    [[nodiscard]] std::error_code outcome(bool can) const
    {
        return closed_  ? std::make_error_code(std::errc::operation_canceled)
               : can    ? std::error_code()
               : there_ ? std::make_error_code(std::errc::timed_out)
                        : std::make_error_code(std::errc::connection_reset);
    }

    Seen& seen_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::uint8_t> to_read_;
    std::vector<std::uint8_t> written_;
    std::size_t room_ = SIZE_MAX;
    std::size_t most_ = SIZE_MAX;
    int waiting_ = 0;
    bool there_ = false;
    bool closed_ = false;
    bool blocked_ = false;
};

}  // namespace bridge_test
