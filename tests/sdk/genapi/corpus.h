// The descriptions of real cameras in the folder that VEX_CAMERA_XML names; none without it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "sdk/description/zip.h"

namespace corpus {

inline std::vector<std::filesystem::path> files()
{
    std::vector<std::filesystem::path> found;
    if (const char* const folder = std::getenv("VEX_CAMERA_XML"); folder != nullptr && *folder != '\0') {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".xml" || entry.path().extension() == ".zip") {
                found.push_back(entry.path());
            }
        }
    }
    std::ranges::sort(found);
    return found;
}

inline std::string load(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    return vex::description::load_description({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

}  // namespace corpus
