#include "tools/pvctl/serve_command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "sdk/virtualdevice/PvVirtualDevice.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/interrupt.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/picture_reader.h"

using namespace vex;

namespace pvctl {

namespace {

using Clock = std::chrono::steady_clock;
using Pictures = std::vector<std::unique_ptr<PvBuffer>>;

Pictures read_pictures(const std::string& folder)
{
    Pictures pictures;
    for (const std::string& name : pictures_in(folder)) {
        pictures.push_back(read_picture(name));
    }
    if (pictures.empty()) {
        throw CommandFailure("There is no picture (.bmp, .png, .tiff) in " + folder);
    }
    return pictures;
}

/// The address in the text that tells where a device listens.
std::string address_in(const std::string& text)
{
    constexpr const char* parts = "0123456789.";
    std::size_t to = 0;
    for (std::size_t from = text.find_first_of(parts); from < text.size(); from = text.find_first_of(parts, to)) {
        to = std::min(text.find_first_not_of(parts, from), text.size());
        if (Ipv4Address::parse(text.substr(from, to - from)).has_value()) {
            return text.substr(from, to - from);
        }
    }
    return "";
}

/// A device of this host, and what its clients want of it.
class ServedDevice {
public:
    explicit ServedDevice(const std::string& network_interface)
    {
        const PvResult listening = device_.StartListening(PvString(std::string(network_interface)));
        require(listening);
        description_ = listening.description();
        address_ = address_in(description_);
        require(monitor_.Connect(PvString(std::string(address_)), PvAccessReadOnly));
    }

    [[nodiscard]] const std::string& description() const noexcept { return description_; }
    [[nodiscard]] const std::string& address() const noexcept { return address_; }
    [[nodiscard]] PvString destination() const { return device_.GetStreamDestinationIPAddress(); }
    [[nodiscard]] std::uint16_t port() const { return device_.GetStreamDestinationPort(); }
    /// A client has opened the stream and started the acquisition.
    [[nodiscard]] bool is_watched()
    {
        bool running = false;
        return port() != 0 && monitor_.GetGenParameters()->GetBooleanValue("AcquisitionStatus", running).IsOK() &&
               running;
    }

private:
    PvVirtualDevice device_;
    PvDevice monitor_;  ///< looks on as any other program can
    std::string description_;
    std::string address_;
};

/// Sends pictures where the device's client wants them, and tells when that begins and ends.
class Show {
public:
    Show(ServedDevice& device, const Pictures& pictures, float throughput, bool json)
        : device_(device), pictures_(pictures), json_(json)
    {
        require(transmitter_.SetMaxPayloadThroughput(throughput));
    }
    Show(const Show&) = delete;
    Show& operator=(const Show&) = delete;
    ~Show() { end(); }

    void send_next()
    {
        if (!transmitter_.IsOpen()) {
            const PvString destination = device_.destination();
            const std::uint16_t port = device_.port();
            if (!transmitter_.Open(destination, port, PvString(std::string(device_.address()))).IsOK()) {
                return;  // the client has closed its stream meanwhile
            }
            sent_ = 0;
            tell("sending", "Sending to " + destination.str() + ", port " + std::to_string(port));
        }
        require(transmitter_.QueueBuffer(pictures_[sent_ % pictures_.size()].get()));
        PvBuffer* free = nullptr;
        require(transmitter_.RetrieveFreeBuffer(&free));
        ++sent_;
    }
    void end()
    {
        if (!transmitter_.IsOpen()) {
            return;
        }
        transmitter_.Close();
        for (PvBuffer* free = nullptr; transmitter_.RetrieveFreeBuffer(&free, 0).IsOK();)
            ;
        tell("ended", "Ended after " + std::to_string(sent_) + " pictures");
    }
    void tell(const char* event, const std::string& detail) const
    {
        if (json_) {
            print_json_line({{"event", event}, {"detail", detail}});
        } else {
            std::printf("%s\n", detail.c_str());
            std::fflush(stdout);
        }
    }

private:
    ServedDevice& device_;
    const Pictures& pictures_;
    const bool json_;
    PvTransmitterRaw transmitter_;
    std::size_t sent_ = 0;
};

}  // namespace

ServeCommand::ServeCommand(CLI::App& app)
    : ServeCommand(*app.add_subcommand("serve", "be a camera that sends the pictures of a folder"),
                   std::make_unique<Options>())
{}

ServeCommand::ServeCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    command
        .add_option("folder", options_->folder, "folder with .bmp, .png and .tiff files, sent in order of their names")
        ->required();
    command.add_option("--interface", options_->network_interface,
                       "address, name or MAC address of the network interface to be a camera on (the first)");
    command.add_option("--rate", options_->rate, "pictures per second (10)")->check(CLI::Range(0.001, 10'000.0));
    command
        .add_option("--throughput", options_->throughput, "most Mbit/s of pixels while one is sent; 0 for any (500)")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--time", options_->time, "end after so many seconds")->check(CLI::PositiveNumber);
    command.add_flag("--json", options_->json, "for programs to read: an object in each line");
}

int ServeCommand::run() const
{
    Interrupt interrupt;
    const Options& options = *options_;
    const Pictures pictures = read_pictures(options.folder);
    ServedDevice device(options.network_interface);
    Show show(device, pictures, options.throughput, options.json);
    show.tell("listening", device.description() + ", " + std::to_string(pictures.size()) + " pictures");

    const std::chrono::duration<double> period(1 / options.rate);
    const Clock::time_point begin = Clock::now();
    Clock::time_point next = begin;
    while (options.time == 0 || Clock::now() - begin < std::chrono::duration<double>(options.time)) {
        if (device.is_watched()) {
            show.send_next();
        } else {
            show.end();
        }
        // a picture that took longer than its time is not made up for
        next = std::max(next + std::chrono::duration_cast<Clock::duration>(period), Clock::now());
        if (interrupt.wait(std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()))) {
            break;
        }
    }
    return exit_code::success;
}

}  // namespace pvctl
