#include "tools/pvctl/doctor_command.h"

#include <cstdio>
#include <string>
#include <utility>

#include "tools/pvctl/examination.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

using namespace vex;
using diagnosis::Finding;
using diagnosis::Findings;
using diagnosis::Verdict;

namespace pvctl {

namespace {

void append(Findings& all, Findings more) { all.insert(all.end(), more.begin(), more.end()); }

void print(const Findings& findings)
{
    for (const Finding& finding : findings) {
        std::printf("%-12s  %s\n", diagnosis::name_of(finding.verdict), printable(finding.text).c_str());
        if (!finding.what_to_do.empty()) {
            std::printf("%-12s  -> %s\n", "", printable(finding.what_to_do).c_str());
        }
    }
}

void print_as_json(const Findings& findings)
{
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back({{"check", finding.check},
                        {"result", diagnosis::name_of(finding.verdict)},
                        {"text", finding.text},
                        {"what_to_do", finding.what_to_do}});
    }
    print_json({{"result", diagnosis::name_of(diagnosis::gravest(findings))}, {"findings", std::move(list)}});
}

}  // namespace

DoctorCommand::DoctorCommand(CLI::App& app)
    : DoctorCommand(*app.add_subcommand("doctor", "check what usually goes wrong, and say what to do about it"),
                    std::make_unique<Options>())
{}

DoctorCommand::DoctorCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add_name(command);
    command.get_option("device")->required(false);
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer(
        "Exits with 0 when nothing is wrong, with 1 when something is, with 3 when the camera is not found.");
}

int DoctorCommand::run() const
{
    const bool has_device = !options_->device.name.empty();
    const diagnosis::SystemState system = diagnosis::SystemReader::system().read();
    const auto cameras = [] {
        const Progress progress("Looking for cameras");
        return search_cameras();
    }();
    int code = exit_code::success;
    Findings of_camera;
    std::optional<Ipv4Address> address;
    if (has_device) {
        try {
            const control::ConnectionTarget target = options_->device.find(PvAccessReadOnly);
            address = target.device.address;
            const Progress progress("Trying packets of " + options_->device.name);
            of_camera = examine_camera(target, system, cameras);
        } catch (const CommandFailure& failure) {
            of_camera.push_back({"camera", Verdict::wrong, failure.what(), ""});
            code = failure.code();
        }
    }
    Findings findings = diagnosis::check_system(system, address);
    // a camera on the other side of a router answers no search
    if (!has_device || !cameras.empty()) {
        append(findings, diagnosis::check_search(cameras));
    }
    append(findings, std::move(of_camera));
    if (options_->json) {
        print_as_json(findings);
    } else {
        print(findings);
    }
    if (code != exit_code::success) {
        return code;
    }
    return diagnosis::gravest(findings) == Verdict::wrong ? exit_code::failed : exit_code::success;
}

}  // namespace pvctl
