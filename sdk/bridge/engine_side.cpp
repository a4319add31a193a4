#include "sdk/bridge/engine_side.h"

#include <chrono>
#include <thread>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/bridge/line_features.h"
#include "sdk/device/PvDevice.h"
#include "sdk/serial/port_names.h"

namespace vex::bridge {

PvResult EngineSide::open(PvDevice* device, PvIPEngineSerial port, std::unique_ptr<CameraSide>& made)
{
    if (device == nullptr) {
        return failure(PvResult::InvalidParameter, "The device is null");
    }
    auto side = std::make_unique<EngineSide>(*device, port);
    PvResult result = side->port_.Open(device, port);
    if (result.IsOK()) {
        made = std::move(side);
    }
    return result;
}

EngineSide::EngineSide(const PvDevice& device, PvIPEngineSerial port)
    : device_(device), port_name_(serial::name_of(port))
{}

PvResult EngineSide::features(PvGenParameterArray*& array) const
{
    array = device_.connection() != nullptr ? device_.parameters() : nullptr;
    return array != nullptr ? PvResult(PvResult::OK)
                            : failure(PvResult::NotConnected, "The device of port ", port_name_, " is not connected");
}

PvResult EngineSide::line(PvSerialPortConfiguration& configuration)
{
    PvGenParameterArray* array = nullptr;
    PvResult result = features(array);
    return result.IsOK() ? LineFeatures(*array, port_name_).get(configuration) : result;
}

PvResult EngineSide::set_line(const PvSerialPortConfiguration& configuration)
{
    PvGenParameterArray* array = nullptr;
    PvResult result = features(array);
    return result.IsOK() ? LineFeatures(*array, port_name_).set(configuration) : result;
}

std::vector<std::uint32_t> EngineSide::baud_rates()
{
    PvGenParameterArray* array = nullptr;
    return features(array).IsOK() ? LineFeatures(*array, port_name_).baud_rates() : std::vector<std::uint32_t>();
}

PvResult EngineSide::recover()
{
    // the port looks every now and then whether its device is back
    constexpr std::chrono::milliseconds interval{10};
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!port_.IsOpened()) {
        PvGenParameterArray* array = nullptr;
        if (PvResult result = features(array); !result.IsOK()) {
            return result;
        }
        if (std::chrono::steady_clock::now() >= end) {
            return failure(PvResult::NotConnected, "The port ", port_name_,
                           " does not work on the device that is connected now");
        }
        std::this_thread::sleep_for(interval);
    }
    return PvResult::OK;
}

}  // namespace vex::bridge
