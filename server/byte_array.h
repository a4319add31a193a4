// Byte blocks across the automation boundary: one-dimensional SAFEARRAYs of unsigned bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "server/com.h"

namespace vex::server {

/// A new array with a copy of the bytes, owned by the caller; null for null data. Throws E_OUTOFMEMORY when the array
/// cannot be made.
[[nodiscard]] SAFEARRAY* new_byte_array(std::span<const std::uint8_t> bytes);

/// Copies an array's bytes into a block of `block_size` bytes: the array's upper bound plus one (the lower bound is not
/// consulted) or the block's size, whichever is smaller, from the start of the array. The rest of the block keeps its
/// contents. A null block takes nothing and is no failure.
/// Throws E_INVALIDARG for an array that does not have exactly one dimension; a null array has none. A failed lock's
/// own HRESULT.
void array_to_bytes(SAFEARRAY* array, void* block, std::size_t block_size);

/// The number of bytes the contract takes an array to hold: its upper bound plus one. 0 for a null array.
[[nodiscard]] std::size_t array_byte_count(SAFEARRAY* array) noexcept;

/// Holds an array's data locked, for the duration of the SDK call that reads or fills it in place.
class ArrayLock {
public:
    /// Throws the HRESULT of a failed lock: E_INVALIDARG for a null array. `position` counts a member's arguments from
    /// 1; 0 where there is but one.
    explicit ArrayLock(SAFEARRAY* array, int position = 0);
    ArrayLock(const ArrayLock&) = delete;
    ArrayLock& operator=(const ArrayLock&) = delete;
    ~ArrayLock() { SafeArrayUnaccessData(array_); }

    [[nodiscard]] unsigned char* data() const noexcept { return data_; }
    operator unsigned char*() const noexcept { return data_; }  // NOLINT(google-explicit-constructor)

private:
    SAFEARRAY* array_;
    unsigned char* data_ = nullptr;
};

}  // namespace vex::server
