#include <winsock2.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "sdk/net/owned_handle_windows.h"
#include "sdk/net/pipe_channel_windows.h"
#include "sdk/net/system_pipe.h"
#include "sdk/net/tcp_connection.h"
#include "sdk/net/winsock_socket.h"

namespace vex::net {

namespace {

constexpr DWORD system_buffer = Channel::most_read;  // each way, in bytes
/// How long a server may take to notice that the program before has gone.
constexpr std::chrono::milliseconds longest_busy{1000};

[[noreturn]] void fail(const PipeName& name, std::error_code error)
{
    throw std::system_error(error, "no pipe " + name.to_string());
}

std::error_code reset() noexcept { return std::make_error_code(std::errc::connection_reset); }
std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }
std::error_code timed_out() noexcept { return std::make_error_code(std::errc::timed_out); }

/// The error of a pipe that could not be opened or made.
std::error_code open_error(DWORD error, std::errc when_taken) noexcept
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND: return std::make_error_code(std::errc::no_such_file_or_directory);
    case ERROR_PIPE_BUSY: return std::make_error_code(when_taken);
    case ERROR_ACCESS_DENIED:
        return std::make_error_code(when_taken == std::errc::address_in_use ? when_taken
                                                                            : std::errc::permission_denied);
    default: return {static_cast<int>(error), std::system_category()};
    }
}

/// What all ends share.
class WindowsPipe : public SystemPipe {
public:
    void wake() noexcept override { ::SetEvent(wake_.get()); }
    /// The system had the events that it takes.
    [[nodiscard]] virtual bool is_complete() const noexcept { return wake_.is_valid(); }

protected:
    const OwnedHandle wake_ = new_event();
};

template <class Made, class Handle>
std::unique_ptr<Made> make_complete(const PipeName& name, Handle handle)
{
    auto made = std::make_unique<Made>(std::move(handle));
    if (!made->is_complete()) {
        fail(name, std::make_error_code(std::errc::not_enough_memory));
    }
    return made;
}

constexpr auto nobody_comes = [] {};

class PipeClient final : public WindowsPipe {
public:
    explicit PipeClient(OwnedHandle handle) noexcept : handle_(std::move(handle)) {}
    ~PipeClient() override { channel_.forget(handle_.get()); }
    [[nodiscard]] bool is_complete() const noexcept override
    {
        return WindowsPipe::is_complete() && channel_.is_valid();
    }

    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override
    {
        return channel_.read(handle_.get(), wake_.get(), nullptr, bytes, deadline, error, nobody_comes);
    }
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override
    {
        return channel_.write(handle_.get(), wake_.get(), bytes, deadline, error);
    }

private:
    const OwnedHandle handle_;
    Channel channel_;
};

/// The one instance of a pipe, which serves one program after the other.
class ServedPipe final : public WindowsPipe {
public:
    explicit ServedPipe(OwnedHandle handle) noexcept : handle_(std::move(handle)) { listen(); }
    ~ServedPipe() override
    {
        channel_.forget(handle_.get());
        if (listening_) {
            (void)accepted_.cancel(handle_.get());
        }
    }
    [[nodiscard]] bool is_complete() const noexcept override
    {
        return WindowsPipe::is_complete() && channel_.is_valid() && accepted_.is_valid();
    }

    std::error_code accept(const Deadline& deadline) noexcept override;
    void part() noexcept override
    {
        if (met_.exchange(false)) {
            ::DisconnectNamedPipe(handle_.get());
            channel_.forget(handle_.get());
            listen();
        }
    }
    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override
    {
        return is_met(error) ? channel_.read(handle_.get(), wake_.get(), nullptr, bytes, deadline, error, nobody_comes)
                             : 0;
    }
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override
    {
        return is_met(error) ? channel_.write(handle_.get(), wake_.get(), bytes, deadline, error) : 0;
    }

private:
    [[nodiscard]] bool is_met(std::error_code& error) const noexcept
    {
        if (!met_) {
            error = ever_met_ ? reset() : std::make_error_code(std::errc::not_connected);
        }
        return met_;
    }

    /// Lets the next program come.
    void listen() noexcept;

    const OwnedHandle handle_;
    Channel channel_;
    Transfer accepted_;
    bool listening_ = false;  ///< accepted_ is under way
    DWORD failed_ = 0;        ///< why there is no listening
    std::atomic<bool> met_{false};
    std::atomic<bool> ever_met_{false};
};

