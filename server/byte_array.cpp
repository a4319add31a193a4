#include "server/byte_array.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "server/wall.h"

namespace vex::server {

namespace {

/// The bytes the array really holds.
std::size_t allocated_bytes(const SAFEARRAY& array) noexcept
{
    return static_cast<std::size_t>(array.rgsabound[0].cElements) * array.cbElements;
}

}  // namespace

SAFEARRAY* new_byte_array(std::span<const std::uint8_t> bytes)
{
    if (bytes.data() == nullptr) {
        return nullptr;
    }
    SAFEARRAY* array = bytes.size() <= std::numeric_limits<ULONG>::max()
                           ? SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()))
                           : nullptr;
    if (array == nullptr) {
        throw HresultError{E_OUTOFMEMORY,
                           "There is no memory for an array of " + std::to_string(bytes.size()) + " bytes"};
    }
    if (!bytes.empty()) {
        // nobody else knows the array yet, so it needs no lock
        std::memcpy(array->pvData, bytes.data(), bytes.size());
    }
    return array;
}

void array_to_bytes(SAFEARRAY* array, void* block, std::size_t block_size)
{
    if (SafeArrayGetDim(array) != 1) {
        throw HresultError{E_INVALIDARG, "The array does not have exactly one dimension"};
    }
    if (block == nullptr) {
        return;
    }
    const std::size_t count = std::min(array_byte_count(array), block_size);
    const ArrayLock lock(array);
    const std::size_t held = std::min(count, allocated_bytes(*array));
    if (held != 0) {
        std::memcpy(block, lock.data(), held);
    }
    if (held != count) {
        // an array with a positive lower bound counts as longer than it is; what follows it in memory may not be there
        ReadProcessMemory(GetCurrentProcess(), lock.data() + held, static_cast<unsigned char*>(block) + held,
                          count - held, nullptr);
    }
}

std::size_t array_byte_count(SAFEARRAY* array) noexcept
{
    LONG upper = -1;
    if (array == nullptr || FAILED(SafeArrayGetUBound(array, 1, &upper)) || upper < 0) {
        return 0;
    }
    return static_cast<std::size_t>(upper) + 1;
}

ArrayLock::ArrayLock(SAFEARRAY* array, int position) : array_(array)
{
    void* data = nullptr;
    if (const HRESULT locked = SafeArrayAccessData(array, &data); FAILED(locked)) {
        const std::string which = position != 0 ? "Argument " + std::to_string(position) : std::string("The argument");
        throw HresultError{locked, which + (array == nullptr ? " is not an array" : ", an array, cannot be locked")};
    }
    data_ = static_cast<unsigned char*>(data);
}

}  // namespace vex::server
