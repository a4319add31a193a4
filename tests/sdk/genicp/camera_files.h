// A folder of descriptions and templates that a test fills; it goes with the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace genicp_test {

class CameraFiles {
public:
    CameraFiles()
        : path_(std::filesystem::temp_directory_path() / ("vex-cameras-" + std::to_string(std::random_device{}())))
    {
        std::filesystem::create_directories(path_);
    }
    CameraFiles(const CameraFiles&) = delete;
    CameraFiles& operator=(const CameraFiles&) = delete;
    ~CameraFiles()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] std::string folder() const { return path_.string(); }
    void put(const std::string& name, std::string_view text) const
    {
        std::ofstream(path_ / name, std::ios::binary) << text;
    }
    /// Empty for a file that is not there.
    [[nodiscard]] std::string get(const std::string& name) const
    {
        std::ifstream file(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path path_;
};

/// A description with one integer, Width, at 0x10000.
inline constexpr std::string_view small_description =
    R"(<RegisterDescription ModelName="M" VendorName="V" StandardNameSpace="None" SchemaMajorVersion="1"
 SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
 ProductGuid="1" VersionGuid="2" xmlns="http://www.genicam.org/GenApi/Version_1_1">
<Category Name="Root"><pFeature>Width</pFeature></Category>
<IntReg Name="Width"><Address>0x10000</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort>
<Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
<Port Name="Device"/></RegisterDescription>)";

}  // namespace genicp_test