void ServedPipe::listen() noexcept
{
    for (;;) {
        const bool succeeded = ::ConnectNamedPipe(handle_.get(), accepted_.overlapped());
        const DWORD error = succeeded ? ERROR_PIPE_CONNECTED : ::GetLastError();
        listening_ = error == ERROR_IO_PENDING;
        failed_ = listening_ || error == ERROR_PIPE_CONNECTED ? 0 : error;
        if (error != ERROR_NO_DATA) {
            return;
        }
        ::DisconnectNamedPipe(handle_.get());  // one came and has gone
    }
}

std::error_code ServedPipe::accept(const Deadline& deadline) noexcept
{
    part();
    const HANDLE events[] = {wake_.get(), accepted_.done()};
    while (listening_) {
        const DWORD first = ::WaitForMultipleObjects(2, events, FALSE, static_cast<DWORD>(deadline.remaining_ms()));
        DWORD nothing = 0;
        if (first == WAIT_OBJECT_0) {
            return canceled();
        }
        if (first == WAIT_OBJECT_0 + 1) {
            listening_ = false;
            if (!::GetOverlappedResult(handle_.get(), accepted_.overlapped(), &nothing, FALSE)) {
                ::DisconnectNamedPipe(handle_.get());
                listen();
            }
        } else if (deadline.remaining_ms() == 0) {
            return timed_out();
        }
    }
    if (failed_ != 0) {
        return {static_cast<int>(failed_), std::system_category()};
    }
    ever_met_ = true;
    met_ = true;
    return {};
}

/// A connection, and the means to transfer over it. Shared by the calls under way.
struct Connected {
    explicit Connected(OwnedSocket connected) noexcept : socket(std::move(connected))
    {
        ::WSAEventSelect(socket.get(), writable.get(), FD_WRITE | FD_CLOSE);
    }

    std::size_t write(HANDLE wake, std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept;

    OwnedSocket socket;
    const OwnedHandle writable = new_event();  ///< after a send that found no room, there is some
    Channel channel;
};

std::size_t Connected::write(HANDLE wake, std::span<const std::uint8_t> bytes, const Deadline& deadline,
                             std::error_code& error) noexcept
{
    const HANDLE events[] = {wake, writable.get()};
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        ::ResetEvent(writable.get());
        const std::size_t left = std::min<std::size_t>(bytes.size() - taken, Channel::most_read);
        const int sent =
            ::send(socket.get(), reinterpret_cast<const char*>(bytes.data()) + taken, static_cast<int>(left), 0);
        if (sent >= 0) {
            taken += static_cast<std::size_t>(sent);
            continue;
        }
        if (::WSAGetLastError() != WSAEWOULDBLOCK) {
            error = reset();
            break;
        }
        const DWORD first = ::WaitForMultipleObjects(2, events, FALSE, static_cast<DWORD>(deadline.remaining_ms()));
        if (first == WAIT_OBJECT_0) {
            error = canceled();
            break;
        }
        if (first == WAIT_TIMEOUT && deadline.remaining_ms() == 0) {
            error = timed_out();
            break;
        }
    }
    return taken;
}

/// Bytes go at once, and a program on a computer that has gone is noticed some time.
void prepare(SOCKET socket) noexcept
{
    const BOOL on = TRUE;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    ::setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, reinterpret_cast<const char*>(&on), sizeof on);
}

/// Either end of a TCP connection; a client has no listener.
class TcpPipe final : public WindowsPipe {
public:
    explicit TcpPipe(OwnedSocket listener) noexcept : listener_(std::move(listener))
    {
        if (listener_.is_valid()) {
            ::WSAEventSelect(listener_.get(), others_.get(), FD_ACCEPT);
        }
    }

