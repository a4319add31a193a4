#include "sdk/persistence/configuration_file.h"

#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/file_system.h"
#include "sdk/persistence/configuration_xml.h"

namespace vex::persistence {

namespace {

PvResult read_file(const PvString& name, std::string& text)
{
    if (name.empty()) {
        return failure(PvResult::InvalidParameter, "There is no file name");
    }
    std::ifstream file;
    try {
        file.open(file_system::path_of(name), std::ios::binary);
    } catch (const std::system_error& error) {
        return failure(PvResult::CannotOpenFile, "The file name \"", name.view(), "\" cannot be used: ", error.what());
    }
    if (!file.is_open()) {
        return failure(PvResult::CannotOpenFile, "Cannot open ", name.view());
    }
    std::vector<char> block(1U << 20);
    // one byte too many is enough to be refused
    while (file && text.size() <= largest_file) {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        text.append(block.data(), static_cast<std::size_t>(file.gcount()));
    }
    return file.bad() ? failure(PvResult::FileError, "Cannot read ", name.view()) : PvResult();
}

}  // namespace

PvResult load_configuration(const PvString& name, Configuration& configuration)
{
    std::string text;
    if (PvResult read = read_file(name, text); !read.IsOK()) {
        return read;
    }
    if (const PvResult result = from_xml(text, configuration); !result.IsOK()) {
        return failure(result.GetCode(), "Cannot load ", name.view(), ": ", result.description());
    }
    return PvResult::OK;
}

}  // namespace vex::persistence
