// A serial line with both its ends. Natively it is a pseudo terminal. Under Wine it is a COM port that is one: the
// program with_com_ports.py makes it and its other end, a second COM port, before the tests begin.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/net/serial_line.h"

#ifndef _WIN32
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>
#endif

class SerialWire {
public:
    using Bytes = std::vector<std::uint8_t>;
    /// How long a test waits for what must come.
    static constexpr std::chrono::milliseconds patience{30'000};

    SerialWire();
    SerialWire(const SerialWire&) = delete;
    SerialWire& operator=(const SerialWire&) = delete;
    ~SerialWire();

    /// Whether there is a wire to test with.
    [[nodiscard]] static bool is_there();
    /// What the line that is tested is opened by.
    [[nodiscard]] const std::string& name() const { return name_; }

    /// At the other end: sends, and receives so many bytes (fewer when they do not come).
    void send(const Bytes& bytes);
    void send(std::string_view text) { send(Bytes(text.begin(), text.end())); }
    [[nodiscard]] Bytes receive(std::size_t size);
    /// Takes the line away from whoever has it open.
    void unplug();

private:
    std::string name_;
#ifdef _WIN32
    static std::shared_ptr<vex::net::SerialLine> open_peer(const std::string& name);
    std::shared_ptr<vex::net::SerialLine> peer_;
#else
    int master_ = -1;
#endif
};

#define SKIP_WITHOUT_WIRE()                                                                                            \
    if (!SerialWire::is_there())                                                                                       \
    GTEST_SKIP() << "started without with_com_ports.py, which makes the COM ports"

#ifdef _WIN32

inline bool SerialWire::is_there() { return std::getenv("VEX_COM_PORTS") != nullptr; }

inline SerialWire::SerialWire()
{
    if (is_there()) {
        const std::string names = std::getenv("VEX_COM_PORTS");
        name_ = names.substr(0, names.find(','));
        const std::string peer = names.substr(names.find(',') + 1);
        peer_ = open_peer(peer);
        // nothing of the test before is left on a wire that is new
        send(std::string_view("\x10"
                              "a new wire\x10"));
        EXPECT_TRUE(receive(1 << 20).size() < 1 << 20);
        peer_ = open_peer(peer);
    }
}

inline std::shared_ptr<vex::net::SerialLine> SerialWire::open_peer(const std::string& name)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        try {
            return vex::net::SerialLine::open(name, {115'200});
        } catch (const std::system_error&) {  // the old one has gone, and the new one is being made
            if (std::chrono::steady_clock::now() > deadline) {
                throw;
            }
            std::this_thread::yield();
        }
    }
}

inline SerialWire::~SerialWire() = default;

inline void SerialWire::send(const Bytes& bytes)
{
    std::error_code error;
    EXPECT_EQ(peer_->write(bytes, patience, error), bytes.size()) << error.message();
}

inline SerialWire::Bytes SerialWire::receive(std::size_t size)
{
    Bytes bytes(size);
    std::size_t count = 0;
    std::error_code error;
    while (count < size && !error) {
        count += peer_->read(std::span(bytes).subspan(count), patience, error);
    }
    bytes.resize(count);
    return bytes;
}

inline void SerialWire::unplug() { send(std::string_view("\x10pull the plug\x10")); }

#else

inline bool SerialWire::is_there() { return true; }

inline SerialWire::SerialWire() : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    char name[128] = "";
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0 ||
        ::ptsname_r(master_, name, sizeof name) != 0) {
        throw std::system_error(errno, std::system_category(), "no pseudo terminal");
    }
    name_ = name;
}

inline SerialWire::~SerialWire() { unplug(); }

inline void SerialWire::send(const Bytes& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t size = ::write(master_, bytes.data() + sent, bytes.size() - sent);
        ASSERT_GT(size, 0);
        sent += static_cast<std::size_t>(size);
    }
}

inline SerialWire::Bytes SerialWire::receive(std::size_t size)
{
    Bytes bytes(size);
    std::size_t count = 0;
    while (count < size) {
        pollfd entry{master_, POLLIN, 0};
        if (::poll(&entry, 1, static_cast<int>(patience.count())) <= 0) {
            break;
        }
        const ssize_t got = ::read(master_, bytes.data() + count, size - count);
        if (got <= 0) {
            break;
        }
        count += static_cast<std::size_t>(got);
    }
    bytes.resize(count);
    return bytes;
}

inline void SerialWire::unplug()
{
    if (master_ >= 0) {
        ::close(std::exchange(master_, -1));
    }
}

#endif
