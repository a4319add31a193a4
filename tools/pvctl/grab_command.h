// pvctl grab: takes frames from a camera.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/pvctl/command.h"
#include "tools/pvctl/device_option.h"

class PvStreamRaw;

namespace pvctl {

class Interrupt;

/// Streams frames, tells what became of their packets, and saves them where that is asked for. Ends with 0 when every
/// frame came whole, else with 1.
class GrabCommand final : public Command {
public:
    explicit GrabCommand(CLI::App& app);
    [[nodiscard]] int run() const override;

    /// What became of the frames.
    struct Outcome;

private:
    struct Options {
        DeviceOption device;
        std::uint32_t count = 10;
        std::string output;
        std::vector<std::string> assignments;
        std::uint32_t timeout = 5000;
        std::uint32_t buffers = 16;
        std::uint32_t packet_size = 0;
        double loss = 0;
        std::optional<std::uint64_t> seed;
        bool no_resend = false;
        bool json = false;
    };

    GrabCommand(CLI::App& command, std::unique_ptr<Options> options);

    [[nodiscard]] Outcome take_frames(PvDevice& device, PvStreamRaw& stream, Interrupt& interrupt) const;

    std::unique_ptr<Options> options_;
};

}  // namespace pvctl
