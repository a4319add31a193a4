#include "sdk/description/user_folder.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "sdk/base/file_system.h"
#include "sdk/description/file_path.h"
#include "sdk/description/url_text.h"

namespace vex::description {

namespace {

/// Whatever the extension: "aux", "com1.xml", "nul .xml".
bool is_name_of_device(std::string_view name)
{
    constexpr std::array<std::string_view, 6> whole = {"con", "prn", "aux", "nul", "conin$", "conout$"};
    const std::string_view stem = trimmed(name.substr(0, name.find('.')));
    const auto is_word = [&](std::string_view word) {
        return stem.size() == word.size() && starts_with_word(stem, word);
    };
    if (std::ranges::any_of(whole, is_word)) {
        return true;
    }
    // a port's number may also be a raised one, which has several bytes
    constexpr std::size_t longest = 5;
    const bool is_port = starts_with_word(stem, "com") || starts_with_word(stem, "lpt");
    if (!is_port || stem.size() < 4 || stem.size() > longest) {
        return false;
    }
    const std::string_view number = stem.substr(3);
    return number.size() == 1 ? number[0] >= '0' && number[0] <= '9' : number[0] == '\xC2';
}

}  // namespace

std::optional<std::filesystem::path> file_in_folder(std::string_view name, const std::string& folder)
{
    name = name.substr(name.find_last_of(":/\\") + 1);
    if (folder.empty() || name.empty() || name == "." || name == ".." || name.find('\0') != std::string_view::npos ||
        is_name_of_device(name)) {
        return std::nullopt;
    }
    const std::filesystem::path inside = file_path(PvString(std::string_view(folder)));
    const std::filesystem::path path = inside / file_path(PvString(name));
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error) || error) {
        return std::nullopt;
    }
    const std::filesystem::path final = file_system::final_path(path);
    // put together rather than taken apart: the root of a drive keeps its separator
    const bool is_inside = !final.empty() && final == file_system::final_path(inside) / final.filename();
    return is_inside ? std::optional(path) : std::nullopt;
}

}  // namespace vex::description
