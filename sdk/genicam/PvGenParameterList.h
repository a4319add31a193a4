// PvGenParameterList: a list of borrowed parameters with a walking position.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class PvGenParameter;

/// Entries are borrowed; a null entry is kept as it is.
///
/// Thread safety: distinct objects may be used from different threads; one object is not synchronised.
class PvGenParameterList {
public:
    [[nodiscard]] std::uint32_t GetSize() const noexcept { return static_cast<std::uint32_t>(items_.size()); }
    /// Empties the list and forgets the walking position.
    void Clear() noexcept
    {
        items_.clear();
        next_ = 0;
    }
    void Add(PvGenParameter* aParameter) { items_.push_back(aParameter); }

    /// Null for an index beyond the last.
    [[nodiscard]] PvGenParameter* GetItem(std::uint32_t aIndex) const noexcept
    {
        return aIndex < items_.size() ? items_[aIndex] : nullptr;
    }
    /// Starts a walk; null for an empty list.
    PvGenParameter* GetFirst() noexcept
    {
        next_ = 0;
        return GetNext();
    }
    /// Null after the last item.
    PvGenParameter* GetNext() noexcept { return next_ < items_.size() ? items_[next_++] : nullptr; }

private:
    std::vector<PvGenParameter*> items_;
    std::size_t next_ = 0;
};
