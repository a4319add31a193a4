// pvctl: cameras and their images on the command line.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/pvctl/action_command.h"
#include "tools/pvctl/bridge_command.h"
#include "tools/pvctl/configuration_commands.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/convert_command.h"
#include "tools/pvctl/discover_command.h"
#include "tools/pvctl/doctor_command.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/feature_commands.h"
#include "tools/pvctl/file_command.h"
#include "tools/pvctl/grab_command.h"
#include "tools/pvctl/i2c_command.h"
#include "tools/pvctl/info_command.h"
#include "tools/pvctl/ip_command.h"
#include "tools/pvctl/report_command.h"
#include "tools/pvctl/serial_command.h"
#include "tools/pvctl/serve_command.h"
#include "tools/pvctl/switchover_command.h"
#include "tools/pvctl/text_table.h"
#include "tools/pvctl/watch_command.h"
#include "tools/pvctl/xml_command.h"
#include "tools/trace_option/trace_option.h"

namespace {

using Commands = std::vector<std::unique_ptr<pvctl::Command>>;

template <typename... All>
Commands make_commands(CLI::App& app)
{
    Commands commands;
    (commands.push_back(std::make_unique<All>(app)), ...);
    return commands;
}

void print_failure(const std::string& text)
{
    // line by line: the second one says what to do
    std::string_view rest = text;
    for (const char* begin = "pvctl: "; !rest.empty(); begin = "") {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::fprintf(stderr, "%s%s\n", begin, pvctl::printable(std::string(rest.substr(0, end))).c_str());
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const pvctl::Console console;
    CLI::App app{"pvctl: cameras and their images on the command line"};
    app.require_subcommand(1);
    app.set_version_flag("--version", "pvctl " VEX_VERSION);
    app.footer(
        "Exits with 0 when it worked, 1 when it failed, 2 when the command line is wrong, 3 when there is no such\n"
        "camera or feature, 4 when what was compared differs.");
    Commands commands = make_commands<pvctl::DiscoverCommand, pvctl::InfoCommand, pvctl::IpCommand, pvctl::TreeCommand,
                                      pvctl::GetCommand, pvctl::SetCommand, pvctl::WatchCommand, pvctl::ActionCommand,
                                      pvctl::SwitchoverCommand, pvctl::GrabCommand, pvctl::ServeCommand,
                                      pvctl::XmlCommand, pvctl::FileCommand, pvctl::SerialCommand, pvctl::BridgeCommand,
                                      pvctl::I2cCommand, pvctl::SaveCommand, pvctl::RestoreCommand, pvctl::DiffCommand,
                                      pvctl::DoctorCommand, pvctl::ConvertCommand>(app);
#ifndef _WIN32
    commands.push_back(std::make_unique<pvctl::ReportCommand>(app));
#endif
    tools::TraceOption trace;
    trace.add(app);
    try {
        const std::vector<std::string> words = pvctl::arguments(argc, argv);
        std::vector<const char*> pointers;
        std::ranges::transform(words, std::back_inserter(pointers), &std::string::c_str);
        app.parse(static_cast<int>(pointers.size()), pointers.data());
    } catch (const CLI::ParseError& end) {
        return app.exit(end) == 0 ? pvctl::exit_code::success : pvctl::exit_code::wrong_usage;
    }

    try {
        pvctl::require(trace.start());
        for (const auto& command : commands) {
            if (command->is_chosen()) {
                return command->run();
            }
        }
    } catch (const pvctl::CommandFailure& failure) {
        print_failure(failure.what());
        return failure.code();
    } catch (const std::exception& error) {
        print_failure(error.what());
    }
    return pvctl::exit_code::failed;
}
