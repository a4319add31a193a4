#include "sdk/serial/uart_link.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "sdk/wire/bytes.h"

namespace vex::serial {

using uart_blocks::receive_header;
using uart_blocks::transmit_header;

struct UartLink::Header {
    std::uint32_t position = 0;
    std::uint32_t count = 0;
    std::uint32_t overruns = 0;
};

PvResult UartLink::look(UartAccess& port, Header& header)
{
    received_.resize(port.receive_block_size());
    if (PvResult result = port.read_block(received_); !result.IsOK()) {
        return result;
    }
    header.position = wire::load_be32(received_.data());
    header.count = wire::load_be32(received_.data() + 4);
    header.overruns = wire::load_be32(received_.data() + 8);
    return PvResult::OK;
}

PvResult UartLink::begin(std::shared_ptr<UartAccess> access, bool anew)
{
    if (anew) {
        Header header;
        if (PvResult result = look(*access, header); !result.IsOK()) {
            return result;
        }
        next_.reset();
        first_overruns_ = header.overruns;
        overruns_ = 0;
    }
    const std::lock_guard lock(mutex_);
    access_ = std::move(access);
    room_ = 0;
    return PvResult::OK;
}

std::shared_ptr<UartAccess> UartLink::access() const
{
    const std::lock_guard lock(mutex_);
    return access_;
}

std::uint32_t UartLink::known(std::uint32_t position, std::uint32_t count)
{
    // positions go round at 2^32; one that does not fit is of a port that was flushed or began anew
    const std::uint32_t before = next_ ? *next_ - position : 0;
    return before <= count ? before : 0;
}

PvResult UartLink::receive(serial_port::ReceiveBuffer& buffer, bool& more)
{
    more = false;
    const auto port = access();
    const std::size_t room = buffer.wait_for_room(std::chrono::milliseconds(0));
    if (room == 0) {
        return PvResult::OK;
    }
    Header header;
    const std::uint64_t discards = discards_so_far();
    if (PvResult result = look(*port, header); !result.IsOK()) {
        return result;
    }
    overruns_ = header.overruns - first_overruns_;
    if (header.count == 0) {
        return PvResult::OK;
    }
    const auto bytes = std::span<const std::uint8_t>(received_).subspan(receive_header);
    const auto here = static_cast<std::uint32_t>(std::min<std::size_t>(header.count, bytes.size()));
    const std::uint32_t skipped = std::min(known(header.position, header.count), here);
    const auto fresh = bytes.first(here).subspan(skipped);
    const std::uint32_t taken = hand_on(fresh, buffer, discards);
    next_ = header.position + skipped + taken;
    if (PvResult result = port->take_until(*next_); !result.IsOK()) {
        return result;
    }
    more = header.count > skipped + taken && taken == fresh.size();
    return PvResult::OK;
}

std::uint64_t UartLink::discards_so_far() const
{
    const std::lock_guard lock(mutex_);
    return discards_;
}

std::uint32_t UartLink::hand_on(std::span<const std::uint8_t> bytes, serial_port::ReceiveBuffer& buffer,
                                std::uint64_t discards)
{
    const std::lock_guard lock(mutex_);
    return static_cast<std::uint32_t>(discards == discards_ ? buffer.offer(bytes) : bytes.size());
}

void UartLink::discard(serial_port::ReceiveBuffer& buffer)
{
    const std::lock_guard lock(mutex_);
    ++discards_;
    buffer.flush();
}

PvResult UartLink::transmit(std::span<const std::uint8_t> bytes, std::uint32_t& written)
{
    written = 0;
    const auto port = access();
    if (room_ == 0) {
        std::uint32_t room = 0;
        if (PvResult result = port->room(room); !result.IsOK()) {
            return result;
        }
        room_ = room;
    }
    const std::size_t most = std::min<std::size_t>(room_, port->transmit_block_size() - transmit_header);
    const auto count = static_cast<std::uint32_t>(std::min(most, bytes.size()));
    if (count == 0) {
        return PvResult::OK;
    }
    sent_.assign(transmit_header + (count + 3) / 4 * 4, 0);
    wire::store_be32(sent_.data(), count);
    std::copy_n(bytes.begin(), count, sent_.begin() + transmit_header);
    if (PvResult result = port->write_block(sent_); !result.IsOK()) {
        room_ = 0;
        return result;
    }
    room_ -= std::min<std::uint32_t>(count, room_);
    written = count;
    return PvResult::OK;
}

}  // namespace vex::serial
