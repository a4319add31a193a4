// What storing a file needs of the operating system.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

#include "sdk/base/PvString.h"

namespace vex::file_system {

using Path = std::filesystem::path;

enum class Kind {
    missing,
    file,
    read_only_file,
    folder,
    other,  ///< a device or a pipe
};

/// The file that a name means. On Windows the path is absolute, and in the form that may be longer than 260 characters
/// where it needs to be; elsewhere a link is followed. Throws when the name cannot be expressed.
[[nodiscard]] Path path_of(const PvString& name);

[[nodiscard]] Kind kind_of(const Path& path) noexcept;

/// The file or folder that a path leads to, all links followed, in the system's own spelling: two paths to one file
/// give the same. Empty when there is none.
[[nodiscard]] Path final_path(const Path& path);

/// A file open for writing, without a buffer of its own. Closed at the end. Errors are the system's.
class File {
public:
    File() = default;
    ~File() { static_cast<void>(close()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Opens a file that must not exist yet (std::errc::file_exists), or one that must.
    [[nodiscard]] std::error_code create(const Path& path) noexcept;
    [[nodiscard]] std::error_code open_existing(const Path& path) noexcept;
    [[nodiscard]] bool is_open() const noexcept { return handle_ != none; }
    /// Writes all of the bytes, or tells why not all could be written.
    [[nodiscard]] std::error_code write(std::span<const std::uint8_t> bytes) noexcept;
    /// Waits until what was written is on the disk.
    [[nodiscard]] std::error_code flush() noexcept;
    /// Nothing happens to a file that is not open.
    [[nodiscard]] std::error_code close() noexcept;

private:
    static constexpr std::intptr_t none = -1;
    std::intptr_t handle_ = none;  // the system's handle or descriptor
};

/// Gives a file another's name, in its place.
[[nodiscard]] std::error_code replace(const Path& from, const Path& to) noexcept;

void remove(const Path& path) noexcept;

}  // namespace vex::file_system
