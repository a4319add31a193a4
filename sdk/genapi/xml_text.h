// The text of a description made fit for the XML parser, whatever a device put around it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace GenApi {

/// Descriptions as devices deliver them may have a line of text before the XML, a byte order mark, padding behind the
/// end, UTF-16 or Latin-1 instead of UTF-8. What remains here is UTF-8 from the first "<" to the end of the root
/// element.
class XmlText {
public:
    /// Throws DescriptionError when there is no XML in it or it is larger than `largest` bytes.
    XmlText(std::string raw, std::size_t largest);

    [[nodiscard]] char* data() noexcept { return text_.data(); }
    [[nodiscard]] std::size_t size() const noexcept { return text_.size(); }

    /// The line, from 1, of an offset into the text, counted in the text as it was given. Still right after the parser
    /// has worked in place.
    [[nodiscard]] std::uint32_t line_of(std::ptrdiff_t offset) const noexcept;

private:
    void check_size_of_tree() const;

    std::string text_;
    std::vector<std::uint32_t> line_ends_;
    std::uint32_t first_line_ = 1;
};

}  // namespace GenApi
