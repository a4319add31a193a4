#include "sdk/buffer/memory.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/mman.h>
#endif

#include <atomic>
#include <cstring>
#include <new>

namespace vex::buffer_memory {
namespace {

std::atomic<unsigned> failures_wanted{0};

bool failure_wanted() noexcept
{
    unsigned wanted = failures_wanted.load();
    while (wanted > 0) {
        if (failures_wanted.compare_exchange_weak(wanted, wanted - 1)) {
            return true;
        }
    }
    return false;
}

/// Zeroed pages; null when there are none.
std::uint8_t* take_pages(std::size_t size) noexcept
{
#ifdef _WIN32
    return static_cast<std::uint8_t*>(VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
#else
    void* const pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages != MAP_FAILED ? static_cast<std::uint8_t*>(pages) : nullptr;
#endif
}

void give_pages_back(std::uint8_t* pages, [[maybe_unused]] std::size_t size) noexcept
{
#ifdef _WIN32
    VirtualFree(pages, 0, MEM_RELEASE);
#else
    munmap(pages, size);
#endif
}

}  // namespace

std::uint8_t* allocate(std::size_t size) noexcept
{
    if (failure_wanted()) {
        return nullptr;
    }
    if (size >= pages_from) {
        return take_pages(size);
    }
    void* memory = ::operator new(size, std::align_val_t{alignment}, std::nothrow);
    if (memory != nullptr) {
        std::memset(memory, 0, size);
    }
    return static_cast<std::uint8_t*>(memory);
}

std::uint8_t* zero_again(std::uint8_t* memory, std::size_t size) noexcept
{
    if (size >= pages_from) {
        if (std::uint8_t* const fresh = take_pages(size)) {
            give_pages_back(memory, size);
            return fresh;
        }
    }
    std::memset(memory, 0, size);
    return memory;
}

void release(std::uint8_t* memory, std::size_t size) noexcept
{
    if (memory == nullptr) {
        return;
    }
    if (size >= pages_from) {
        give_pages_back(memory, size);
    } else {
        ::operator delete(memory, std::align_val_t{alignment});
    }
}

void fail_next_allocations(unsigned count) noexcept { failures_wanted = count; }

}  // namespace vex::buffer_memory
