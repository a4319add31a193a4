// recovery_probe: an application that streams from a camera and lets its link be recovered, for tests that pull cables.
// Prints "name value" lines as things happen; "told" and "frame" lines end with the system's monotonic time in seconds.
// It runs until it is stopped, or with --soak until the camera, which is then its own, has been lost that often.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "sdk/wire/bootstrap.h"
#include "tools/softcam/camera.h"

using namespace vex;

namespace {

void require(const PvResult& result, const std::string& step)
{
    if (!result.IsOK()) {
        throw std::runtime_error(step + ": " + result.GetDescription().str());
    }
}

double now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

/// Complete lines only: both threads print.
void tell(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

class Teller final : public PvDeviceEventSink {
public:
    explicit Teller(bool quiet) : quiet_(quiet) {}

    void OnLinkDisconnected(PvDevice*) override { note("disconnected"); }
    void OnLinkReconnected(PvDevice*) override { note("reconnected"); }
    void OnRestoreDevice(PvDevice*) override { note("device"); }
    void OnRestoreConfiguration(PvDevice*) override { note("configuration"); }
    void OnRestoreAcquisition(PvDevice*) override
    {
        note("acquisition");
        const std::scoped_lock lock(mutex_);
        ++recoveries_;
        changed_.notify_all();
    }

    [[nodiscard]] unsigned recoveries()
    {
        const std::scoped_lock lock(mutex_);
        return recoveries_;
    }
    bool wait_for(unsigned recoveries)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return recoveries_ >= recoveries; });
    }

private:
    void note(const char* name) const
    {
        if (!quiet_) {
            tell("told " + std::string(name) + " " + std::to_string(now()));
        }
    }

    const bool quiet_;
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned recoveries_ = 0;
};

/// A device that is recovered.
struct Recovered {
    Recovered(const std::string& address, bool quiet) : teller(quiet)
    {
        PvGenParameterArray& link = *device.GetGenLink();
        require(link.SetBooleanValue("LinkRecoveryEnabled", true), "enable the recovery");
        require(link.SetIntegerValue("HeartbeatTimeout", 600), "set the heartbeat timeout");
        require(device.RegisterEventSink(&teller), "register the sink");
        require(device.Connect(PvString(address)), "connect");
    }

    Teller teller;
    PvDevice device;
};

class Streaming {
public:
    Streaming(PvDevice& device, const std::vector<std::string>& settings) : device_(device)
    {
        for (const std::string& setting : settings) {
            const auto equals = setting.find('=');
            PvGenParameter* const feature = features().Get(PvString(setting.substr(0, equals)));
            if (feature == nullptr || equals == std::string::npos) {
                throw std::runtime_error("no feature in " + setting);
            }
            require(feature->FromString(PvString(setting.substr(equals + 1))), setting);
        }
        std::int64_t size = 0;
        require(features().GetIntegerValue("PayloadSize", size), "read PayloadSize");
        for (int i = 0; i < 8; ++i) {
            buffers_.push_back(std::make_unique<PvBuffer>());
            require(buffers_.back()->Alloc(static_cast<std::uint32_t>(size)), "allocate");
        }
        open();
        require(features().ExecuteCommand("AcquisitionStart"), "AcquisitionStart");
    }

    /// The stream follows a camera that has come back at another address.
    void follow()
    {
        if (device_address() != address_) {
            require(stream_.Close(), "close the stream");
            open();
        }
    }

    /// A whole frame has come.
    [[nodiscard]] bool retrieve()
    {
        PvBuffer* buffer = nullptr;
        PvResult outcome;
        if (!stream_.RetrieveBuffer(&buffer, &outcome, 100).IsOK()) {
            return false;
        }
        const bool whole = outcome.IsOK();
        require(stream_.QueueBuffer(buffer), "queue again");
        return whole;
    }

private:
    PvGenParameterArray& features() { return *device_.GetGenParameters(); }

    std::string device_address()
    {
        std::uint32_t address = 0;
        require(device_.ReadRegister(wire::bootstrap::current_ip, address), "read the address");
        return Ipv4Address{address}.to_string();
    }

    void open()
    {
        address_ = device_address();
        require(stream_.Open(PvString(address_)), "open the stream");
        for (const auto& buffer : buffers_) {
            require(stream_.QueueBuffer(buffer.get()), "queue");
        }
        require(device_.SetStreamDestination(stream_.GetLocalIPAddress(), stream_.GetLocalPort()),
                "set the destination");
    }

    PvDevice& device_;
    std::string address_;
    std::vector<std::unique_ptr<PvBuffer>> buffers_;
    PvStream stream_;
};

void stream_and_tell(const std::string& address, const std::vector<std::string>& settings)
{
    Recovered recovered(address, false);
    Streaming streaming(recovered.device, settings);
    std::string state;
    for (unsigned seen = ~0U;;) {
        if (const unsigned recoveries = recovered.teller.recoveries(); recoveries != seen) {
            if (seen != ~0U) {
                streaming.follow();
            }
            if (streaming.retrieve()) {
                tell("frame " + std::to_string(recoveries) + " " + std::to_string(now()));
                for (const std::string& setting : settings) {
                    const std::string name = setting.substr(0, setting.find('='));
                    PvString value;
                    require(recovered.device.GetGenParameters()->Get(PvString(name))->ToString(value), name);
                    tell("setting " + name + "=" + value.str());
                }
                seen = recoveries;
            }
        } else {
            static_cast<void>(streaming.retrieve());
        }
        PvString now_state;
        require(recovered.device.GetGenLink()->GetString("LinkRecoveryState", now_state), "read the state");
        if (now_state.str() != state) {
            state = now_state.str();
            tell("state " + state);
        }
    }
}

/// In use, in KiB.
long memory()
{
    std::ifstream file("/proc/self/statm");
    long all = 0;
    long resident = 0;
    file >> all >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void soak(const std::string& address, unsigned losses)
{
    softcam::CameraOptions options;
    options.adapter = address;
    softcam::Camera camera(options);
    camera.start();
    Recovered recovered(address, true);
    const unsigned warm = losses / 5;
    for (unsigned n = 1; n <= losses; ++n) {
        camera.responder().drop_control();
        recovered.device.ReportStreamTimeout();  // looks at once, unless the loss is known already
        if (!recovered.teller.wait_for(n)) {
            PvString state;
            recovered.device.GetGenLink()->GetString("LinkRecoveryState", state);
            throw std::runtime_error("loss " + std::to_string(n) + " is not recovered: " + state.str());
        }
        if (n == warm) {
            tell("memory_warm " + std::to_string(memory()));
        }
    }
    tell("recovered " + std::to_string(recovered.teller.recoveries()));
    tell("memory_end " + std::to_string(memory()));
}

}  // namespace

int main(int argc, char** argv)
{
    std::string address;
    std::vector<std::string> settings;
    unsigned losses = 0;
    CLI::App app{"recovery_probe: a stream that survives its camera's absences"};
    app.add_option("device", address, "as PvDevice::Connect takes it")->required();
    app.add_option("--set", settings, "NAME=VALUE, before the acquisition");
    app.add_option("--soak", losses, "how often to lose a software camera of this program's own");
    CLI11_PARSE(app, argc, argv);
    try {
        if (losses > 0) {
            soak(address, losses);
        } else {
            stream_and_tell(address, settings);
        }
        return 0;
    } catch (const std::exception& error) {
        tell("error " + std::string(error.what()));
        return 1;
    }
}
