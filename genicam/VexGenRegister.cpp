#include "genicam/VexGenRegister.h"

#include <algorithm>
#include <vector>

using namespace vex;

namespace {

/// A client's array as the memory of a transfer. The transfer is as long as the array's upper bound says, plus one; an
/// array that starts above 0 holds less than that, and then stands-in memory of the full length is used.
class TransferBlock {
public:
    /// Throws when the array cannot be used.
    explicit TransferBlock(SAFEARRAY* array) : lock_(array)
    {
        LONG upper = -1;
        server::require(SafeArrayGetUBound(array, 1, &upper));
        count_ = std::int64_t{upper} + 1;
        held_ = array->cbElements;
        for (USHORT dimension = 0; dimension < array->cDims; ++dimension) {
            held_ *= array->rgsabound[dimension].cElements;
        }
        if (count_ > held_) {
            stand_in_.resize(static_cast<std::size_t>(count_));
            std::copy_n(lock_.data(), held_, stand_in_.begin());
        }
    }

    [[nodiscard]] std::int64_t count() const noexcept { return count_; }
    [[nodiscard]] std::uint8_t* data() noexcept { return stand_in_.empty() ? lock_.data() : stand_in_.data(); }
    /// Brings what was read into the array, as far as it goes.
    void store() noexcept { std::copy_n(stand_in_.begin(), stand_in_.empty() ? 0 : held_, lock_.data()); }

private:
    server::ArrayLock lock_;
    std::int64_t count_ = 0;
    std::int64_t held_ = 0;
    std::vector<std::uint8_t> stand_in_;
};

}  // namespace

HRESULT CVexGenRegister::Set(SAFEARRAY* aBuffer, IVexResult** result) noexcept
{
    return report(result, [&](PvGenRegister& bytes) {
        TransferBlock block(aBuffer);
        return bytes.Set(block.data(), block.count());
    });
}

HRESULT CVexGenRegister::Get(SAFEARRAY* aBuffer, IVexResult** result) noexcept
{
    return report(result, [&](PvGenRegister& bytes) {
        TransferBlock block(aBuffer);
        PvResult read = bytes.Get(block.data(), block.count());
        block.store();
        return read;
    });
}
