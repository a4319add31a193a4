#include "sdk/serial_port/receive_buffer.h"

#include <algorithm>
#include <new>
#include <utility>

#include "sdk/base/failure.h"

namespace vex::serial_port {

namespace {

PvResult no_memory(std::uint32_t size) noexcept
{
    return failure(PvResult::NotEnoughMemory, "There is no memory for a receive buffer of ", size, " bytes");
}

}  // namespace

PvResult ReceiveBuffer::open()
{
    const std::lock_guard lock(mutex_);
    try {
        ring_.resize(size_);
    } catch (const std::bad_alloc&) {
        return no_memory(size_);
    }
    first_ = 0;
    held_ = 0;
    dropped_ = 0;
    end_ = PvResult::OK;
    open_ = true;
    return PvResult::OK;
}

void ReceiveBuffer::close(PvResult now, PvResult later) noexcept
{
    {
        const std::lock_guard lock(mutex_);
        closed_with_ = std::move(now);
        end_ = std::move(later);
        open_ = false;
        ++closings_;
        held_ = 0;
    }
    changed_.notify_all();
}

void ReceiveBuffer::end(PvResult why) noexcept
{
    {
        const std::lock_guard lock(mutex_);
        if (!open_) {
            return;
        }
        end_ = std::move(why);
    }
    changed_.notify_all();
}

void ReceiveBuffer::resume() noexcept
{
    const std::lock_guard lock(mutex_);
    if (open_) {
        end_ = PvResult::OK;
    }
}

std::size_t ReceiveBuffer::put(std::span<const std::uint8_t> bytes) noexcept
{
    const std::lock_guard lock(mutex_);
    const std::size_t taken = add(bytes);
    dropped_ += ended() ? 0 : bytes.size() - taken;
    return taken;
}

std::size_t ReceiveBuffer::offer(std::span<const std::uint8_t> bytes) noexcept
{
    const std::lock_guard lock(mutex_);
    return add(bytes);
}

std::size_t ReceiveBuffer::add(std::span<const std::uint8_t> bytes) noexcept
{
    if (ended()) {
        return 0;
    }
    const std::size_t taken = std::min(bytes.size(), ring_.size() - held_);
    const std::size_t at = (first_ + held_) % ring_.size();
    const std::size_t up_to_end = std::min(taken, ring_.size() - at);
    std::copy_n(bytes.begin(), up_to_end, ring_.begin() + static_cast<std::ptrdiff_t>(at));
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(up_to_end), taken - up_to_end, ring_.begin());
    held_ += taken;
    changed_.notify_all();
    return taken;
}

std::size_t ReceiveBuffer::wait_for_room(std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    const auto deadline = clock_.now() + time;
    while (!ended() && held_ >= ring_.size() && wait(lock, deadline)) {
    }
    return ended() || held_ >= ring_.size() ? 0 : ring_.size() - held_;
}

PvResult ReceiveBuffer::read(std::span<std::uint8_t> bytes, std::uint32_t& count, std::chrono::milliseconds time)
{
    std::unique_lock lock(mutex_);
    count = 0;
    const std::uint64_t closings = closings_;
    const auto deadline = clock_.now() + time;
    for (;;) {
        const bool closed = closings_ != closings;
        if (!closed) {
            count += static_cast<std::uint32_t>(take(bytes.subspan(count)));
        }
        if (count == bytes.size() && !(bytes.empty() && ended())) {
            return PvResult::OK;
        }
        if (closed || ended()) {
            return count != 0 ? PvResult(PvResult::OK) : closed ? closed_with_ : end_;
        }
        if (!wait(lock, deadline)) {
            return count != 0 ? PvResult(PvResult::OK)
                              : failure(PvResult::Timeout, "Nothing was received within ", time.count(), " ms");
        }
    }
}

bool ReceiveBuffer::wait(std::unique_lock<std::mutex>& lock, net::Clock::time_point deadline)
{
    const auto left = deadline - clock_.now();
    if (left <= net::Clock::duration::zero()) {
        return false;
    }
    // a clock that the system does not drive is looked at again after nudges, and at its own pace
    changed_.wait_for(lock, left);
    return true;
}

std::size_t ReceiveBuffer::take(std::span<std::uint8_t> wanted) noexcept
{
    const std::size_t taken = std::min(wanted.size(), held_);
    if (taken == 0) {
        return 0;
    }
    const std::size_t up_to_end = std::min(taken, ring_.size() - first_);
    std::copy_n(ring_.begin() + static_cast<std::ptrdiff_t>(first_), up_to_end, wanted.begin());
    std::copy_n(ring_.begin(), taken - up_to_end, wanted.begin() + static_cast<std::ptrdiff_t>(up_to_end));
    first_ = (first_ + taken) % ring_.size();
    held_ -= taken;
    changed_.notify_all();  // there is room again
    return taken;
}

std::uint32_t ReceiveBuffer::ready() const noexcept
{
    const std::lock_guard lock(mutex_);
    return static_cast<std::uint32_t>(held_);
}

void ReceiveBuffer::flush() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        held_ = 0;
    }
    changed_.notify_all();
}

std::uint32_t ReceiveBuffer::size() const noexcept
{
    const std::lock_guard lock(mutex_);
    return size_;
}

PvResult ReceiveBuffer::resize(std::uint32_t size)
{
    if (size == 0 || size > largest_size) {
        return failure(PvResult::InvalidParameter, "The receive buffer size ", size, " is not one of 1 to ",
                       largest_size, " bytes");
    }
    {
        const std::lock_guard lock(mutex_);
        if (!ring_.empty()) {
            try {
                std::vector<std::uint8_t> made(size);
                const std::size_t held = held_;
                const std::size_t kept = take(std::span(made).first(std::min<std::size_t>(size, held)));
                dropped_ += held - kept;
                ring_ = std::move(made);
                first_ = 0;
                held_ = kept;
            } catch (const std::bad_alloc&) {
                return no_memory(size);
            }
        }
        size_ = size;
    }
    changed_.notify_all();
    return PvResult::OK;
}

std::uint64_t ReceiveBuffer::dropped() const noexcept
{
    const std::lock_guard lock(mutex_);
    return dropped_;
}

void ReceiveBuffer::nudge() noexcept
{
    // whoever has looked at the clock and does not wait yet holds the lock
    const std::lock_guard lock(mutex_);
    changed_.notify_all();
}

}  // namespace vex::serial_port
