#include "sdk/serial/port_names.h"

#include <cstdint>

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

}  // namespace vex::serial
