// How many registers storing and restoring transfer, beside how many they need to, with the largest description of the
// folder that VEX_CAMERA_XML names over registers in memory.
//
// Needed to store: every register that the values and their conditions stand in, read once, and once more for a
// combination of selector values under which the description lets the same register hold another value; the writes
// that turn the selectors from one combination to the next and back. To restore: the same to find out what differs,
// and a write and a read to verify it for each value that does.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "sdk/description/zip.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/stored_values.h"
#include "tests/sdk/genicam/scrambling.h"

using namespace vex;

namespace bench {
namespace {

constexpr double most_for_needed = 1.2;

/// Small numbers, and what was written over them.
class CountedMemory final : public GenApi::IPort {
public:
    explicit CountedMemory(std::size_t at_once) : at_once_(at_once) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        ++messages;
        get(address, out);
    }
    [[nodiscard]] std::size_t words_at_once() const noexcept override { return at_once_; }
    bool read_words(std::span<const GenApi::PortRead> words) override
    {
        ++messages;
        for (const GenApi::PortRead& word : words) {
            get(word.address, word.out);
        }
        return true;
    }
    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        ++messages;
        ++writes;
        for (std::size_t i = 0; i < data.size(); ++i) {
            written_[address + static_cast<std::int64_t>(i)] = data[i];
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    void start()
    {
        messages = writes = 0;
        seen.clear();
    }

    std::size_t messages = 0;
    std::size_t writes = 0;
    std::vector<std::int64_t> seen;  ///< the addresses of the registers that were read

private:
    void get(std::int64_t address, std::span<std::uint8_t> out)
    {
        seen.push_back(address);
        for (std::size_t i = 0; i < out.size(); ++i) {
            const std::int64_t at = address + static_cast<std::int64_t>(i);
            const auto found = written_.find(at);
            const bool is_low = (at & 3) == 3;
            out[i] = found != written_.end()
                         ? found->second
                         : static_cast<std::uint8_t>(is_low ? static_cast<std::uint64_t>(at) >> 2 & 3 : 0);
        }
    }

    std::size_t at_once_;
    std::unordered_map<std::int64_t, std::uint8_t> written_;
};

struct Transfers {
    std::size_t reads = 0;
    std::size_t writes = 0;
    std::size_t messages = 0;

    [[nodiscard]] std::size_t all() const { return reads + writes; }
};

struct Measured {
    Transfers done;
    Transfers needed;
};

/// Turns selectors the shortest way, and counts.
class Walk {
public:
    explicit Walk(PvGenParameterArray& array) : map_(*array.GetNodeMap()) {}

    void turn(const SelectorValue& selector)
    {
        GenApi::INode& node = *map_.node(selector.name);
        const std::string present = node.to_string();
        if (present != selector.value) {
            before_.emplace(selector.name, present);
            node.from_string(selector.value);
            ++writes;
        }
    }
    void turn_back()
    {
        for (const auto& [name, value] : std::exchange(before_, {})) {
            turn({name, value});
        }
        before_.clear();
    }

    std::size_t writes = 0;

private:
    GenApi::INodeMap& map_;
    std::map<std::string, std::string> before_;
};

Transfers needed_to_store(PvGenParameterArray& array, CountedMemory& memory, const std::vector<StoredValue>& values)
{
    Transfers needed;
    Walk walk(array);
    std::set<std::int64_t> known;
    std::set<std::int64_t> known_here;
    const std::vector<SelectorValue>* here = nullptr;
    for (const StoredValue& value : values) {
        if (here == nullptr || *here != value.selectors) {
            known_here.clear();
            here = &value.selectors;
        }
        GenApi::INode& node = *array.GetNodeMap()->node(value.name);
        try {
            for (const SelectorValue& selector : value.selectors) {
                walk.turn(selector);
            }
            static_cast<void>(array.InvalidateCache());
            memory.start();
            static_cast<void>(node.access_when_idle());
            static_cast<void>(node.to_string());
        } catch (const GenApi::Error& error) {
            std::printf("    %s\n", error.what());
        }
        std::size_t found = 0;
        bool is_known_here = true;
        for (const std::int64_t address : memory.seen) {
            found += known.insert(address).second ? 1 : 0;
            is_known_here &= !known_here.insert(address).second;
        }
        needed.reads += found != 0 || value.selectors.empty() || is_known_here ? found : 1;
    }
    walk.turn_back();
    needed.writes = walk.writes;
    return needed;
}

Transfers counted(const CountedMemory& memory) { return {memory.seen.size(), memory.writes, memory.messages}; }

void print(const char* what, const Measured& measured)
{
    std::printf("  %-8s %6zu reads + %5zu writes, needed %6zu + %5zu: %.2f times; %zu messages\n", what,
                measured.done.reads, measured.done.writes, measured.needed.reads, measured.needed.writes,
                static_cast<double>(measured.done.all()) / static_cast<double>(measured.needed.all()),
                measured.done.messages);
}

bool is_enough(const Measured& measured)
{
    return static_cast<double>(measured.done.all()) <= most_for_needed * static_cast<double>(measured.needed.all());
}

bool measure(const std::string& xml, std::size_t at_once)
{
    CountedMemory memory(at_once);
    PvGenParameterArray array(GenApi::load_node_map(xml, memory));
    std::vector<GenApi::INode*> features;
    for (std::uint32_t i = 0; i < array.GetCount(); ++i) {
        features.push_back(array.Get(i)->GetNode());
    }
    generated::Dice dice(1);
    generated::scramble(features, dice, 2 * features.size());
    const auto begin = [&] {
        static_cast<void>(array.InvalidateCache());
        memory.start();
    };
    begin();
    const StoredValues stored = store_values(array);
    Measured storing{counted(memory), {}};
    storing.needed = needed_to_store(array, memory, stored.values);

    generated::scramble(features, dice, features.size());
    begin();
    const std::vector<StoredValue> disturbed = store_values(array).values;
    const std::size_t different = static_cast<std::size_t>(std::ranges::count_if(
        stored.values, [&](const auto& value) { return std::ranges::find(disturbed, value) == disturbed.end(); }));
    begin();
    const RestoredValues restored = restore_values(array, stored.values);
    Measured restoring{counted(memory), storing.needed};
    restoring.needed.reads += different;
    restoring.needed.writes += different;
    std::printf("%zu values, %zu of them different, %zu not restored; %zu registers a message\n", stored.values.size(),
                different, restored.failures.size(), at_once);
    print("store", storing);
    print("restore", restoring);
    // what comes along in a message that is sent anyway costs nothing more
    return at_once > 1 || (is_enough(storing) && is_enough(restoring));
}

int run()
{
    const char* const folder = std::getenv("VEX_CAMERA_XML");
    if (folder == nullptr || *folder == '\0') {
        std::fprintf(stderr, "VEX_CAMERA_XML names no folder with descriptions\n");
        return 1;
    }
    std::filesystem::directory_entry largest;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".xml" && (!largest.exists() || entry.file_size() > largest.file_size())) {
            largest = entry;
        }
    }
    std::ifstream stream(largest.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string xml =
        description::load_description({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    std::printf("%zu bytes of description\n", xml.size());
    const bool is_good = measure(xml, 1);
    static_cast<void>(measure(xml, 32));
    return is_good ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main() { return bench::run(); }
