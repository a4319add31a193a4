// The buffers that a transmitter and its user pass back and forth.
#pragma once

#include <deque>
#include <memory>
#include <span>
#include <vector>

#include "sdk/base/PvResult.h"

class PvBuffer;

namespace vex::transmitter {

/// Buffers of someone else's, and which of them are free, longest free first. A buffer that was destroyed is no member
/// any more, whatever is at its address now.
///
/// Thread safety: none; a buffer must not be destroyed while a member function runs.
class BufferPool {
public:
    /// These are the members, all of them free; earlier ones are forgotten. InvalidParameter, and nothing changed, for
    /// a null buffer or one given twice.
    PvResult load(std::span<PvBuffer* const> buffers);
    /// In use from now on; one that was no member becomes one.
    void use(PvBuffer& buffer);
    /// No effect on one that is no member.
    void make_free(PvBuffer& buffer);
    void remove(const PvBuffer& buffer) noexcept;

    /// Whether there is no member.
    [[nodiscard]] bool empty();
    [[nodiscard]] bool has_free();
    /// The one that is free for the longest time, in use from now on; null when none is.
    [[nodiscard]] PvBuffer* take();

private:
    struct Member {
        PvBuffer* buffer;
        std::weak_ptr<const void> lifetime;
    };
    void forget_destroyed();
    [[nodiscard]] bool contains(const PvBuffer& buffer) const noexcept;

    std::vector<Member> members_;
    std::deque<PvBuffer*> free_;  // members
};

}  // namespace vex::transmitter
