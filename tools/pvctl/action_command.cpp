#include "tools/pvctl/action_command.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/device/PvSystem.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

void print_as_json(const PvAction& action, const std::vector<PvActionAcknowledge>& acknowledges)
{
    Json devices = Json::array();
    std::size_t done = 0;
    for (const PvActionAcknowledge& one : acknowledges) {
        devices.push_back({{"ip", one.address.str()}, {"status", one.status}, {"text", one.status_text.str()}});
        done += one.status == 0 ? 1 : 0;
    }
    print_json({{"expected", action.expected},
                {"acknowledged", acknowledges.size()},
                {"succeeded", done},
                {"devices", devices}});
}

void print(const PvAction& action, const std::vector<PvActionAcknowledge>& acknowledges)
{
    if (!action.acknowledge) {
        std::puts("sent");
        return;
    }
    TextTable table({"IP ADDRESS", "STATUS"});
    for (const PvActionAcknowledge& one : acknowledges) {
        table.add({one.address.str(), one.status_text.str()});
    }
    if (!acknowledges.empty()) {
        std::fputs(table.text(output_width()).c_str(), stdout);
    }
    const std::string expected = action.expected == 0 ? "" : " of " + std::to_string(action.expected) + " expected";
    std::printf("%zu%s acknowledged\n", acknowledges.size(), expected.c_str());
}

}  // namespace

ActionCommand::ActionCommand(CLI::App& app)
    : ActionCommand(*app.add_subcommand("action", "let many cameras act at the same time"), std::make_unique<Options>())
{}

ActionCommand::ActionCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    PvAction& action = options_->action;
    command.add_option("--device-key", action.device_key, "the cameras with this key (ActionDeviceKey)")->required();
    command.add_option("--group-key", action.group_key, "and this key of the group (ActionGroupKey)")->required();
    command.add_option("--group-mask", action.group_mask, "and a bit of this mask of the group (ActionGroupMask)")
        ->required();
    time_ = command.add_option("--time", options_->time, "when, in ticks of the cameras' clock; without it at once");
    command.add_option("--to", options_->destination,
                       "to one camera or the broadcast address of one subnet; 255.255.255.255 also reaches cameras "
                       "whose address does not fit (all subnets of this computer)");
    command.add_option("--interface", options_->interface_address,
                       "only on the interface of this computer with this IP address");
    command.add_option("--expect", action.expected, "end once so many cameras have acknowledged; fewer are a failure");
    command.add_option("--timeout", action.timeout, "milliseconds to wait for acknowledges (500)")
        ->check(CLI::Range(1, 60'000));
    command.add_flag("--no-acknowledge", options_->no_acknowledge, "cameras are not asked whether they act");
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer(
        "Keys and masks may be hexadecimal: 0x1F. Cameras act when an application controls them, or when they\n"
        "are set to act unconditionally. Exits with 3 when no camera acknowledges.");
}

int ActionCommand::run() const
{
    PvAction action = options_->action;
    if (time_->count() != 0) {
        action.time = options_->time;
    }
    action.destination = PvString(std::string_view(options_->destination));
    action.interface_address = PvString(std::string_view(options_->interface_address));
    action.acknowledge = !options_->no_acknowledge;

    PvSystem system;
    std::vector<PvActionAcknowledge> acknowledges;
    PvResult result;
    {
        const Progress progress("Waiting for acknowledges");
        result = system.SendAction(action, &acknowledges);
    }
    if (result.GetCode() == PvResult::InvalidParameter) {
        throw CommandFailure(std::string(result.description()), exit_code::wrong_usage);
    }
    if (result.GetCode() != PvResult::NetworkError) {
        if (options_->json) {
            print_as_json(action, acknowledges);
        } else {
            print(action, acknowledges);
        }
    }
    if (action.acknowledge && acknowledges.empty() && result.GetCode() != PvResult::NetworkError) {
        throw CommandFailure(
            "No camera acknowledged; see whether keys and mask are those of the cameras, and whether an "
            "application controls them",
            exit_code::not_found);
    }
    require(result);
    return exit_code::success;
}

}  // namespace pvctl
