// Changes: what a write, an event, a poll or a lost port makes doubtful is forgotten, along the ways found while
// loading, and whoever watches is noted.
#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "sdk/genapi/model.h"

namespace GenApi {

/// Used with the node map's lock held. The model is borrowed.
class Changes {
public:
    explicit Changes(Model& model) : model_(model) {}

    /// These channels of the nodes changed, and with them what depends on them.
    void spread(std::span<const NodeIndex> nodes, std::uint8_t channels);
    void spread(NodeIndex node, std::uint8_t channels) { spread(std::span(&node, 1), channels); }
    /// A register was written: everyone who reads these bits is concerned, under whatever name.
    void spread_from_register(const Node& node, std::int64_t address, std::int64_t length);
    /// Everything may have changed.
    void spread_all();
    /// Forgets, without telling anyone, what a value is made of, so that the next read asks the device.
    void forget_below(Node& node);
    /// Says where a cell's bytes are from. Where a computed place is, is known only from the last transfer.
    void put(Cell& cell, const CellPlace& place);

    /// The watched nodes that changes came by; whoever tells their watchers clears it.
    [[nodiscard]] std::vector<NodeIndex>& to_notify() noexcept { return to_notify_; }
    [[nodiscard]] bool has_news() const noexcept { return !to_notify_.empty(); }

private:
    [[nodiscard]] Node& at(NodeIndex index) noexcept { return model_.nodes[index]; }
    void next_visit() noexcept;
    void push(NodeIndex node, std::uint8_t channels);
    void visit(Node& node, std::uint8_t channels);
    void finish();
    /// Cells that overlap the one that was written, but are not it.
    void push_overlapping(const std::vector<CellPlace>& places, std::int64_t longest, const CellPlace& written);

    Model& model_;
    std::uint32_t visit_ = 0;
    std::vector<std::pair<NodeIndex, std::uint8_t>> to_visit_;
    std::vector<NodeIndex> to_notify_;
    std::vector<CellPlace> moving_cells_;  ///< those with a computed place: the last ones, sorted by port and address
    std::int64_t longest_moving_cell_ = 0;
};

}  // namespace GenApi
