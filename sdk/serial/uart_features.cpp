#include "sdk/serial/uart_features.h"

#include <algorithm>

#include "sdk/base/failure.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/port_names.h"

namespace vex::serial {

namespace {

/// What goes in one message to a device: a larger block is used in its first bytes.
constexpr std::int64_t largest_block = 512;

PvResult usable_size(const PvGenRegister& block, std::size_t header, std::size_t& size)
{
    std::int64_t length = 0;
    if (PvResult result = block.GetLength(length); !result.IsOK()) {
        return result;
    }
    length = std::min(length, largest_block) / 4 * 4;
    if (length <= static_cast<std::int64_t>(header)) {
        PvString name;
        (void)block.GetName(name);
        return failure(PvResult::GenICamXMLError, "The feature ", name.str(), " is too short to carry bytes");
    }
    size = static_cast<std::size_t>(length);
    return PvResult::OK;
}

PvString feature(const std::string& port_name, const char* name) { return PvString(feature_prefix(port_name) + name); }

}  // namespace

bool UartFeatures::are_in(const PvGenParameterArray& array, const std::string& port_name)
{
    return !port_name.empty() && array.GetRegister(feature(port_name, "ReceiveBlock")) != nullptr &&
           array.GetRegister(feature(port_name, "TransmitBlock")) != nullptr &&
           array.GetInteger(feature(port_name, "ReceivePosition")) != nullptr &&
           array.GetInteger(feature(port_name, "TransmitRoom")) != nullptr;
}

UartFeatures::UartFeatures(PvGenParameterArray& array, const std::string& port_name)
    : array_(array), port_name_(port_name), prefix_(feature_prefix(port_name)),
      receive_(array.GetRegister(feature(port_name, "ReceiveBlock"))),
      transmit_(array.GetRegister(feature(port_name, "TransmitBlock")))
{}

PvResult UartFeatures::prepare()
{
    PvResult result = usable_size(*receive_, uart_blocks::receive_header, receive_size_);
    return result.IsOK() ? usable_size(*transmit_, uart_blocks::transmit_header, transmit_size_) : result;
}

PvResult UartFeatures::read_block(std::span<std::uint8_t> block)
{
    return receive_->Get(block.data(), static_cast<std::int64_t>(block.size()));
}

PvResult UartFeatures::take_until(std::uint32_t position)
{
    return array_.SetIntegerValue(feature(port_name_, "ReceivePosition"), position);
}

PvResult UartFeatures::room(std::uint32_t& bytes)
{
    std::int64_t room = 0;
    PvResult result = array_.GetIntegerValue(feature(port_name_, "TransmitRoom"), room);
    bytes = static_cast<std::uint32_t>(std::clamp<std::int64_t>(room, 0, 0x7FFFFFFF));
    return result;
}

PvResult UartFeatures::write_block(std::span<const std::uint8_t> block)
{
    return transmit_->Set(block.data(), static_cast<std::int64_t>(block.size()));
}

PvResult UartFeatures::flush_receive()
{
    const PvString name = feature(port_name_, "ReceiveFlush");
    return array_.GetCommand(name) != nullptr ? array_.ExecuteCommand(name) : PvResult(PvResult::NotSupported);
}

PvResult UartFeatures::notify(bool on)
{
    const PvString name = feature(port_name_, "ReceiveNotification");
    return array_.GetBoolean(name) != nullptr ? array_.SetBooleanValue(name, on) : PvResult(PvResult::NotSupported);
}

PvGenParameter* UartFeatures::announcement() const { return array_.Get(PvString("Event" + prefix_ + "Received")); }

std::uint32_t UartFeatures::baud_rate() const
{
    constexpr std::uint32_t usual = 9600;
    std::int64_t rate = 0;
    const PvString name = feature(port_name_, "BaudRate");
    if (array_.GetInteger(name) == nullptr || !array_.GetIntegerValue(name, rate).IsOK() || rate < 1) {
        return usual;
    }
    return static_cast<std::uint32_t>(std::min<std::int64_t>(rate, 0x7FFFFFFF));
}

}  // namespace vex::serial
