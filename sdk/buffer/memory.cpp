#include "sdk/buffer/memory.h"

#include <atomic>
#include <cstring>
#include <new>

#include "sdk/base/pages.h"

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
