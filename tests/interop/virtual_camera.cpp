// virtual_camera: a virtual device and a raw transmitter that together are a camera, for tests with clients of others.
#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/test_pattern/test_pattern.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "sdk/virtualdevice/PvVirtualDevice.h"

using namespace vex;

namespace {

volatile std::sig_atomic_t stop_requested = 0;

void require(const PvResult& result, const char* step)
{
    if (!result.IsOK()) {
        throw std::runtime_error(std::string(step) + ": " + result.GetDescription().str());
    }
}

struct Options {
    std::string address = "127.0.0.1";
    unsigned width = 512;
    unsigned height = 512;
    unsigned rate = 20;  // frames per second
};

/// A device, and what its client wants: read from the device as any other program can.
class WatchedDevice {
public:
    explicit WatchedDevice(const std::string& address)
    {
        const PvResult listening = device_.StartListening(PvString(address));
        require(listening, "listen");
        description_ = listening.GetDescription().str();
        require(monitor_.Connect(PvString(address), PvAccessReadOnly), "look on");
    }

    [[nodiscard]] const std::string& description() const { return description_; }
    [[nodiscard]] PvString destination() const { return device_.GetStreamDestinationIPAddress(); }
    [[nodiscard]] std::uint16_t port() const { return device_.GetStreamDestinationPort(); }
    /// A client opens its stream before it is ready to receive; only then it starts the acquisition.
    [[nodiscard]] bool acquires()
    {
        bool started = false;
        require(monitor_.GetGenParameters()->GetBooleanValue("AcquisitionStatus", started), "read the status");
        return started;
    }

private:
    PvVirtualDevice device_;
    PvDevice monitor_;
    std::string description_;
};

/// Sends pictures to wherever the device's stream channel leads, while the acquisition runs.
class Feeder {
public:
    explicit Feeder(const Options& options) : options_(options)
    {
        for (auto& buffer : buffers_) {
            buffer = std::make_unique<PvBuffer>(PvPayloadTypeImage);
            require(buffer->GetImage()->Alloc(options.width, options.height, PvPixelMono8), "allocate");
            pool_.push_back(buffer.get());
        }
        require(transmitter_.LoadBufferPool(pool_.data(), static_cast<std::uint32_t>(pool_.size())), "load the pool");
    }

    void turn(WatchedDevice& device)
    {
        const PvString address = device.destination();
        const std::uint16_t port = device.port();
        const bool elsewhere = transmitter_.IsOpen() && (address != transmitter_.GetDestinationIPAddress() ||
                                                         port != transmitter_.GetDestinationPort());
        if (elsewhere) {
            require(transmitter_.Close(), "close");
        }
        if (port == 0 || !device.acquires()) {
            return;
        }
        if (!transmitter_.IsOpen()) {
            require(transmitter_.Open(address, port, PvString(options_.address)), "open");
        }
        PvBuffer* buffer = nullptr;
        require(transmitter_.RetrieveFreeBuffer(&buffer, 1000), "a free buffer");
        test_pattern::FrameSettings frame;
        frame.width = options_.width;
        frame.height = options_.height;
        test_pattern::render(frame, ++sent_, {buffer->GetDataPointer(), buffer->GetSize()});
        require(transmitter_.QueueBuffer(buffer), "queue");
    }

    [[nodiscard]] unsigned long long sent() const { return sent_; }

private:
    const Options options_;
    std::array<std::unique_ptr<PvBuffer>, 4> buffers_;
    std::vector<PvBuffer*> pool_;
    PvTransmitterRaw transmitter_;
    unsigned long long sent_ = 0;
};

void run(const Options& options)
{
    Feeder feeder(options);
    WatchedDevice device(options.address);
    std::printf("virtual_camera: %s\n", device.description().c_str());
    std::fflush(stdout);
    auto next = std::chrono::steady_clock::now();
    while (stop_requested == 0) {
        feeder.turn(device);
        next += std::chrono::microseconds(1'000'000 / options.rate);
        std::this_thread::sleep_until(next);
    }
    std::printf("virtual_camera: %llu frames\n", feeder.sent());
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app{"virtual_camera: a camera of a virtual device and a transmitter"};
    app.add_option("-a,--address", options.address, "where to listen");
    app.add_option("--width", options.width, "pixels")->check(CLI::Range(8, 2048));
    app.add_option("--height", options.height, "pixels")->check(CLI::Range(8, 2048));
    app.add_option("--rate", options.rate, "frames per second")->check(CLI::Range(1, 1000));
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGINT, [](int) { stop_requested = 1; });
    std::signal(SIGTERM, [](int) { stop_requested = 1; });
    try {
        run(options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "virtual_camera: %s\n", error.what());
        return 1;
    }
}
