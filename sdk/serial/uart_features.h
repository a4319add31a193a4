// A serial port of a device as its description's features give it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "sdk/base/PvResult.h"

class PvGenParameter;
class PvGenParameterArray;
class PvGenRegister;

namespace vex::serial {

/// The transfers that driving a UART takes. docs/serial.md says what is in the blocks.
///
/// Thread safety: as the implementation has it; one thread receives while another transmits.
class UartAccess {
public:
    virtual ~UartAccess() = default;
    [[nodiscard]] virtual std::size_t receive_block_size() const noexcept = 0;
    [[nodiscard]] virtual std::size_t transmit_block_size() const noexcept = 0;
    /// Fills `block`, which is at most receive_block_size() bytes.
    [[nodiscard]] virtual PvResult read_block(std::span<std::uint8_t> block) = 0;
    /// The device may forget what it received before `position`.
    [[nodiscard]] virtual PvResult take_until(std::uint32_t position) = 0;
    [[nodiscard]] virtual PvResult room(std::uint32_t& bytes) = 0;
    /// Writes a block, which is a multiple of 4 long and at most transmit_block_size() bytes.
    [[nodiscard]] virtual PvResult write_block(std::span<const std::uint8_t> block) = 0;
};

/// Over the features of a device, which outlive the object.
///
/// Thread safety: all members may be called from any thread.
class UartFeatures final : public UartAccess {
public:
    /// The device describes a serial port of this name.
    [[nodiscard]] static bool are_in(const PvGenParameterArray& array, const std::string& port_name);

    /// The port is described.
    UartFeatures(PvGenParameterArray& array, const std::string& port_name);

    /// Reads what the other members go by. GenICamXMLError for blocks that are too small.
    [[nodiscard]] PvResult prepare();

    [[nodiscard]] std::size_t receive_block_size() const noexcept override { return receive_size_; }
    [[nodiscard]] std::size_t transmit_block_size() const noexcept override { return transmit_size_; }
    [[nodiscard]] PvResult read_block(std::span<std::uint8_t> block) override;
    [[nodiscard]] PvResult take_until(std::uint32_t position) override;
    [[nodiscard]] PvResult room(std::uint32_t& bytes) override;
    [[nodiscard]] PvResult write_block(std::span<const std::uint8_t> block) override;

    /// Discards what the device has received. NotSupported where it cannot.
    [[nodiscard]] PvResult flush_receive();
    /// Whether the device is to tell of received bytes. NotSupported where it cannot.
    [[nodiscard]] PvResult notify(bool on);
    /// Changes when bytes were received; null where the device does not tell.
    [[nodiscard]] PvGenParameter* announcement() const;
    /// In bits per second; 9,600 where the device does not say.
    [[nodiscard]] std::uint32_t baud_rate() const;

private:
    PvGenParameterArray& array_;
    const std::string port_name_;
    const std::string prefix_;
    PvGenRegister* const receive_;
    PvGenRegister* const transmit_;
    std::size_t receive_size_ = 0;
    std::size_t transmit_size_ = 0;
};

/// The blocks' headers.
namespace uart_blocks {
inline constexpr std::size_t receive_header = 12;  ///< position, count and overruns, in 4 bytes each
inline constexpr std::size_t transmit_header = 4;  ///< the number of bytes to send
}  // namespace uart_blocks

}  // namespace vex::serial
