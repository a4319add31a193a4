// Bytes over the handles of pipes and sockets. Only for the Windows sources of this folder.
#pragma once

#include <winsock2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <system_error>
#include <utility>

#include "sdk/net/deadline.h"
#include "sdk/net/owned_handle_windows.h"

namespace vex::net {

/// An owned socket.
class OwnedSocket {
public:
    explicit OwnedSocket(SOCKET value) noexcept : value_(value) {}
    OwnedSocket(OwnedSocket&& other) noexcept : value_(std::exchange(other.value_, INVALID_SOCKET)) {}
    OwnedSocket& operator=(OwnedSocket&&) = delete;
    ~OwnedSocket()
    {
        if (is_valid()) {
            ::closesocket(value_);
        }
    }
    [[nodiscard]] bool is_valid() const noexcept { return value_ != INVALID_SOCKET; }
    [[nodiscard]] SOCKET get() const noexcept { return value_; }
    [[nodiscard]] HANDLE handle() const noexcept { return reinterpret_cast<HANDLE>(value_); }

private:
    SOCKET value_;
};

/// One direction's transfer with a handle.
class Transfer {
public:
    Transfer() noexcept { overlapped_.hEvent = done_.get(); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    [[nodiscard]] bool is_valid() const noexcept { return done_.is_valid(); }
    [[nodiscard]] HANDLE done() const noexcept { return done_.get(); }
    [[nodiscard]] OVERLAPPED* overlapped() noexcept { return &overlapped_; }
    /// How a call that began it went: false when it failed.
    [[nodiscard]] static bool began(BOOL succeeded) noexcept
    {
        return succeeded || ::GetLastError() == ERROR_IO_PENDING;
    }
    /// Cancels it, and what it has moved all the same; it has ended then.
    DWORD cancel(HANDLE handle) noexcept
    {
        ::CancelIoEx(handle, &overlapped_);
        DWORD moved = 0;
        return ::GetOverlappedResult(handle, &overlapped_, &moved, TRUE) ? moved : 0;
    }

private:
    const OwnedHandle done_ = new_event();
    OVERLAPPED overlapped_{};
};

/// Bytes over a handle of a pipe, or those that come over a socket's. A write is not cancelled when its time is over,
/// because the system does not tell what of it went: its bytes stay here, and go before the next ones.
class Channel {
public:
    static constexpr std::uint32_t most_read = 65'536;

    [[nodiscard]] bool is_valid() const noexcept { return read_.is_valid() && write_.is_valid(); }

    /// `others` is waited for, too, and `turn_away` called; null where nobody can come.
    std::size_t read(HANDLE handle, HANDLE wake, HANDLE others, std::span<std::uint8_t> bytes, const Deadline& deadline,
                     std::error_code& error, const std::function<void()>& turn_away) noexcept;
    std::size_t write(HANDLE handle, HANDLE wake, std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept;
    /// Before the handle is closed or serves the next program; no read is under way.
    void forget(HANDLE handle) noexcept
    {
        const std::lock_guard lock(write_mutex_);
        if (std::exchange(writing_, 0) != 0) {
            (void)write_.cancel(handle);
        }
    }

private:
    /// Waits until the write under way has ended.
    std::error_code finish_write(HANDLE handle, HANDLE wake, const Deadline& deadline) noexcept;

    Transfer read_;
    Transfer write_;
    std::mutex write_mutex_;
    std::array<std::uint8_t, 4096> written_{};
    DWORD writing_ = 0;  ///< bytes of written_ under way
};

}  // namespace vex::net
