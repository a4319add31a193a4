// Counts what a stretch of a test allocates. The program's operator new is replaced in counting_new.cpp, apart from the
// code that uses it.
#pragma once

namespace device_test {

/// Counts the allocations of all threads during its life.
class AllocationCount {
public:
    /// False in builds that have an allocator of their own.
    [[nodiscard]] static bool is_possible();

    AllocationCount();
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;
    [[nodiscard]] int value() const;

    /// What the calling thread has allocated since it began.
    [[nodiscard]] static int of_this_thread();
};

}  // namespace device_test
