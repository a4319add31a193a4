// FEATURE=VALUE on the command line.
#pragma once

#include <string>
#include <vector>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

/// FEATURE=VALUE, or FEATURE alone for a command.
struct Assignment {
    PvGenParameter* feature;
    std::string value;
    bool has_value;
};

/// Throws CommandFailure when the camera has no such feature or a feature that is no command has no value.
[[nodiscard]] std::vector<Assignment> parse_assignments(const PvGenParameterArray& features,
                                                        const std::vector<std::string>& texts);

/// Writes the value or executes the command. Gives the value before and the one that the camera has now, and prints the
/// same as a line when `print` is set. Throws CommandFailure when the camera refuses.
Json carry_out(const Assignment& assignment, bool print);

}  // namespace pvctl
