// What hangs on the far end of a camera's serial port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vex::peripherals {

/// Takes the characters that the camera sends, one after the other, and sends its own.
///
/// Thread safety: none of its own; whoever owns the port serialises.
class SerialDevice {
public:
    virtual ~SerialDevice() = default;
    /// `bytes` have come whole. Appends what it sends then, mostly nothing, to `said`.
    virtual void receive(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& said) = 0;
    /// As when it was switched on.
    virtual void power_on() {}
};

/// A plug that joins the sending wire to the receiving one.
class Loopback final : public SerialDevice {
public:
    void receive(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& said) override
    {
        said.insert(said.end(), bytes.begin(), bytes.end());
    }
};

/// A device that answers lines of text, ended by carriage return, line feed or both: "?" with its commands, "id" with
/// its name, "temp" with a temperature, anything else with "unknown command". Its own lines end with both.
class CommandLineDevice final : public SerialDevice {
public:
    static constexpr std::size_t longest_line = 80;  ///< what is longer is an unknown command

    explicit CommandLineDevice(std::string id) : id_(std::move(id)) {}

    void receive(std::span<const std::uint8_t> bytes, std::vector<std::uint8_t>& said) override;
    void power_on() override { line_.clear(); }

private:
    [[nodiscard]] std::string answer() const;

    const std::string id_;
    std::string line_;
};

}  // namespace vex::peripherals
