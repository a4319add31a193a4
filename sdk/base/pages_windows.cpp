#include <windows.h>

#include "sdk/base/pages.h"

namespace vex {

std::uint8_t* take_pages(std::size_t size) noexcept
{
    return static_cast<std::uint8_t*>(VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
}

void give_pages_back(std::uint8_t* pages, std::size_t /*size*/) noexcept { VirtualFree(pages, 0, MEM_RELEASE); }

}  // namespace vex
