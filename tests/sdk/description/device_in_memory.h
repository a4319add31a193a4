// A device that is nothing but memory, as what reads descriptions sees it.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sdk/description/description_source.h"

namespace description_test {

/// Reads 0 where nothing was put.
class DeviceInMemory {
public:
    void put(std::uint64_t address, std::string_view bytes)
    {
        const auto begin = static_cast<std::size_t>(address);
        if (memory_.size() < begin + bytes.size()) {
            memory_.resize(begin + bytes.size());
        }
        std::ranges::copy(bytes, memory_.begin() + static_cast<std::ptrdiff_t>(begin));
    }
    /// "Local:NAME;ADDRESS;LENGTH" in a URL register, and the file there.
    void put_file(std::uint64_t url_register, const std::string& name, std::uint32_t address, const std::string& file)
    {
        char numbers[32];
        std::snprintf(numbers, sizeof numbers, ";%X;%X", static_cast<unsigned>(address),
                      static_cast<unsigned>(file.size()));
        put(url_register, std::string(512, '\0'));
        put(url_register, "Local:" + name + numbers);
        put(address, file);
    }

    [[nodiscard]] vex::description::DeviceMemory memory()
    {
        return {"the device", vex::loopback_address, has_manifest,
                [this](std::uint64_t address, std::span<std::uint8_t> bytes) {
                    reads.emplace_back(address, bytes.size());
                    const auto refused = refusals.find(address);
                    if (refused != refusals.end()) {
                        return PvResult(refused->second, "the device refuses");
                    }
                    const auto begin = static_cast<std::size_t>(address);
                    for (std::size_t i = 0; i < bytes.size(); ++i) {
                        bytes[i] = begin + i < memory_.size() ? static_cast<std::uint8_t>(memory_[begin + i]) : 0;
                    }
                    return PvResult(PvResult::OK);
                }};
    }

    bool has_manifest = false;
    std::map<std::uint64_t, PvResult::Code> refusals;          ///< by the address where a read begins
    std::vector<std::pair<std::uint64_t, std::size_t>> reads;  ///< address and length

private:
    std::vector<char> memory_;
};

}  // namespace description_test
