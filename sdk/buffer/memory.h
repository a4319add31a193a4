// The buffers' own memory: aligned blocks whose allocation can be made to fail in tests.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vex::buffer_memory {

/// Wide enough for every vector instruction and a cache line.
inline constexpr std::size_t alignment = 64;

/// A zeroed block at an address that is a multiple of `alignment`; null when there is none. Never throws.
[[nodiscard]] std::uint8_t* allocate(std::size_t size) noexcept;
void release(std::uint8_t* memory) noexcept;

/// Makes this many allocations of this process fail from now on. For tests.
void fail_next_allocations(unsigned count) noexcept;

}  // namespace vex::buffer_memory
