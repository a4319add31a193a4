// stream_probe: a receiver of one stream that judges every frame, for tests over networks. Prints one "name value" line
// per fact; the exit code is 0 when frames came as they should.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "sdk/test_pattern/test_pattern.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace {

using Clock = std::chrono::steady_clock;
namespace bootstrap = wire::bootstrap;

constexpr std::uint32_t retrieve_timeout_ms = 3000;

struct Options {
    std::string device;
    std::vector<std::string> settings;         // NAME=VALUE of the device
    std::vector<std::string> stream_settings;  // NAME=VALUE of the stream
    std::vector<std::string> registers;        // ADDRESS=VALUE, hexadecimal and decimal
    std::string group;                         // multicast; empty: to this host alone
    std::uint16_t port = 0;
    std::uint32_t packet_size = 1500;
    std::uint64_t frames = 0;  // 0: not limited
    double seconds = 0;        // 0: not limited
    unsigned buffers = 32;
    std::uint32_t watched_bytes = 0;  // only watches a group whose frames are so large, and leaves the device alone
    bool verify = false;
};

void require(const PvResult& result, const std::string& step)
{
    if (!result.IsOK()) {
        throw std::runtime_error(step + ": " + result.GetDescription().str());
    }
}

void tell(const std::string& name, const std::string& value)
{
    std::printf("%s %s\n", name.c_str(), value.c_str());
    std::fflush(stdout);
}

void tell(const std::string& name, std::uint64_t value) { tell(name, std::to_string(value)); }

void apply(PvGenParameterArray& parameters, const std::string& setting)
{
    const std::size_t equals = setting.find('=');
    PvGenParameter* const parameter =
        equals != std::string::npos ? parameters.Get(PvString(setting.substr(0, equals))) : nullptr;
    if (parameter == nullptr) {
        throw std::runtime_error("'" + setting + "' is no NAME=VALUE with a NAME that there is");
    }
    require(parameter->FromString(PvString(setting.substr(equals + 1))), "set " + setting);
}

std::int64_t integer_of(PvGenParameterArray& parameters, const char* name)
{
    std::int64_t value = 0;
    require(parameters.GetIntegerValue(name, value), std::string("read ") + name);
    return value;
}

