#include "sdk/genicp/frame_reader.h"

#include <algorithm>
#include <utility>

namespace vex::genicp {

namespace gencp = wire::gencp;

namespace {

constexpr std::uint8_t first_of_preamble = gencp::preamble >> 8;
constexpr std::uint8_t second_of_preamble = gencp::preamble & 0xFF;

}  // namespace

std::size_t FrameReader::add(std::span<const std::uint8_t> bytes) noexcept
{
    begin_ += std::exchange(given_, 0);
    std::copy(bytes_.begin() + static_cast<std::ptrdiff_t>(begin_), bytes_.begin() + static_cast<std::ptrdiff_t>(end_),
              bytes_.begin());
    end_ -= std::exchange(begin_, 0);
    const auto taken = bytes.first(std::min(bytes.size(), bytes_.size() - end_));
    std::copy(taken.begin(), taken.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(end_));
    end_ += taken.size();
    return taken.size();
}

std::optional<gencp::FrameView> FrameReader::next() noexcept
{
    begin_ += std::exchange(given_, 0);
    for (;;) {
        find_preamble();
        if (held().size() < gencp::header_size) {
            return std::nullopt;
        }
        if (const auto length = gencp::decode_header(held().first<gencp::header_size>())) {
            const std::size_t size = gencp::header_size + *length;
            if (held().size() < size) {
                return std::nullopt;
            }
            if (const auto frame = gencp::decode_frame(held().first(size))) {
                given_ = size;
                return frame;
            }
        }
        pass_over(1);
    }
}

std::size_t FrameReader::missing() const noexcept
{
    const auto waiting = held().subspan(given_);
    if (waiting.size() < gencp::header_size) {
        return gencp::header_size - waiting.size();
    }
    const auto length = gencp::decode_header(waiting.first<gencp::header_size>());
    const std::size_t whole = gencp::header_size + length.value_or(0);
    return waiting.size() < whole ? whole - waiting.size() : 1;
}

bool FrameReader::give_up() noexcept
{
    begin_ += std::exchange(given_, 0);
    if (held().empty()) {
        return false;
    }
    pass_over(1);
    return true;
}

void FrameReader::pass_over(std::size_t count) noexcept
{
    begin_ += count;
    passed_over_ += count;
}

void FrameReader::find_preamble() noexcept
{
    const auto bytes = held();
    std::size_t at = 0;
    while (at < bytes.size() &&
           !(bytes[at] == first_of_preamble && (at + 1 == bytes.size() || bytes[at + 1] == second_of_preamble))) {
        ++at;
    }
    pass_over(at);
}

}  // namespace vex::genicp
