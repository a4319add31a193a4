#include "sdk/serial/i2c_features.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/port_names.h"

namespace vex::serial {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/// Between two looks at a transfer that goes on: a byte takes 23 to 90 us.
constexpr milliseconds look_interval{1};

std::string hexadecimal(std::uint8_t byte)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(byte));
    return text;
}

/// Four times what the clocks take, for slaves that stretch them, and a second.
milliseconds transfer_time(std::size_t bytes, bool fast) noexcept
{
    constexpr std::uint64_t clocks_of_byte = 9;
    const std::uint64_t kilohertz = fast ? 400 : 100;
    return milliseconds(1000 + 4 * clocks_of_byte * (bytes + 4) / kilohertz);
}

const char* command_of(const I2cRequest& request) noexcept
{
    if (!request.offset) {
        return request.read ? "Receive" : "Transmit";
    }
    if (!request.read) {
        return "TransmitFromOffset";
    }
    return request.combined ? "ReceiveFromOffsetCombined" : "ReceiveFromOffset";
}

std::string prefix_of(const std::string& port_name) { return feature_prefix(port_name) + "I2C"; }

}  // namespace

bool I2cFeatures::are_in(const PvGenParameterArray& array, const std::string& port_name)
{
    if (port_name.empty()) {
        return false;
    }
    const std::string prefix = prefix_of(port_name);
    return array.GetRegister(PvString(prefix + "Data")) != nullptr &&
           array.GetCommand(PvString(prefix + "Execute")) != nullptr &&
           array.GetEnum(PvString(prefix + "Command")) != nullptr &&
           array.GetEnum(PvString(prefix + "Status")) != nullptr &&
           array.GetInteger(PvString(prefix + "Address")) != nullptr &&
           array.GetInteger(PvString(prefix + "Offset")) != nullptr &&
           array.GetInteger(PvString(prefix + "Length")) != nullptr &&
           array.GetInteger(PvString(prefix + "Count")) != nullptr &&
           array.GetEnum(PvString(prefix + "Speed")) != nullptr &&
           array.GetBoolean(PvString(prefix + "Stop")) != nullptr;
}

I2cFeatures::I2cFeatures(PvGenParameterArray& array, const std::string& port_name)
    : array_(array), prefix_(prefix_of(port_name))
{}

PvResult I2cFeatures::set(const char* name, std::int64_t value)
{
    return array_.SetIntegerValue(PvString(prefix_ + name), value);
}

PvResult I2cFeatures::choose(const char* name, const char* entry)
{
    return array_.SetEnumValue(PvString(prefix_ + name), PvString(entry));
}

PvResult I2cFeatures::prepare(const I2cRequest& request, std::span<const std::uint8_t> data)
{
    std::int64_t longest = 0;
    PvResult result = array_.GetRegister(PvString(prefix_ + "Data"))->GetLength(longest);
    if (result.IsOK() && static_cast<std::int64_t>(data.size()) > longest) {
        return failure(PvResult::InvalidParameter, "An I2C transfer of ", data.size(),
                       " bytes is longer than the device can do: ", longest);
    }
    const auto then = [&result](auto step) {
        if (result.IsOK()) {
            result = step();
        }
    };
    then([&] { return choose("Speed", request.fast ? "Fast" : "Standard"); });
    then([&] { return choose("Command", command_of(request)); });
    then([&] { return set("Address", request.address); });
    if (request.offset) {
        then([&] { return set("Offset", *request.offset); });
    }
    then([&] { return set("Length", static_cast<std::int64_t>(data.size())); });
    then([&] { return array_.SetBooleanValue(PvString(prefix_ + "Stop"), request.stop); });
    if (!request.read && !data.empty()) {
        std::vector<std::uint8_t> words(data.begin(), data.end());
        words.resize((data.size() + 3) / 4 * 4);
        words.resize(static_cast<std::size_t>(std::min(static_cast<std::int64_t>(words.size()), longest)));
        then([&] {
            return array_.GetRegister(PvString(prefix_ + "Data"))
                ->Set(words.data(), static_cast<std::int64_t>(words.size()));
        });
    }
    return result;
}

PvResult I2cFeatures::transfer(const I2cRequest& request, std::span<std::uint8_t> data, std::uint32_t& count)
{
    count = 0;
    PvResult result = prepare(request, data);
    if (result.IsOK()) {
        result = array_.ExecuteCommand(PvString(prefix_ + "Execute"));
    }
    if (!result.IsOK()) {
        return result;
    }
    std::string status;
    result = await_end(transfer_time(data.size(), request.fast), status);
    if (!result.IsOK()) {
        return result;
    }
    std::int64_t moved = 0;
    result = array_.GetIntegerValue(PvString(prefix_ + "Count"), moved);
    moved = std::clamp<std::int64_t>(moved, 0, static_cast<std::int64_t>(data.size()));
    if (result.IsOK() && request.read && moved != 0) {
        result = array_.GetRegister(PvString(prefix_ + "Data"))->Get(data.data(), moved);
    }
    if (!result.IsOK()) {
        return result;
    }
    count = static_cast<std::uint32_t>(moved);
    return outcome(request, status);
}

PvResult I2cFeatures::await_end(milliseconds time, std::string& status)
{
    const auto deadline = steady_clock::now() + time;
    for (;;) {
        PvString name;
        if (PvResult result = array_.GetEnumValue(PvString(prefix_ + "Status"), name); !result.IsOK()) {
            return result;
        }
        status = name.str();
        if (status != "Busy") {
            return PvResult::OK;
        }
        if (steady_clock::now() >= deadline) {
            (void)array_.ExecuteCommand(PvString(prefix_ + "Reset"));
            return failure(PvResult::Timeout, "The device has not ended the I2C transfer within ", time.count(), " ms");
        }
        std::this_thread::sleep_for(look_interval);
    }
}

PvResult I2cFeatures::outcome(const I2cRequest& request, const std::string& status) const
{
    if (status == "Done") {
        return PvResult::OK;
    }
    if (status == "NoAcknowledge") {
        return failure(PvResult::NotFound, "The I2C slave ", hexadecimal(request.address), " did not acknowledge");
    }
    if (status == "ArbitrationLost") {
        (void)array_.ExecuteCommand(PvString(prefix_ + "Reset"));
        return failure(PvResult::StateError, "The I2C bus was not free for a transfer with the slave ",
                       hexadecimal(request.address), "; it was cleared");
    }
    return failure(PvResult::GenericError, "The I2C transfer with the slave ", hexadecimal(request.address),
                   " ended as ", status);
}

}  // namespace vex::serial
