#include "sdk/pipeline/PvPipeline.h"

#include <new>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/pipeline/buffer_round.h"
#include "sdk/stream_core/PvStreamBase.h"

using namespace vex;

// A notification may destroy the pipeline. So what goes on after one keeps the round alive by itself, asks it whether
// the pipeline is still there, and else touches nothing of it.

PvPipeline::PvPipeline(PvStreamBase* stream)
    : round_(std::make_shared<pipeline::BufferRound>(stream != nullptr ? stream->channel_ : nullptr))
{}

PvPipeline::~PvPipeline()
{
    round_->stop();
    round_->dismiss_all();
    while (round_->take_surplus() != nullptr)
        ;
    round_->abandon();
}

void PvPipeline::Close()
{
    round_->stop();
    round_->dismiss_all();
    static_cast<void>(delete_surplus());
}

std::uint32_t PvPipeline::GetBufferSize() const { return round_->buffer_size(); }

void PvPipeline::SetBufferSize(std::uint32_t size) { round_->set_buffer_size(size); }

std::uint32_t PvPipeline::GetBufferCount() const { return round_->buffer_count(); }

PvResult PvPipeline::SetBufferCount(std::uint32_t count)
{
    if (PvResult result = round_->set_buffer_count(count); !result.IsOK()) {
        return result;
    }
    if (delete_surplus() && round_->is_running()) {
        return fill();
    }
    return PvResult::OK;
}

std::uint32_t PvPipeline::GetOutputQueueSize() const { return round_->output_size(); }

std::uint32_t PvPipeline::GetOutputQueueMaxSize() const { return round_->most_output(); }

PvResult PvPipeline::SetOutputQueueMaxSize(std::uint32_t size)
{
    PvResult result = round_->set_most_output(size);
    static_cast<void>(delete_surplus());
    return result;
}

bool PvPipeline::IsStarted() const { return round_->is_running(); }

PvResult PvPipeline::Start()
{
    if (PvResult possible = round_->may_start(); !possible.IsOK()) {
        return possible;
    }
    const std::shared_ptr<pipeline::BufferRound> round = round_;
    if (PvResult filled = fill(); !filled.IsOK()) {
        return filled;
    }
    return round->start();
}

PvResult PvPipeline::Stop()
{
    round_->stop();
    static_cast<void>(delete_surplus());
    return PvResult::OK;
}

PvResult PvPipeline::Reset()
{
    round_->reset();
    static_cast<void>(delete_surplus());
    return PvResult::OK;
}

PvResult PvPipeline::RetrieveNextBuffer(PvBuffer** buffer, std::uint32_t timeout, PvResult* operation_result)
{
    if (buffer == nullptr || operation_result == nullptr) {
        return failure(PvResult::InvalidParameter, "The buffer and its operation result need a place");
    }
    const std::shared_ptr<pipeline::BufferRound> round = round_;
    return round->retrieve(*buffer, timeout, *operation_result);
}

PvResult PvPipeline::ReleaseBuffer(PvBuffer* buffer)
{
    PvResult result = round_->release(buffer);
    static_cast<void>(delete_surplus());
    return result;
}

std::uint64_t PvPipeline::GetBlocksDropped() const { return round_->blocks_dropped(); }

void PvPipeline::OnBufferCreated(PvBuffer* /*buffer*/) {}

void PvPipeline::OnBufferDeleted(PvBuffer* /*buffer*/) {}

/// Makes the buffers that the pool lacks. Aborted when a notification destroyed the pipeline.
PvResult PvPipeline::fill()
{
    const std::shared_ptr<pipeline::BufferRound> round = round_;
    try {
        while (PvBuffer* made = round->make_buffer()) {
            {
                const ApplicationCall call;
                OnBufferCreated(made);
            }
            if (round->is_abandoned()) {
                return failure(PvResult::Aborted, "The pipeline was destroyed while it made its buffers");
            }
            round->admit(*made);
        }
        return PvResult::OK;
    } catch (const std::bad_alloc&) {
        return failure(PvResult::NotEnoughMemory, "There is no memory for ", round->buffer_count(), " buffers of ",
                       round->buffer_size(), " bytes");
    }
}

/// Deletes the buffers that the pool need not have. False when a notification destroyed the pipeline.
bool PvPipeline::delete_surplus()
{
    const std::shared_ptr<pipeline::BufferRound> round = round_;
    while (const std::unique_ptr<PvBuffer> surplus = round->take_surplus()) {
        {
            const ApplicationCall call;
            OnBufferDeleted(surplus.get());
        }
        if (round->is_abandoned()) {
            return false;
        }
    }
    return true;
}
