// Texts of a description, kept together: one allocation for some thousands of them.
#pragma once

#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace GenApi {

/// Texts live as long as the arena and never move.
class TextArena {
public:
    [[nodiscard]] std::string_view store(std::string_view text)
    {
        if (text.empty()) {
            return {};
        }
        char* const place = allocate(text.size());
        std::memcpy(place, text.data(), text.size());
        return {place, text.size()};
    }

    [[nodiscard]] std::string_view store(std::string_view first, std::string_view second)
    {
        if (first.empty() && second.empty()) {
            return {};
        }
        char* const place = allocate(first.size() + second.size());
        first.copy(place, first.size());
        second.copy(place + first.size(), second.size());
        return {place, first.size() + second.size()};
    }

private:
    static constexpr std::size_t block_size = std::size_t{32} << 10;

    char* allocate(std::size_t size)
    {
        if (size > block_size / 4) {
            // a long text gets a block of its own, so that the current one can be filled up
            blocks_.push_back(std::make_unique_for_overwrite<char[]>(size));
            return blocks_.back().get();
        }
        if (size > left_) {
            blocks_.push_back(std::make_unique_for_overwrite<char[]>(block_size));
            next_ = blocks_.back().get();
            left_ = block_size;
        }
        char* const place = next_;
        next_ += size;
        left_ -= size;
        return place;
    }

    std::vector<std::unique_ptr<char[]>> blocks_;
    char* next_ = nullptr;
    std::size_t left_ = 0;
};

}  // namespace GenApi
