// Frames out of the bytes of a serial line, whatever else is on it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/wire/gencp.h"

namespace vex::genicp {

/// Takes received bytes and gives the frames among them. What is no frame is passed over, to the next preamble: a frame
/// is found behind garbage, and behind the beginning of one that was cut off. Needs no more memory than one frame.
///
/// Thread safety: none.
class FrameReader {
public:
    /// Takes received bytes, as many as there is room for; the number taken. After next() has given nothing there is
    /// room for what is missing.
    std::size_t add(std::span<const std::uint8_t> bytes) noexcept;

    /// The next whole frame, which is valid until the next call of a member that is not const; empty when more bytes
    /// are needed.
    [[nodiscard]] std::optional<wire::gencp::FrameView> next() noexcept;

    /// The number of bytes, at least 1, without which there is no next frame. After next() has given nothing.
    [[nodiscard]] std::size_t missing() const noexcept;

    /// Nothing more comes of the frame that has begun: it was none, and next() looks behind its preamble. False when
    /// none has begun.
    bool give_up() noexcept;

    /// How many bytes were passed over.
    [[nodiscard]] std::uint64_t passed_over() const noexcept { return passed_over_; }

private:
    [[nodiscard]] std::span<const std::uint8_t> held() const noexcept
    {
        return std::span(bytes_).subspan(begin_, end_ - begin_);
    }
    void pass_over(std::size_t count) noexcept;
    /// Passes over what cannot be the beginning of a frame.
    void find_preamble() noexcept;

    std::array<std::uint8_t, wire::gencp::largest_frame> bytes_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t given_ = 0;  ///< of the frame that was given last, which still stands at the beginning
    std::uint64_t passed_over_ = 0;
};

}  // namespace vex::genicp
