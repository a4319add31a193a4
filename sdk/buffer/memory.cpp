#include "sdk/buffer/memory.h"

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

}  // namespace

std::uint8_t* allocate(std::size_t size) noexcept
{
    if (failure_wanted()) {
        return nullptr;
    }
    void* memory = ::operator new(size, std::align_val_t{alignment}, std::nothrow);
    if (memory != nullptr) {
        std::memset(memory, 0, size);
    }
    return static_cast<std::uint8_t*>(memory);
}

void release(std::uint8_t* memory) noexcept
{
    if (memory != nullptr) {
        ::operator delete(memory, std::align_val_t{alignment});
    }
}

void fail_next_allocations(unsigned count) noexcept { failures_wanted = count; }

}  // namespace vex::buffer_memory
