// Bursts: who shows a category or saves settings reads registers that stand near each other, one soon after the other.
// From the third on, the neighbours come along in the same message, where the port has messages for several registers.
//
// What comes along is only what a read may not change and what the description allows to keep. It is good for a moment:
// whoever asks later gets the register as it is then. What nobody asked for does not come along a second time.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "sdk/genapi/model.h"

namespace GenApi {

/// Used with the node map's lock held. The model is borrowed.
class Bursts {
public:
    using Now = std::chrono::steady_clock::time_point (*)();

    Bursts(Model& model, Now now) : model_(model), now_(now) {}

    /// The bytes can be used: they are those that the device has, as far as the description tells.
    [[nodiscard]] bool holds(const Cell& cell) const;
    /// Somebody asked for a register that had come along.
    void ask_for(NodeIndex port, Cell& cell);
    /// Fetches a register, and others with it. False when there was nothing to be had together: the register is then to
    /// be read alone. `operation` is the one under way. Throws what the port throws.
    [[nodiscard]] bool fetch(NodeIndex port_node, Cell& wanted, std::uint32_t operation);
    /// A write: what is read next is not the rest of what was read before.
    void end() noexcept { burst_.length = 0; }

private:
    struct Burst {
        NodeIndex port = no_node;
        std::int64_t address = 0;  ///< of the last register that was asked for
        std::chrono::steady_clock::time_point at;
        int length = 0;  ///< of the registers asked for, how many in a row stood near the one before
    };

    [[nodiscard]] bool continues_burst(NodeIndex port, std::int64_t address);
    void collect_neighbours(NodeIndex port, std::int64_t address, std::size_t most);
    [[nodiscard]] bool may_come_along(const CellPlace& place);
    [[nodiscard]] bool is_known_readable(const CellPlace& place) const;

    Model& model_;
    Now now_;
    Burst burst_;
    std::vector<const CellPlace*> neighbours_;  ///< to be fetched together with what is asked for
};

}  // namespace GenApi
