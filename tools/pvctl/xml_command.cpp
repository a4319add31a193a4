#include "tools/pvctl/xml_command.h"

#include <cstdio>
#include <filesystem>
#include <utility>

#include "sdk/base/whole_file.h"
#include "sdk/description/description_source.h"
#include "sdk/device/device_memory.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

using namespace vex;

namespace pvctl {

XmlCommand::XmlCommand(CLI::App& app)
    : XmlCommand(*app.add_subcommand("xml", "a camera's description (GenICam XML)"), std::make_unique<Options>())
{}

XmlCommand::XmlCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    auto* output =
        command.add_option("-o,--output", options_->output,
                           "file to write, or a folder for a file with the camera's own name for it; without "
                           "it the description goes to the standard output");
    command.add_flag("--json", options_->json, "tell programs which file was written")->needs(output);
}

int XmlCommand::run() const
{
    const DeviceOption& device = options_->device;
    const auto connection = device.open(PvAccessReadOnly);
    description::Description description;
    {
        const Progress progress("Reading the description of " + device.name);
        require_device(description::fetch_description(
            device::memory_of(connection->channel(), connection->facts().capability),
            {device.description_folder, device.description_download, device.description_download_anywhere},
            description));
    }
    const std::string& xml = description.xml;
    std::filesystem::path file = path_of(options_->output);
    if (file.empty()) {
        if (std::fwrite(xml.data(), 1, xml.size(), stdout) != xml.size() || std::fflush(stdout) != 0) {
            throw CommandFailure("The description cannot be written to the standard output");
        }
        return exit_code::success;
    }
    if (std::filesystem::is_directory(file)) {
        file /= path_of(description.name).filename();
    }
    require(write_whole_file(PvString(name_of(file)), {reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()}));
    if (options_->json) {
        print_json({{"file", name_of(file)}, {"name", description.name}, {"bytes", xml.size()}});
    } else {
        std::printf("%s, %zu bytes\n", printable(name_of(file)).c_str(), xml.size());
    }
    return exit_code::success;
}

}  // namespace pvctl
