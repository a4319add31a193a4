#include "sdk/bridge_manager/device_port.h"

#include <cstdint>
#include <optional>
#include <random>
#include <utility>

#include "sdk/base/address.h"
#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/bridge/PvSerialBridge.h"
#include "sdk/bridge/line_features.h"
#include "sdk/control/PvTypes.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/access.h"
#include "sdk/genicp/PvGenParameterArrayCL.h"
#include "sdk/genicp/device_id.h"
#include "sdk/net/pipe_name.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "sdk/serial/port_names.h"

namespace vex::bridge_manager {

namespace {

PvString name_of_its_own()
{
    std::random_device random;
    const std::uint64_t high = random();
    const std::uint64_t low = random();
    return PvString("pipe:bridge-" + to_hex_text((high << 32) | low).substr(2));
}

/// How a program on this computer reaches an endpoint; empty for none.
PvString way_to(const PvString& endpoint)
{
    auto name = net::PipeName::parse(endpoint.view());
    if (!name) {
        return {};
    }
    if (name->tcp && name->tcp->address == Ipv4Address()) {
        name->tcp->address = loopback_address;
    }
    return PvString(name->to_string());
}

class DevicePort final : public Port {
public:
    DevicePort(PvDevice& device, PvIPEngineSerial port)
        : device_(device), shared_(device), port_(port), name_(serial::name_of(port))
    {}

    [[nodiscard]] const std::string& name() const noexcept override { return name_; }

    [[nodiscard]] PvResult start(const Settings& settings) override
    {
        if (shared_.is_gone()) {
            return failure(PvResult::NotConnected, "The device of port ", name_, " has gone");
        }
        if (PvResult result = bridge_.SetHardCodedBaudRate(settings.hard_coded_baud_rate); !result.IsOK()) {
            return result;
        }
        if (!settings.serial_port.empty()) {
            return bridge_.Start(settings.serial_port, settings.line.value_or(PvSerialPortConfiguration()), &device_,
                                 port_);
        }
        if (PvResult result = set_line(settings.line ? settings.line : found_line()); !result.IsOK()) {
            return result;
        }
        return bridge_.Start(settings.endpoint.empty() ? name_of_its_own() : settings.endpoint, &device_, port_);
    }
    void stop() override { static_cast<void>(bridge_.Stop()); }

    [[nodiscard]] PvResult configure(const Settings& settings) override
    {
        const PvSerialPortConfiguration before = bridge_.GetSerialPortConfiguration();
        const bool sets_line = settings.line || !settings.serial_port.empty();
        if (sets_line) {
            if (PvResult result = set_line(settings.line.value_or(PvSerialPortConfiguration())); !result.IsOK()) {
                return result;
            }
        }
        PvResult result = bridge_.SetHardCodedBaudRate(settings.hard_coded_baud_rate);
        if (!result.IsOK() && sets_line) {
            static_cast<void>(bridge_.SetSerialPortConfiguration(before));
        }
        return result;
    }
    [[nodiscard]] PvResult recover() override { return bridge_.Recover(); }

    [[nodiscard]] PvResult make_parameters(const Settings& settings, std::unique_ptr<PvGenParameterArray>& made,
                                           PvString& made_name) override
    {
        auto array = std::make_unique<PvGenParameterArrayCL>();
        PvResult result = array->Connect(way_to(bridge_.GetName()), settings.device);
        if (result.IsOK()) {
            result = array->Build(settings.description);
        }
        if (!result.IsOK()) {
            return result;
        }
        connected_ = array->GetDeviceID();
        const auto id = genicp::parse_device_id(connected_.view());
        made_name = PvString(name_ + ": " + (id ? id->model : connected_.str()));
        made = std::move(array);
        return result;
    }
    [[nodiscard]] PvResult recover_parameters(PvGenParameterArray& made) override
    {
        return static_cast<PvGenParameterArrayCL&>(made).Connect(way_to(bridge_.GetName()), connected_);
    }
    void end_parameters(PvGenParameterArray& made) override
    {
        static_cast<void>(static_cast<PvGenParameterArrayCL&>(made).Disconnect());
    }

    [[nodiscard]] Facts facts() const override
    {
        return {.endpoint = bridge_.GetName(),
                .baud_rate = bridge_.GetBaudRate(),
                .received = bridge_.GetBytesReceivedFromDevice(),
                .sent = bridge_.GetBytesSentToDevice(),
                .dropped = bridge_.GetBytesDropped(),
                .is_up = shared_.connection() != nullptr};
    }
    void reset_statistics() override { bridge_.ResetStatistics(); }

private:
    [[nodiscard]] PvResult set_line(const std::optional<PvSerialPortConfiguration>& line)
    {
        if (!line) {
            return PvResult::OK;
        }
        PvResult result = bridge_.SetSerialPortConfiguration(*line);
        was_set_ = was_set_ || result.IsOK();
        return result;
    }
    /// What the device is set to, for a bridge that would otherwise set it as it was told at an earlier time.
    [[nodiscard]] std::optional<PvSerialPortConfiguration> found_line() const
    {
        PvSerialPortConfiguration line;
        PvGenParameterArray* const features = was_set_ ? shared_.parameters() : nullptr;
        const bool is_found =
            features != nullptr && bridge::LineFeatures(*features, name_).get(line).IsOK() && line.IsValid().IsOK();
        return is_found ? std::optional(line) : std::nullopt;
    }

    PvDevice& device_;  ///< while it is not gone
    const device::SharedDevice shared_;
    const PvIPEngineSerial port_;
    const std::string name_;
    PvSerialBridge bridge_;
    bool was_set_ = false;  ///< the bridge was told of a line
    PvString connected_;    ///< the camera that the last parameters are of
};

}  // namespace

std::vector<std::shared_ptr<Port>> ports_of(PvDevice& device)
{
    std::vector<std::shared_ptr<Port>> ports;
    for (std::int32_t number = PvIPEngineSerial0; number <= PvIPEngineSerialBulk7; ++number) {
        const auto port = static_cast<PvIPEngineSerial>(number);
        if (PvSerialPortIPEngine::IsSupported(&device, port)) {
            ports.push_back(std::make_shared<DevicePort>(device, port));
        }
    }
    return ports;
}

}  // namespace vex::bridge_manager
