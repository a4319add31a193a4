// host_probe: the host side on the command line, for tests against cameras of others. Prints one "name value" line per
// fact; the exit code is 0 when every step succeeded.
#include <CLI/CLI.hpp>

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

constexpr std::uint32_t retrieve_timeout_ms = 3000;

struct Options {
    std::string device;
    std::string address;
    std::vector<std::string> settings;  // NAME=VALUE
    std::string packet_size = "1500";   // bytes, or "auto"
    std::string save_folder;
    unsigned frames = 30;
    unsigned buffers = 16;
    bool accept_incomplete = false;
};

void require(const PvResult& result, const std::string& step)
{
    if (!result.IsOK()) {
        throw std::runtime_error(step + ": " + result.GetDescription().str());
    }
}

void tell(const char* name, const std::string& value)
{
    std::printf("%s %s\n", name, value.c_str());
    std::fflush(stdout);
}

void tell(const char* name, std::uint64_t value) { tell(name, std::to_string(value)); }

int find()
{
    PvSystem system;
    require(system.Find(), "find");
    for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
        const PvInterface* const interface = system.GetInterface(i);
        for (std::uint32_t j = 0; j < interface->GetDeviceCount(); ++j) {
            const PvDeviceInfo* const info = interface->GetDeviceInfo(j);
            tell("device", info->GetIPAddress().str() + " on " + interface->GetIPAddress().str() + " | " +
                               info->GetVendor().str() + " | " + info->GetModel().str() + " | " +
                               info->GetSerialNumber().str() + " | " + info->GetMACAddress().str());
        }
    }
    tell("malformed", system.GetMalformedPacketCount());
    return 0;
}

/// Gives the device with this MAC address another IP address.
int force(const Options& options)
{
    require(PvDevice::SetIPConfiguration(PvString(options.device), PvString(options.address), PvString(), PvString()),
            "force the address");
    return 0;
}

/// Reads every feature that says it can be read.
int read(const Options& options)
{
    PvDevice device;
    require(device.Connect(PvString(options.device), PvAccessReadOnly), "connect");
    PvGenParameterArray& features = *device.GetGenParameters();
    unsigned failed = 0;
    for (std::uint32_t i = 0; i < features.GetCount(); ++i) {
        const PvGenParameter* const feature = features.Get(i);
        PvString name;
        PvString value;
        require(feature->GetName(name), "name of feature " + std::to_string(i));
        PvGenType type{};
        require(feature->GetType(type), "type of " + name.str());
        if (type == PvGenTypeCommand || !feature->IsReadable()) {
            continue;
        }
        const PvResult result = feature->ToString(value);
        tell(result.IsOK() ? "feature" : "error",
             name.str() + " = " + (result.IsOK() ? value.str() : result.GetDescription().str()));
        failed += result.IsOK() ? 0 : 1;
    }
    require(device.Disconnect(), "disconnect");
    return failed == 0 ? 0 : 1;
}

void apply(PvGenParameterArray& features, const std::string& setting)
{
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos) {
        throw std::runtime_error("'" + setting + "' is not NAME=VALUE");
    }
    PvGenParameter* const feature = features.Get(PvString(setting.substr(0, equals)));
    if (feature == nullptr) {
        throw std::runtime_error("there is no feature '" + setting.substr(0, equals) + "'");
    }
    require(feature->FromString(PvString(setting.substr(equals + 1))), "set " + setting);
}

