// What a list of properties and a list of strings have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <utility>

namespace vex {

/// Items in the order in which they were added, by index and by walking.
///
/// Items are copies that belong to the list. They stay where they are when others are added, so that pointers to them
/// may be kept until they go, all at once: when the list is cleared, assigned to, moved from or destroyed. Whoever
/// keeps pointers for longer than it can know that watches items_lifetime(). The list's one cursor is shared by all who
/// walk; additions leave it where it is.
///
/// Thread safety: distinct lists may be used from different threads; one list is not synchronised.
template <class Item>
class ItemList {
public:
    [[nodiscard]] std::uint32_t GetSize() const noexcept
    {
        return items_ != nullptr ? static_cast<std::uint32_t>(items_->size()) : 0;
    }
    /// Adds a copy at the end. Throws std::bad_alloc, and is as before then.
    void Add(const Item& aItem)
    {
        if (items_ == nullptr) {
            items_ = std::make_shared<Items>();
        }
        items_->push_back(aItem);
    }
    /// Removes all items and ends the walk: GetNext gives null until GetFirst begins another.
    void Clear() noexcept
    {
        items_.reset();
        next_ = ended;
    }

    /// Null for an index past the last. The item may be changed in its place.
    [[nodiscard]] Item* GetItem(std::uint32_t aIndex) noexcept { return at(aIndex); }
    [[nodiscard]] const Item* GetItem(std::uint32_t aIndex) const noexcept { return at(aIndex); }
    /// Begins a walk; null for an empty list.
    Item* GetFirst() noexcept
    {
        next_ = 0;
        return GetNext();
    }
    /// The next item of the walk, the first one on a list that nobody has walked yet. Null after the last; what is
    /// added then still comes.
    Item* GetNext() noexcept
    {
        Item* const found = at(next_);
        next_ += found != nullptr ? 1 : 0;
        return found;
    }

    /// Expires with the list object.
    [[nodiscard]] std::weak_ptr<const void> lifetime() const noexcept { return lifetime_; }
    /// Expires with the items that the list has now; expired already for an empty list.
    [[nodiscard]] std::weak_ptr<const void> items_lifetime() const noexcept { return items_; }

protected:
    ItemList() = default;
    /// A copy has a cursor of its own, before its first item.
    ItemList(const ItemList& other) : items_(copy_of(other)) {}
    ItemList(ItemList&& other) : items_(other.give_items()) {}
    /// The items so far go, and the walk ends, as by Clear.
    ItemList& operator=(const ItemList& other)
    {
        take(copy_of(other));
        return *this;
    }
    ItemList& operator=(ItemList&& other) noexcept
    {
        take(other.give_items());
        return *this;
    }
    ~ItemList() = default;

private:
    using Items = std::deque<Item>;
    static constexpr std::size_t ended = std::numeric_limits<std::size_t>::max();

    static std::shared_ptr<Items> copy_of(const ItemList& other)
    {
        return other.items_ != nullptr ? std::make_shared<Items>(*other.items_) : nullptr;
    }
    std::shared_ptr<Items> give_items() noexcept
    {
        next_ = ended;
        return std::exchange(items_, nullptr);
    }
    void take(std::shared_ptr<Items> items) noexcept
    {
        items_ = std::move(items);
        next_ = ended;
    }

    [[nodiscard]] Item* at(std::size_t index) const noexcept
    {
        return items_ != nullptr && index < items_->size() ? &(*items_)[index] : nullptr;
    }

    std::shared_ptr<Items> items_;  // null while there are none; shared with nobody, watched by who keeps pointers
    std::size_t next_ = 0;
    std::shared_ptr<const char> lifetime_ = std::make_shared<const char>();
};

}  // namespace vex
