// The golden messages as bytes, by name.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace golden {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t digit(char c) { return static_cast<std::uint8_t>(c <= '9' ? c - '0' : c - 'a' + 10); }

/// Bytes from pairs of lower-case hexadecimal digits.
inline Bytes bytes(std::string_view hex)
{
    Bytes out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<std::uint8_t>((digit(hex[i]) << 4) | digit(hex[i + 1])));
    }
    return out;
}

struct Message {
    std::string_view name;
    Bytes bytes;
};

#define GOLDEN(name, hex)                                                                                              \
    inline Bytes name() { return bytes(hex); }
#include "tests/sdk/wire/golden/messages.inc"
#undef GOLDEN

inline const std::vector<Message>& all()
{
    static const std::vector<Message> messages{
#define GOLDEN(name, hex) {#name, bytes(hex)},
#include "tests/sdk/wire/golden/messages.inc"
#undef GOLDEN
    };
    return messages;
}

inline Bytes copy(std::span<const std::uint8_t> view) { return {view.begin(), view.end()}; }

}  // namespace golden
