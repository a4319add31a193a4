#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "sdk/net/descriptor_linux.h"
#include "sdk/net/posix_socket.h"
#include "sdk/net/system_pipe.h"
#include "sdk/net/tcp_connection.h"

namespace vex::net {

namespace {

constexpr int waiting_programs = 4;  // that come while another is served

[[noreturn]] void fail(const PipeName& name, std::error_code error)
{
    throw std::system_error(error, "no pipe " + name.to_string());
}

std::error_code reset() noexcept { return std::make_error_code(std::errc::connection_reset); }

Descriptor new_waker(const PipeName& name)
{
    Descriptor waker(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!waker) {
        fail(name, last_error());
    }
    return waker;
}

/// Bytes go at once, and a program on a computer that has gone is noticed some time.
void prepare_tcp(int descriptor) noexcept
{
    const int on = 1;
    ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
}

sockaddr_un unix_address(const PipeName& name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = name.path();
    if (path.size() >= sizeof address.sun_path) {
        fail(name, std::make_error_code(std::errc::filename_too_long));
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

/// An end of a connection, and the means to end a wait.
class SocketPipe : public SystemPipe {
public:
    explicit SocketPipe(Descriptor waker) noexcept : waker_(std::move(waker)) {}
    SocketPipe(Descriptor waker, Descriptor peer) noexcept : SocketPipe(std::move(waker)) { meet(std::move(peer)); }

    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override;
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override;
    void wake() noexcept override
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(waker_.get(), &one, sizeof one);
    }
    void part() noexcept override
    {
        if (const Peer old = peer()) {
            ::shutdown(old->get(), SHUT_RDWR);
        }
    }

protected:
    using Peer = std::shared_ptr<Descriptor>;

    [[nodiscard]] Peer peer() const noexcept
    {
        const std::lock_guard lock(mutex_);
        return peer_;
    }
    void meet(Descriptor peer)
    {
        auto made = std::make_shared<Descriptor>(std::move(peer));
        const std::lock_guard lock(mutex_);
        peer_ = std::move(made);
    }
    /// Waits for an event of a socket; an error says why there was none. Others that come meanwhile are turned away.
    std::error_code wait(int descriptor, short event, const Deadline& deadline) noexcept;
    /// Where others come; negative for nowhere.
    [[nodiscard]] virtual int listener() const noexcept { return -1; }

private:
    [[nodiscard]] static std::error_code no_peer() noexcept { return std::make_error_code(std::errc::not_connected); }

    const Descriptor waker_;
    mutable std::mutex mutex_;
    Peer peer_;
};

std::error_code SocketPipe::wait(int descriptor, short event, const Deadline& deadline) noexcept
{
    const int others = event == POLLIN && descriptor != listener() ? listener() : -1;
    for (;;) {
        pollfd entries[] = {{waker_.get(), POLLIN, 0}, {descriptor, event, 0}, {others, POLLIN, 0}};
        const int ready = ::poll(entries, 3, deadline.remaining_ms());
        if (ready < 0 && errno != EINTR) {
            return last_error();
        }
        if (ready > 0 && entries[0].revents != 0) {
            return std::make_error_code(std::errc::operation_canceled);
        }
        if (ready > 0 && entries[1].revents != 0) {
            return {};  // an error, too: the call that follows tells it
        }
        if (ready > 0 && entries[2].revents != 0) {
            const Descriptor turned_away(::accept4(others, nullptr, nullptr, SOCK_CLOEXEC));
        } else if (deadline.remaining_ms() == 0) {
            return std::make_error_code(std::errc::timed_out);
        }
    }
}

std::size_t SocketPipe::read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept
{
    const Peer from = peer();
    if (!from) {
        error = no_peer();
        return 0;
    }
    for (;;) {
        error = wait(from->get(), POLLIN, deadline);
        if (error) {
            return 0;
        }
        const ssize_t size = ::recv(from->get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (size > 0) {
            return static_cast<std::size_t>(size);
        }
        if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            error = reset();
            return 0;
        }
    }
}

std::size_t SocketPipe::write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                              std::error_code& error) noexcept
{
    const Peer to = peer();
    if (!to) {
        error = no_peer();
        return 0;
    }
    std::size_t written = 0;
    while (written < bytes.size()) {
        error = wait(to->get(), POLLOUT, deadline);
        if (error) {
            break;
        }
        const ssize_t size =
            ::send(to->get(), bytes.data() + written, bytes.size() - written, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (size > 0) {
            written += static_cast<std::size_t>(size);
        } else if (size < 0 && errno != EAGAIN && errno != EINTR) {
            error = reset();
            break;
        }
    }
    return written;
}

/// A socket file, and the lock beside it that tells a live one from one that a crash has left.
class SocketFile {
public:
    /// Binds `listener` to the name's file.
    SocketFile(const PipeName& name, int listener)
        : path_(name.path()), lock_(::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600))
    {
        const sockaddr_un address = unix_address(name);
        if (!lock_) {
            fail(name, last_error());
        }
        if (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
            fail(name, std::make_error_code(std::errc::address_in_use));
        }
        ::unlink(path_.c_str());
        ::fchmod(listener, 0600);  // which the file gets
        if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            fail(name, last_error());
        }
        bound_ = true;
    }
    SocketFile(SocketFile&& other) noexcept
        : path_(std::move(other.path_)), lock_(std::move(other.lock_)), bound_(std::exchange(other.bound_, false))
    {}
    SocketFile& operator=(SocketFile&&) = delete;
    ~SocketFile()
    {
        if (bound_) {
            ::unlink(path_.c_str());
        }
    }

private:
    std::string path_;
    Descriptor lock_;
    bool bound_ = false;
};

class ServingPipe final : public SocketPipe {
public:
    ServingPipe(Descriptor waker, Descriptor listener, std::optional<SocketFile> file) noexcept
        : SocketPipe(std::move(waker)), listener_(std::move(listener)), file_(std::move(file))
    {}

