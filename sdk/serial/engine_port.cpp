#include "sdk/serial/engine_port.h"

#include <algorithm>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/device/register_port.h"
#include "sdk/genicam/PvGenEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/port_names.h"

namespace vex::serial {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

/// Between two looks at a device that tells of what it receives, in case that got lost.
constexpr milliseconds told_interval{250};
/// At one that does not.
constexpr milliseconds polling_interval{10};
/// At one that is not there or does not answer.
constexpr milliseconds away_interval{100};
constexpr milliseconds thread_timeout{5000};

constexpr milliseconds first_room_pause{1};
constexpr milliseconds longest_room_pause{16};

/// How long a write may take: twice what the line needs, and a second.
milliseconds write_time(std::size_t bytes, std::uint32_t baud_rate) noexcept
{
    constexpr std::uint64_t most_bits = 12;  // start, 8 data bits, parity, 2 stop bits
    return milliseconds(1000 + 2 * 1000 * most_bits * bytes / baud_rate);
}

}  // namespace

/// Wakes the port's thread when the device tells of received bytes.
class EnginePort::Waker final : public PvGenEventSink {
public:
    explicit Waker(std::weak_ptr<EnginePort> port) : port_(std::move(port)) {}

    void OnParameterUpdate(PvGenParameter*) override
    {
        if (const auto port = port_.lock()) {
            port->wake();
        }
    }

private:
    const std::weak_ptr<EnginePort> port_;
};

EnginePort::EnginePort(const PvDevice& device, std::string port_name,
                       std::shared_ptr<serial_port::ReceiveBuffer> received)
    : device_(device), port_name_(std::move(port_name)), name_(port_name_), received_(std::move(received))
{}

PvResult EnginePort::open(const PvDevice& device, PvIPEngineSerial port,
                          std::shared_ptr<serial_port::ReceiveBuffer> received, std::shared_ptr<EnginePort>& opened)
{
    auto made = std::make_shared<EnginePort>(device, name_of(port), std::move(received));
    const PvResult result = made->begin(port);
    if (result.IsOK()) {
        opened = std::move(made);
    } else {
        made->close();
    }
    return result;
}

PvResult EnginePort::begin(PvIPEngineSerial port)
{
    const auto connection = device_.connection();
    if (!connection) {
        return not_connected();
    }
    name_ = port_name_ + " of " + connection->device().address.to_string();
    if (!UartFeatures::are_in(*device_.parameters(), port_name_)) {
        return failure(PvResult::NotSupported, "The device ", connection->device().address.to_string(),
                       " has no serial port ", port_name_);
    }
    if (PvResult result = connection->check_writable(); !result.IsOK()) {
        return result;
    }
    if (PvResult result = claim_.take(device_.identity(), port, "a serial port object", name_); !result.IsOK()) {
        return result;
    }
    mac_ = connection->facts().mac;
    serial_number_ = connection->facts().serial_number;
    if (PvResult result = attach(connection, false); !result.IsOK()) {
        return result;
    }
    up_ = true;
    try {
        auto worker = std::make_shared<control::Worker>(
            "pv-serial", [self = shared_from_this()](control::Worker::Signals& signals) { self->run(signals); });
        const std::lock_guard lock(mutex_);
        worker_ = std::move(worker);
    } catch (const std::system_error& error) {
        return failure(PvResult::GenericError, "The serial port ", name_, " has no thread: ", error.what());
    }
    return PvResult::OK;
}

PvResult EnginePort::attach(const std::shared_ptr<control::Connection>& connection, bool again)
{
    const device::OwnAccesses own;
    PvGenParameterArray* const array = device_.parameters();
    if (array == nullptr || !UartFeatures::are_in(*array, port_name_)) {
        return failure(PvResult::NotSupported, "The device has no serial port ", port_name_, " any more");
    }
    auto features = std::make_shared<UartFeatures>(*array, port_name_);
    if (PvResult result = features->prepare(); !result.IsOK()) {
        return result;
    }
    const bool anew = !again || !connection->kept_control();
    if (anew) {
        if (PvResult result = features->flush_receive(); !result.IsOK() && result.GetCode() != PvResult::NotSupported) {
            return result;
        }
    }
    if (PvResult result = link_.begin(features, anew); !result.IsOK()) {
        return result;
    }
    PvGenParameter* const announcement = features->announcement();
    tells_ = announcement != nullptr && features->notify(true).IsOK();
    listen(announcement);
    const std::lock_guard lock(mutex_);
    connection_ = connection;
    features_ = std::move(features);
    return PvResult::OK;
}

void EnginePort::listen(PvGenParameter* announcement)
{
    std::shared_ptr<Waker> waker;
    PvGenParameter* before = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (closing_ || announcement == announcement_) {
            return;
        }
        if (!waker_) {
            waker_ = std::make_shared<Waker>(weak_from_this());
        }
        waker = waker_;
        before = std::exchange(announcement_, announcement);
    }
    if (before != nullptr) {
        (void)before->UnregisterEventSink(waker.get());
    }
    if (announcement != nullptr) {
        (void)announcement->KeepEventSink(waker);
    }
}

