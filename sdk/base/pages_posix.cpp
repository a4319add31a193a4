#include <sys/mman.h>

#include "sdk/base/pages.h"

namespace vex {

std::uint8_t* take_pages(std::size_t size) noexcept
{
    void* const pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages != MAP_FAILED ? static_cast<std::uint8_t*>(pages) : nullptr;
}

void give_pages_back(std::uint8_t* pages, std::size_t size) noexcept { munmap(pages, size); }

}  // namespace vex
