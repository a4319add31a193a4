// PvPipeline: a pool of buffers that a thread keeps queued on a stream, and the filled ones in their order.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"

class PvBuffer;
class PvStreamBase;

namespace vex::pipeline {
class BufferRound;
}

/// Streams without queueing: the pipeline owns the buffers, and the client retrieves a filled one and releases it
/// again.
///
/// Every buffer is in one place at a time: queued on the stream, in the output queue, or with the client. A client that
/// wants every block leaves the output queue as long as it is; while all buffers wait there or are with the client, the
/// stream has none and drops what arrives. A client that wants the latest block makes the output queue short: a block
/// that finds it full takes the place of the oldest one, which is counted as dropped.
///
/// The stream must be open to start and is the pipeline's alone while it runs: buffers can neither be queued on it nor
/// retrieved from it by others. When the stream is closed or destroyed the pipeline stops by itself; what is in its
/// output queue can still be retrieved. Stream and pipeline may be destroyed in any order.
///
/// Thread safety: all members may be called from any threads at the same time, and the stream may be used, closed or
/// destroyed beside them. Destruction needs that no other call is running, but for one that is in a notification on the
/// destroying thread. Notifications are made on the thread that calls a member, never on the pipeline's own, and with
/// no lock held.
class PvPipeline {
public:
    /// `stream` is borrowed and may go before the pipeline. Throws bad_alloc.
    explicit PvPipeline(PvStreamBase* stream);
    PvPipeline(const PvPipeline&) = delete;
    PvPipeline& operator=(const PvPipeline&) = delete;
    /// Stops and deletes all buffers, those that are with the client included.
    virtual ~PvPipeline();

    /// Bytes of memory that each buffer is given; 1 MiB at first. It grows by itself to what blocks need: one that did
    /// not fit its buffer, or that the stream made room for, sets the size for all buffers.
    [[nodiscard]] std::uint32_t GetBufferSize() const;
    /// Takes effect for each buffer when it is queued next; those that are queued already are filled as they are. With
    /// 0 buffers keep the memory that they have.
    void SetBufferSize(std::uint32_t size);

    /// Buffers of the pool; 16 at first.
    [[nodiscard]] std::uint32_t GetBufferCount() const;
    /// While the pipeline runs new buffers are queued at once, and surplus ones are deleted as they come back.
    /// Errors, changing nothing: InvalidParameter for 0 and for more than the stream holds (its
    /// GetQueuedBufferMaximum); NotEnoughMemory when not all buffers could be made.
    PvResult SetBufferCount(std::uint32_t count);

    /// Blocks waiting to be retrieved.
    [[nodiscard]] std::uint32_t GetOutputQueueSize() const;
    /// The most blocks that wait to be retrieved; at first as many as the stream holds buffers, which is never reached.
    [[nodiscard]] std::uint32_t GetOutputQueueMaxSize() const;
    /// Surplus blocks are dropped at once, the oldest first. Errors: InvalidParameter for 0 and for more than the
    /// stream's GetQueuedBufferMaximum.
    PvResult SetOutputQueueMaxSize(std::uint32_t size);

    /// True from Start until Stop, or until the stream closes.
    [[nodiscard]] bool IsStarted() const;

    /// Makes the buffers that are missing from the pool and queues them. The output queue begins empty.
    /// Errors: NotConnected (there is no stream, it has gone or is not open), StateError (started already; another
    /// pipeline runs on the stream; the stream holds buffers that were queued directly), NotEnoughMemory.
    PvResult Start();
    /// Takes the buffers off the stream and ends the thread. Complete blocks that had arrived go to the output queue,
    /// where they can still be retrieved. Waiting retrievals end. OK also when it is not started.
    PvResult Stop();
    /// Throws the output queue away and counts dropped blocks from 0. Without running it also deletes the buffers that
    /// are not with the client, so that nothing of the pool's memory is kept.
    PvResult Reset();

    /// Waits up to `timeout` milliseconds (`wait_forever`: without end) for the next block.
    ///
    /// On OK `*buffer` is a buffer of the pool, the client's until ReleaseBuffer, and `*operation_result` tells how its
    /// acquisition ended. On any failure `*buffer` is null and both results are the same.
    /// Errors: Timeout (the text tells what is known, as that of PvStreamBase::RetrieveBuffer does); StateError (not
    /// started, or stopped meanwhile); NotConnected (the stream was closed);
    /// InvalidParameter (a null pointer).
    PvResult RetrieveNextBuffer(PvBuffer** buffer, std::uint32_t timeout, PvResult* operation_result);
    /// Gives a retrieved buffer back.
    /// Errors: InvalidParameter (null, or no buffer of this pipeline), StateError (not retrieved, released already, or
    /// queued elsewhere).
    PvResult ReleaseBuffer(PvBuffer* buffer);

    /// Blocks that were thrown away because the output queue was full, since the last Reset.
    [[nodiscard]] std::uint64_t GetBlocksDropped() const;

    static constexpr std::uint32_t wait_forever = 0xFFFFFFFF;

protected:
    /// A buffer joined the pool; nothing has been written to it yet. May destroy the pipeline.
    virtual void OnBufferCreated(PvBuffer* buffer);
    /// A buffer of the pool is about to be deleted; it is whole during the call and holds no stream's data any more.
    /// Not called by the destructor of this class: a class that wants to hear of the last buffers calls Close() in its
    /// own. May destroy the pipeline.
    virtual void OnBufferDeleted(PvBuffer* buffer);

    /// Stops and deletes all buffers, those that are with the client included.
    void Close();

private:
    bool delete_surplus();
    PvResult fill();

    std::shared_ptr<vex::pipeline::BufferRound> round_;  // outlives the pipeline when a notification destroys that
};
