#include "sdk/base/file_system.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vex::file_system {

namespace fs = std::filesystem;

namespace {

std::error_code last_error() noexcept { return {errno, std::system_category()}; }

}  // namespace

Path path_of(const PvString& name)
{
    Path path(name.str());
    std::error_code error;
    if (fs::is_symlink(path, error)) {
        if (auto pointed_at = fs::canonical(path, error); !error) {
            return pointed_at;
        }
    }
    return path;
}

Kind kind_of(const Path& path) noexcept
{
    constexpr auto write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    std::error_code error;
    const auto status = fs::status(path, error);
    if (fs::is_directory(status)) {
        return Kind::folder;
    }
    if (fs::is_regular_file(status)) {
        return (status.permissions() & write) == fs::perms::none ? Kind::read_only_file : Kind::file;
    }
    return fs::exists(status) ? Kind::other : Kind::missing;
}

Path final_path(const Path& path)
{
    std::error_code error;
    Path final = fs::canonical(path, error);
    return error ? Path() : final;
}

std::error_code File::create(const Path& path) noexcept
{
    constexpr mode_t as_the_user_wants = 0666;
    handle_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, as_the_user_wants);
    return is_open() ? std::error_code() : last_error();
}

std::error_code File::open_existing(const Path& path) noexcept
{
    handle_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    return is_open() ? std::error_code() : last_error();
}

std::error_code File::write(std::span<const std::uint8_t> bytes) noexcept
{
    while (!bytes.empty()) {
        const auto count = ::write(static_cast<int>(handle_), bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return last_error();
        }
    }
    return {};
}

std::error_code File::flush() noexcept
{
    return ::fsync(static_cast<int>(handle_)) == 0 ? std::error_code() : last_error();
}

std::error_code File::close() noexcept
{
    const auto handle = std::exchange(handle_, none);
    return handle == none || ::close(static_cast<int>(handle)) == 0 ? std::error_code() : last_error();
}

std::error_code replace(const Path& from, const Path& to) noexcept
{
    std::error_code error;
    fs::rename(from, to, error);
    return error;
}

void remove(const Path& path) noexcept
{
    std::error_code ignored;
    fs::remove(path, ignored);
}

}  // namespace vex::file_system
