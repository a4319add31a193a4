// What a report says, before it is a file.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tools/diagnosis/finding.h"
#include "tools/diagnosis/system_state.h"
#include "tools/pvctl/capture.h"
#include "tools/pvctl/device_option.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/mask.h"

namespace pvctl {

struct ReportFile {
    std::string name;
    std::string contents;
};

struct Report {
    std::vector<ReportFile> files;     ///< texts
    std::vector<std::string> missing;  ///< sentences about what could not be read
    diagnosis::Findings findings;
    std::vector<Capture::Packet> packets;
    std::string host_name;
    Mask mask;  ///< knows what is to be replaced, if that is wanted

    void add(const std::string& name, const Json& value);
    /// Does a part; what it throws becomes a sentence of `missing`.
    void part(const std::string& what, const std::function<void()>& do_it);
    /// The first of the files.
    [[nodiscard]] std::string summary(const std::string& device) const;
};

/// The system and its interfaces.
void add_system(Report& report, const diagnosis::SystemState& system);
/// Frames of so many seconds. The device is named by its address.
[[nodiscard]] Json sample_stream(const DeviceOption& device, double seconds);

}  // namespace pvctl
