#include "sdk/bridge/pump.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <system_error>
#include <utility>

#include "sdk/base/thread_name.h"

namespace vex::bridge {

namespace {

using std::chrono::milliseconds;

/// The longest that a thread waits in one call of a side; closing ends such calls at once.
constexpr milliseconds wait_interval{250};
/// Bytes that are taken at a time: a multiple of what goes to a device in one message.
constexpr std::size_t block_size = 8 * 508;
/// When nothing comes for so long, a device holds no more of what it received before; and how long that is awaited from
/// one that sends all the time.
constexpr milliseconds quiet_time{20};
constexpr milliseconds longest_drain{100};

}  // namespace

Pump::Pump(PvSerialPort& port, HostSide& host, Counters& counters, std::function<void()> returned)
    : port_(port), host_(host), counters_(counters), returned_(std::move(returned))
{}

void Pump::start()
{
    to_device_ = std::thread([this] { carry_to_device(); });
    try {
        to_host_ = std::thread([this] { carry_to_host(); });
    } catch (...) {
        stop();
        throw;
    }
}

void Pump::stop() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    stopped_.notify_all();
    host_.close();
    (void)port_.Close();
    for (std::thread* const each : {&to_device_, &to_host_}) {
        if (each->joinable()) {
            each->join();
        }
    }
}

bool Pump::pause()
{
    std::unique_lock lock(mutex_);
    return !stopped_.wait_for(lock, retry_interval, [this] { return stopping_.load(); });
}

// ---- to the device ----

void Pump::carry_to_device()
{
    name_this_thread("pv-bridge-tx");
    while (!stopping_) {
        if (const std::error_code error = host_.attach(wait_interval); error) {
            if (error != std::errc::timed_out) {
                (void)pause();
            }
            continue;
        }
        {
            const std::lock_guard lock(delivery_mutex_);
            attached_ = true;
        }
        serve();
        leave();
    }
}

void Pump::serve()
{
    std::array<std::uint8_t, block_size> block{};
    for (;;) {
        std::error_code error;
        const std::size_t size = host_.read(block, wait_interval, error);
        if (!send(std::span(block).first(size)) || (error && error != std::errc::timed_out)) {
            return;
        }
    }
}

bool Pump::send(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty() && !stopping_) {
        std::uint32_t written = 0;
        (void)port_.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written);
        counters_.sent_to_device += written;
        bytes = bytes.subspan(written);
        if (written == 0) {
            (void)pause();  // the device is away, or takes nothing
        }
    }
    return !stopping_;
}

void Pump::leave()
{
    host_.part();
    const std::lock_guard lock(delivery_mutex_);
    attached_ = false;
    // what the device sent to who has gone, and nobody took, is not for who comes next; the device may hold more of it
    std::array<std::uint8_t, block_size> block{};
    bool any = std::exchange(cut_, false);
    const auto end = std::chrono::steady_clock::now() + longest_drain;
    do {
        std::uint32_t size = 0;
        (void)port_.Read(block.data(), block_size, size, any ? static_cast<std::uint32_t>(quiet_time.count()) : 0);
        if (size == 0) {
            break;
        }
        counters_.received_from_device += size;
        counters_.dropped += size;
        any = true;
    } while (!stopping_ && std::chrono::steady_clock::now() < end);
    ++visit_;  // what the other thread has in its hands is not, either
}

// ---- from the device ----

void Pump::carry_to_host()
{
    name_this_thread("pv-bridge-rx");
    std::array<std::uint8_t, block_size> block{};
    while (!stopping_) {
        std::uint64_t visit = 0;
        const auto bytes = receive(block, visit);
        deliver(bytes, visit);
    }
}

std::span<const std::uint8_t> Pump::receive(std::span<std::uint8_t> buffer, std::uint64_t& visit)
{
    std::uint32_t ready = 0;
    visit = visit_;
    (void)port_.GetRxBytesReady(ready);
    const bool waits = ready == 0;
    // one byte, and then as many as have come with it: a read of more would wait for all of them
    std::uint32_t first = 0;
    const PvResult result = port_.Read(buffer.data(), 1, first, static_cast<std::uint32_t>(wait_interval.count()));
    if (!result.IsOK() && result.GetCode() != PvResult::Timeout) {
        away_ = true;
        (void)pause();
        return {};
    }
    if (std::exchange(away_, false)) {
        returned_();
    }
    if (waits) {
        visit = visit_;
    }
    std::uint32_t more = 0;
    if (first != 0 && port_.GetRxBytesReady(ready).IsOK() && ready != 0) {
        ready = std::min(ready, static_cast<std::uint32_t>(buffer.size() - first));
        (void)port_.Read(buffer.data() + first, ready, more, 0);
    }
    counters_.received_from_device += first + more;
    return buffer.first(first + more);
}

void Pump::deliver(std::span<const std::uint8_t> bytes, std::uint64_t visit)
{
    if (bytes.empty()) {
        return;
    }
    const std::lock_guard lock(delivery_mutex_);
    while (attached_ && visit == visit_ && !bytes.empty() && !stopping_) {
        std::error_code error;
        bytes = bytes.subspan(host_.write(bytes, wait_interval, error));
        if (error && error != std::errc::timed_out) {
            cut_ = true;
            break;
        }
    }
    counters_.dropped += bytes.size();
}

}  // namespace vex::bridge
