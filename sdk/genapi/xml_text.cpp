#include "sdk/genapi/xml_text.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sdk/base/utf8.h"
#include "sdk/genapi/errors.h"

using namespace vex;

namespace GenApi {

namespace {

constexpr std::string_view root_name = "RegisterDescription";
/// What the parser's tree may hold: elements count twice (start and end). Real descriptions have 30,000 a megabyte.
constexpr std::size_t most_tags = 4'000'000;
constexpr std::size_t most_attributes = 4'000'000;

std::string from_utf16(std::string_view raw, bool big_endian)
{
    const auto unit = [&](std::size_t at) {
        const auto first = static_cast<unsigned char>(raw[at]);
        const auto second = static_cast<unsigned char>(raw[at + 1]);
        return static_cast<char32_t>(big_endian ? first << 8 | second : second << 8 | first);
    };
    std::string text;
    text.reserve(raw.size() / 2);
    for (std::size_t at = 0; at + 1 < raw.size(); at += 2) {
        char32_t c = unit(at);
        if (c >= 0xD800 && c < 0xDC00 && at + 3 < raw.size() && (unit(at + 2) & 0xFC00) == 0xDC00) {
            c = 0x10000 + ((c - 0xD800) << 10) + (unit(at + 2) - 0xDC00);
            at += 2;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        vex::append_utf8(text, c);
    }
    return text;
}

/// Length of the well-formed sequence at the front; 0 when it is ill-formed.
std::size_t utf8_sequence(const unsigned char* at, std::size_t left) noexcept
{
    const unsigned lead = at[0];
    const auto follows = [&](std::size_t i, unsigned low, unsigned high) {
        return i < left && at[i] >= low && at[i] <= high;
    };
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
        return follows(1, 0x80, 0xBF) ? 2 : 0;
    }
    if (lead >= 0xE0 && lead < 0xF0) {
        const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;
        const unsigned high = lead == 0xED ? 0x9F : 0xBF;
        return follows(1, low, high) && follows(2, 0x80, 0xBF) ? 3 : 0;
    }
    if (lead >= 0xF0 && lead < 0xF5) {
        const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
        const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
        return follows(1, low, high) && follows(2, 0x80, 0xBF) && follows(3, 0x80, 0xBF) ? 4 : 0;
    }
    return 0;
}

bool is_utf8(std::string_view text) noexcept
{
    const auto* at = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = at + text.size();
    while (at != end) {
        std::uint64_t word = 0;
        if (end - at >= 8 && (std::memcpy(&word, at, 8), (word & 0x8080808080808080) == 0)) {
            at += 8;
            continue;
        }
        const std::size_t length = utf8_sequence(at, static_cast<std::size_t>(end - at));
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string from_latin1(std::string_view raw)
{
    std::string text;
    text.reserve(raw.size() + raw.size() / 16);
    for (const char c : raw) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

/// Where the XML document begins: at its declaration, else at its root, else at the first "<" that can begin any.
std::size_t start_of_xml(std::string_view text) noexcept
{
    for (const std::string_view start : {std::string_view("<?xml"), std::string_view("<RegisterDescription")}) {
        if (const std::size_t at = text.find(start); at != text.npos) {
            return at;
        }
    }
    for (std::size_t at = text.find('<'); at != text.npos; at = text.find('<', at + 1)) {
        const char next = at + 1 < text.size() ? text[at + 1] : '\0';
        if (next == '?' || next == '!' || next == '_' || (next >= 'A' && next <= 'Z') || (next >= 'a' && next <= 'z')) {
            return at;
        }
    }
    return text.npos;
}

/// What stands before the name makes it that of an end tag, perhaps with a prefix.
bool is_end_tag_up_to(std::string_view text, std::size_t name) noexcept
{
    constexpr std::size_t longest_prefix = 100;
    const std::size_t begin = name - std::min(name, longest_prefix);
    const std::string_view before = text.substr(begin, name - begin);
    const std::size_t open = before.rfind("</");
    return open != before.npos &&
           (open + 2 == before.size() ||
            (before.back() == ':' && before.find_first_of("<> \t\r\n", open + 2) == before.npos));
}

std::size_t end_of_xml(std::string_view text) noexcept
{
    std::size_t root = text.rfind(root_name);
    while (root != text.npos && !is_end_tag_up_to(text, root)) {
        root = root != 0 ? text.rfind(root_name, root - 1) : text.npos;
    }
    if (root != text.npos) {
        if (const std::size_t end = text.find('>', root); end != text.npos) {
            return end + 1;
        }
    }
    const std::size_t last = text.rfind('>');
    return last == text.npos ? text.size() : last + 1;
}

}  // namespace

XmlText::XmlText(std::string raw, std::size_t largest) : text_(std::move(raw))
{
    if (text_.size() > largest) {
        throw DescriptionError("the description has " + std::to_string(text_.size()) + " bytes; the limit is " +
                               std::to_string(largest));
    }
    if (text_.starts_with("\xFF\xFE") || text_.starts_with("\xFE\xFF")) {
        text_ = from_utf16(std::string_view(text_).substr(2), text_.front() == '\xFE');
    }
    const std::size_t start = start_of_xml(text_);
    if (start == text_.npos) {
        throw DescriptionError(text_.empty() ? "the description is empty" : "the description is not XML");
    }
    first_line_ +=
        static_cast<std::uint32_t>(std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(start), '\n'));
    text_.erase(end_of_xml(text_));
    text_.erase(0, start);
    if (!is_utf8(text_)) {
        text_ = from_latin1(text_);
    }
    check_size_of_tree();
    for (std::size_t at = text_.find('\n'); at != text_.npos; at = text_.find('\n', at + 1)) {
        line_ends_.push_back(static_cast<std::uint32_t>(at));
    }
}

void XmlText::check_size_of_tree() const
{
    if (static_cast<std::size_t>(std::count(text_.begin(), text_.end(), '<')) > most_tags ||
        static_cast<std::size_t>(std::count(text_.begin(), text_.end(), '=')) > most_attributes) {
        throw DescriptionError("the description has more elements than any device's: more than " +
                               std::to_string(most_tags / 2));
    }
}

std::uint32_t XmlText::line_of(std::ptrdiff_t offset) const noexcept
{
    if (offset < 0) {
        return 0;
    }
    const auto line = std::lower_bound(line_ends_.begin(), line_ends_.end(),
                                       static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(offset, UINT32_MAX)));
    return first_line_ + static_cast<std::uint32_t>(line - line_ends_.begin());
}

}  // namespace GenApi
