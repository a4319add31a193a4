// The golden messages as bytes, by name.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
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
#include "tests/sdk/wire/golden/payload_types.inc"
#undef GOLDEN

inline const std::vector<Message>& all()
{
    static const std::vector<Message> messages{
#define GOLDEN(name, hex) {#name, bytes(hex)},
#include "tests/sdk/wire/golden/messages.inc"
#include "tests/sdk/wire/golden/payload_types.inc"
#undef GOLDEN
    };
    return messages;
}

inline Bytes copy(std::span<const std::uint8_t> view) { return {view.begin(), view.end()}; }

/// A golden message as `decode` understands it; its bytes live as long as this.
template <auto decode>
struct Decoded {
    explicit Decoded(Bytes message) : bytes(std::move(message))
    {
        const auto decoded = decode(bytes);
        EXPECT_TRUE(decoded.has_value());
        if (decoded) {
            view = *decoded;
        }
    }

    Bytes bytes;
    typename std::invoke_result_t<decltype(decode), std::span<const std::uint8_t>>::value_type view;
};

}  // namespace golden
