// The buffers' own memory: aligned blocks whose allocation can be made to fail in tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace vex::buffer_memory {

/// Wide enough for every vector instruction and a cache line.
inline constexpr std::size_t alignment = 64;

#if defined(__SANITIZE_ADDRESS__)
#define VEX_WATCHED_BY_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEX_WATCHED_BY_ADDRESS_SANITIZER
#endif
#endif

/// Bytes from which on a block consists of pages that the system hands out zeroed when they are first touched. Where
/// the C library keeps such blocks for reuse at all, it keeps smaller ones only. The address sanitizer sees overruns
/// only of blocks that come from its own allocator.
#ifdef VEX_WATCHED_BY_ADDRESS_SANITIZER
inline constexpr std::size_t pages_from = std::numeric_limits<std::size_t>::max();
#else
inline constexpr std::size_t pages_from = std::size_t{32} << 20;
#endif

/// A zeroed block at an address that is a multiple of `alignment`; null when there is none. Never throws.
[[nodiscard]] std::uint8_t* allocate(std::size_t size) noexcept;
/// A block of the same `size` in place of `memory`, with all bytes zero; at another address where that is cheaper than
/// writing them.
[[nodiscard]] std::uint8_t* zero_again(std::uint8_t* memory, std::size_t size) noexcept;
/// Gives back a block of `size` bytes, or null.
void release(std::uint8_t* memory, std::size_t size) noexcept;

/// Makes this many allocations of this process fail from now on. For tests.
void fail_next_allocations(unsigned count) noexcept;

}  // namespace vex::buffer_memory
