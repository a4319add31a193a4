// Hosts by name, with a bound on how long that takes.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sdk/base/address.h"

namespace vex::net {

/// What the name of a host stands for.
struct HostAddress {
    std::optional<Ipv4Address> address;
    bool in_time = true;  ///< false: nobody has said yet whether there is such a host
};

/// The system's name service, replaceable in tests.
///
/// Thread safety: all members may be called from any thread.
class HostNames {
public:
    virtual ~HostNames() = default;

    /// As address_of_host, but returns after `timeout` at the latest.
    [[nodiscard]] virtual HostAddress find(const std::string& host, std::chrono::milliseconds timeout) = 0;

    /// Lives as long as the process.
    [[nodiscard]] static HostNames& system() noexcept;
};

/// Asks a resolver that may take any time, on a thread of its own. One that takes too long is left to its question;
/// when most_questions are under way, nothing is found until one ends.
class BoundedHostNames final : public HostNames {
public:
    static constexpr int most_questions = 16;
    using Resolver = std::function<std::optional<Ipv4Address>(const std::string& host)>;

    explicit BoundedHostNames(Resolver resolver);
    [[nodiscard]] HostAddress find(const std::string& host, std::chrono::milliseconds timeout) override;

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

/// The text could be a host's name: letters, digits, '-', '_' and '.', at most 253 of them (RFC 1123, section 2.1;
/// names within a local network also have '_'). The last part is no number: name services take such a text for an IPv4
/// address in one of its old notations, which a serial number may look like.
[[nodiscard]] bool is_host_name(std::string_view text) noexcept;

}  // namespace vex::net
