// What storing a file needs of the operating system.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

#include "sdk/base/PvString.h"

namespace convert::file_system {

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

/// Opens for writing: a file that must not exist yet, or one that must. Null, and the reason in errno, when it cannot.
[[nodiscard]] std::FILE* create(const Path& path) noexcept;
[[nodiscard]] std::FILE* open_existing(const Path& path) noexcept;

/// Gives a file another's name, in its place. Empty, or the system's reason why not.
[[nodiscard]] std::string replace(const Path& from, const Path& to);

void remove(const Path& path) noexcept;

}  // namespace convert::file_system
