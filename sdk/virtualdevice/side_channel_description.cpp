#include "sdk/virtualdevice/side_channel_description.h"

#include <cstdio>
#include <span>
#include <vector>

#include "sdk/virtualdevice/i2c_registers.h"
#include "sdk/virtualdevice/uart_registers.h"

namespace vex::virtual_device {

namespace {

/// A feature and its register, of 4 bytes unless it is a block.
struct Feature {
    enum class Kind { integer, enumeration, boolean, command, block };

    std::string_view name;
    Kind kind;
    std::uint32_t offset;
    std::string_view access;
    std::string_view more = {};  ///< elements of its own
    std::size_t length = 4;
};
using Kind = Feature::Kind;

constexpr std::string_view settable_rates =
    "<Min>1200</Min><Max>921600</Max>"
    "<ValidValueSet>1200;2400;4800;9600;19200;38400;57600;115200;230400;460800;921600</ValidValueSet><Unit>Bd</Unit>";
constexpr std::string_view parities = "<EnumEntry Name=\"None\"><Value>0</Value></EnumEntry>"
                                      "<EnumEntry Name=\"Even\"><Value>1</Value></EnumEntry>"
                                      "<EnumEntry Name=\"Odd\"><Value>2</Value></EnumEntry>";
constexpr std::string_view speeds = "<EnumEntry Name=\"Standard\"><Value>0</Value></EnumEntry>"
                                    "<EnumEntry Name=\"Fast\"><Value>1</Value></EnumEntry>";
constexpr std::string_view commands = "<EnumEntry Name=\"Transmit\"><Value>0</Value></EnumEntry>"
                                      "<EnumEntry Name=\"Receive\"><Value>1</Value></EnumEntry>"
                                      "<EnumEntry Name=\"TransmitFromOffset\"><Value>2</Value></EnumEntry>"
                                      "<EnumEntry Name=\"ReceiveFromOffset\"><Value>3</Value></EnumEntry>"
                                      "<EnumEntry Name=\"ReceiveFromOffsetCombined\"><Value>4</Value></EnumEntry>";
constexpr std::string_view states = "<EnumEntry Name=\"Idle\"><Value>0</Value></EnumEntry>"
                                    "<EnumEntry Name=\"Busy\"><Value>1</Value></EnumEntry>"
                                    "<EnumEntry Name=\"Done\"><Value>2</Value></EnumEntry>"
                                    "<EnumEntry Name=\"NoAcknowledge\"><Value>3</Value></EnumEntry>"
                                    "<EnumEntry Name=\"ArbitrationLost\"><Value>4</Value></EnumEntry>";

constexpr Feature uart_features[] = {
    {"BaudRate", Kind::integer, uart_block::baud_rate, "RW", settable_rates},
    {"Parity", Kind::enumeration, uart_block::parity, "RW", parities},
    {"ByteSize", Kind::integer, uart_block::byte_size, "RW", "<Min>5</Min><Max>8</Max>"},
    {"StopBits", Kind::integer, uart_block::stop_bits, "RW", "<Min>1</Min><Max>2</Max>"},
    {"ReceiveCount", Kind::integer, uart_block::receive_count, "RO"},
    {"ReceivePosition", Kind::integer, uart_block::receive_position, "RW"},
    {"ReceiveOverruns", Kind::integer, uart_block::receive_overruns, "RO"},
    {"TransmitRoom", Kind::integer, uart_block::transmit_room, "RO"},
    {"ReceiveFlush", Kind::command, uart_block::receive_flush, "WO"},
    {"TransmitFlush", Kind::command, uart_block::transmit_flush, "WO"},
    {"ReceiveBlock", Kind::block, uart_block::receive_block, "RO", {}, uart_block::block_size},
    {"TransmitBlock", Kind::block, uart_block::transmit_block, "WO", {}, uart_block::block_size},
};

constexpr Feature i2c_features[] = {
    {"I2CAddress", Kind::integer, i2c_block::address, "RW", "<Min>0</Min><Max>255</Max>"},
    {"I2CSpeed", Kind::enumeration, i2c_block::speed, "RW", speeds},
    {"I2CCommand", Kind::enumeration, i2c_block::command, "RW", commands},
    {"I2COffset", Kind::integer, i2c_block::offset, "RW", "<Min>0</Min><Max>255</Max>"},
    {"I2CLength", Kind::integer, i2c_block::length, "RW", "<Min>0</Min><Max>1024</Max>"},
    {"I2CStop", Kind::boolean, i2c_block::stop, "RW"},
    {"I2CExecute", Kind::command, i2c_block::execute, "WO"},
    {"I2CStatus", Kind::enumeration, i2c_block::status, "RO", states},
    {"I2CCount", Kind::integer, i2c_block::count, "RO"},
    {"I2CReset", Kind::command, i2c_block::reset, "WO"},
    {"I2CData", Kind::block, i2c_block::data, "RW", {}, i2c_block::data_size},
};
static_assert(i2c_block::data_size == 1024);  // what I2CLength says

std::string hexadecimal(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
    return text;
}

std::string_view element_of(Kind kind)
{
    switch (kind) {
    case Kind::integer: return "Integer";
    case Kind::enumeration: return "Enumeration";
    case Kind::boolean: return "Boolean";
    case Kind::command: return "Command";
    case Kind::block: return "Register";
    }
    return "Node";
}

std::string place(const Feature& feature, std::uint32_t base)
{
    return "<Address>" + hexadecimal(base + feature.offset) + "</Address><Length>" + std::to_string(feature.length) +
           "</Length><AccessMode>" + std::string(feature.access) +
           "</AccessMode><pPort>Device</pPort><Cachable>NoCache</Cachable>";
}

std::string opening(std::string_view element, const std::string& name)
{
    return "  <" + std::string(element) + " Name=\"" + name + "\" NameSpace=\"Custom\">\n    ";
}

std::string closing(std::string_view element) { return "\n  </" + std::string(element) + ">\n"; }

std::string nodes_of(const Feature& feature, const std::string& name, std::uint32_t base)
{
    const std::string_view element = element_of(feature.kind);
    std::string text = opening(element, name) + "<Visibility>Guru</Visibility>";
    if (feature.kind == Kind::block) {
        return text + place(feature, base) + closing(element);
    }
    const std::string value = "<pValue>" + name + "Reg</pValue>";
    switch (feature.kind) {
    case Kind::command: text += value + "<CommandValue>1</CommandValue>"; break;
    case Kind::boolean: text += value + "<OnValue>1</OnValue><OffValue>0</OffValue>"; break;
    case Kind::enumeration: text += std::string(feature.more) + value; break;
    default: text += value + std::string(feature.more); break;
    }
    return text + closing(element) + opening("IntReg", name + "Reg") + place(feature, base) +
           "<Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>" + closing("IntReg");
}

std::string nodes_of(std::span<const Feature> features, std::string_view port_name, std::uint32_t base)
{
    const std::string prefix = "IPEngine" + std::string(port_name);
    std::string text = opening("Category", prefix) + "<Visibility>Guru</Visibility>";
    for (const Feature& feature : features) {
        text += "<pFeature>" + prefix + std::string(feature.name) + "</pFeature>";
    }
    text += closing("Category");
    for (const Feature& feature : features) {
        text += nodes_of(feature, prefix + std::string(feature.name), base);
    }
    return text;
}

}  // namespace

std::string uart_nodes(std::string_view port_name, std::uint32_t base)
{
    return nodes_of(uart_features, port_name, base);
}

std::string i2c_nodes(std::string_view port_name, std::uint32_t base)
{
    return nodes_of(i2c_features, port_name, base);
}

}  // namespace vex::virtual_device
