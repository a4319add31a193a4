// Memory straight from the system.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vex {

/// Zeroed memory of at least `size` bytes, at a page's start; null when there is none. The system provides each page
/// when it is first touched.
[[nodiscard]] std::uint8_t* take_pages(std::size_t size) noexcept;

/// Gives back what take_pages gave for this size.
void give_pages_back(std::uint8_t* pages, std::size_t size) noexcept;

}  // namespace vex
