// Failed results with a text, made without ever throwing.
#pragma once

#include <concepts>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "sdk/base/PvResult.h"

namespace vex {

namespace failure_text {
inline void append(std::string& text, std::string_view part) { text += part; }
template <std::integral Number>
void append(std::string& text, Number number)
{
    text += std::to_string(number);
}
/// A part that is made when the text is, so that what it allocates is provided for, too.
template <class Make>
    requires std::convertible_to<std::invoke_result_t<const Make&>, std::string_view>
void append(std::string& text, const Make& make)
{
    text += make();
}
}  // namespace failure_text

/// A failed result whose description is the parts (texts, integers, functions that return a text) one after another.
/// Where there is no memory for the description, the code's own text stands in.
template <class... Parts>
[[nodiscard]] PvResult failure(PvResult::Code code, const Parts&... parts) noexcept
{
    try {
        std::string text;
        (failure_text::append(text, parts), ...);
        return {code, std::move(text)};
    } catch (const std::bad_alloc&) {
        return code;
    }
}

}  // namespace vex
