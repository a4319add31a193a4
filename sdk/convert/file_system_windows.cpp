// The wide functions of Windows itself where the older C runtime would not take long paths.
#include "sdk/convert/file_system.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>
#include <windows.h>

#include <string_view>
#include <system_error>

namespace convert::file_system {
namespace {

/// Longer paths, with what is appended for the file written beside, need the long form.
constexpr std::size_t longest_plain_path = 240;

constexpr std::wstring_view device_prefix = L"\\\\.\\";
constexpr std::wstring_view long_prefix = L"\\\\?\\";
constexpr std::wstring_view long_share_prefix = L"\\\\?\\UNC";

std::wstring full_path(const std::wstring& name)
{
    const DWORD room = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    std::wstring path(room, L'\0');
    const DWORD size = GetFullPathNameW(name.c_str(), room, path.data(), nullptr);
    if (size == 0 || size >= room)
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
    path.resize(size);
    return path;
}

std::FILE* open(const Path& path, int flags) noexcept
{
    // not _wfopen, which does not know how to ask for a new file
    const int descriptor = _wopen(path.c_str(), _O_WRONLY | _O_BINARY | flags, _S_IREAD | _S_IWRITE);
    return descriptor >= 0 ? _fdopen(descriptor, "wb") : nullptr;
}

}  // namespace

Path path_of(const PvString& name)
{
    auto wide = name.GetWide();
    if (wide.starts_with(long_prefix))
        return wide;
    wide = full_path(wide);
    if (wide.size() <= longest_plain_path || wide.starts_with(device_prefix))
        return wide;
    const bool share = wide.starts_with(L"\\\\");
    return (std::wstring(share ? long_share_prefix : long_prefix)).append(wide, share ? 1 : 0);
}

Kind kind_of(const Path& path) noexcept
{
    const std::wstring_view name = path.native();
    if (name.starts_with(device_prefix))
        return Kind::other;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return Kind::missing;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return Kind::folder;
    return (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? Kind::read_only_file : Kind::file;
}

std::FILE* create(const Path& path) noexcept { return open(path, _O_CREAT | _O_EXCL); }

std::FILE* open_existing(const Path& path) noexcept { return open(path, 0); }

std::string replace(const Path& from, const Path& to)
{
    if (MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0)
        return {};
    return std::error_code(static_cast<int>(GetLastError()), std::system_category()).message();
}

void remove(const Path& path) noexcept { DeleteFileW(path.c_str()); }

}  // namespace convert::file_system
