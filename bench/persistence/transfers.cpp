// How many registers storing and restoring transfer, beside how many they need to, with the largest description of the
// folder that VEX_CAMERA_XML names over registers in memory.
//
// Needed to store: every register that is read, once, and once more for a value under another combination of selector
// values that may hold something else in the same registers; the writes that turn the selectors from one combination
// to the next and back. To restore: the same to find out what differs, and a write and a read to verify it for each
// value that does.
#include "bench/persistence/transfers.h"

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

/// The same word everywhere, and what was written over it.
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
    /// So that much is implemented and available: registers say so in one of their first bits or in one of their last.
    static constexpr std::uint8_t original[] = {0xC0, 0, 0, 3};

    void get(std::int64_t address, std::span<std::uint8_t> out)
    {
        seen.push_back(address);
        for (std::size_t i = 0; i < out.size(); ++i) {
            const std::int64_t at = address + static_cast<std::int64_t>(i);
            const auto found = written_.find(at);
            out[i] = found != written_.end() ? found->second : original[at & 3];
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
    Walk(PvGenParameterArray& array, const CountedMemory& memory) : map_(*array.GetNodeMap()), memory_(memory) {}

    void turn(const SelectorValue& selector)
    {
        GenApi::INode& node = *map_.node(selector.name);
        const std::string present = node.to_string();
        if (present != selector.value) {
            before_.emplace(selector.name, present);
            const std::size_t before = memory_.writes;
            node.from_string(selector.value);
            // some selectors are no registers
            writes += memory_.writes - before;
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
    const CountedMemory& memory_;
    std::map<std::string, std::string> before_;
};

/// The registers that are read when nothing is cached.
template <class Work>
std::set<std::int64_t> read_alone(PvGenParameterArray& array, CountedMemory& memory, const Work& work)
{
    static_cast<void>(array.InvalidateCache());
    memory.start();
    try {
        work();
    } catch (const GenApi::Error&) {
        // what it has read to find that out is needed, too
    }
    return {memory.seen.begin(), memory.seen.end()};
}

/// `registers` are those that storing has read: what is stored, and what tells whether there is something to be stored.
Transfers needed_to_store(PvGenParameterArray& array, CountedMemory& memory, const std::vector<StoredValue>& values,
                          const std::set<std::int64_t>& registers)
{
    std::set<std::int64_t> known;
    Transfers needed{.reads = registers.size()};
    Walk walk(array, memory);
    std::set<std::int64_t> known_here;
    const std::vector<SelectorValue>* here = nullptr;
    for (const StoredValue& value : values) {
        if (here == nullptr || *here != value.selectors) {
            known_here.clear();
            here = &value.selectors;
        }
        GenApi::INode& node = *array.GetNodeMap()->node(value.name);
        for (const SelectorValue& selector : value.selectors) {
            walk.turn(selector);
        }
        bool is_known = true;
        bool is_known_here = true;
        for (const std::int64_t address : read_alone(array, memory, [&] { static_cast<void>(node.to_string()); })) {
            is_known &= !known.insert(address).second;
            is_known_here &= !known_here.insert(address).second;
        }
        needed.reads += is_known && !is_known_here && !value.selectors.empty() ? 1 : 0;
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

bool is_enough(const Measured& storing, const Measured& restoring)
{
    const auto done = static_cast<double>(storing.done.all() + restoring.done.all());
    const auto needed = static_cast<double>(storing.needed.all() + restoring.needed.all());
    std::printf("  together %.2f times, wanted: %.1f\n", done / needed, most_for_needed);
    return done <= most_for_needed * needed;
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
    const std::set<std::int64_t> registers(memory.seen.begin(), memory.seen.end());
    storing.needed = needed_to_store(array, memory, stored.values, registers);

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
    return is_enough(storing, restoring);
}

}  // namespace

bool transfers_are_few()
{
    const char* const folder = std::getenv("VEX_CAMERA_XML");
    if (folder == nullptr || *folder == '\0') {
        std::printf("register transfers      not measured: VEX_CAMERA_XML names no folder with descriptions\n");
        return true;
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
    std::printf("register transfers, with a description of %.1f KiB\n", static_cast<double>(xml.size()) / 1024);
    const bool are_few = measure(xml, 1);
    // what comes along in a message that is sent anyway costs nothing more
    static_cast<void>(measure(xml, 32));
    return are_few;
}

}  // namespace bench
