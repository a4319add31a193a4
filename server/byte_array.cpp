#include "server/byte_array.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace vex::server {

namespace {

/// The bytes the array really holds.
std::size_t allocated_bytes(const SAFEARRAY& array) noexcept
{
    return static_cast<std::size_t>(array.rgsabound[0].cElements) * array.cbElements;
}

}  // namespace

HRESULT bytes_to_array(const void* data, std::size_t size, SAFEARRAY** out) noexcept
{
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    if (data == nullptr) {
        return S_OK;
    }
    SAFEARRAY* array = size <= std::numeric_limits<ULONG>::max()
                           ? SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(size))
                           : nullptr;
    if (array == nullptr) {
        return E_OUTOFMEMORY;
    }
    {
        const ArrayLock lock(array);
        if (FAILED(lock.status())) {
            SafeArrayDestroy(array);
            return lock.status();
        }
        if (size != 0) {
            std::memcpy(lock.data(), data, size);
        }
    }
    *out = array;
    return S_OK;
}

HRESULT array_to_bytes(SAFEARRAY* array, void* block, std::size_t block_size) noexcept
{
    if (SafeArrayGetDim(array) != 1) {
        return E_INVALIDARG;
    }
    if (block == nullptr) {
        return S_OK;
    }
    const std::size_t count = std::min(array_byte_count(array), block_size);
    const ArrayLock lock(array);
    if (FAILED(lock.status())) {
        return lock.status();
    }
    const std::size_t held = std::min(count, allocated_bytes(*array));
    if (held != 0) {
        std::memcpy(block, lock.data(), held);
    }
    if (held != count) {
        // an array with a positive lower bound counts as longer than it is; what follows it in memory may not be there
        ReadProcessMemory(GetCurrentProcess(), lock.data() + held, static_cast<unsigned char*>(block) + held,
                          count - held, nullptr);
    }
    return S_OK;
}

std::size_t array_byte_count(SAFEARRAY* array) noexcept
{
    LONG upper = -1;
    if (array == nullptr || FAILED(SafeArrayGetUBound(array, 1, &upper)) || upper < 0) {
        return 0;
    }
    return static_cast<std::size_t>(upper) + 1;
}

ArrayLock::ArrayLock(SAFEARRAY* array) noexcept : array_(array)
{
    void* data = nullptr;
    status_ = SafeArrayAccessData(array, &data);
    if (SUCCEEDED(status_)) {
        data_ = static_cast<unsigned char*>(data);
    }
}

ArrayLock::~ArrayLock()
{
    if (SUCCEEDED(status_)) {
        SafeArrayUnaccessData(array_);
    }
}

}  // namespace vex::server
