#include "tools/pvctl/switchover_command.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/interrupt.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

using Clock = std::chrono::steady_clock;

/// Ends the wait when control is lost.
class Listener final : public PvDeviceEventSink {
public:
    explicit Listener(const Interrupt& interrupt) : interrupt_(interrupt) {}
    void OnLinkDisconnected(PvDevice* /*aDevice*/) override { interrupt_.wake(); }

private:
    const Interrupt& interrupt_;
};

/// The camera still answers, so control was taken away rather than the camera.
bool is_there(const DeviceOption& device)
{
    try {
        static_cast<void>(device.open(PvAccessReadOnly));
        return true;
    } catch (const CommandFailure& failure) {
        return failure.code() != exit_code::not_found;
    }
}

}  // namespace

SwitchoverCommand::SwitchoverCommand(CLI::App& app)
    : SwitchoverCommand(*app.add_subcommand("switchover", "take control from an application that hands it over"),
                        std::make_unique<Options>())
{}

SwitchoverCommand::SwitchoverCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command, "--key")->required();
    command.add_flag("--hold", options_->hold, "keep control until Ctrl+C, and let others take it with the same key");
    command.add_option("--time", options_->time, "hold for so many seconds at most")->check(CLI::PositiveNumber);
    command.add_flag("--json", options_->json, "for programs to read: an object in each line");
    command.footer("Ends with 0 also when another application takes control, with 1 when the camera is lost.");
}

void SwitchoverCommand::tell(const char* what, const std::string& detail) const
{
    if (options_->json) {
        print_json_line({{"event", what}, {"detail", detail}});
    } else {
        std::printf("%s%s\n", what, detail.empty() ? "" : printable(": " + detail).c_str());
        std::fflush(stdout);
    }
}

int SwitchoverCommand::run() const
{
    Interrupt interrupt;
    const auto device = options_->device.connect(PvAccessControl, options_->hold);
    Listener listener(interrupt);
    require(device->RegisterEventSink(&listener));
    tell("control taken", "");

    const auto begin = Clock::now();
    const std::chrono::duration<double> time(options_->time);
    constexpr std::chrono::milliseconds turn{100};
    bool ended = !options_->hold;
    while (!ended && device->IsConnected()) {
        ended = (options_->time != 0 && Clock::now() - begin >= time) || interrupt.wait(turn);
    }
    const bool lost = !device->IsConnected();
    device->UnregisterEventSink(&listener);
    if (!lost) {
        require(device->Disconnect());
        tell("control given back", "");
        return exit_code::success;
    }
    PvString reason;
    device->GetGenLink()->GetString("LinkLossReason", reason);
    tell("control lost", reason.str());
    return is_there(options_->device) ? exit_code::success : exit_code::failed;
}

}  // namespace pvctl
