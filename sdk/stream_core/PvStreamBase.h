// PvStreamBase: what every stream channel has in common. It receives the blocks (images) that a device sends.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"

class PvBuffer;

namespace vex::stream {
class StreamChannel;
}

/// The host's end of one stream channel of one device.
///
/// The client queues buffers, the stream fills them in the order in which they were queued and hands them back, in the
/// order of the blocks, through RetrieveBuffer. The stream never owns a buffer: a queued buffer must live until it has
/// been retrieved, the queue was aborted or the stream closed.
///
/// Packets that are missing are asked for (GVCP PACKETRESEND, sent from the stream's port to the device's control
/// port), and a block waits as long as they may come; settings and figures are parameters of PvStream and members of
/// PvStreamRaw.
///
/// Opening a stream touches nothing on the device; its stream destination is set with PvDevice::SetStreamDestination to
/// GetLocalIPAddress and GetLocalPort.
///
/// Thread safety: QueueBuffer, RetrieveBuffer, AbortQueuedBuffers, FlushPacketQueue and the getters may be called from
/// any threads at the same time; Open and Close may run beside them, too, and end waiting retrievals. Destruction needs
/// that no other call is running; a pipeline on the stream may be running, it ends.
class PvStreamBase {
public:
    /// Closes the stream.
    virtual ~PvStreamBase();
    PvStreamBase(const PvStreamBase&) = delete;
    PvStreamBase& operator=(const PvStreamBase&) = delete;

    /// Opens the stream for a device that sends to this host alone.
    ///
    /// `device_ip` is the device's address; packets from anywhere else are ignored. `local_port` 0 lets the system
    /// choose a port. `channel` is the device's stream channel. An empty `local_ip` takes the interface over which this
    /// process is connected to the device (the newest connection, if several devices have the address), or without a
    /// connection the one that the system's routes name.
    /// Errors: InvalidParameter (an address that is none), StateError (already open), NetworkError (no socket; the text
    /// tells the address and the system's reason).
    PvResult Open(const PvString& device_ip, std::uint16_t local_port = 0, std::uint16_t channel = 0,
                  const PvString& local_ip = PvString());

    /// Opens the stream for a device that sends to the multicast group `multicast_ip`, port `data_port`, and joins that
    /// group on the interface `local_ip` (empty: the one that leads to the device). Several streams, on this host or on
    /// others, may receive the same group. Missing packets are asked for only where this process controls the device
    /// when the stream is opened.
    /// Errors as above; InvalidParameter also for an address that is no multicast group and for port 0.
    PvResult Open(const PvString& device_ip, const PvString& multicast_ip, std::uint16_t data_port,
                  std::uint16_t channel = 0, const PvString& local_ip = PvString());

    /// Ends reception, leaves a multicast group and gives all buffers back to the client; those not yet filled have the
    /// operation result Aborted, and none of them can be retrieved any more. Waiting retrievals end with NotConnected.
    /// OK also when the stream is not open.
    virtual PvResult Close();

    [[nodiscard]] bool IsOpen() const;

    /// Hands a buffer to the stream, which gives it more memory of its own if the largest block so far needs that.
    /// Errors: InvalidParameter (null), NotConnected (not open), StateError (this buffer is queued already, or a
    /// pipeline runs on the stream), ErrOverflow (GetQueuedBufferMaximum buffers are queued).
    PvResult QueueBuffer(PvBuffer* buffer);

    /// Waits up to `timeout` milliseconds (`wait_forever`: without end) for the next block.
    ///
    /// On OK `*buffer` is a buffer that the client queued and `*operation_result` tells how its acquisition ended: OK;
    /// MissingPackets, TooManyResends, ResendsFailure, TooManyConsecutiveResends (packets are missing, by what was done
    /// about them); BufferTooSmall, ImageError, InvalidDataFormat; Aborted, AutoAborted, Timeout. On any failure
    /// `*buffer` is null and both results are the same. Errors: Timeout (the text tells when blocks arrived meanwhile
    /// for which no buffer was queued, or nothing ever came); NotConnected (the stream is not open or was closed
    /// meanwhile); StateError (a pipeline runs on the stream); InvalidParameter (a null pointer).
    PvResult RetrieveBuffer(PvBuffer** buffer, PvResult* operation_result, std::uint32_t timeout = wait_forever);

    /// Takes all buffers that are waiting to be filled, or are being filled, out of the queue; they can be retrieved
    /// with the operation result Aborted. When this returns the stream no longer writes to them or reads them, so a
    /// client that will not retrieve them any more may delete them.
    /// Errors: NotConnected.
    PvResult AbortQueuedBuffers();

    /// Discards the packets that have been received by the system but not been looked at, and the blocks that are only
    /// partly there; their buffers stay queued.
    /// Errors: NotConnected.
    PvResult FlushPacketQueue();

    /// Buffers that the stream holds: waiting to be filled, being filled, or filled and not yet retrieved.
    [[nodiscard]] std::uint32_t GetQueuedBufferCount() const;
    /// The most buffers that the stream holds.
    [[nodiscard]] std::uint32_t GetQueuedBufferMaximum() const;

    /// The UDP port that the stream receives on; 0 when closed.
    [[nodiscard]] std::uint16_t GetLocalPort() const;
    /// The address of the receiving interface; empty when closed.
    [[nodiscard]] PvString GetLocalIPAddress() const;
    /// The multicast group; empty when the stream is closed or receives no multicast.
    [[nodiscard]] PvString GetMulticastIPAddress() const;
    /// The device's stream channel given to Open; 0 when closed.
    [[nodiscard]] std::uint16_t GetChannel() const;
    /// The device's address given to Open; empty when closed.
    [[nodiscard]] PvString GetDeviceIPAddress() const;

    /// Tells whether a way of receiving that needs privileges, past the system's sockets, serves the interface that
    /// leads to `device_ip` (or has the address `local_ip`): on Linux a packet ring, which takes the right to open
    /// packet sockets (CAP_NET_RAW); on Windows there is none. A stream uses it when its parameters say so.
    /// Errors: InvalidParameter (an address that is none).
    static PvResult IsDriverInstalled(const PvString& device_ip, bool& installed,
                                      const PvString& local_ip = PvString());

    static constexpr std::uint32_t wait_forever = 0xFFFFFFFF;

protected:
    PvStreamBase();

    [[nodiscard]] vex::stream::StreamChannel& channel() noexcept { return *channel_; }
    [[nodiscard]] const vex::stream::StreamChannel& channel() const noexcept { return *channel_; }

private:
    friend class PvPipeline;

    // shared with a pipeline, which may outlive the stream; the stream closes it for good
    std::shared_ptr<vex::stream::StreamChannel> channel_;
};