/// In use, in KiB.
std::uint64_t memory()
{
    std::ifstream file("/proc/self/statm");
    std::uint64_t all = 0;
    std::uint64_t resident = 0;
    file >> all >> resident;
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

/// The pictures that the software camera sends with its present settings.
class Pictures {
public:
    explicit Pictures(PvGenParameterArray& features)
    {
        std::int64_t pattern = 0;
        std::int64_t format = 0;
        require(features.GetEnumValue("TestPattern", pattern), "read TestPattern");
        require(features.GetEnumValue("PixelFormat", format), "read PixelFormat");
        settings_.pattern = static_cast<test_pattern::Pattern>(pattern);
        settings_.pixel_format = static_cast<std::uint32_t>(format);
        settings_.sensor_width = static_cast<std::uint32_t>(integer_of(features, "SensorWidth"));
        settings_.sensor_height = static_cast<std::uint32_t>(integer_of(features, "SensorHeight"));
        settings_.width = static_cast<std::uint32_t>(integer_of(features, "Width"));
        settings_.height = static_cast<std::uint32_t>(integer_of(features, "Height"));
        for (std::size_t i = 0; i < pictures_.size(); ++i) {
            pictures_[i].resize(test_pattern::image_bytes(settings_));
            test_pattern::render(settings_, i, pictures_[i]);
        }
    }

    [[nodiscard]] bool is_block(std::uint64_t block_id, const PvBuffer& buffer) const
    {
        const std::vector<std::uint8_t>& picture = pictures_[block_id % pictures_.size()];
        const auto* const data = reinterpret_cast<const std::uint8_t*>(buffer.GetDataPointer());
        return buffer.GetAcquiredSize() == picture.size() && std::equal(picture.begin(), picture.end(), data);
    }

private:
    test_pattern::FrameSettings settings_;
    std::array<std::vector<std::uint8_t>, test_pattern::cycle> pictures_;
};

/// What the frames were like.
class Tally {
public:
    explicit Tally(const Pictures* pictures) : pictures_(pictures) {}

    void count(const PvBuffer& buffer, const PvResult& outcome, std::int64_t payload_size)
    {
        const std::uint64_t id = buffer.GetBlockID64();
        short_ids_ = short_ids_ && id <= last_short_id;
        if (frames_ > 0) {
            const std::uint64_t expected = short_ids_ ? last_id_ % last_short_id + 1 : last_id_ + 1;
            skipped_ += short_ids_ ? (id + last_short_id - expected) % last_short_id : id - expected;
        }
        last_id_ = id;
        ++frames_;
        lost_packets_ += buffer.GetLostPacketCount();
        if (!outcome.IsOK()) {
            ++results_[std::string(PvResult::text_of(outcome.GetCode()))];
            ++incomplete_;
        } else if (buffer.GetAcquiredSize() != payload_size) {
            ++misshapen_;
        } else if (pictures_ != nullptr && !pictures_->is_block(id, buffer)) {
            ++wrong_;
        } else {
            ++complete_;
        }
    }

    [[nodiscard]] std::uint64_t frames() const { return frames_; }
    [[nodiscard]] bool is_sound() const { return frames_ > 0 && frames_ == complete_ && skipped_ == 0; }

    void tell_all() const
    {
        tell("frames", frames_);
        tell("complete", complete_);
        tell("incomplete", incomplete_);
        tell("misshapen", misshapen_);
        tell("wrong", wrong_);
        tell("skipped", skipped_);
        tell("lost_packets", lost_packets_);
        for (const auto& [name, number] : results_) {
            tell("result", name + " " + std::to_string(number));
        }
    }

private:
    static constexpr std::uint64_t last_short_id = 0xFFFF;  ///< 1 follows

    const Pictures* pictures_;
    std::uint64_t frames_ = 0;
    std::uint64_t complete_ = 0;
    std::uint64_t incomplete_ = 0;
    std::uint64_t misshapen_ = 0;
    std::uint64_t wrong_ = 0;    // complete, with other pixels than were sent
    std::uint64_t skipped_ = 0;  // block IDs that nothing came of
    std::uint64_t lost_packets_ = 0;
    std::uint64_t last_id_ = 0;
    bool short_ids_ = true;
    std::map<std::string, std::uint64_t> results_;
};

/// Every statistic of the stream that is a number.
void tell_statistics(PvStream& stream)
{
    PvGenParameterArray& parameters = *stream.GetParameters();
    for (std::uint32_t i = 0; i < parameters.GetCount(); ++i) {
        PvGenParameter& parameter = *parameters.Get(i);
        PvString name;
        PvString value;
        if (!parameter.IsWritable() && parameter.GetName(name).IsOK() && parameter.ToString(value).IsOK()) {
            tell(name.str(), value.str());
        }
    }
}

class Receiver {
public:
    explicit Receiver(const Options& options) : options_(options)
    {
        for (const std::string& setting : options_.stream_settings) {
            apply(*stream_.GetParameters(), setting);
        }
    }

    void open(const std::string& device_address)
    {
        const PvString device(device_address);
        require(options_.group.empty() ? stream_.Open(device)
                                       : stream_.Open(device, PvString(options_.group), options_.port),
                "open the stream");
    }

    void queue(std::int64_t payload_size)
    {
        payload_size_ = payload_size;
        for (unsigned i = 0; i < options_.buffers; ++i) {
            buffers_.push_back(std::make_unique<PvBuffer>());
            require(buffers_.back()->Alloc(static_cast<std::uint32_t>(payload_size)), "allocate");
            require(stream_.QueueBuffer(buffers_.back().get()), "queue");
        }
    }

    /// Takes frames until there are enough; `is_over` ends a stream that somebody else stops.
    Tally receive(const Pictures* pictures)
    {
        Tally tally(pictures);
        const Clock::time_point begin = Clock::now();
        const auto passed = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
        bool warm = false;
        while ((options_.frames == 0 || tally.frames() < options_.frames) &&
               (options_.seconds == 0 || passed() < options_.seconds)) {
            PvBuffer* buffer = nullptr;
            PvResult outcome;
            const PvResult result = stream_.RetrieveBuffer(&buffer, &outcome, retrieve_timeout_ms);
            if (!result.IsOK()) {
                tell("problem", result.GetDescription().str());
                break;
            }
            tally.count(*buffer, outcome, payload_size_);
            require(stream_.QueueBuffer(buffer), "queue again");
            if (!warm && 5 * tally.frames() >= options_.frames && 5 * passed() >= options_.seconds) {
                warm = true;
                tell("memory_warm", memory());
            }
        }
        tell("memory_end", memory());
        tell("milliseconds", static_cast<std::uint64_t>(passed() * 1000));
        return tally;
    }

    PvStream& stream() { return stream_; }

private:
    const Options& options_;
    std::vector<std::unique_ptr<PvBuffer>> buffers_;
    std::int64_t payload_size_ = 0;
    PvStream stream_;  // before the buffers that it holds are gone
};

/// Only joins the group: somebody else has the device stream to it.
int watch(const Options& options)
{
    Receiver receiver(options);
    receiver.open(options.device);
    receiver.queue(options.watched_bytes);
    tell("watching", options.group);
    const Tally tally = receiver.receive(nullptr);
    tell_statistics(receiver.stream());
    tally.tell_all();
    return tally.is_sound() ? 0 : 1;
}

void set_up(const Options& options, PvDevice& device)
{
    for (const std::string& setting : options.settings) {
        apply(*device.GetGenParameters(), setting);
    }
    for (const std::string& setting : options.registers) {
        const std::size_t equals = setting.find('=');
        require(device.WriteRegister(static_cast<std::uint32_t>(std::stoul(setting.substr(0, equals), nullptr, 16)),
                                     static_cast<std::uint32_t>(std::stoul(setting.substr(equals + 1)))),
                "write " + setting);
    }
    require(device.WriteRegister(bootstrap::stream_register(0, bootstrap::stream::packet_size), options.packet_size),
            "set the packet size");
}

int stream_from(const Options& options)
{
    PvDevice device;
    // a lossy line takes commands, too
    require(device.GetGenLink()->SetIntegerValue("AnswerTimeout", 200), "set AnswerTimeout");
    require(device.GetGenLink()->SetIntegerValue("CommandRetries", 10), "set CommandRetries");
    // a busy machine stops programs for seconds
    require(device.GetGenLink()->SetIntegerValue("HeartbeatTimeout", 10'000), "set HeartbeatTimeout");
    require(device.Connect(PvString(options.device)), "connect");
    set_up(options, device);
    PvGenParameterArray& features = *device.GetGenParameters();
    const std::unique_ptr<Pictures> pictures = options.verify ? std::make_unique<Pictures>(features) : nullptr;

    std::uint32_t address = 0;
    require(device.ReadRegister(bootstrap::current_ip, address), "read the address");
    Receiver receiver(options);
    receiver.open(Ipv4Address{address}.to_string());
    receiver.queue(integer_of(features, "PayloadSize"));
    const PvStream& stream = receiver.stream();
    require(device.SetStreamDestination(options.group.empty() ? stream.GetLocalIPAddress() : PvString(options.group),
                                        options.group.empty() ? stream.GetLocalPort() : options.port),
            "set the destination");
    require(features.ExecuteCommand("AcquisitionStart"), "AcquisitionStart");
    const Tally tally = receiver.receive(pictures.get());
    tell_statistics(receiver.stream());
    tally.tell_all();
    if (!device.IsConnected()) {
        PvString reason;
        require(device.GetGenLink()->GetString("LinkLossReason", reason), "read LinkLossReason");
        throw std::runtime_error("the link was lost: " + reason.str());
    }
    require(features.ExecuteCommand("AcquisitionStop"), "AcquisitionStop");
    require(device.ResetStreamDestination(), "reset the destination");
    require(device.Disconnect(), "disconnect");
    return tally.is_sound() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app{"stream_probe: receives a stream and judges every frame"};
    app.add_option("device", options.device, "as PvDevice::Connect takes it; to watch, its address")->required();
    app.add_option("--set", options.settings, "NAME=VALUE of the device");
    app.add_option("--stream-set", options.stream_settings, "NAME=VALUE of the stream");
    app.add_option("--register", options.registers, "hexadecimal ADDRESS=VALUE, written after the settings");
    app.add_option("--multicast", options.group, "group to have the frames sent to");
    app.add_option("--port", options.port, "of the group");
    app.add_option("--watch", options.watched_bytes, "only join the group; frames have so many bytes");
    app.add_option("--packet-size", options.packet_size, "bytes");
    app.add_option("--frames", options.frames, "how many");
    app.add_option("--seconds", options.seconds, "how long");
    app.add_option("--buffers", options.buffers, "to queue")->check(CLI::Range(1, 512));
    app.add_flag("--verify", options.verify, "compare every pixel with what the software camera sends");
    CLI11_PARSE(app, argc, argv);
    try {
        return options.watched_bytes != 0 ? watch(options) : stream_from(options);
    } catch (const std::exception& error) {
        tell("error", error.what());
        return 1;
    }
}
