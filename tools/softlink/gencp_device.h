// A simulated GenCP camera: what it answers to the bytes of a serial line.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genicp/frame_reader.h"
#include "sdk/net/clock.h"
#include "sdk/wire/gencp.h"
#include "tools/softlink/user_file.h"

namespace softlink {

using Bytes = std::vector<std::uint8_t>;

/// Where the device's registers stand.
namespace address {
inline constexpr std::uint64_t sbrm = 0x400;
inline constexpr std::uint64_t manifest = 0x1000;
inline constexpr std::uint64_t width = 0x10000;
inline constexpr std::uint64_t height = 0x10004;
inline constexpr std::uint64_t reverse_x = 0x10008;
inline constexpr std::uint64_t test_pattern = 0x1000C;
inline constexpr std::uint64_t exposure_time = 0x10010;
inline constexpr std::uint64_t trigger = 0x10018;
inline constexpr std::uint64_t trigger_count = 0x1001C;
inline constexpr std::uint64_t command_count = 0x10030;
inline constexpr std::uint64_t reset = 0x10034;
inline constexpr std::uint64_t file_selector = 0x10040;
inline constexpr std::uint64_t file_operation = 0x10044;
inline constexpr std::uint64_t file_open_mode = 0x10048;
inline constexpr std::uint64_t file_offset = 0x1004C;
inline constexpr std::uint64_t file_length = 0x10050;
inline constexpr std::uint64_t file_execute = 0x10054;
inline constexpr std::uint64_t file_status = 0x10058;
inline constexpr std::uint64_t file_result = 0x1005C;
inline constexpr std::uint64_t file_size = 0x10060;
inline constexpr std::uint64_t features_end = 0x10064;
inline constexpr std::uint64_t table = 0x11000;
inline constexpr std::uint64_t table_end = 0x12000;
inline constexpr std::uint64_t file_buffer = 0x12000;
inline constexpr std::uint64_t file_buffer_end = 0x12800;
inline constexpr std::uint64_t plain_description = 0x100000;
inline constexpr std::uint64_t packed_description = 0x800000;
}  // namespace address

struct DeviceOptions {
    std::string manufacturer = "Vex";
    std::string model = "SoftLink";
    std::string serial_number = "SL-0001";
    std::string user_defined_name;
    bool privilege = true;                  ///< writing features needs the access privilege
    std::chrono::milliseconds heartbeat{};  ///< the privilege is forgotten after such a silence; 0 for no heartbeat
    bool written_length = true;             ///< acknowledges of WriteMem tell a length
    std::size_t longest_access = 1008;      ///< bytes; longer accesses are refused as invalid parameters
    bool single_registers = false;          ///< bootstrap registers are read one by one only
    std::uint32_t baud_rate = 0;            ///< answers take their time at this rate; 0: no time
    bool manifest = true;
    bool plain_description = true;
    bool packed_description = true;
};

/// Bytes that the device sends, so long after what it answers came.
struct Answer {
    std::chrono::milliseconds after{};
    Bytes bytes;
};

/// What was done.
struct DeviceStatistics {
    std::uint64_t commands = 0;  ///< frames with a command
    std::uint64_t executed = 0;
    std::uint64_t repeated = 0;  ///< answered again without being done again
    std::uint64_t refused = 0;
};

/// Keeps registers and descriptions, and carries out ReadMem and WriteMem. A command that is marked as sent again, with
/// the request ID of the last one, is answered again and not done again.
///
/// Thread safety: none.
class GencpDevice {
public:
    /// The clock must outlive the device. The description is the device's own, or `xml` where that is not empty.
    explicit GencpDevice(const DeviceOptions& options, const vex::net::Clock& clock = vex::net::Clock::steady(),
                         std::string_view xml = {});

    /// Takes bytes that came and gives what the device answers.
    [[nodiscard]] std::vector<Answer> receive(std::span<const std::uint8_t> bytes);

    /// The next command takes so long, which the device announces; 0 announces nothing.
    void be_busy_once(std::chrono::milliseconds time) { busy_ = time; }

    [[nodiscard]] std::uint32_t word(std::uint64_t address);
    void set_word(std::uint64_t address, std::uint32_t value);
    [[nodiscard]] const DeviceStatistics& statistics() const noexcept { return statistics_; }

private:
    using Status = vex::wire::gencp::Status;
    struct Region {
        std::uint64_t address = 0;
        Bytes bytes;
    };

    void add_bootstrap();
    void add_manifest(std::string_view xml);
    /// The memory from this address on; empty where there is none, or not so much.
    [[nodiscard]] std::span<std::uint8_t> memory(std::uint64_t address, std::size_t length);
    void put_text(std::uint64_t address, std::string_view text);
    void put_long(std::uint64_t address, std::uint64_t value);

    [[nodiscard]] vex::wire::gencp::Frame execute(const vex::wire::gencp::FrameView& command);
    [[nodiscard]] vex::wire::gencp::Frame read(std::uint16_t id, std::span<const std::uint8_t> scd);
    [[nodiscard]] vex::wire::gencp::Frame write(std::uint16_t id, std::span<const std::uint8_t> scd);
    [[nodiscard]] bool refuses_range(const vex::wire::gencp::MemoryRead& read) const;
    [[nodiscard]] Status write_status(const vex::wire::gencp::MemoryWrite& write);
    void act_on_write(std::uint64_t address);
    void act_on_file();
    void forget_silent_host();

    DeviceOptions options_;
    const vex::net::Clock& clock_;
    vex::genicp::FrameReader reader_;
    std::vector<Region> regions_;
    UserFile file_;
    DeviceStatistics statistics_;
    vex::net::Clock::time_point last_command_;
    std::chrono::milliseconds busy_{};
    std::optional<std::uint16_t> last_id_;
    Bytes last_answer_;
};

}  // namespace softlink
