// Byte blocks across the automation boundary: one-dimensional SAFEARRAYs of unsigned bytes.
#pragma once

#include <cstddef>

#include "server/com.h"

namespace vex::server {

/// Makes a new array of `size` bytes copied from `data`, owned by the caller. Null data gives a null array.
/// E_POINTER for a null `out`, E_OUTOFMEMORY when the array cannot be made; a failed lock's own HRESULT.
HRESULT bytes_to_array(const void* data, std::size_t size, SAFEARRAY** out) noexcept;

/// Copies an array's bytes into a block of `block_size` bytes: the array's upper bound plus one (the lower bound is not
/// consulted) or the block's size, whichever is smaller, from the start of the array. The rest of the block keeps its
/// contents. A null block takes nothing and is no failure.
/// E_INVALIDARG for an array that does not have exactly one dimension; a null array has none. A failed lock's own
/// HRESULT.
HRESULT array_to_bytes(SAFEARRAY* array, void* block, std::size_t block_size) noexcept;

/// The number of bytes the contract takes an array to hold: its upper bound plus one. 0 for a null array.
[[nodiscard]] std::size_t array_byte_count(SAFEARRAY* array) noexcept;

/// Holds an array's data locked, for the duration of the SDK call that reads or fills it in place.
class ArrayLock {
public:
    explicit ArrayLock(SAFEARRAY* array) noexcept;
    ArrayLock(const ArrayLock&) = delete;
    ArrayLock& operator=(const ArrayLock&) = delete;
    ~ArrayLock();

    /// S_OK, or why the array could not be locked; data() is null then.
    [[nodiscard]] HRESULT status() const noexcept { return status_; }
    [[nodiscard]] unsigned char* data() const noexcept { return data_; }

private:
    SAFEARRAY* array_;
    unsigned char* data_ = nullptr;
    HRESULT status_;
};

}  // namespace vex::server