void EnginePort::close() noexcept
{
    std::shared_ptr<control::Worker> worker;
    std::shared_ptr<Waker> waker;
    PvGenParameter* announcement = nullptr;
    std::shared_ptr<UartFeatures> features;
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
        worker.swap(worker_);
        waker.swap(waker_);
        features = features_;
        announcement = std::exchange(announcement_, nullptr);
    }
    closed_now_.notify_all();
    if (announcement != nullptr) {
        (void)announcement->UnregisterEventSink(waker.get());
    }
    // in a command link notification this thread may hold the lock that the port's thread waits for
    const bool in_notification = device::in_link_notification();
    if (worker) {
        worker->stop(in_notification ? milliseconds(0) : thread_timeout);
    }
    if (features && !in_notification && is_up()) {
        const device::OwnAccesses own;
        try {
            (void)features->notify(false);
        } catch (const std::bad_alloc&) {
            // then it tells nobody
        }
    }
    up_ = false;
    claim_.release();
}

bool EnginePort::is_up() const
{
    const auto now = device_.connection();
    const std::lock_guard lock(mutex_);
    // over a connection that this port does not use yet, bytes would be discarded when it does
    return up_ && now != nullptr && now == connection_.lock();
}

PvResult EnginePort::not_connected() const
{
    return failure(PvResult::NotConnected, "The serial port ", name_, ": the device is not connected");
}

PvResult EnginePort::closed() const { return failure(PvResult::Aborted, "The serial port ", name_, " was closed"); }

std::shared_ptr<UartFeatures> EnginePort::features() const
{
    const std::lock_guard lock(mutex_);
    return features_;
}

// ---- writing ----

PvResult EnginePort::write(std::span<const std::uint8_t> bytes, std::uint32_t& written)
{
    const device::OwnAccesses own;
    written = 0;
    if (!is_up()) {
        return not_connected();
    }
    std::optional<steady_clock::time_point> deadline;  ///< once the device has had no room
    milliseconds time{0};
    milliseconds pause = first_room_pause;
    for (;;) {
        std::uint32_t count = 0;
        const PvResult result = link_.transmit(bytes.subspan(written), count);
        written += count;
        if (!result.IsOK() || written == bytes.size()) {
            return result;
        }
        if (count != 0) {
            pause = first_room_pause;
        } else {
            if (!deadline) {
                time = write_time(bytes.size() - written, features()->baud_rate());
                deadline = steady_clock::now() + time;
            }
            if (!wait_for_room(pause)) {
                return closed();
            }
            pause = std::min(2 * pause, longest_room_pause);
        }
        if (deadline && steady_clock::now() >= *deadline) {
            return failure(PvResult::Timeout, "The serial port ", name_, " took ", written, " of ", bytes.size(),
                           " bytes, and not the rest within ", time.count(), " ms");
        }
        if (!is_up()) {
            return not_connected();
        }
    }
}

bool EnginePort::wait_for_room(milliseconds time)
{
    std::unique_lock lock(mutex_);
    return !closed_now_.wait_for(lock, time, [this] { return closing_; });
}

// ---- receiving ----

PvResult EnginePort::flush_receive()
{
    PvResult result;
    if (is_up()) {  // one that is away has nothing
        const device::OwnAccesses own;
        result = features()->flush_receive();
    }
    link_.discard(*received_);
    return result.GetCode() == PvResult::NotSupported ? PvResult(PvResult::OK) : result;
}

void EnginePort::on_read()
{
    if (full_.exchange(false)) {
        wake();
    }
}

void EnginePort::wake()
{
    std::shared_ptr<control::Worker> worker;
    {
        const std::lock_guard lock(mutex_);
        worker = worker_;
    }
    if (worker) {
        worker->wake();
    }
}

void EnginePort::run(control::Worker::Signals& signals)
{
    const device::OwnAccesses own;
    milliseconds wait{0};
    while (signals.pause(wait)) {
        const bool gone = device_.is_gone();
        try {
            wait = look();
        } catch (const std::bad_alloc&) {
            wait = away_interval;
        }
        if (gone && !up_) {
            return;  // it never comes back
        }
    }
}

milliseconds EnginePort::look()
{
    if (!follow_connection()) {
        return away_interval;
    }
    bool more = false;
    full_ = true;  // before the buffer is looked at: a read after that wakes this thread
    const PvResult result = link_.receive(*received_, more);
    if (received_->ready() < received_->size()) {
        full_ = false;
    }
    if (!result.IsOK()) {
        return away_interval;
    }
    if (more) {
        return milliseconds(0);
    }
    // a read that wants more than the buffer holds makes room while it waits, and says nothing of it
    return tells_ && !full_ ? told_interval : polling_interval;
}

bool EnginePort::follow_connection()
{
    const auto now = device_.connection();
    if (!now) {
        if (up_.exchange(false)) {
            received_->end(not_connected());
        }
        return false;
    }
    if (up_ && now == connection_.lock()) {
        return true;
    }
    up_ = false;
    if (now->facts().mac != mac_ || now->facts().serial_number != serial_number_) {
        received_->end(failure(PvResult::NotConnected, "The serial port ", name_, ": another device is connected"));
        return false;
    }
    if (!now->check_writable().IsOK() || !attach(now, true).IsOK()) {
        return false;
    }
    received_->resume();
    up_ = true;
    return true;
}

}  // namespace vex::serial
