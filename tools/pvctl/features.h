// A camera's features as texts and as JSON.
#pragma once

#include <string>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

/// The feature of that name. Throws CommandFailure (not_found) with names that are similar.
[[nodiscard]] PvGenParameter& feature_named(const PvGenParameterArray& features, const std::string& name);

[[nodiscard]] std::string name_of(const PvGenParameter& feature);
/// "rw", "ro", "wo", or "--" for a feature that cannot be used at present.
[[nodiscard]] std::string access_of(const PvGenParameter& feature);
/// Empty for none.
[[nodiscard]] std::string unit_of(const PvGenParameter& feature);

/// The value as text without its unit; empty for a command and for what cannot be read at present.
PvResult value_of(const PvGenParameter& feature, std::string& value);
/// The value in its own type: number, truth or text; null for a command and for what cannot be read at present.
[[nodiscard]] Json json_value_of(const PvGenParameter& feature);
/// "640 px".
[[nodiscard]] std::string with_unit(const PvGenParameter& feature, const std::string& value);

/// Type, access, value, unit, limits or entries.
[[nodiscard]] Json json_of(const PvGenParameter& feature);

}  // namespace pvctl
