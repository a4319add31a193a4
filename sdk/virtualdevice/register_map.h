// The register space of a device: what READREG, WRITEREG, READMEM and WRITEMEM reach.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/wire/gvcp.h"

namespace vex::virtual_device {

using Status = wire::gvcp::Status;

/// What an application may do with a region. The device itself may always do both.
enum class Access { read_only, read_write, write_only };

/// A contiguous piece of device memory that is read and written as one thing: a register, a string, a table.
struct Region {
    std::uint32_t address = 0;        ///< a multiple of 4
    std::vector<std::uint8_t> bytes;  ///< a multiple of 4 in length, not empty
    Access access = Access::read_only;
    /// Brings the bytes up to date before an application reads them; may be empty.
    std::function<void(std::span<std::uint8_t>)> refresh;
    /// Judges a write before it happens; may be empty. It sees the whole region as it would be, may correct it in place
    /// (clamp, clear self-clearing bits), and acts upon it. Anything but success leaves the region unchanged.
    std::function<Status(std::span<std::uint8_t>)> accept;
    bool persistent = false;  ///< power_on() leaves it alone
};

/// A read-only region with these bytes, padded with zeros to a multiple of 4.
[[nodiscard]] Region memory_region(std::uint32_t address, std::string_view bytes);

/// The behaviour of a 32-bit register, as Region has it for bytes.
struct RegisterHooks {
    std::function<std::uint32_t()> refresh;
    std::function<Status(std::uint32_t&)> accept;
};

/// A sparse map of regions, in big-endian register order.
///
/// Thread safety: none of its own; whoever owns the map serialises. GvcpResponder does so with its lock.
class RegisterMap {
public:
    /// Throws std::logic_error when the region is unaligned, empty or overlaps another: a defect of the device's maker.
    void add(Region region);
    void add_register(std::uint32_t address, Access access, std::uint32_t value, RegisterHooks hooks = {});
    /// The region that starts at `address` outlives power_on(). It must exist (std::logic_error).
    void keep(std::uint32_t address);
    /// A text of `length` bytes, cut to that length and padded with zeros.
    void add_string(std::uint32_t address, Access access, std::size_t length, std::string_view text);
    /// Read-only zeros wherever [address, address + length) has no region yet.
    void add_reserved(std::uint32_t address, std::size_t length);

    // An application's access: hooks run, access rights hold. Address and length must be multiples of 4, which is not
    // checked here. invalid_address where nothing is mapped, access_denied for what cannot be read, write_protect for
    // what cannot be written.
    [[nodiscard]] Status read(std::uint32_t address, std::span<std::uint8_t> out);
    /// Nothing is written unless every part of the range may be; a hook's refusal stops at the region it speaks for.
    [[nodiscard]] Status write(std::uint32_t address, std::span<const std::uint8_t> data);

    // The device's own access: no hooks, no rights. The address must be mapped (std::logic_error).
    [[nodiscard]] std::uint32_t value(std::uint32_t address) const;
    void set_value(std::uint32_t address, std::uint32_t value);
    [[nodiscard]] std::string text(std::uint32_t address) const;
    void set_text(std::uint32_t address, std::string_view text);
    /// The bytes of the region that starts at `address`; valid as long as the map.
    [[nodiscard]] std::span<std::uint8_t> bytes(std::uint32_t address);
    [[nodiscard]] std::span<const std::uint8_t> bytes(std::uint32_t address) const;

    /// Takes the place of the region that starts at the same address, whatever its length. Throws as add() does.
    void replace(Region region);

    /// What the regions hold now is what power_on() brings back. What was never remembered stays as it is.
    void remember_power_on();
    void power_on();
    /// Whether an application has written to a region that outlives power_on() since the last call.
    [[nodiscard]] bool take_persistent_change() { return std::exchange(persistent_changed_, false); }

    [[nodiscard]] bool mapped(std::uint32_t address, std::size_t length) const;

private:
    using Regions = std::map<std::uint32_t, Region>;
    [[nodiscard]] Regions::const_iterator find(std::uint32_t address) const;
    [[nodiscard]] Regions::iterator find(std::uint32_t address);
    [[nodiscard]] Region& at(std::uint32_t address);

    bool persistent_changed_ = false;
    Regions regions_;                                              // by first address
    std::map<std::uint32_t, std::vector<std::uint8_t>> power_on_;  // by first address, too
};

}  // namespace vex::virtual_device
