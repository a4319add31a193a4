// Serial settings and line errors in the words of the kernel. Beside <termios.h> this cannot be included: the two
// declare the same names.
#pragma once

#include <asm/termbits.h>
#include <linux/serial.h>

#include <array>
#include <cstdint>
#include <optional>

#include "sdk/net/serial_line.h"

namespace vex::net {

/// What of termios2::c_cflag says how a character is framed.
inline constexpr std::uint32_t frame_mask = CSIZE | PARENB | PARODD | CSTOPB | CMSPAR;

/// The frame as a part of termios2::c_cflag; empty for one that there is not.
[[nodiscard]] inline std::optional<std::uint32_t> frame_flags(const SerialSettings& settings) noexcept
{
    constexpr std::array<std::uint32_t, 4> sizes = {CS5, CS6, CS7, CS8};
    if (settings.data_bits < 5 || settings.data_bits > 8 || settings.stop_bits < 1 || settings.stop_bits > 2) {
        return {};
    }
    std::uint32_t flags = sizes[settings.data_bits - 5];
    flags |= settings.stop_bits == 2 ? CSTOPB : 0u;
    flags |= settings.parity != LineParity::none ? PARENB : 0u;
    flags |= settings.parity == LineParity::odd ? PARODD : 0u;
    return flags;
}

/// Adds what the driver counted between two looks. Its counters wrap around.
inline void add_counted(LineErrors& errors, const serial_icounter_struct& before,
                        const serial_icounter_struct& now) noexcept
{
    const auto since = [](int old_count, int new_count) {
        return static_cast<std::uint32_t>(new_count) - static_cast<std::uint32_t>(old_count);
    };
    errors.breaks += since(before.brk, now.brk);
    errors.parity += since(before.parity, now.parity);
    errors.framing += since(before.frame, now.frame);
    errors.overruns += since(before.overrun, now.overrun);
    errors.overruns += since(before.buf_overrun, now.buf_overrun);
}

}  // namespace vex::net
