#include "sdk/transmitterraw/PvTransmitterRaw.h"

#include <chrono>

#include "sdk/transmitterraw/transmitter_raw_impl.h"

using namespace vex;

PvTransmitterRaw::PvTransmitterRaw() : impl_(std::make_unique<Impl>()) {}
PvTransmitterRaw::~PvTransmitterRaw() = default;

PvResult PvTransmitterRaw::Open(const PvString& destination_address, std::uint16_t destination_port,
                                const PvString& source_address, std::uint16_t source_port, bool dont_fragment)
{
    return impl_->open(destination_address, destination_port, source_address, source_port, dont_fragment);
}
PvResult PvTransmitterRaw::Close() { return impl_->close(); }
bool PvTransmitterRaw::IsOpen() const { return impl_->is_open(); }

PvResult PvTransmitterRaw::LoadBufferPool(PvBuffer** buffers, std::uint32_t count)
{
    return impl_->load_pool(buffers, count);
}
PvResult PvTransmitterRaw::QueueBuffer(PvBuffer* buffer) { return impl_->queue(buffer); }
PvResult PvTransmitterRaw::RetrieveFreeBuffer(PvBuffer** buffer, std::uint32_t timeout)
{
    return impl_->retrieve(buffer, timeout);
}
PvResult PvTransmitterRaw::AbortQueuedBuffers(bool wait_for_current_block, std::uint32_t timeout)
{
    return impl_->abort_queued(wait_for_current_block, timeout);
}

PvResult PvTransmitterRaw::SetPacketSize(std::uint32_t size) { return impl_->set_packet_size(size); }
std::uint32_t PvTransmitterRaw::GetPacketSize() const { return impl_->packet_size(); }
PvResult PvTransmitterRaw::SetExtendedIDs(bool extended_ids)
{
    impl_->set_extended_ids(extended_ids);
    return PvResult::OK;
}
bool PvTransmitterRaw::GetExtendedIDs() const { return impl_->extended_ids(); }
PvResult PvTransmitterRaw::SetMaxPayloadThroughput(float megabits_per_second)
{
    return impl_->set_throughput(megabits_per_second);
}
float PvTransmitterRaw::GetMaxPayloadThroughput() const { return impl_->throughput(); }
PvResult PvTransmitterRaw::SetPacketTrains(PvPacketTrains trains) { return impl_->set_trains(trains); }
PvPacketTrains PvTransmitterRaw::GetPacketTrains() const { return impl_->trains(); }

PvString PvTransmitterRaw::GetDestinationIPAddress() const
{
    const Endpoint destination = impl_->destination();
    return destination.port == 0 ? PvString() : PvString(destination.address.to_string());
}
std::uint16_t PvTransmitterRaw::GetDestinationPort() const { return impl_->destination().port; }
PvString PvTransmitterRaw::GetSourceIPAddress() const
{
    const Endpoint source = impl_->source();
    return source.port == 0 ? PvString() : PvString(source.address.to_string());
}
std::uint16_t PvTransmitterRaw::GetSourcePort() const { return impl_->source().port; }

std::uint32_t PvTransmitterRaw::GetQueuedBufferCount() const { return impl_->queued_count(); }

std::uint32_t PvTransmitterRaw::GetBlocksTransmitted() const
{
    return static_cast<std::uint32_t>(impl_->meter().blocks());
}
std::uint64_t PvTransmitterRaw::GetPayloadBytesTransmitted() const { return impl_->meter().bytes(); }
std::uint64_t PvTransmitterRaw::GetSamplingTime() const
{
    const auto time = impl_->meter().sampling_time(net::Clock::steady().now());
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}
float PvTransmitterRaw::GetAveragePayloadThroughput() const
{
    return impl_->meter().average_megabits(net::Clock::steady().now());
}
float PvTransmitterRaw::GetInstantaneousPayloadThroughput() const { return impl_->meter().instantaneous_megabits(); }
float PvTransmitterRaw::GetAverageTransmissionRate() const
{
    return impl_->meter().average_rate(net::Clock::steady().now());
}
float PvTransmitterRaw::GetInstantaneousTransmissionRate() const { return impl_->meter().instantaneous_rate(); }
void PvTransmitterRaw::ResetStats() { impl_->reset_meter(); }
