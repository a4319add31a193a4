// PvSerialPortConfiguration: how characters are sent on a serial line.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"

/// The bit that guards each character. The values are part of the binary contract with clients; never renumber. A
/// variable may hold values outside the enumeration: IsValid finds them.
enum PvParity : std::int32_t {
    PvParityInvalid = -1,
    PvParityNone = 0,
    PvParityEven = 1,
    PvParityOdd = 2,
};

/// The settings of a serial line: 9,600 baud, no parity, 8 data bits, 1 stop bit after construction. A value: copied
/// where it is handed over. The fields take anything, and IsValid judges it.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvSerialPortConfiguration {
public:
    static constexpr std::uint32_t highest_baud_rate = 4'000'000;

    std::uint32_t BaudRate = 9600;   ///< bits per second
    PvParity Parity = PvParityNone;  ///< none, even or odd
    std::uint32_t ByteSize = 8;      ///< data bits of a character
    std::uint32_t StopBits = 1;      ///< bits between two characters

    /// OK for a baud rate of 1 to highest_baud_rate, parity none, even or odd, 5 to 8 data bits and 1 or 2 stop bits,
    /// but not 5 data bits with 2 stop bits, which no UART sends. Otherwise InvalidParameter, and the text names the
    /// first field that is wrong and what it holds. Whether a certain line can do it is known when it is told to.
    [[nodiscard]] PvResult IsValid() const noexcept;

    /// Makes every field one that IsValid refuses.
    void MakeInvalid() noexcept;

    friend bool operator==(const PvSerialPortConfiguration&, const PvSerialPortConfiguration&) = default;
};

static_assert(sizeof(PvSerialPortConfiguration) == 16);
