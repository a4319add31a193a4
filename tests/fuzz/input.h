// What the fuzz targets share: stopping on a broken promise, and reading what a decoder hands out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

namespace fuzz {

using View = std::span<const std::uint8_t>;

/// A promise of the code under test; the fuzzer keeps the input that breaks it.
inline void require(bool promise)
{
    if (!promise) {
        std::abort();
    }
}

/// A view handed out by a decoder lies within what it was given, and every byte of it can be read.
inline void require_within(View part, View whole)
{
    if (part.empty()) {
        return;
    }
    require(part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
    volatile std::uint8_t sink = 0;
    for (const std::uint8_t byte : part) {
        sink = byte;
    }
    static_cast<void>(sink);
}

inline bool equal(View a, View b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace fuzz
