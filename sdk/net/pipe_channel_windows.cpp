#include "sdk/net/pipe_channel_windows.h"

#include <algorithm>

namespace vex::net {

namespace {

std::error_code reset() noexcept { return std::make_error_code(std::errc::connection_reset); }
std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }
std::error_code timed_out() noexcept { return std::make_error_code(std::errc::timed_out); }

}  // namespace

std::size_t Channel::read(HANDLE handle, HANDLE wake, HANDLE others, std::span<std::uint8_t> bytes,
                          const Deadline& deadline, std::error_code& error,
                          const std::function<void()>& turn_away) noexcept
{
    const DWORD size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), most_read));
    if (!Transfer::began(::ReadFile(handle, bytes.data(), size, nullptr, read_.overlapped()))) {
        error = reset();
        return 0;
    }
    const HANDLE events[] = {wake, read_.done(), others};
    for (;;) {
        const DWORD first = ::WaitForMultipleObjects(others != nullptr ? 3 : 2, events, FALSE,
                                                     static_cast<DWORD>(deadline.remaining_ms()));
        if (first == WAIT_OBJECT_0 + 2) {
            turn_away();
            continue;
        }
        if (first == WAIT_OBJECT_0 + 1) {
            DWORD moved = 0;
            if (!::GetOverlappedResult(handle, read_.overlapped(), &moved, FALSE) || moved == 0) {
                error = reset();
            }
            return moved;
        }
        if (first == WAIT_TIMEOUT && deadline.remaining_ms() != 0) {
            continue;
        }
        error = first == WAIT_OBJECT_0 ? canceled() : timed_out();
        const DWORD moved = read_.cancel(handle);
        if (moved != 0) {
            error = {};
        }
        return moved;
    }
}

std::error_code Channel::finish_write(HANDLE handle, HANDLE wake, const Deadline& deadline) noexcept
{
    const HANDLE events[] = {wake, write_.done()};
    for (;;) {
        const DWORD first = ::WaitForMultipleObjects(2, events, FALSE, static_cast<DWORD>(deadline.remaining_ms()));
        if (first == WAIT_OBJECT_0) {
            return canceled();
        }
        if (first == WAIT_OBJECT_0 + 1) {
            DWORD moved = 0;
            const bool all = ::GetOverlappedResult(handle, write_.overlapped(), &moved, FALSE) && moved == writing_;
            writing_ = 0;
            return all ? std::error_code() : reset();
        }
        if (deadline.remaining_ms() == 0) {
            return timed_out();
        }
    }
}

std::size_t Channel::write(HANDLE handle, HANDLE wake, std::span<const std::uint8_t> bytes, const Deadline& deadline,
                           std::error_code& error) noexcept
{
    const std::lock_guard lock(write_mutex_);
    std::size_t taken = 0;
    for (;;) {
        if (writing_ != 0) {
            error = finish_write(handle, wake, deadline);
            if (error || taken == bytes.size()) {
                break;
            }
        }
        const std::size_t size = std::min(bytes.size() - taken, written_.size());
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(taken), size, written_.begin());
        if (!Transfer::began(
                ::WriteFile(handle, written_.data(), static_cast<DWORD>(size), nullptr, write_.overlapped()))) {
            error = reset();
            break;
        }
        writing_ = static_cast<DWORD>(size);
        taken += size;
    }
    if (error == std::errc::timed_out && taken == bytes.size()) {
        error = {};  // the last of them are under way
    }
    return taken;
}

}  // namespace vex::net