std::string as_hex(const std::vector<std::uint8_t>& bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

/// A value as the device has it, whatever the description says about showing it.
PvResult plain_value(PvGenParameter& feature, std::string& text)
{
    PvString words;
    std::int64_t number = 0;
    double real = 0;
    bool flag = false;
    PvResult result;
    if (auto* const integer = dynamic_cast<PvGenInteger*>(&feature)) {
        result = integer->GetValue(number);
        text = std::to_string(number);
    } else if (auto* const floating = dynamic_cast<PvGenFloat*>(&feature)) {
        result = floating->GetValue(real);
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.17g", real);
        text = digits;
    } else if (auto* const boolean = dynamic_cast<PvGenBoolean*>(&feature)) {
        result = boolean->GetValue(flag);
        text = flag ? "true" : "false";
    } else if (auto* const bytes = dynamic_cast<PvGenRegister*>(&feature)) {
        result = bytes->GetLength(number);
        std::vector<std::uint8_t> data(static_cast<std::size_t>(number));
        if (result.IsOK()) {
            result = bytes->Get(data.data(), number);
        }
        text = as_hex(data);
    } else {
        result = feature.ToString(words);
        text = words.str();
    }
    return result;
}

/// The entries that can be chosen at present.
void tell_entries(const PvGenEnum& feature, const std::string& name)
{
    std::int64_t count = 0;
    require(feature.GetEntriesCount(count), "entries of " + name);
    for (std::int64_t i = 0; i < count; ++i) {
        const PvGenEnumEntry* entry = nullptr;
        PvString entry_name;
        require(feature.GetEntryByIndex(i, &entry), "entry of " + name);
        require(entry->GetName(entry_name), "entry of " + name);
        if (entry->IsAvailable()) {
            tell("entry", name + " " + entry_name.str());
        }
    }
}

/// All features, one a line: name, kind, access, and the value of those that can be read.
int list(const Options& options)
{
    constexpr const char* kinds[] = {"integer", "enumeration", "boolean", "string", "command", "float", "register"};
    PvDevice device;
    require(device.Connect(PvString(options.device)), "connect");
    for (const std::string& setting : options.settings) {
        apply(*device.GetGenParameters(), setting);
    }
    PvGenParameterArray& features = *device.GetGenParameters();
    unsigned failed = 0;
    for (std::uint32_t i = 0; i < features.GetCount(); ++i) {
        PvGenParameter& feature = *features.Get(i);
        PvString name;
        PvGenType type{};
        require(feature.GetName(name), "name of feature " + std::to_string(i));
        require(feature.GetType(type), "type of " + name.str());
        const bool readable = feature.IsReadable();
        const bool writable = feature.IsWritable();
        std::string line = name.str() + " " + kinds[type] + " " +
                           (readable   ? writable ? "RW" : "RO"
                            : writable ? "WO"
                                       : "NA");
        if (readable && type != PvGenTypeCommand) {
            std::string value;
            const PvResult result = plain_value(feature, value);
            line += " " + value;
            failed += result.IsOK() ? 0 : 1;
            if (!result.IsOK()) {
                tell("error", name.str() + " = " + result.GetDescription().str());
            }
        }
        tell("parameter", line);
        if (const auto* const choice = dynamic_cast<PvGenEnum*>(&feature)) {
            tell_entries(*choice, name.str());
        }
    }
    require(device.Disconnect(), "disconnect");
    return failed == 0 ? 0 : 1;
}

/// Sets the packet size and tells it; by the register where the device has no feature for it.
void set_packet_size(const Options& options, PvDevice& device)
{
    namespace bootstrap = wire::bootstrap;
    constexpr std::uint32_t address = bootstrap::stream_register(0, bootstrap::stream::packet_size);
    PvGenParameterArray& features = *device.GetGenParameters();
    const bool has_feature = features.GetInteger("GevSCPSPacketSize") != nullptr;
    if (options.packet_size == "auto") {
        require(device.NegotiatePacketSize(), "negotiate the packet size");
    } else if (has_feature) {
        require(features.SetIntegerValue("GevSCPSPacketSize", std::stoll(options.packet_size)), "set the packet size");
    } else {
        require(device.WriteRegister(address, static_cast<std::uint32_t>(std::stoul(options.packet_size))),
                "write the packet size");
    }
    std::uint32_t packet_size = 0;
    require(device.ReadRegister(address, packet_size), "read the packet size");
    tell("packet_size", std::uint64_t{packet_size & bootstrap::stream::packet_size_mask});
}

void save(const Options& options, const PvBuffer& buffer)
{
    if (options.save_folder.empty()) {
        return;
    }
    std::ofstream file(options.save_folder + "/block-" + std::to_string(buffer.GetBlockID64()) + ".raw",
                       std::ios::binary);
    file.write(reinterpret_cast<const char*>(buffer.GetDataPointer()), buffer.GetAcquiredSize());
    if (!file.good()) {
        throw std::runtime_error("cannot write to " + options.save_folder);
    }
}

/// What the frames of one acquisition were like.
struct Tally {
    unsigned complete = 0;
    unsigned incomplete = 0;
    unsigned misshapen = 0;
    std::uint64_t lost_packets = 0;
    std::string problem;
};

void count(Tally& tally, const PvBuffer& buffer, const PvResult& outcome, std::int64_t width, std::int64_t height,
           std::int64_t payload_size)
{
    tally.lost_packets += buffer.GetLostPacketCount();
    if (!outcome.IsOK()) {
        ++tally.incomplete;
        tally.problem = outcome.GetDescription().str();
        return;
    }
    const PvImage* const image = buffer.GetImage();
    if (image != nullptr && image->GetWidth() == width && image->GetHeight() == height &&
        buffer.GetAcquiredSize() == payload_size) {
        ++tally.complete;
        return;
    }
    ++tally.misshapen;
    tally.problem = image == nullptr ? "no image"
                                     : std::to_string(image->GetWidth()) + " x " + std::to_string(image->GetHeight()) +
                                           ", " + std::to_string(buffer.GetAcquiredSize()) + " bytes";
}

Tally acquire(const Options& options, PvStream& stream, PvGenParameterArray& features)
{
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t payload_size = 0;
    require(features.GetIntegerValue("Width", width), "read Width");
    require(features.GetIntegerValue("Height", height), "read Height");
    require(features.GetIntegerValue("PayloadSize", payload_size), "read PayloadSize");
    tell("width", static_cast<std::uint64_t>(width));
    tell("height", static_cast<std::uint64_t>(height));
    tell("payload_size", static_cast<std::uint64_t>(payload_size));

    std::vector<std::unique_ptr<PvBuffer>> buffers;
    for (unsigned i = 0; i < options.buffers; ++i) {
        buffers.push_back(std::make_unique<PvBuffer>());
        require(buffers.back()->Alloc(static_cast<std::uint32_t>(payload_size)), "allocate");
        require(stream.QueueBuffer(buffers.back().get()), "queue");
    }
    if (features.GetInteger("TLParamsLocked") != nullptr) {
        require(features.SetIntegerValue("TLParamsLocked", 1), "lock");
    }
    require(features.ExecuteCommand("AcquisitionStart"), "AcquisitionStart");

    Tally tally;
    for (unsigned i = 0; i < options.frames; ++i) {
        PvBuffer* buffer = nullptr;
        PvResult outcome;
        require(stream.RetrieveBuffer(&buffer, &outcome, retrieve_timeout_ms), "retrieve frame " + std::to_string(i));
        count(tally, *buffer, outcome, width, height, payload_size);
        tell("block", std::to_string(buffer->GetBlockID64()) + " lost " + std::to_string(buffer->GetLostPacketCount()));
        save(options, *buffer);
        require(stream.QueueBuffer(buffer), "queue again");
    }
    require(features.ExecuteCommand("AcquisitionStop"), "AcquisitionStop");
    if (features.GetInteger("TLParamsLocked") != nullptr) {
        require(features.SetIntegerValue("TLParamsLocked", 0), "unlock");
    }
    return tally;
}

int stream_from(const Options& options)
{
    PvDevice device;
    require(device.Connect(PvString(options.device)), "connect");
    PvGenParameterArray& features = *device.GetGenParameters();
    for (const std::string& setting : options.settings) {
        apply(features, setting);
    }
    set_packet_size(options, device);

    std::uint32_t address = 0;
    require(device.ReadRegister(wire::bootstrap::current_ip, address), "read the address");
    PvStream stream;
    require(stream.Open(PvString(Ipv4Address{address}.to_string())), "open the stream");
    tell("stream_on", stream.GetLocalIPAddress().str());
    require(device.SetStreamDestination(stream.GetLocalIPAddress(), stream.GetLocalPort()), "set the destination");
    const Tally tally = acquire(options, stream, features);
    for (const char* name : {"BlockCount", "ImageCount", "ErrorCount", "LostPacketCount", "MalformedPacket"}) {
        std::int64_t value = 0;
        require(stream.GetParameters()->GetIntegerValue(name, value), std::string("read ") + name);
        tell(name, static_cast<std::uint64_t>(value));
    }
    require(device.ResetStreamDestination(), "reset the destination");
    require(stream.Close(), "close the stream");

    tell("complete", tally.complete);
    tell("incomplete", tally.incomplete);
    tell("misshapen", tally.misshapen);
    tell("lost_packets", tally.lost_packets);
    if (!tally.problem.empty()) {
        tell("problem", tally.problem);
    }
    require(device.Disconnect(), "disconnect");
    return tally.misshapen == 0 && (tally.incomplete == 0 || options.accept_incomplete) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app{"host_probe: finds, reads and streams from GigE Vision devices"};
    app.require_subcommand(1);
    const auto* const find_command = app.add_subcommand("find", "list the devices");
    auto* const force_command = app.add_subcommand("force", "give a device another address");
    force_command->add_option("mac", options.device, "MAC address")->required();
    force_command->add_option("address", options.address, "IP address")->required();
    auto* const read_command = app.add_subcommand("read", "read every feature");
    auto* const list_command = app.add_subcommand("list", "list every feature with kind, access and plain value");
    auto* const stream_command = app.add_subcommand("stream", "stream frames and judge them");
    for (CLI::App* const command : {read_command, list_command, stream_command}) {
        command->add_option("device", options.device, "as PvDevice::Connect takes it")->required();
    }
    for (CLI::App* const command : {list_command, stream_command}) {
        command->add_option("--set", options.settings, "NAME=VALUE, set before anything else");
    }
    stream_command->add_option("--packet-size", options.packet_size, "bytes, or auto to negotiate it");
    stream_command->add_option("--frames", options.frames, "frames to receive");
    stream_command->add_option("--buffers", options.buffers, "buffers to queue")->check(CLI::Range(1, 64));
    stream_command->add_option("--save", options.save_folder, "folder for the frames' bytes");
    stream_command->add_flag("--accept-incomplete", options.accept_incomplete, "frames may lack packets");
    CLI11_PARSE(app, argc, argv);

    try {
        if (find_command->parsed()) {
            return find();
        }
        if (force_command->parsed()) {
            return force(options);
        }
        if (list_command->parsed()) {
            return list(options);
        }
        return read_command->parsed() ? read(options) : stream_from(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "host_probe: %s\n", error.what());
        return 1;
    }
}
