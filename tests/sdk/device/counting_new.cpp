#include "tests/sdk/device/counting_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};

}  // namespace

void* operator new(std::size_t size)
{
    if (counting)
        ++allocations;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace device_test {

AllocationCount::AllocationCount()
{
    allocations = 0;
    counting = true;
}

AllocationCount::~AllocationCount() { counting = false; }

int AllocationCount::value() const { return allocations; }

}  // namespace device_test
