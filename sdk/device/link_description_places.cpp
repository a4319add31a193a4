// The link's parameters for where descriptions come from. None is saved with a configuration: loading a file must not
// open a way to the network or to this computer's folders.

#include <filesystem>
#include <system_error>

#include "sdk/base/failure.h"
#include "sdk/description/file_path.h"
#include "sdk/device/link_parameters.h"

namespace vex::device {

namespace {

template <typename Parameter>
Parameter place(const char* name, const char* tool_tip)
{
    Parameter parameter;
    parameter.name = name;
    parameter.category = "Description";
    parameter.tool_tip = tool_tip;
    parameter.visibility = GenApi::Visibility::expert;
    return parameter;
}

}  // namespace

void Link::add_description_places(SoftwareParameters& parameters)
{
    using Places = description::DescriptionPlaces;
    const auto add_folder = [&](const char* name, const char* tool_tip, std::string Places::*member,
                                SoftwareSetter<const std::string&> set) {
        auto folder = place<SoftwareString>(name, tool_tip);
        folder.max_length = 1024;
        folder.get = [this, member] { return description_places().*member; };
        folder.set = std::move(set);
        parameters.add(folder);
    };
    const auto add_permission = [&](const char* name, const char* tool_tip, bool Places::*member) {
        auto permission = place<SoftwareBoolean>(name, tool_tip);
        permission.get = [this, member] { return description_places().*member; };
        permission.set = [this, member](bool value) {
            const std::scoped_lock lock(mutex_);
            description_places_.*member = value;
            return PvResult(PvResult::OK);
        };
        parameters.add(permission);
    };

    add_folder("DescriptionFolder",
               "A folder of this computer with the description files of devices that do not hold their own. Empty: "
               "none. Takes effect with the next connection.",
               &Places::folder, [this](const std::string& value) {
                   const std::scoped_lock lock(mutex_);
                   description_places_.folder = value;
                   return PvResult(PvResult::OK);
               });
    add_permission("DescriptionDownload",
                   "Descriptions may be downloaded, without encryption, from the device itself where it names a web "
                   "server. Takes effect with the next connection.",
                   &Places::download);
    add_permission("DescriptionDownloadAnywhere",
                   "With DescriptionDownload: also from any other server that a device names. Takes effect with the "
                   "next connection.",
                   &Places::download_anywhere);
    add_folder("DescriptionCacheFolder",
               "A folder of this computer that keeps what was read of descriptions from devices, so that the next "
               "connection takes less time. Empty: none. Takes effect with the next connection.",
               &Places::cache_folder, [this](const std::string& value) { return set_description_cache(value); });
}

PvResult Link::set_description_cache(const std::string& folder)
{
    std::error_code error;
    const auto path = description::file_path(PvString(std::string_view(folder)));
    if (!folder.empty() && !std::filesystem::is_directory(path, error)) {
        return failure(PvResult::NotFound, "There is no folder \"", folder, "\"");
    }
    const std::scoped_lock lock(mutex_);
    description_places_.cache_folder = folder;
    return PvResult::OK;
}

}  // namespace vex::device
