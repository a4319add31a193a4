#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/sdk/genicam/file_port.h"

namespace file_test {

namespace fs = std::filesystem;

Folder::Folder()
    : path_((fs::temp_directory_path() / ("device_files_" + std::to_string(std::random_device{}()))).string())
{
    fs::create_directory(path_);
}

Folder::~Folder() { fs::remove_all(path_); }

std::string Folder::path(const char* name) const { return (fs::path(path_) / name).string(); }

void Folder::put(const char* name, const Bytes& bytes) const
{
    std::ofstream(path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes Folder::get(const char* name) const
{
    std::ifstream file(path(name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t Folder::count() const
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), fs::directory_iterator()));
}

}  // namespace file_test
