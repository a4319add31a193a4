// What a small camera for tests answers, written byte by byte without the project's own message codec, so that the two
// cannot share a mistake. It can be told to misbehave.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sdk/base/address.h"
#include "tests/sdk/control/scripted_transport.h"

namespace device_test {

/// What the camera is. The defaults make a sound GigE Vision 2.0 camera with control, WRITEMEM and concatenation.
struct RawCameraOptions {
    vex::Ipv4Address address;
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

/// A camera without a network: requests come and answers go by calls.
///
/// Thread safety: all members may be called from any thread.
class RawDevice {
public:
    explicit RawDevice(RawCameraOptions options);
    virtual ~RawDevice() = default;
    RawDevice(const RawDevice&) = delete;
    RawDevice& operator=(const RawDevice&) = delete;

    /// The datagrams that this request, from this source, is answered with.
    [[nodiscard]] std::vector<Bytes> answers(const Bytes& request, const vex::Endpoint& source);

    /// Answers nothing while set, as if the cable were pulled.
    void mute(bool muted) { muted_ = muted; }
    /// What to answer instead of the normal answer; nothing for the normal one.
    using Intercept = std::function<std::optional<std::vector<Bytes>>(const Bytes& request)>;
    void intercept(Intercept hook);

    [[nodiscard]] std::uint32_t reg(std::uint32_t address);
    void set_reg(std::uint32_t address, std::uint32_t value);
    /// Takes control away from whoever has it, or gives it to somebody else.
    void set_control(std::uint32_t privilege, vex::Endpoint holder = {});
    /// Requests of this command code received so far.
    [[nodiscard]] int count(std::uint16_t command);
    [[nodiscard]] std::string bytes_at(std::uint32_t address, std::size_t count);
    [[nodiscard]] const RawCameraOptions& options() const { return options_; }

    static Bytes ack(const Bytes& request, std::uint16_t status, const Bytes& payload);
    [[nodiscard]] Bytes discovery_payload() const;

private:
    /// Sends a test packet of the stream; nowhere without a network.
    virtual void send_test_packet(const vex::Endpoint& destination, const Bytes& packet)
    {
        static_cast<void>(destination);
        static_cast<void>(packet);
    }

    std::vector<Bytes> answer(const Bytes& request, const vex::Endpoint& source);
    [[nodiscard]] bool denies(const vex::Endpoint& source);
    Bytes read_registers(const Bytes& request, const vex::Endpoint& source);
    Bytes write_registers(const Bytes& request, const vex::Endpoint& source);
    Bytes read_memory(const Bytes& request, const vex::Endpoint& source);
    Bytes write_memory(const Bytes& request, const vex::Endpoint& source);
    std::vector<Bytes> force_ip(const Bytes& request);
    bool write(std::uint32_t address, std::uint32_t value, const vex::Endpoint& source, std::uint16_t& status);
    bool may_write(const vex::Endpoint& source, std::uint32_t address, std::uint32_t value,
                   std::uint16_t& status) const;
    void put(std::uint32_t address, const std::string& text, std::size_t length);
    void fire_test_packet(std::uint32_t size);

    RawCameraOptions options_;
    std::mutex mutex_;
    std::map<std::uint32_t, std::uint32_t> registers_;
    std::map<std::uint16_t, int> counts_;
    vex::Endpoint holder_;
    Intercept intercept_;
    std::atomic<bool> muted_{false};
};

}  // namespace device_test
