// The least of HTTP that downloading a file needs: addresses, and the answer of a server, whatever that sends. No
// sockets here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/base/PvResult.h"

namespace vex::description {

inline constexpr std::uint16_t default_http_port = 80;

struct HttpAddress {
    std::string host;
    std::uint16_t port = default_http_port;
    std::string path;  ///< with the query; begins with a slash
};

/// Of "http://host[:port]/path". Empty for anything else and for what must not be put into a request: a device or a
/// server chose this text.
[[nodiscard]] std::optional<HttpAddress> parse_http_address(std::string_view url);

/// Where a redirect leads: an address, or a path on the same server.
[[nodiscard]] std::string redirected(const HttpAddress& from, std::string_view location);

/// Takes a server's answer (HTTP/1.0, RFC 1945) as it arrives, in pieces of any size.
class HttpAnswer {
public:
    enum class State : std::uint8_t {
        incomplete,
        complete,
        failed,
    };

    /// What comes with another status than 200 is complete without its body.
    explicit HttpAnswer(std::size_t largest_body) : largest_body_(largest_body) {}

    /// Takes the next bytes. What comes after the end of the answer is passed over.
    State take(std::span<const std::uint8_t> bytes);
    /// The server has closed the connection: nothing comes any more.
    State end();

    [[nodiscard]] State state() const noexcept { return state_; }
    [[nodiscard]] int status() const noexcept { return status_; }
    /// Where the server points to; empty when it does not.
    [[nodiscard]] const std::string& location() const noexcept { return location_; }
    /// Of a complete answer.
    [[nodiscard]] std::vector<std::uint8_t>& body() noexcept { return received_; }
    /// Why the answer cannot be used.
    [[nodiscard]] PvResult::Code code() const noexcept { return code_; }
    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }

private:
    void take_head();
    [[nodiscard]] bool parse_head(std::string_view head);
    void parse_field(std::string_view line);
    void take_body();
    void fail(PvResult::Code code, std::string reason);
    void fail_as_too_large(std::size_t size);

    std::size_t largest_body_;
    State state_ = State::incomplete;
    bool in_body_ = false;
    int status_ = 0;
    std::string location_;
    std::optional<std::size_t> length_;
    bool encoded_ = false;
    std::vector<std::uint8_t> received_;
    std::size_t searched_ = 0;  ///< so much of what was received holds no end of the head
    PvResult::Code code_ = PvResult::OK;
    std::string reason_;
};

}  // namespace vex::description
