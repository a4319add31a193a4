#include "tests/sdk/control/raw_device.h"

#include <algorithm>
#include <cstdio>
#include <utility>

using namespace vex;

namespace device_test {

namespace {

constexpr std::uint32_t description_address = 0x10000;

std::uint32_t u32(const Bytes& bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(bytes[at]) << 24 | static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
}

void add32(Bytes& bytes, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

}  // namespace

RawDevice::RawDevice(RawCameraOptions options) : options_(std::move(options))
{
    const RawCameraOptions& o = options_;
    const std::uint32_t address = o.told_address != 0 ? o.told_address : o.address.value;
    registers_ = {
        {0x0000, o.version},
        {0x0004, o.mode},
        {0x0008, static_cast<std::uint32_t>(o.mac[0]) << 8 | o.mac[1]},
        {0x000C, u32(o.mac, 2)},
        {0x0010, 0x7},
        {0x0014, 0x4},
        {0x0024, address},
        {0x0034, o.mask},
        {0x0044, 0},
        {0x0900, 0},
        {0x0904, 1},
        {0x0934, o.capabilities},
        {0x0938, o.heartbeat_timeout},
        {0x0954, 0},
        {0x095C, 0},
        {0x0A00, 0},
        {0x0A04, 0},
        {0x0A14, 0},
        {0x0D00, 0},
        {0x0D04, 1500},
        {0x0D18, 0},
        {0x0D1C, 20000},
        {0xA000, 0x11223344},
        {0xA004, 0},
        {0xA008, 0},
    };
    for (std::uint32_t at = 0xB000; at < 0xB400; at += 4) {
        registers_[at] = at;
    }
    put(0x0048, "Raw Cameras", 32);
    put(0x0068, "Raw 1", 32);
    put(0x0088, "1.2.3", 32);
    put(0x00A8, "made for tests", 48);
    put(0x00D8, o.serial, 16);
    put(0x00E8, o.name, 16);
    std::string url = o.url;
    if (url.size() > 2 && url.ends_with(";0")) {
        char length[16];
        std::snprintf(length, sizeof length, "%X", static_cast<unsigned>(o.description.size()));
        url.replace(url.size() - 1, 1, length);
    }
    put(0x0200, url, 512);
    put(0x0400, o.second_url, 512);
    put(description_address, o.description, (o.description.size() + 3) / 4 * 4);
}

void RawDevice::put(std::uint32_t address, const std::string& text, std::size_t length)
{
    for (std::size_t i = 0; i < length; i += 4) {
        std::uint32_t word = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            word = word << 8 | (i + j < text.size() ? static_cast<std::uint8_t>(text[i + j]) : 0U);
        }
        registers_[address + static_cast<std::uint32_t>(i)] = word;
    }
}

void RawDevice::intercept(Intercept hook)
{
    const std::scoped_lock lock(mutex_);
    intercept_ = std::move(hook);
}

std::uint32_t RawDevice::reg(std::uint32_t address)
{
    const std::scoped_lock lock(mutex_);
    return registers_[address];
}

void RawDevice::set_reg(std::uint32_t address, std::uint32_t value)
{
    const std::scoped_lock lock(mutex_);
    registers_[address] = value;
}

void RawDevice::set_control(std::uint32_t privilege, Endpoint holder)
{
    const std::scoped_lock lock(mutex_);
    registers_[0x0A00] = privilege;
    registers_[0x0A04] = holder.port;
    registers_[0x0A14] = holder.address.value;
    holder_ = holder;
}

int RawDevice::count(std::uint16_t command)
{
    const std::scoped_lock lock(mutex_);
    return counts_[command];
}

std::string RawDevice::bytes_at(std::uint32_t address, std::size_t count)
{
    const std::scoped_lock lock(mutex_);
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += static_cast<char>(registers_[address + static_cast<std::uint32_t>(i / 4 * 4)] >> (24 - 8 * (i % 4)));
    }
    return text;
}

