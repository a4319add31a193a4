#include "sdk/base/utf8.h"

#include <cstdint>

namespace vex {

namespace {

constexpr char surrogate_lead = '\xED';
constexpr std::size_t surrogate_size = 3;

std::uint8_t byte(std::string_view text, std::size_t at) { return static_cast<std::uint8_t>(text[at]); }

/// Whether an encoded surrogate begins there: lead byte 0xED, of which other code points have a smaller second byte.
bool is_surrogate(std::string_view text, std::size_t at)
{
    return at + surrogate_size <= text.size() && text[at] == surrogate_lead && byte(text, at + 1) >= 0xA0 &&
           byte(text, at + 1) <= 0xBF && (byte(text, at + 2) & 0xC0) == 0x80;
}

bool is_high(std::string_view text, std::size_t at) { return is_surrogate(text, at) && byte(text, at + 1) < 0xB0; }

bool is_low(std::string_view text, std::size_t at) { return is_surrogate(text, at) && byte(text, at + 1) >= 0xB0; }

char32_t ten_bits(std::string_view text, std::size_t at)
{
    return static_cast<char32_t>((byte(text, at + 1) & 0x0F) << 6 | (byte(text, at + 2) & 0x3F));
}

}  // namespace

std::string without_surrogates(std::string_view text)
{
    constexpr char32_t replacement = 0xFFFD;
    std::string well_formed;
    well_formed.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        if (is_high(text, at) && is_low(text, at + surrogate_size)) {
            append_utf8(well_formed, 0x10000 + (ten_bits(text, at) << 10) + ten_bits(text, at + surrogate_size));
            at += 2 * surrogate_size;
        } else if (is_surrogate(text, at)) {
            append_utf8(well_formed, replacement);
            at += surrogate_size;
        } else {
            well_formed += text[at++];
        }
    }
    return well_formed;
}

}  // namespace vex
