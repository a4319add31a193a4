#include "sdk/serial/port_names.h"

#include <cstdint>

#include "sdk/base/failure.h"

namespace vex::serial {

std::string name_of(PvIPEngineSerial port)
{
    const auto number = static_cast<std::int32_t>(port);
    if (number < PvIPEngineSerial0 || number > PvIPEngineSerialBulk7) {
        return {};
    }
    return number < PvIPEngineSerialBulk0 ? "Serial" + std::to_string(number)
                                          : "Bulk" + std::to_string(number - PvIPEngineSerialBulk0);
}

PvResult check_opening(const PvDevice* device, PvIPEngineSerial port)
{
    if (device == nullptr) {
        return failure(PvResult::InvalidParameter, "The device is null");
    }
    if (name_of(port).empty()) {
        return failure(PvResult::InvalidParameter, "There is no port ", static_cast<std::int32_t>(port),
                       ": ports are Serial0 (0), Serial1 (1) and Bulk0 (2) to Bulk7 (9)");
    }
    return PvResult::OK;
}

}  // namespace vex::serial
