#include "tests/sdk/control/counting_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};

}  // namespace

// a sanitizer's own pairs of new and delete must not be mixed with these
#ifndef VEX_SANITIZED

void* operator new(std::size_t size)
{
    if (counting) {
        ++allocations;
    }
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

constexpr bool counts = true;
#else
constexpr bool counts = false;
#endif

namespace device_test {

bool AllocationCount::is_possible() { return counts; }

AllocationCount::AllocationCount()
{
    allocations = 0;
    counting = true;
}

AllocationCount::~AllocationCount() { counting = false; }

int AllocationCount::value() const { return allocations; }

}  // namespace device_test
