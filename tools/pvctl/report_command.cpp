#include "tools/pvctl/report_command.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <utility>

#include "sdk/base/whole_file.h"
#include "sdk/description/description_source.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/device_memory.h"
#include "tools/pvctl/discover_command.h"
#include "tools/pvctl/examination.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/feature_tree.h"
#include "tools/pvctl/info_command.h"
#include "tools/pvctl/report.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"
#include "tools/pvctl/zip_archive.h"

using namespace vex;

namespace pvctl {

namespace {

void hide_identity(Mask& mask, const Json& facts)
{
    for (const auto& [key, kind] : {std::pair{"serial_number", "serial"}, std::pair{"user_defined_name", "name"}}) {
        mask.hide_text(facts.value(key, std::string()), kind);
    }
}

void add_search(Report& report)
{
    PvSystem system;
    require(system.Find());
    const Json cameras = json_of(system);
    for (const Json& camera : cameras) {
        hide_identity(report.mask, camera);
    }
    report.add("discovery.json", cameras);
}

void add_registers(Report& report, const DeviceOption& device)
{
    const auto connection = device.open(PvAccessReadOnly);
    const Json facts = read_facts(*connection, false).values();
    hide_identity(report.mask, facts["identity"]);
    report.add("bootstrap.json", facts);
}

void add_description(Report& report, const DeviceOption& device)
{
    const auto connection = device.open(PvAccessReadOnly);
    description::Description description;
    require_device(description::fetch_description(
        device::memory_of(connection->channel(), connection->facts().capability),
        {device.description_folder, device.description_download, device.description_download_anywhere}, description));
    report.files.push_back({"description.xml", description.xml});
}

void add_features(Report& report, const DeviceOption& device)
{
    const auto connected = device.connect(PvAccessReadOnly);
    report.add("features.json", FeatureTree(*connected->GetGenParameters(), PvGenVisibilityGuru, "").json());
}

std::string archive_of(Report& report, const std::string& device, bool mask)
{
    std::string summary = report.summary(device);
    if (mask) {
        report.mask.hide_text(report.host_name, "host");
        report.mask.hide_addresses_in(summary);
        for (const ReportFile& file : report.files) {
            if (file.name != "description.xml") {  // versions in it look like addresses
                report.mask.hide_addresses_in(file.contents);
            }
        }
        for (const Capture::Packet& packet : report.packets) {
            report.mask.hide(packet.source.address);
            report.mask.hide(packet.destination.address);
        }
        summary = report.mask.masked_text(summary);
        for (ReportFile& file : report.files) {
            file.contents = report.mask.masked_text(file.contents);
        }
        for (Capture::Packet& packet : report.packets) {
            packet.source.address = report.mask.masked(packet.source.address);
            packet.destination.address = report.mask.masked(packet.destination.address);
            packet.payload = report.mask.masked_bytes(packet.payload);
        }
    }
    ZipArchive archive;
    archive.add("summary.txt", summary);
    for (const ReportFile& file : report.files) {
        archive.add(file.name, file.contents);
    }
    archive.add("control.pcap", pcap_of(report.packets));
    return archive.finish();
}

}  // namespace

ReportCommand::ReportCommand(CLI::App& app)
    : ReportCommand(
          *app.add_subcommand("report", "put all that is known of a camera and this computer into a ZIP file"),
          std::make_unique<Options>())
{}

ReportCommand::ReportCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    command.add_option("-o,--output", options_->output, "file to write, FILE.zip")->required();
    command.add_option("--duration", options_->seconds, "seconds of frames that the stream is judged by (10)")
        ->check(CLI::Range(0.1, 3600.0));
    command.add_flag("--mask", options_->mask, "replace names, serial numbers and addresses");
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer(
        "Takes control of the camera while it streams. Exits with 0 when the report was written, also where its\n"
        "summary.txt says what could not be read, and with 3, without a file, when there is no such camera.");
}

int ReportCommand::run() const
{
    const Options& options = *options_;
    if (std::filesystem::is_directory(options.output)) {
        throw CommandFailure(options.output + " is a folder; name a file");
    }
    WholeFile file;  // a place that cannot be written is told before the camera is asked for anything
    require(file.open(PvString(std::string(options.output))));
    Report report;
    Capture capture;
    const control::ConnectionTarget target = options.device.find(PvAccessReadOnly);
    static_cast<void>(options.device.open(PvAccessReadOnly));
    DeviceOption device = options.device;
    device.name = target.device.address.to_string();

    Progress progress("Reading what " + options.device.name + " is");
    const diagnosis::SystemState system = diagnosis::SystemReader::system().read();
    report.host_name = system.host_name;
    add_system(report, system);
    report.findings = diagnosis::check_system(system, target.device.address);
    report.part("discovery.json", [&] { add_search(report); });
    report.part("bootstrap.json", [&] { add_registers(report, device); });
    report.part("description.xml", [&] { add_description(report, device); });
    report.part("features.json", [&] { add_features(report, device); });
    report.part("checks", [&] {
        const auto found = search_cameras();
        std::ranges::move(examine_camera(target, system, found), std::back_inserter(report.findings));
    });
    progress.update("Streaming from " + options.device.name);
    report.part("stream.json", [&] { report.add("stream.json", sample_stream(device, options.seconds)); });
    capture.stop();
    report.packets = std::move(capture.packets());
    if (capture.left_out() != 0) {
        report.missing.push_back("control.pcap: it was full; " + std::to_string(capture.left_out()) + " more packets.");
    }
    const std::string bytes = archive_of(report, options.device.name, options.mask);
    require(file.write({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
    require(file.commit());
    if (options.json) {
        print_json({{"file", options.output}, {"bytes", bytes.size()}, {"missing", report.missing}});
    } else {
        std::printf("%s, %zu bytes\n", printable(options.output).c_str(), bytes.size());
        for (const std::string& sentence : report.missing) {
            std::printf("not in it: %s\n", printable(sentence).c_str());
        }
    }
    return exit_code::success;
}

}  // namespace pvctl
