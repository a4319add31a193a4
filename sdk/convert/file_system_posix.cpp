#include "sdk/convert/file_system.h"

#include <system_error>

namespace convert::file_system {

namespace fs = std::filesystem;

Path path_of(const PvString& name)
{
    Path path(name.str());
    std::error_code error;
    if (fs::is_symlink(path, error))
        if (auto pointed_at = fs::canonical(path, error); !error)
            return pointed_at;
    return path;
}

Kind kind_of(const Path& path) noexcept
{
    constexpr auto write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    std::error_code error;
    const auto status = fs::status(path, error);
    if (fs::is_directory(status))
        return Kind::folder;
    if (fs::is_regular_file(status))
        return (status.permissions() & write) == fs::perms::none ? Kind::read_only_file : Kind::file;
    return fs::exists(status) ? Kind::other : Kind::missing;
}

std::FILE* create(const Path& path) noexcept { return std::fopen(path.c_str(), "wbx"); }

std::FILE* open_existing(const Path& path) noexcept { return std::fopen(path.c_str(), "wb"); }

std::string replace(const Path& from, const Path& to)
{
    std::error_code error;
    fs::rename(from, to, error);
    return error ? error.message() : std::string();
}

void remove(const Path& path) noexcept
{
    std::error_code ignored;
    fs::remove(path, ignored);
}

}  // namespace convert::file_system
