// Names of files in UTF-8 as paths, and back; std::filesystem takes plain strings for something else on Windows.
#pragma once

#include <filesystem>
#include <string>

namespace pvctl {

[[nodiscard]] inline std::filesystem::path path_of(const std::string& name)
{
    return {std::u8string(name.begin(), name.end())};
}

[[nodiscard]] inline std::string name_of(const std::filesystem::path& path)
{
    const std::u8string name = path.u8string();
    return {name.begin(), name.end()};
}

}  // namespace pvctl