Bytes RawDevice::ack(const Bytes& request, std::uint16_t status, const Bytes& payload)
{
    const std::size_t length = payload.size();
    Bytes bytes = {static_cast<std::uint8_t>(status >> 8),
                   static_cast<std::uint8_t>(status),
                   request[2],
                   static_cast<std::uint8_t>(request[3] + 1),
                   static_cast<std::uint8_t>(length >> 8),
                   static_cast<std::uint8_t>(length),
                   request[6],
                   request[7]};
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

Bytes RawDevice::discovery_payload() const
{
    Bytes bytes;
    for (std::uint32_t at = 0; at < 0xF8; at += 4) {
        const auto it = registers_.find(at);
        add32(bytes, it != registers_.end() ? it->second : 0);
    }
    return bytes;
}

std::vector<Bytes> RawDevice::answers(const Bytes& request, const Endpoint& source)
{
    if (muted_ || request.size() < 8 || request[0] != 0x42) {
        return {};
    }
    Intercept hook;
    {
        const std::scoped_lock lock(mutex_);
        ++counts_[static_cast<std::uint16_t>(request[2] << 8 | request[3])];
        hook = intercept_;
    }
    if (hook) {
        if (auto instead = hook(request)) {
            return *std::move(instead);
        }
    }
    return answer(request, source);
}

bool RawDevice::may_write(const Endpoint& source, std::uint32_t address, std::uint32_t value,
                          std::uint16_t& status) const
{
    const std::uint32_t privilege = registers_.at(0x0A00);
    const bool held = (privilege & 3) != 0;
    const bool ours = held && source == holder_;
    const bool handed_over = (privilege & 4) != 0 && (value & 3) != 0 && value >> 16 == registers_.at(0x095C);
    if ((address == 0x0A00 && (!held || handed_over)) || ours) {
        return true;
    }
    status = 0x8006;
    return false;
}

bool RawDevice::write(std::uint32_t address, std::uint32_t value, const Endpoint& source, std::uint16_t& status)
{
    if (!may_write(source, address, value, status)) {
        return false;
    }
    if (!registers_.contains(address)) {
        status = 0x8003;
        return false;
    }
    if ((address < 0x0048 && address != 0x0014) || address == 0x0934) {
        status = 0x8004;
        return false;
    }
    if (address == 0x0D04) {
        const std::uint32_t size = std::min(value & 0xFFFF, options_.largest_accepted);
        registers_[address] = (value & 0x60000000) | size;
        if ((value & 0x80000000) != 0) {
            fire_test_packet(size);
        }
        return true;
    }
    registers_[address] = value;
    if (address == 0x0A00) {
        registers_[address] = value & 7;
        const bool held = (value & 3) != 0;
        holder_ = held ? source : Endpoint{};
        registers_[0x0A04] = holder_.port;
        registers_[0x0A14] = holder_.address.value;
    }
    return true;
}

void RawDevice::fire_test_packet(std::uint32_t size)
{
    if (size > options_.largest_on_wire || size < 36) {
        return;
    }
    const Bytes packet(size - 28);
    send_test_packet({{registers_[0x0D18]}, static_cast<std::uint16_t>(registers_[0x0D00])}, packet);
}

std::vector<Bytes> RawDevice::answer(const Bytes& request, const Endpoint& source)
{
    const std::scoped_lock lock(mutex_);
    switch (request[2] << 8 | request[3]) {
    case 0x0002: return {ack(request, 0, discovery_payload())};
    case 0x0080: return {read_registers(request, source)};
    case 0x0082: return {write_registers(request, source)};
    case 0x0084: return {read_memory(request, source)};
    case 0x0086: return {write_memory(request, source)};
    case 0x0004: return force_ip(request);
    default: return {ack(request, 0x8001, {})};
    }
}

bool RawDevice::denies(const Endpoint& source) { return (registers_[0x0A00] & 1) != 0 && source != holder_; }

Bytes RawDevice::read_registers(const Bytes& request, const Endpoint& source)
{
    Bytes values;
    for (std::size_t at = 8; at + 4 <= request.size(); at += 4) {
        const std::uint32_t address = u32(request, at);
        if (denies(source) && address >= 0x0A00) {
            return ack(request, 0x8006, {});
        }
        if (!registers_.contains(address)) {
            return ack(request, 0x8003, values);
        }
        add32(values, registers_[address]);
    }
    return ack(request, 0, values);
}

Bytes RawDevice::write_registers(const Bytes& request, const Endpoint& source)
{
    std::uint8_t done = 0;
    for (std::size_t at = 8; at + 8 <= request.size(); at += 8, ++done) {
        std::uint16_t status = 0;
        if (!write(u32(request, at), u32(request, at + 4), source, status)) {
            return ack(request, status, {0, 0, 0, done});
        }
    }
    return ack(request, 0, {0, 0, 0, done});
}

Bytes RawDevice::read_memory(const Bytes& request, const Endpoint& source)
{
    if (request.size() != 16) {
        return ack(request, 0x8002, {});
    }
    const std::uint32_t address = u32(request, 8);
    const std::uint32_t count = u32(request, 12);
    if (address % 4 != 0 || count % 4 != 0) {
        return ack(request, 0x8005, {});
    }
    if (denies(source)) {
        return ack(request, 0x8006, {});
    }
    if (count > 536) {
        return ack(request, 0x8002, {});
    }
    Bytes data(request.begin() + 8, request.begin() + 12);
    for (std::uint32_t at = address; at < address + count; at += 4) {
        if (!registers_.contains(at)) {
            return ack(request, 0x8003, {});
        }
        add32(data, registers_[at]);
    }
    return ack(request, 0, data);
}

Bytes RawDevice::write_memory(const Bytes& request, const Endpoint& source)
{
    const auto with_index = [&](std::uint16_t status, std::size_t index) {
        return ack(request, status, {0, 0, static_cast<std::uint8_t>(index >> 8), static_cast<std::uint8_t>(index)});
    };
    const std::uint32_t address = u32(request, 8);
    if (address % 4 != 0 || request.size() % 4 != 0) {
        return with_index(0x8005, 0);
    }
    for (std::size_t at = 12; at < request.size(); at += 4) {
        std::uint16_t status = 0;
        if (!write(address + static_cast<std::uint32_t>(at) - 12, u32(request, at), source, status)) {
            return with_index(status, at - 12);
        }
    }
    return with_index(0, request.size() - 12);
}

std::vector<Bytes> RawDevice::force_ip(const Bytes& request)
{
    if (request.size() != 8 + 56 || !std::equal(options_.mac.begin(), options_.mac.end(), request.begin() + 10)) {
        return {};
    }
    if ((registers_[0x0A00] & 3) != 0) {
        return {ack(request, 0x8006, {})};
    }
    registers_[0x0024] = u32(request, 8 + 20);
    registers_[0x0034] = u32(request, 8 + 36);
    registers_[0x0044] = u32(request, 8 + 52);
    return {ack(request, 0, {})};
}

}  // namespace device_test
