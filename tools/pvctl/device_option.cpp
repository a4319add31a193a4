#include "tools/pvctl/device_option.h"

#include "sdk/device/device_lookup.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/terminal.h"

using namespace vex;

namespace pvctl {

namespace {

/// What the user can do about it; empty when the result itself says all there is.
const char* advice(PvResult::Code code)
{
    switch (code) {
    case PvResult::NotFound: return "see which cameras there are: pvctl discover";
    case PvResult::Timeout:
        return "see whether the camera is there and its address fits: pvctl discover; give it another address: "
               "pvctl ip MAC --force ADDRESS/MASK";
    case PvResult::StateError:
        return "end the application that controls the camera, or take over by the key that it allows: --switchover-key "
               "KEY; reading needs no control";
    case PvResult::NotSupported:
        return "name a folder with the description's file: --description-folder FOLDER, or allow its download: "
               "--description-download";
    case PvResult::GenICamXMLError: return "see what the camera holds: pvctl xml DEVICE";
    default: return "";
    }
}

}  // namespace

void require_device(const PvResult& result)
{
    if (result.IsOK()) {
        return;
    }
    const bool missing = result.GetCode() == PvResult::NotFound || result.GetCode() == PvResult::Timeout;
    const std::string what_to_do = advice(result.GetCode());
    throw CommandFailure(std::string(result.description()) + (what_to_do.empty() ? "" : "\n  " + what_to_do),
                         missing ? exit_code::not_found : exit_code::failed);
}

void DeviceOption::add_name(CLI::App& command)
{
    command
        .add_option("device", name,
                    "IP address, MAC address, user-defined name, serial number or host name of the camera")
        ->required();
}

void DeviceOption::add(CLI::App& command)
{
    add_name(command);
    add_description(command);
}

void DeviceOption::add_description(CLI::App& command)
{
    command.add_option("--description-folder", description_folder,
                       "folder with the description files of cameras that do not hold their own");
    auto* download =
        command.add_flag("--description-download", description_download,
                         "the description may be downloaded, without encryption, from the camera's own web server");
    command
        .add_flag("--description-download-anywhere", description_download_anywhere,
                  "and from any other server that the camera names")
        ->needs(download);
}

CLI::Option* DeviceOption::add_key(CLI::App& command, const std::string& option)
{
    return command
        .add_option(option, switchover_key, "take control from an application that allows it for this key (1 to 65535)")
        ->check(CLI::Range(1, 65'535));
}

std::unique_ptr<PvDevice> DeviceOption::connect(PvAccessType access, bool hand_over) const
{
    auto device = std::make_unique<PvDevice>();
    PvGenParameterArray& link = *device->GetGenLink();
    require(link.SetString("DescriptionFolder", PvString(std::string(description_folder))));
    require(link.SetBooleanValue("DescriptionDownload", description_download));
    require(link.SetBooleanValue("DescriptionDownloadAnywhere", description_download_anywhere));
    require(link.SetIntegerValue("SwitchoverKey", switchover_key));
    require(link.SetBooleanValue("SwitchoverEnable", hand_over));
    const Progress progress("Connecting to " + name);
    const PvResult result = device->Connect(PvString(std::string(name)), access);
    if (hand_over && result.GetCode() == PvResult::NotSupported) {
        require(result);  // it is the handing over, about which nothing can be done
    }
    require_device(result);
    return device;
}

control::ConnectionTarget DeviceOption::find(PvAccessType access) const
{
    const Progress progress("Looking for " + name);
    control::ConnectionTarget target;
    target.access = access;
    require_device(device::look_up_device(name, target));
    return target;
}

std::shared_ptr<control::Connection> DeviceOption::open(PvAccessType access) const
{
    const control::ConnectionTarget target = find(access);
    const Progress progress("Connecting to " + name);
    std::shared_ptr<control::Connection> connection;
    require_device(control::Connection::open(target, {}, connection));
    // control is given back with the last share
    return {connection.get(), [connection](control::Connection* last) { last->close(); }};
}

}  // namespace pvctl
