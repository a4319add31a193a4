#include "tests/sdk/device/raw_description.h"

#include "tests/description/builders.h"

namespace device_test {

std::string raw_description(const RawFeatures& features)
{
    using namespace camera_xml;
    Names listed = {"Value", "Wide", "Text", "DeviceReset", "GevSCPSPacketSize"};
    listed.insert(listed.end(), features.listed.begin(), features.listed.end());
    return description(
        root(listed) + int_reg("Value", 0xA000, {.cachable = "NoCache", .byte_order = features.byte_order}) +
            int_reg("Wide", 0xB010, {.length = 8, .cachable = "NoCache"}) +
            string_reg("Text", 0xB100, {.length = 64, .cachable = "NoCache"}) +
            command("DeviceReset", {.value = "ResetReg", .command_value = 1}) + int_reg("ResetReg", 0xA008, "WO") +
            integer("GevSCPSPacketSize", {.value = "SizeReg", .min = 100, .max = 8100, .inc = 8}) +
            masked_int_reg("SizeReg", 0x0D04, {.lsb = 31, .msb = 16}) + features.more,
        {.schema_minor = features.schema_minor});
}

}  // namespace device_test
