// A camera in memory whose values are stored and restored.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/stored_values.h"
#include "tests/sdk/genapi/memory_port.h"

namespace stored_camera {

using namespace camera_xml;
using namespace vex;

/// As "Gain[Source=A]=7", one for each value.
inline std::vector<std::string> lines(const std::vector<StoredValue>& values)
{
    std::vector<std::string> result;
    for (const StoredValue& value : values) {
        std::string line = value.name;
        for (const SelectorValue& selector : value.selectors) {
            line += '[' + selector.name + '=' + selector.value + ']';
        }
        result.push_back(line + '=' + value.value);
    }
    return result;
}

inline std::string text(const PvResult& result) { return std::string(result.description()); }

/// A camera in memory and its array. `listed` are the features, in this order.
struct Stored : testing::Test {
    void load(const Names& listed, const std::string& nodes)
    {
        array.emplace(GenApi::load_node_map(description(root(listed) + nodes), port));
    }
    void set(const char* name, const char* value) { array->GetNodeMap()->node(name)->from_string(value); }
    std::string get(const char* name) { return array->GetNodeMap()->node(name)->to_string(); }

    StoredValues store(const StoreLimits& limits = {})
    {
        const auto before = present();
        StoredValues stored = store_values(*array, limits);
        EXPECT_TRUE(present() == before) << "something in the device has changed";
        return stored;
    }

    MemoryPort port;
    std::optional<PvGenParameterArray> array;

private:
    /// What was never written and what is 0 are the same.
    std::map<std::int64_t, std::uint8_t> present() const
    {
        auto bytes = port.bytes;
        std::erase_if(bytes, [](const auto& byte) { return byte.second == 0; });
        return bytes;
    }
};

inline const Properties streamable = {.streamable = "Yes"};

/// Gain for each of two sources, and for each of their three taps an offset.
inline const Names nested_features = {"Source", "Gain", "Tap", "Offset"};
inline const std::string nested =
    enumeration("Source", "SourceReg", {{"A", 0}, {"B", 1}}, {.streamable = "Yes", .selected = {"Gain", "Tap"}}) +
    int_reg("SourceReg", 0) +
    int_reg("Gain", 0x10, {.streamable = "Yes", .cachable = "NoCache", .more = indexed_by("SourceReg", 4)}) +
    integer("Tap", {.streamable = "Yes", .value = "TapReg", .min = 1, .max = 5, .inc = 2, .selected = {"Offset"}}) +
    int_reg("TapReg", 0x20, {.more = indexed_by("SourceReg", 4)}) +
    int_reg("Offset", 0x100, {.streamable = "Yes", .more = indexed_by("SourceReg", 0x40) + indexed_by("TapReg", 4)});

}  // namespace stored_camera
