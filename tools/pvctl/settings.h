// Settings of cameras, from files and from the cameras themselves, and what differs between them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/persistence/configuration.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

/// The settings of a device and of its link.
struct Settings {
    std::vector<vex::StoredValue> features;
    std::vector<vex::StoredValue> link;
    std::uint32_t index = 0;  ///< among the devices of the file
};

/// Those of the file's device with that name, or, without one, of the only device. Throws CommandFailure, with the
/// names that there are.
[[nodiscard]] Settings settings_in(const std::string& file, const std::optional<std::string>& name);

/// Those that the camera has at present. Its selectors are turned for that, and put back. Throws CommandFailure.
[[nodiscard]] Settings settings_of(PvDevice& device);

struct Difference {
    std::string setting;  ///< as users read it: "Gain (GainSelector Red)", "link: AnswerTimeout"
    std::optional<std::string> first;
    std::optional<std::string> second;
};

/// In the order of `first`; what only `second` has comes last.
[[nodiscard]] std::vector<Difference> differences(const Settings& first, const Settings& second);

/// "1 setting", "12 settings".
[[nodiscard]] std::string settings_text(std::size_t count);

/// A table with these words over the values. Empty for no differences.
[[nodiscard]] std::string text_of(const std::vector<Difference>& differences, const std::string& first,
                                  const std::string& second);
/// The same for programs: null stands for a setting that is not there.
[[nodiscard]] Json json_of(const std::vector<Difference>& differences, const char* first, const char* second);

}  // namespace pvctl