    std::error_code accept(const Deadline& deadline) noexcept override
    {
        part();
        for (;;) {
            if (const std::error_code error = wait(listener_.get(), POLLIN, deadline); error) {
                return error;
            }
            Descriptor peer(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (peer) {
                if (!file_) {
                    prepare_tcp(peer.get());
                }
                meet(std::move(peer));
                return {};
            }
            if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
                return last_error();
            }
        }
    }

private:
    [[nodiscard]] int listener() const noexcept override { return listener_.get(); }

    const Descriptor listener_;
    const std::optional<SocketFile> file_;
};

Descriptor connect_unix(const PipeName& name)
{
    const sockaddr_un address = unix_address(name);
    Descriptor peer(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!peer || ::connect(peer.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const bool busy = errno == EAGAIN;  // more wait than it takes
        fail(name, busy ? std::make_error_code(std::errc::device_or_resource_busy) : last_error());
    }
    return peer;
}

Descriptor connect_tcp(const PipeName& name, std::chrono::milliseconds timeout)
{
    Descriptor peer(static_cast<int>(TcpConnection::open(*name.tcp, timeout).release()));
    prepare_tcp(peer.get());
    return peer;
}

}  // namespace

std::unique_ptr<SystemPipe> connect_system_pipe(const PipeName& name, std::chrono::milliseconds timeout)
{
    return std::make_unique<SocketPipe>(new_waker(name), name.tcp ? connect_tcp(name, timeout) : connect_unix(name));
}

std::unique_ptr<SystemPipe> serve_system_pipe(PipeName& name)
{
    Descriptor listener(::socket(name.tcp ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!listener) {
        fail(name, last_error());
    }
    std::optional<SocketFile> file;
    if (name.tcp) {
        const int on = 1;
        ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address = to_system(*name.tcp);
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener.get(), any, size) != 0 || ::getsockname(listener.get(), any, &size) != 0) {
            fail(name, last_error());
        }
        name.tcp = from_system(address);
    } else {
        file.emplace(name, listener.get());
    }
    if (::listen(listener.get(), waiting_programs) != 0) {
        fail(name, last_error());
    }
    return std::make_unique<ServingPipe>(new_waker(name), std::move(listener), std::move(file));
}

}  // namespace vex::net
