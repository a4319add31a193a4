// Downloading a file: the least of HTTP that a description on a maker's server needs.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/base/address.h"

namespace vex::description {

struct HttpLimits {
    std::size_t largest_body = 0;            ///< bytes
    std::chrono::milliseconds time{10'000};  ///< for everything except the system's name service
    int redirects = 3;                       ///< followed to other http addresses
    /// The only address that is asked, whatever name leads to it, also after a redirect; empty for any.
    std::optional<Ipv4Address> only_from{};
    std::string_view how_to_allow{};  ///< others, for the failure's text
};

/// Downloads what an "http://" address names (HTTP/1.0, RFC 1945; no encryption, no credentials, IPv4).
///
/// NotSupported: an https address, or a server that must not be asked. InvalidParameter: not an address that can be
/// asked for. NotFound: the host has no address, or the server no such file. NetworkError: the server does not answer
/// as a server should. Timeout. GenICamXMLError: what comes is larger than allowed. The description names the address
/// and the cause.
PvResult http_get(std::string_view url, const HttpLimits& limits, std::vector<std::uint8_t>& body);

}  // namespace vex::description
