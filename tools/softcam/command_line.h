// The options of the program softcam.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/softcam/camera.h"
#include "tools/trace_option/trace_option.h"

namespace softcam {

/// What the camera is to do some time after it started.
struct Schedule {
    std::optional<std::chrono::milliseconds> silent_after;
    std::chrono::milliseconds silent_for{0};  ///< 0: from then on
    std::optional<std::chrono::milliseconds> reboot_after;
    RebootOptions reboot;
};

struct CommandLine {
    CameraOptions camera;
    Schedule schedule;
    bool quiet = false;
};

/// Empty when the program is to end at once with `exit_code`: help or a mistake, both printed. Throws
/// std::runtime_error for a file that cannot be read.
[[nodiscard]] std::optional<CommandLine> parse_command_line(int argc, char** argv, tools::TraceOption& trace,
                                                            int& exit_code);

}  // namespace softcam
