// A small camera for tests, written byte by byte without the project's own message codec, so that the two cannot share
// a mistake. It can be told to misbehave.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sdk/net/udp_socket.h"
#include "tests/sdk/device/scripted_transport.h"

namespace device_test {

/// Sockets bound to different loopback addresses are told apart. Where they are not (Wine sends from 127.0.0.1 whatever
/// the socket is bound to) there can be one camera at a time, at that address.
[[nodiscard]] bool has_loopback_addresses();
/// The address 127.0.0.`last`, or the one that there is.
[[nodiscard]] vex::net::Ipv4Address loopback(std::uint8_t last);

/// What the camera is. The defaults make a sound GigE Vision 2.0 camera with control, WRITEMEM and concatenation.
struct RawCameraOptions {
    vex::net::Ipv4Address address;
    Bytes mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::uint32_t told_address = 0;  ///< in the discovery acknowledge; 0: the real one
    std::uint32_t mask = 0xFF000000;
    std::uint32_t version = 0x00020000;
    std::uint32_t mode = 0x80000001;
    std::string serial = "RAW-1";
    std::string name;
    std::string url = "Local:raw.xml;10000;0";  ///< the length is put in
    std::string second_url;
    std::string description;  ///< the bytes at 0x10000
    std::uint32_t capabilities = 0xC8000003;
    std::uint32_t heartbeat_timeout = 3000;
    std::uint32_t largest_on_wire = 9000;    ///< test packets above are lost; 0: sends none
    std::uint32_t largest_accepted = 16000;  ///< the packet size register clamps to it
};

/// Thread safety: all members may be called from any thread.
class RawCamera {
public:
    explicit RawCamera(RawCameraOptions options);
    ~RawCamera();
    RawCamera(const RawCamera&) = delete;
    RawCamera& operator=(const RawCamera&) = delete;

    /// Answers nothing while set, as if the cable were pulled.
    void mute(bool muted) { muted_ = muted; }
    /// What to answer instead of the normal answer; nothing for the normal one.
    using Intercept = std::function<std::optional<std::vector<Bytes>>(const Bytes& request)>;
    void intercept(Intercept hook);

    [[nodiscard]] std::uint32_t reg(std::uint32_t address);
    void set_reg(std::uint32_t address, std::uint32_t value);
    /// Takes control away from whoever has it, or gives it to somebody else.
    void set_control(std::uint32_t privilege, vex::net::Endpoint holder = {});
    /// Requests of this command code received so far.
    [[nodiscard]] int count(std::uint16_t command);
    [[nodiscard]] std::string bytes_at(std::uint32_t address, std::size_t count);
    [[nodiscard]] const RawCameraOptions& options() const { return options_; }

    static Bytes ack(const Bytes& request, std::uint16_t status, const Bytes& payload);
    [[nodiscard]] Bytes discovery_payload() const;

private:
    void run();
    void handle(vex::net::UdpSocket& socket, const Bytes& request, const vex::net::Endpoint& source);
    std::vector<Bytes> answer(const Bytes& request, const vex::net::Endpoint& source);
    bool write(std::uint32_t address, std::uint32_t value, const vex::net::Endpoint& source, std::uint16_t& status);
    bool may_write(const vex::net::Endpoint& source, std::uint32_t address, std::uint16_t& status) const;
    void put(std::uint32_t address, const std::string& text, std::size_t length);
    void fire_test_packet(std::uint32_t size);

    RawCameraOptions options_;
    std::mutex mutex_;
    std::map<std::uint32_t, std::uint32_t> registers_;
    std::map<std::uint16_t, int> counts_;
    vex::net::Endpoint holder_;
    Intercept intercept_;
    std::atomic<bool> muted_{false};
    std::atomic<bool> stop_{false};
    vex::net::UdpSocket unicast_;
    vex::net::UdpSocket directed_;
    vex::net::UdpSocket limited_;
    std::thread thread_;
};

}  // namespace device_test
