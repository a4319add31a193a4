#include "sdk/peripherals/uart.h"

#include <algorithm>
#include <utility>

namespace vex::peripherals {

namespace {

/// A far end that is not listened to keeps this much of what it has to say; a line that is held is held from there on.
constexpr std::size_t most_incoming = 65'536;
/// Characters that go to the far end in one step where they take no time.
constexpr std::size_t most_at_once = 256;

}  // namespace

std::chrono::nanoseconds UartSettings::character_time() const noexcept
{
    const std::uint64_t bits = 1 + byte_size + (parity != 0 ? 1 : 0) + stop_bits;
    return std::chrono::nanoseconds(bits * 1'000'000'000 / std::max<std::uint32_t>(baud_rate, 1));
}

Uart::Uart(const UartModel& model, std::unique_ptr<SerialDevice> far_end, const net::Clock& clock)
    : model_(model), far_end_(std::move(far_end)), clock_(clock), random_(faults_.seed)
{}

void Uart::set_faults(const UartFaults& faults)
{
    faults_ = faults;
    random_.seed(faults.seed);
}

void Uart::power_on()
{
    outgoing_.clear();
    incoming_.clear();
    received_.clear();
    position_ = 0;
    overruns_ = 0;
    random_.seed(faults_.seed);
    far_end_->power_on();
}

std::chrono::nanoseconds Uart::character_time() const noexcept
{
    return model_.real_rate ? settings_.character_time() : std::chrono::nanoseconds::zero();
}

bool Uart::leaves(net::Clock::time_point now) const
{
    return !outgoing_.empty() && leaves_at_ <= now && !(model_.flow_control && incoming_.size() >= most_incoming);
}

bool Uart::arrives(net::Clock::time_point now) const
{
    return !incoming_.empty() && arrives_at_ <= now &&
           !(model_.flow_control && received_.size() >= model_.receive_size);
}

void Uart::update()
{
    if (!model_.real_rate) {
        move_at_once();
        return;
    }
    const net::Clock::time_point now = clock_.now();
    for (;;) {
        const bool in = arrives(now);
        const bool out = leaves(now);
        if (in && (!out || arrives_at_ <= leaves_at_)) {
            arrive();
        } else if (out) {
            leave();
        } else {
            return;
        }
    }
}

void Uart::move_at_once()
{
    while (arrive_at_once() + leave_at_once() != 0) {
    }
}

std::size_t Uart::arrive_at_once()
{
    std::size_t count = incoming_.size();
    if (model_.flow_control) {
        count = std::min(count, model_.receive_size - received_.size());
    }
    if (faults_.lost != 0 || faults_.overruns != 0 || !model_.flow_control) {
        for (std::size_t n = 0; n < count; ++n) {
            arrive();
        }
        return count;
    }
    const auto end = incoming_.begin() + static_cast<std::ptrdiff_t>(count);
    received_.insert(received_.end(), incoming_.begin(), end);
    incoming_.erase(incoming_.begin(), end);
    return count;
}

std::size_t Uart::leave_at_once()
{
    std::size_t count = std::min(outgoing_.size(), most_at_once);
    if (model_.flow_control) {
        count = std::min(count, most_incoming - std::min(most_incoming, incoming_.size()));
    }
    const auto end = outgoing_.begin() + static_cast<std::ptrdiff_t>(count);
    left_.assign(outgoing_.begin(), end);
    said_.clear();
    far_end_->receive(left_, said_);
    outgoing_.erase(outgoing_.begin(), end);
    hear();
    return count;
}

void Uart::leave()
{
    const net::Clock::time_point at = leaves_at_;
    const std::uint8_t byte = outgoing_.front();
    outgoing_.pop_front();
    leaves_at_ = at + character_time();
    said_.clear();
    far_end_->receive(std::span(&byte, 1), said_);
    if (said_.empty()) {
        return;
    }
    if (incoming_.empty()) {
        arrives_at_ = at + character_time();
    }
    hear();
}

void Uart::hear()
{
    const std::size_t room = most_incoming - std::min(most_incoming, incoming_.size());
    const std::size_t kept = std::min(said_.size(), room);
    incoming_.insert(incoming_.end(), said_.begin(), said_.begin() + static_cast<std::ptrdiff_t>(kept));
}

void Uart::arrive()
{
    const std::uint8_t byte = incoming_.front();
    incoming_.pop_front();
    arrives_at_ += character_time();
    if (happens(faults_.lost)) {
        return;
    }
    if (happens(faults_.overruns) || received_.size() >= model_.receive_size) {
        ++overruns_;
        return;
    }
    received_.push_back(byte);
}

std::optional<net::Clock::time_point> Uart::next() const
{
    std::optional<net::Clock::time_point> soonest;
    if (leaves(net::Clock::time_point::max())) {
        soonest = leaves_at_;
    }
    if (arrives(net::Clock::time_point::max()) && (!soonest || arrives_at_ < *soonest)) {
        soonest = arrives_at_;
    }
    return soonest;
}

std::size_t Uart::transmit(std::span<const std::uint8_t> bytes)
{
    update();
    const std::size_t taken = std::min(bytes.size(), room());
    if (outgoing_.empty()) {
        leaves_at_ = clock_.now() + character_time();
    }
    outgoing_.insert(outgoing_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
    update();
    return taken;
}

std::size_t Uart::peek(std::span<std::uint8_t> out) const
{
    const std::size_t count = std::min(out.size(), received_.size());
    std::copy_n(received_.begin(), count, out.begin());
    return count;
}

bool Uart::take_until(std::uint32_t position)
{
    const std::uint32_t count = position - position_;
    if (count > received_.size()) {
        return false;
    }
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(count));
    position_ = position;
    update();  // a line that was held goes on
    return true;
}

void Uart::flush_receive()
{
    if (!model_.real_rate) {
        incoming_.clear();  // without a rate nothing is on its way: it was only held back
    }
    (void)take_until(position_ + static_cast<std::uint32_t>(received_.size()));
}

}  // namespace vex::peripherals
