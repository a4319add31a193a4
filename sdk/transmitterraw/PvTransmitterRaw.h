// PvTransmitterRaw: sends the caller's buffers as GVSP blocks to a receiver, the opposite direction of a stream.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

class PvBuffer;

/// When packets leave in trains, which the system or its network device cuts apart. A receiver sees no difference, and
/// sending costs a fraction.
enum PvPacketTrains : std::int32_t {
    /// Where the system can cut them and a network device lies behind the interface; not over loopback and virtual
    /// cables, which leave the cutting to the receiver, so that who captures there or uses a packet socket sees one
    /// long
    /// datagram.
    PvPacketTrainsAutomatic = 0,
    PvPacketTrainsAlways = 1,  ///< wherever the system can cut them
    PvPacketTrainsNever = 2,
};

/// Sends filled buffers to one destination, in the order they were queued, from a thread of its own.
///
/// The caller loads a pool of its own buffers, takes free ones with RetrieveFreeBuffer, fills and queues them; a buffer
/// that has been sent (or aborted) is free again. A buffer that was never part of the pool may be queued too and joins
/// it. Buffers stay the caller's and must live as long as they are in the pool; one that is destroyed while it is
/// queued leaves queue and pool first. While a buffer is queued it is held (see PvBuffer) and must not be changed.
///
/// Block IDs start at 1 with every Open and count up by one for every buffer sent. They have 16 bits, and wrap from
/// 65535 to 1, unless extended IDs are asked for, which have 64 bits and longer packet headers. The timestamp in the
/// leader is the buffer's own, or the time since Open in microseconds when that is 0.
///
/// When the destination is that of a PvVirtualDevice's stream channel in this process, the transmitter sends as that
/// device: packet size, the packets' distance, the form of IDs and fragmentation are what the channel's receiver asked
/// for, whatever was set here, the last blocks are kept as copies and their packets sent again on request, and the
/// device's features tell what is sent. For another destination nothing of this happens.
///
/// Thread safety: all members may be called from any thread, but Open, Close and LoadBufferPool from one at a time.
class PvTransmitterRaw {
public:
    PvTransmitterRaw();
    PvTransmitterRaw(const PvTransmitterRaw&) = delete;
    PvTransmitterRaw& operator=(const PvTransmitterRaw&) = delete;
    /// Closes.
    ~PvTransmitterRaw();

    /// Opens towards a destination, unicast or multicast. An empty source address lets the system choose, source port 0
    /// too. `dont_fragment` makes packets above the path's MTU fail instead of being fragmented.
    ///
    /// InvalidParameter for an address that is none or a destination port of 0, StateError when it is open,
    /// NetworkError when the source cannot be bound.
    PvResult Open(const PvString& destination_address, std::uint16_t destination_port,
                  const PvString& source_address = PvString(), std::uint16_t source_port = 0,
                  bool dont_fragment = false);
    /// Stops sending at once, even within a block, and makes all queued buffers free. OK also when it is not open.
    PvResult Close();
    [[nodiscard]] bool IsOpen() const;

    /// Makes these buffers the pool, all of them free; an earlier pool is forgotten. No list or a count of 0 empties
    /// the pool. StateError while buffers of the earlier pool are queued, InvalidParameter for a null buffer or one
    /// given twice.
    PvResult LoadBufferPool(PvBuffer** buffers, std::uint32_t count);
    /// Queues a filled buffer of payload type image or raw data for sending. StateError when not open or when the
    /// buffer is queued already, here or in a stream; InvalidParameter for null, no data or another payload type.
    PvResult QueueBuffer(PvBuffer* buffer);
    /// Takes a buffer that is free, waiting up to `timeout` milliseconds for one (0xFFFFFFFF: without end). `buffer` is
    /// null unless the result is OK: Timeout when none became free, Aborted when the transmitter was closed meanwhile,
    /// NoAvailableData when there is no pool.
    PvResult RetrieveFreeBuffer(PvBuffer** buffer, std::uint32_t timeout = 0xFFFFFFFF);
    /// Makes all queued buffers free without sending them. The block being sent is finished when
    /// `wait_for_current_block`, else cut off. Timeout when it was not over within `timeout` milliseconds; it is then
    /// cut off.
    PvResult AbortQueuedBuffers(bool wait_for_current_block = true, std::uint32_t timeout = 0xFFFFFFFF);

    /// IP and UDP headers included, bytes; 576 to 65000, default 1440. Takes effect with the next block.
    PvResult SetPacketSize(std::uint32_t size);
    [[nodiscard]] std::uint32_t GetPacketSize() const;
    /// Whether block IDs are extended ones; false by default. Takes effect with the next block.
    PvResult SetExtendedIDs(bool extended_ids);
    [[nodiscard]] bool GetExtendedIDs() const;
    /// Upper bound on payload in Mbit/s (10^6 bits); 0, the default, for none. InvalidParameter when negative or not a
    /// number.
    PvResult SetMaxPayloadThroughput(float megabits_per_second);
    [[nodiscard]] float GetMaxPayloadThroughput() const;

    /// Automatic by default. Trains never make packets leave closer together than the throughput or the receiver's
    /// distance of packets allow. Takes effect with the next block. InvalidParameter for another value.
    PvResult SetPacketTrains(PvPacketTrains trains);
    [[nodiscard]] PvPacketTrains GetPacketTrains() const;

    /// The destination as opened; empty and 0 while closed.
    [[nodiscard]] PvString GetDestinationIPAddress() const;
    [[nodiscard]] std::uint16_t GetDestinationPort() const;
    /// The source as bound; empty and 0 while closed.
    [[nodiscard]] PvString GetSourceIPAddress() const;
    [[nodiscard]] std::uint16_t GetSourcePort() const;

    /// Buffers queued, the one being sent included.
    [[nodiscard]] std::uint32_t GetQueuedBufferCount() const;

    // Statistics since Open or ResetStats, kept after Close. Averages run over the sampling time; instantaneous values
    // over the last two blocks; both are 0 until there is something to divide.
    [[nodiscard]] std::uint32_t GetBlocksTransmitted() const;
    [[nodiscard]] std::uint64_t GetPayloadBytesTransmitted() const;
    /// Milliseconds.
    [[nodiscard]] std::uint64_t GetSamplingTime() const;
    /// Mbit/s.
    [[nodiscard]] float GetAveragePayloadThroughput() const;
    [[nodiscard]] float GetInstantaneousPayloadThroughput() const;
    /// Blocks per second.
    [[nodiscard]] float GetAverageTransmissionRate() const;
    [[nodiscard]] float GetInstantaneousTransmissionRate() const;
    void ResetStats();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
