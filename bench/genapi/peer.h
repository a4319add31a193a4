// The peer, libaravis, behind a face without its headers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

/// Loads a description and frees it. Throws std::runtime_error when the peer cannot read it.
void peer_load(const std::string& xml);

/// Opens the camera, with its own description, and closes it again.
void peer_open(const std::string& address);

/// A connection to a camera, with a description of the caller's choice over it. It takes control of the camera.
class PeerCamera {
public:
    PeerCamera(const std::string& address, const std::string& xml);
    ~PeerCamera();
    PeerCamera(const PeerCamera&) = delete;
    PeerCamera& operator=(const PeerCamera&) = delete;

    [[nodiscard]] std::uint32_t read_register(std::uint32_t address);
    [[nodiscard]] std::int64_t integer(const char* feature);

private:
    struct Contents;
    std::unique_ptr<Contents> contents_;
};

}  // namespace bench