    [[nodiscard]] bool is_complete() const noexcept override
    {
        return WindowsPipe::is_complete() && others_.is_valid();
    }
    /// Goes on with this connection.
    [[nodiscard]] bool meet(OwnedSocket socket)
    {
        prepare(socket.get());
        auto made = std::make_shared<Connected>(std::move(socket));
        const bool complete = made->channel.is_valid() && made->writable.is_valid();
        const std::lock_guard lock(mutex_);
        peer_ = std::move(made);
        return complete;
    }
    std::error_code accept(const Deadline& deadline) noexcept override;
    void part() noexcept override
    {
        if (const auto old = peer()) {
            ::shutdown(old->socket.get(), SD_BOTH);
            ::SetEvent(old->writable.get());  // a write that waits for a program which does not read
        }
    }
    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override
    {
        const auto from = peer(error);
        return from ? from->channel.read(from->socket.handle(), wake_.get(),
                                         listener_.is_valid() ? others_.get() : nullptr, bytes, deadline, error,
                                         [this] { const OwnedSocket turned_away(next()); })
                    : 0;
    }
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override
    {
        const auto to = peer(error);
        return to ? to->write(wake_.get(), bytes, deadline, error) : 0;
    }

private:
    [[nodiscard]] std::shared_ptr<Connected> peer() const noexcept
    {
        const std::lock_guard lock(mutex_);
        return peer_;
    }
    [[nodiscard]] std::shared_ptr<Connected> peer(std::error_code& error) const noexcept
    {
        auto found = peer();
        if (!found) {
            error = std::make_error_code(std::errc::not_connected);
        }
        return found;
    }
    /// The next connection that came, and the event as it is to be then.
    [[nodiscard]] SOCKET next() noexcept
    {
        ::ResetEvent(others_.get());  // accepting sets it again while there are more
        return ::accept(listener_.get(), nullptr, nullptr);
    }

    const OwnedHandle others_ = new_event();  ///< another program has come
    const OwnedSocket listener_;
    mutable std::mutex mutex_;
    std::shared_ptr<Connected> peer_;
};

std::error_code TcpPipe::accept(const Deadline& deadline) noexcept
{
    part();
    const HANDLE events[] = {wake_.get(), others_.get()};
    for (;;) {
        if (OwnedSocket socket(next()); socket.is_valid()) {
            return meet(std::move(socket)) ? std::error_code() : std::make_error_code(std::errc::not_enough_memory);
        }
        const DWORD first = ::WaitForMultipleObjects(2, events, FALSE, static_cast<DWORD>(deadline.remaining_ms()));
        if (first == WAIT_OBJECT_0) {
            return canceled();
        }
        if (first == WAIT_TIMEOUT && deadline.remaining_ms() == 0) {
            return timed_out();
        }
    }
}

std::wstring wide(const std::string& plain) { return {plain.begin(), plain.end()}; }

std::unique_ptr<SystemPipe> serve_tcp(PipeName& name)
{
    start_winsock();
    OwnedSocket listener(
        ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
    const BOOL on = TRUE;
    ::setsockopt(listener.get(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on), sizeof on);
    sockaddr_in address = to_system(*name.tcp);
    int size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    constexpr int waiting_programs = 4;
    if (::bind(listener.get(), any, size) != 0 || ::getsockname(listener.get(), any, &size) != 0 ||
        ::listen(listener.get(), waiting_programs) != 0) {
        fail(name, last_socket_error());
    }
    name.tcp = from_system(address);
    return make_complete<TcpPipe>(name, std::move(listener));
}

}  // namespace

std::unique_ptr<SystemPipe> connect_system_pipe(const PipeName& name, std::chrono::milliseconds timeout)
{
    if (name.tcp) {
        OwnedSocket socket(static_cast<SOCKET>(TcpConnection::open(*name.tcp, timeout).release()));
        auto made = make_complete<TcpPipe>(name, OwnedSocket(INVALID_SOCKET));
        if (!made->meet(std::move(socket))) {
            fail(name, std::make_error_code(std::errc::not_enough_memory));
        }
        return made;
    }
    const std::wstring path = wide(name.path());
    const Deadline deadline(std::min(timeout, longest_busy));
    for (;;) {
        OwnedHandle handle(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                         FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                                         nullptr));
        if (handle.is_valid()) {
            return make_complete<PipeClient>(name, std::move(handle));
        }
        const DWORD error = ::GetLastError();
        const int left = deadline.remaining_ms();
        if (error != ERROR_PIPE_BUSY || left == 0) {
            fail(name, open_error(error, std::errc::device_or_resource_busy));
        }
        (void)::WaitNamedPipeW(path.c_str(), static_cast<DWORD>(left));  // 0 would be the server's own time
    }
}

std::unique_ptr<SystemPipe> serve_system_pipe(PipeName& name)
{
    if (name.tcp) {
        return serve_tcp(name);
    }
    OwnedHandle handle(::CreateNamedPipeW(wide(name.path()).c_str(),
                                          PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                          PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                                          1, system_buffer, system_buffer, 0, nullptr));
    if (!handle.is_valid()) {
        fail(name, open_error(::GetLastError(), std::errc::address_in_use));
    }
    return make_complete<ServedPipe>(name, std::move(handle));
}

}  // namespace vex::net
