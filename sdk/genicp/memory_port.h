// The registers of a serial device as the node map reads and writes them.
#pragma once

#include <memory>
#include <mutex>

#include "sdk/genapi/port.h"
#include "sdk/genicp/connection.h"

namespace vex::genicp {

/// Stands between a node map, which outlives connections, and the connection of the moment. Bytes pass as they are: the
/// description knows their order.
///
/// Thread safety: every member may be called from any thread.
class MemoryPort final : public GenApi::IPort {
public:
    MemoryPort() = default;
    MemoryPort(const MemoryPort&) = delete;
    MemoryPort& operator=(const MemoryPort&) = delete;

    /// Null to be without one; accesses fail with NotConnected then.
    void attach(std::shared_ptr<Connection> connection);

    void read(std::int64_t address, std::span<std::uint8_t> out) override;
    void write(std::int64_t address, std::span<const std::uint8_t> data) override;
    [[nodiscard]] bool is_open() const noexcept override;

private:
    [[nodiscard]] std::shared_ptr<Connection> connection() const;

    mutable std::mutex mutex_;  ///< held to copy the pointer, never through a transfer
    std::shared_ptr<Connection> connection_;
};

}  // namespace vex::genicp
