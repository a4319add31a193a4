// The order of a device's blocks, told from their IDs.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "sdk/net/clock.h"
#include "sdk/wire/gvsp.h"

namespace vex::stream {

/// Gives every block its order, a number that only ascends, whatever the form of the IDs and however often they wrap or
/// the device numbers its blocks anew, and remembers which blocks have ended, to tell late packets from a new
/// beginning.
///
/// Numbering begins with any ID. From then on a block's order follows from the distance of its ID to the newest one.
///
/// Time is what the caller says it is. Not thread-safe; allocates nothing.
class BlockNumbering {
public:
    using time_point = net::Clock::time_point;

    /// What is remembered of a block that has ended.
    struct Ended {
        bool leader_seen = false;
        std::uint64_t timestamp = 0;
        time_point at;
    };

    /// Begins with the packet's block and returns its order, which is beyond all given so far.
    std::int64_t begin(const wire::gvsp::Header& header, time_point now) noexcept;
    /// Whether numbering has begun, and with IDs of that form.
    [[nodiscard]] bool has_begun() const noexcept { return begun_; }
    [[nodiscard]] bool extended_ids() const noexcept { return extended_ids_; }

    /// Whether the packet's ID can be a block's. 0 is none, except where the device counts on through it: after the
    /// last standard IDs.
    [[nodiscard]] bool can_be_id(const wire::gvsp::Header& header) const noexcept;

    /// The order of the packet's block; empty where its ID is of another form than the newest one or too far from it to
    /// be of the same numbering. Numbering must have begun.
    [[nodiscard]] std::optional<std::int64_t> order_of(const wire::gvsp::Header& header) const noexcept;
    [[nodiscard]] bool has_ended(std::int64_t order) const noexcept { return order < next_; }
    /// Whether a packet of a block that has ended shows that the device numbers anew, rather than being late. A packet
    /// marked as sent again never does. A leader does by another timestamp than the ended block's; where timestamps
    /// tell nothing (there was no leader, or the device has no clock), a packet does that comes when nothing of the
    /// block can be on its way any more. `leader` is the packet's own content when it is one. False for a block that
    /// has not ended.
    [[nodiscard]] bool is_new_beginning(std::int64_t order, const wire::gvsp::Header& header,
                                        const wire::gvsp::Leader* leader, time_point now) const noexcept;

    /// The order of the newest block that has begun.
    [[nodiscard]] std::int64_t newest() const noexcept { return newest_; }
    /// The ID of a block of which only the order is known, at most a few blocks away from the newest one.
    [[nodiscard]] std::uint64_t id_of(std::int64_t order) const noexcept;

    /// Notes a block that has begun.
    void note_begin(std::int64_t order, std::uint64_t block_id) noexcept;
    /// Notes the end of a block that comes after all that have ended. Returns the number of blocks between of which
    /// nothing ever came; they have ended, too.
    std::uint64_t note_end(std::int64_t order, const Ended& ended) noexcept;

    /// Nothing of an ended block is on its way any more after this time.
    static constexpr net::Clock::duration latest = std::chrono::seconds(1);

    /// Forgets the numbering, as the IDs that follow have nothing to do with it. All blocks that have begun count as
    /// ended.
    void forget() noexcept;

private:
    /// So many of the latest ended blocks are remembered.
    static constexpr std::int64_t memory_size = 128;
    [[nodiscard]] static std::size_t slot(std::int64_t order) noexcept
    {
        return static_cast<std::size_t>(order % memory_size);
    }

    [[nodiscard]] std::int64_t distance_to(std::uint64_t id) const noexcept;

    bool begun_ = false;
    bool extended_ids_ = false;
    bool zero_is_an_id_ = false;  // of the standard form: seen after the last ones
    std::uint64_t newest_id_ = 0;
    std::int64_t newest_ = 0;
    std::int64_t next_ = 0;   // blocks before this one have ended
    std::int64_t first_ = 0;  // the first block since numbering began
    time_point began_at_;
    std::array<Ended, memory_size> ended_{};
};

}  // namespace vex::stream
