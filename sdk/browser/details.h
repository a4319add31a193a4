// What a browser says about a feature in words.
#pragma once

#include <string>

#include "sdk/browser/feature.h"
#include "sdk/browser/feature_reader.h"

namespace vex::browser {

/// "Read/write", "Read only" and the like; empty for null, which is what was not read yet.
[[nodiscard]] std::string access_text(const Reading* reading);
/// Everything known of a feature, a line for each fact, with lines of what it is for in front. `reading` is null for
/// what was not read yet.
[[nodiscard]] std::string details(const Feature& feature, const Reading* reading);
[[nodiscard]] std::string details(const Category& category);

}  // namespace vex::browser
