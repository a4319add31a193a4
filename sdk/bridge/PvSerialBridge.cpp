#include "sdk/bridge/PvSerialBridge.h"

#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/bridge/bridge.h"
#include "sdk/bridge/engine_side.h"
#include "sdk/bridge/line_side.h"
#include "sdk/bridge/pipe_side.h"

using namespace vex;
using bridge::CameraSide;
using bridge::HostSide;

class PvSerialBridge::Impl {
public:
    struct Names {
        PvString endpoint;
        PvString line;
        PvIPEngineSerial port = PvIPEngineSerialInvalid;
    };

    PvResult start(const PvString& name, const std::optional<PvSerialPortConfiguration>& configuration,
                   PvDevice* device, PvIPEngineSerial port)
    {
        try {
            Names started{configuration ? PvString() : name, configuration ? name : PvString(), port};
            PvResult result = joined.start(
                [&](std::unique_ptr<HostSide>& made) {
                    return configuration ? bridge::LineSide::open(name, *configuration, made)
                                         : bridge::PipeSide::open(name, made, started.endpoint);
                },
                [&](std::unique_ptr<CameraSide>& made) { return bridge::EngineSide::open(device, port, made); },
                configuration);
            if (result.IsOK()) {
                const std::lock_guard lock(mutex);
                names = std::move(started);
            }
            return result;
        } catch (const std::bad_alloc&) {
            return PvResult::NotEnoughMemory;
        }
    }
    [[nodiscard]] Names last() const
    {
        const std::lock_guard lock(mutex);
        return names;
    }

    bridge::Bridge joined;

private:
    mutable std::mutex mutex;
    Names names;
};

PvSerialBridge::PvSerialBridge() : impl_(std::make_unique<Impl>()) {}

PvSerialBridge::~PvSerialBridge() = default;

PvResult PvSerialBridge::Start(const PvString& aName, PvDevice* aDevice, PvIPEngineSerial aDevicePort)
{
    return impl_->start(aName, std::nullopt, aDevice, aDevicePort);
}

PvResult PvSerialBridge::Start(const PvString& aSerialPort, PvSerialPortConfiguration aConfiguration, PvDevice* aDevice,
                               PvIPEngineSerial aDevicePort)
{
    return impl_->start(aSerialPort, aConfiguration, aDevice, aDevicePort);
}

PvResult PvSerialBridge::Stop() { return impl_->joined.stop(); }
PvResult PvSerialBridge::Recover() { return impl_->joined.recover(); }

PvString PvSerialBridge::GetName() const { return impl_->last().endpoint; }
PvString PvSerialBridge::GetSerialPort() const { return impl_->last().line; }
PvIPEngineSerial PvSerialBridge::GetDevicePort() const { return impl_->last().port; }

std::uint32_t PvSerialBridge::GetBaudRate() const { return impl_->joined.baud_rate(); }
PvSerialPortConfiguration PvSerialBridge::GetSerialPortConfiguration() const { return impl_->joined.configuration(); }
PvResult PvSerialBridge::SetSerialPortConfiguration(PvSerialPortConfiguration aConfiguration)
{
    return impl_->joined.configure(aConfiguration);
}
std::uint32_t PvSerialBridge::GetHardCodedBaudRate() const { return impl_->joined.hard_coded_baud_rate(); }
PvResult PvSerialBridge::SetHardCodedBaudRate(std::uint32_t aBaudRate)
{
    return impl_->joined.set_hard_coded_baud_rate(aBaudRate);
}

std::uint32_t PvSerialBridge::GetSupportedBaudRateCount() const
{
    return static_cast<std::uint32_t>(impl_->joined.supported_baud_rates().size());
}
std::uint32_t PvSerialBridge::GetSupportedBaudRate(std::uint32_t aIndex) const
{
    const std::vector<std::uint32_t> rates = impl_->joined.supported_baud_rates();
    return aIndex < rates.size() ? rates[aIndex] : 0;
}

std::uint64_t PvSerialBridge::GetBytesReceivedFromDevice() const { return impl_->joined.received_from_device(); }
std::uint64_t PvSerialBridge::GetBytesSentToDevice() const { return impl_->joined.sent_to_device(); }
std::uint64_t PvSerialBridge::GetBytesDropped() const { return impl_->joined.dropped(); }
void PvSerialBridge::ResetStatistics() { impl_->joined.reset_statistics(); }
