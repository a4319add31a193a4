// Windows' own functions: the older C runtime takes no long paths and loses the reason of a failure.
#include "sdk/base/file_system.h"

#include <windows.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace vex::file_system {
namespace {

/// Longer paths, with what is appended for the file written beside, need the long form.
constexpr std::size_t longest_plain_path = 240;

constexpr std::wstring_view device_prefix = L"\\\\.\\";
constexpr std::wstring_view long_prefix = L"\\\\?\\";
constexpr std::wstring_view long_share_prefix = L"\\\\?\\UNC";

std::error_code last_error() noexcept { return {static_cast<int>(GetLastError()), std::system_category()}; }

std::wstring full_path(const std::wstring& name)
{
    const DWORD room = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    std::wstring path(room, L'\0');
    const DWORD size = GetFullPathNameW(name.c_str(), room, path.data(), nullptr);
    if (size == 0 || size >= room) {
        throw std::system_error(last_error());
    }
    path.resize(size);
    return path;
}

std::intptr_t open(const Path& path, DWORD how) noexcept
{
    return reinterpret_cast<std::intptr_t>(
        CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

Path path_of(const PvString& name)
{
    auto wide = name.GetWide();
    if (wide.starts_with(long_prefix)) {
        return wide;
    }
    wide = full_path(wide);
    if (wide.size() <= longest_plain_path || wide.starts_with(device_prefix)) {
        return wide;
    }
    const bool share = wide.starts_with(L"\\\\");
    return (std::wstring(share ? long_share_prefix : long_prefix)).append(wide, share ? 1 : 0);
}

Kind kind_of(const Path& path) noexcept
{
    const std::wstring_view name = path.native();
    if (name.starts_with(device_prefix)) {
        return Kind::other;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return Kind::missing;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return Kind::folder;
    }
    return (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? Kind::read_only_file : Kind::file;
}

Path final_path(const Path& path)
{
    constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file =
        CreateFileW(path.c_str(), 0, shared, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    const DWORD room = GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED);
    std::wstring final(room, L'\0');
    const DWORD size = room == 0 ? 0 : GetFinalPathNameByHandleW(file, final.data(), room, FILE_NAME_NORMALIZED);
    CloseHandle(file);
    final.resize(size < room ? size : 0);
    return final;
}

std::error_code File::create(const Path& path) noexcept
{
    handle_ = open(path, CREATE_NEW);
    return is_open() ? std::error_code() : last_error();
}

std::error_code File::open_existing(const Path& path) noexcept
{
    handle_ = open(path, OPEN_EXISTING);
    return is_open() ? std::error_code() : last_error();
}

std::error_code File::write(std::span<const std::uint8_t> bytes) noexcept
{
    constexpr std::size_t most_at_once = 1U << 30;  // the count has 32 bits
    while (!bytes.empty()) {
        DWORD count = 0;
        if (WriteFile(reinterpret_cast<HANDLE>(handle_), bytes.data(),
                      static_cast<DWORD>(std::min(bytes.size(), most_at_once)), &count, nullptr) == 0) {
            return last_error();
        }
        if (count == 0) {
            return std::make_error_code(std::errc::no_space_on_device);
        }
        bytes = bytes.subspan(count);
    }
    return {};
}

std::error_code File::flush() noexcept
{
    return FlushFileBuffers(reinterpret_cast<HANDLE>(handle_)) != 0 ? std::error_code() : last_error();
}

std::error_code File::close() noexcept
{
    const auto handle = std::exchange(handle_, none);
    return handle == none || CloseHandle(reinterpret_cast<HANDLE>(handle)) != 0 ? std::error_code() : last_error();
}

std::error_code replace(const Path& from, const Path& to) noexcept
{
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0 ? std::error_code() : last_error();
}

void remove(const Path& path) noexcept { DeleteFileW(path.c_str()); }

}  // namespace vex::file_system
