// A ZIP archive of one file, the form in which cameras carry their description.
#pragma once

#include <string>
#include <string_view>

namespace softcam {

/// The archive's bytes. `name` is the file's name in it. Throws std::runtime_error when compression fails.
[[nodiscard]] std::string zip_one_file(std::string_view name, std::string_view contents);

}  // namespace softcam
