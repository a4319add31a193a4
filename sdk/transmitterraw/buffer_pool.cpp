#include "sdk/transmitterraw/buffer_pool.h"

#include <algorithm>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvBuffer.h"

namespace vex::transmitter {

PvResult BufferPool::load(std::span<PvBuffer* const> buffers)
{
    for (auto buffer = buffers.begin(); buffer != buffers.end(); ++buffer) {
        if (*buffer == nullptr) {
            return failure(PvResult::InvalidParameter, "A buffer of the pool is null");
        }
        if (std::find(buffers.begin(), buffer, *buffer) != buffer) {
            return failure(PvResult::InvalidParameter, "A buffer is in the pool twice");
        }
    }
    std::vector<Member> members;
    members.reserve(buffers.size());
    for (PvBuffer* const buffer : buffers) {
        members.push_back({buffer, buffer->lifetime()});
    }
    free_.assign(buffers.begin(), buffers.end());
    members_ = std::move(members);
    return PvResult::OK;
}

void BufferPool::use(PvBuffer& buffer)
{
    forget_destroyed();
    if (!contains(buffer)) {
        members_.push_back({&buffer, buffer.lifetime()});
    }
    std::erase(free_, &buffer);
}

void BufferPool::make_free(PvBuffer& buffer)
{
    if (contains(buffer)) {
        free_.push_back(&buffer);
    }
}

void BufferPool::remove(const PvBuffer& buffer) noexcept
{
    std::erase(free_, &buffer);
    std::erase_if(members_, [&](const Member& member) { return member.buffer == &buffer; });
}

bool BufferPool::empty()
{
    forget_destroyed();
    return members_.empty();
}

bool BufferPool::has_free()
{
    forget_destroyed();
    return !free_.empty();
}

PvBuffer* BufferPool::take()
{
    if (!has_free()) {
        return nullptr;
    }
    PvBuffer* const taken = free_.front();
    free_.pop_front();
    return taken;
}

void BufferPool::forget_destroyed()
{
    std::erase_if(members_, [this](const Member& member) {
        if (!member.lifetime.expired()) {
            return false;
        }
        std::erase(free_, member.buffer);
        return true;
    });
}

bool BufferPool::contains(const PvBuffer& buffer) const noexcept
{
    return std::ranges::find(members_, &buffer, &Member::buffer) != members_.end();
}

}  // namespace vex::transmitter
