// Description files that the user has put into a folder of this computer.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vex::description {

/// The file of that name in the user's folder (UTF-8); empty when there is none, and when there is no folder.
///
/// A device chose the name, so it leads nowhere else: nothing but a file that is in the folder itself counts, no name
/// that Windows takes for a device ("COM1.xml"), and no link out of the folder.
[[nodiscard]] std::optional<std::filesystem::path> file_in_folder(std::string_view name, const std::string& folder);

}  // namespace vex::description
