// The flags of bootstrap registers in words.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pvctl {

/// Of the register GVCP capability.
[[nodiscard]] std::vector<std::string> capability_words(std::uint32_t flags);
/// Of the registers supported and current IP configuration.
[[nodiscard]] std::vector<std::string> ip_configuration_words(std::uint32_t flags);
/// Of a stream channel's capability register.
[[nodiscard]] std::vector<std::string> stream_capability_words(std::uint32_t flags);
/// Of the control channel privilege: who may still do what.
[[nodiscard]] std::string privilege_words(std::uint32_t privilege);

}  // namespace pvctl
