#include "sdk/genicp/camera_folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "sdk/base/PvString.h"
#include "sdk/base/failure.h"
#include "sdk/description/file_path.h"
#include "sdk/description/url_text.h"
#include "sdk/description/user_folder.h"

namespace vex::genicp {

namespace {

/// A file's name in UTF-8, whatever the system's encoding.
std::string name_of(const std::filesystem::path& path)
{
    const std::u8string name = path.filename().u8string();
    return {name.begin(), name.end()};
}

bool ends_in(std::string_view name, std::string_view suffix)
{
    return name.size() > suffix.size() &&
           description::starts_with_word(name.substr(name.size() - suffix.size()), suffix);
}

}  // namespace

std::vector<std::string> files_of_folder(const std::string& folder, std::span<const std::string_view> suffixes)
{
    std::vector<std::string> names;
    if (folder.empty()) {
        return names;
    }
    std::error_code error;
    std::filesystem::directory_iterator entry(description::file_path(PvString(std::string_view(folder))), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code unreadable;
        std::string name = name_of(entry->path());
        const bool wanted = std::ranges::any_of(suffixes, [&](std::string_view end) { return ends_in(name, end); });
        if (wanted && entry->is_regular_file(unreadable)) {
            names.push_back(std::move(name));
        }
    }
    std::ranges::sort(names);
    return names;
}

PvResult read_file_of_folder(std::string_view name, const std::string& folder, std::size_t longest,
                             std::vector<std::uint8_t>& bytes)
{
    const auto path = description::file_in_folder(name, folder);
    if (!path || name.find_first_of("/\\:") != std::string_view::npos) {
        return failure(PvResult::NotFound, "The folder \"", folder, "\" has no file \"", name, "\"");
    }
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(*path, error);
    if (error) {
        return failure(PvResult::CannotOpenFile, "The file \"", name, "\" cannot be opened: ", error.message());
    }
    if (size > longest) {
        return failure(PvResult::CannotOpenFile, "The file \"", name, "\" has ", size, " bytes, more than ", longest);
    }
    std::vector<std::uint8_t> read(static_cast<std::size_t>(size));
    std::ifstream file(*path, std::ios::binary);
    if (!file || (size != 0 && !file.read(reinterpret_cast<char*>(read.data()), static_cast<std::streamsize>(size)))) {
        return failure(PvResult::CannotOpenFile, "The file \"", name, "\" cannot be read");
    }
    bytes = std::move(read);
    return PvResult::OK;
}

}  // namespace vex::genicp
