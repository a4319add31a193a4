// The names of pipes between programs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sdk/base/address.h"

namespace vex::net {

/// Where two programs meet: a name on this computer, or a TCP port.
struct PipeName {
    std::string name;             ///< empty for a TCP port
    std::optional<Endpoint> tcp;  ///< of the serving side; port 0 lets the system choose one

    /// "NAME" or "pipe:NAME", of 1 to 64 letters, digits and "._-"; "tcp:PORT", which is on 127.0.0.1 alone, or
    /// "tcp:ADDRESS:PORT" with an IPv4 address in dotted decimal, 0.0.0.0 for every one of the serving computer. The
    /// words before the colon in any case. Empty for anything else.
    [[nodiscard]] static std::optional<PipeName> parse(std::string_view text);

    /// With the word before the colon; "tcp:PORT" where that means the same.
    [[nodiscard]] std::string to_string() const;
    /// Of a pipe that is no TCP port, the place in the system by which any program reaches it: \\.\pipe\NAME on
    /// Windows; elsewhere the Unix socket vex-NAME.sock in $XDG_RUNTIME_DIR, or /tmp/vex-UID-NAME.sock where that is
    /// not set, with UID the user's number.
    [[nodiscard]] std::string path() const;
};

}  // namespace vex::net
