#include "sdk/transmitterraw/stream_outlet.h"

#include <vector>

namespace vex::transmitter {

namespace {

struct Table {
    std::mutex mutex;
    std::vector<std::weak_ptr<StreamOutlet>> outlets;  // guarded by mutex
};

Table& table()
{
    static Table table;
    return table;
}

}  // namespace

std::shared_ptr<StreamOutlet> StreamOutlet::make()
{
    auto outlet = std::make_shared<StreamOutlet>();
    Table& all = table();
    const std::lock_guard guard(all.mutex);
    std::erase_if(all.outlets, [](const auto& entry) { return entry.expired(); });
    all.outlets.push_back(outlet);
    return outlet;
}

std::shared_ptr<StreamOutlet> StreamOutlet::find(const Endpoint& destination)
{
    if (destination.port == 0) {
        return nullptr;
    }
    Table& all = table();
    const std::lock_guard guard(all.mutex);
    for (const auto& entry : all.outlets) {
        auto outlet = entry.lock();
        if (outlet && outlet->settings().destination == destination) {
            return outlet;
        }
    }
    return nullptr;
}

void StreamOutlet::configure(const OutletSettings& settings)
{
    const std::lock_guard guard(mutex_);
    settings_ = settings;
}

OutletSettings StreamOutlet::settings() const
{
    const std::lock_guard guard(mutex_);
    return settings_;
}

std::optional<BlockFormat> StreamOutlet::format() const
{
    const std::lock_guard guard(mutex_);
    return format_;
}

std::uint16_t StreamOutlet::source_port() const
{
    const std::lock_guard guard(mutex_);
    return source_port_;
}

void StreamOutlet::resend(const wire::gvcp::PacketResend& range, bool extended_status)
{
    const std::lock_guard guard(source_mutex_);
    if (source_ != nullptr) {
        source_->resend(range, extended_status);
    }
}

void StreamOutlet::feed(BlockSource& source, std::uint16_t source_port, const BlockFormat& format)
{
    {
        const std::lock_guard guard(source_mutex_);
        source_ = &source;
    }
    const std::lock_guard guard(mutex_);
    source_port_ = source_port;
    format_ = format;
}

void StreamOutlet::leave(const BlockSource& source)
{
    {
        const std::lock_guard guard(source_mutex_);
        if (source_ != &source) {
            return;
        }
        source_ = nullptr;
    }
    const std::lock_guard guard(mutex_);
    source_port_ = 0;
}

}  // namespace vex::transmitter
