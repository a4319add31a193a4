#include "tests/sdk/control/counting_new.h"

#include <atomic>
#include <cstdlib>
#include <new>

#ifdef _WIN32
#include <malloc.h>
#endif

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};
thread_local int of_this_thread = 0;

#ifndef VEX_SANITIZED
void count() noexcept
{
    ++of_this_thread;
    if (counting) {
        ++allocations;
    }
}
#endif

}  // namespace

// a sanitizer's own pairs of new and delete must not be mixed with these
#ifndef VEX_SANITIZED

void* operator new(std::size_t size)
{
    count();
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

void* operator new(std::size_t size, std::align_val_t alignment)
{
    count();
    const auto at = static_cast<std::size_t>(alignment);
#ifdef _WIN32
    void* memory = ::_aligned_malloc(size, at);
#else
    void* memory = std::aligned_alloc(at, (size + at - 1) / at * at);
#endif
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory, std::align_val_t) noexcept
{
#ifdef _WIN32
    ::_aligned_free(memory);
#else
    std::free(memory);
#endif
}
void operator delete(void* memory, std::size_t, std::align_val_t alignment) noexcept
{
    ::operator delete(memory, alignment);
}

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

int AllocationCount::of_this_thread() { return ::of_this_thread; }

}  // namespace device_test
