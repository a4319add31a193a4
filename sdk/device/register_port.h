// The port of a camera's node map: its registers, reached over the control channel.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

#include "sdk/control/access_log.h"
#include "sdk/control/connection.h"
#include "sdk/device/event_sinks.h"
#include "sdk/genapi/port.h"
#include "sdk/genapi/types.h"

namespace vex::device {

/// How the bytes of a 32-bit register of a little-endian device reach the node map.
enum class ByteOrderRule : std::int32_t {
    automatic = 0,  ///< by the schema version of the description
    legacy = 1,     ///< as READREG gives them, in network order: descriptions before schema 1.1 say so
    memory = 2,     ///< as they lie in the device's memory: descriptions from schema 1.1 on say so
};

/// A port that stays the same from connection to connection: node maps and the parameters of an application outlive
/// both.
///
/// Accesses to one aligned 32-bit word go as READREG and WRITEREG, which every device takes for its registers, several
/// in one message where the device says that it can; all others as READMEM and WRITEMEM.
///
/// Thread safety: all members may be called from any thread.
class RegisterPort final : public GenApi::IPort {
public:
    /// The sinks are told of every successful access; `rule` is asked at each.
    RegisterPort(std::shared_ptr<EventSinks> sinks, const std::atomic<std::int32_t>& rule);

    /// What the description declares; decides the byte order.
    void set_schema(const GenApi::DescriptionInfo& info);

    void attach(std::shared_ptr<control::Connection> connection);
    void detach() noexcept;

    void read(std::int64_t address, std::span<std::uint8_t> out) override;
    [[nodiscard]] std::size_t words_at_once() const noexcept override;
    bool read_words(std::span<const GenApi::PortRead> words) override;
    void write(std::int64_t address, std::span<const std::uint8_t> data) override;
    /// Without the lock, because node maps ask before each access; a connection that has ended is detached soon after.
    [[nodiscard]] bool is_open() const noexcept override { return attached_.load(std::memory_order_relaxed); }

private:
    /// Throws PortError when there is none, or the access is not within a device's address space.
    [[nodiscard]] std::shared_ptr<control::Connection> connection_for(std::int64_t address, std::size_t length) const;
    [[nodiscard]] bool swaps_registers(const control::Connection& connection) const noexcept;
    /// A register's value as the node map wants its bytes.
    void store_register(const control::Connection& connection, std::uint32_t value,
                        std::span<std::uint8_t> out) const noexcept;

    std::shared_ptr<EventSinks> sinks_;
    const std::atomic<std::int32_t>& rule_;
    std::atomic<bool> legacy_schema_{true};
    mutable std::mutex mutex_;
    std::shared_ptr<control::Connection> connection_;
    std::atomic<bool> attached_{false};  ///< changed with connection_
};

/// The calling thread is inside a command link notification, where the node map may be locked.
[[nodiscard]] bool in_link_notification() noexcept;

/// While one lives, accesses of its thread are the SDK's own and told to nobody.
class OwnAccesses {
public:
    OwnAccesses() noexcept;
    OwnAccesses(const OwnAccesses&) = delete;
    OwnAccesses& operator=(const OwnAccesses&) = delete;
    ~OwnAccesses();
};

/// Tells the sinks of accesses that were written down, on the calling thread, unless they are the SDK's own.
void notify_logged(EventSinks& sinks, std::span<const control::LoggedAccess> accesses);
/// Tells the sinks of an access, on the calling thread, unless it is the SDK's own.
void notify_read(EventSinks& sinks, std::uint32_t address, std::span<const std::uint8_t> bytes);
void notify_write(EventSinks& sinks, std::uint32_t address, std::span<const std::uint8_t> bytes);

}  // namespace vex::device
