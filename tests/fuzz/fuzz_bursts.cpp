// Bursts: reading registers together with their neighbours gives the same values, errors and writes as reading each
// alone, whatever the registers are and in whatever order they are used.
//
// The device changes only what time has passed for: what came along is good for a moment, and may be old within that.
#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <string>
#include <vector>

#include "sdk/genapi/node_map.h"
#include "tests/description/builders.h"
#include "tests/fuzz/input.h"

namespace {

using namespace std::chrono_literals;
using fuzz::require;
using GenApi::INode;
using GenApi::ReadMode;

constexpr std::int64_t memory_size = 1280;  // bytes
constexpr std::int64_t word = 4;
constexpr auto moment = 100ms;

std::chrono::steady_clock::time_point current_time;

/// What to do, byte by byte; zeros after the end.
class Script {
public:
    explicit Script(fuzz::View bytes) : bytes_(bytes) {}

    [[nodiscard]] bool is_over() const { return bytes_.empty(); }
    unsigned next()
    {
        if (bytes_.empty()) {
            return 0;
        }
        const unsigned byte = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return byte;
    }

private:
    fuzz::View bytes_;
};

struct Register {
    std::int64_t address = 0;
    std::int64_t length = 0;
    bool may_come_along = false;
};

/// A device's memory. What is refused or beyond the end cannot be read.
class Port final : public GenApi::IPort {
public:
    Port(std::size_t words_at_once, const std::vector<Register>& registers)
        : words_at_once_(words_at_once), registers_(registers)
    {
        // small numbers, so that computed addresses hit something
        for (std::size_t i = 3; i < memory.size(); i += 4) {
            memory[i] = static_cast<std::uint8_t>(i * 7);
        }
    }

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        const std::size_t at = place_of(address, out.size());
        for (std::size_t i = at / word; i <= (at + out.size() - 1) / word; ++i) {
            if (refused[i]) {
                throw GenApi::PortError(PvResult::GenericError, "the device refuses");
            }
        }
        std::copy_n(memory.begin() + static_cast<std::ptrdiff_t>(at), out.size(), out.begin());
    }

    [[nodiscard]] std::size_t words_at_once() const noexcept override { return words_at_once_; }

    bool read_words(std::span<const GenApi::PortRead> words) override
    {
        require(!words.empty() && words.size() <= words_at_once_);
        for (const GenApi::PortRead& one : words) {
            require(one.address % word == 0 && one.out.size() == word);
            require(&one == words.data() || comes_along_rightly(one.address));
            const std::size_t at = place_of(one.address, word);
            if (refused[at / word]) {
                return false;
            }
            std::copy_n(memory.begin() + static_cast<std::ptrdiff_t>(at), word, one.out.begin());
        }
        return true;
    }

    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        const std::size_t at = place_of(address, data.size());
        std::copy(data.begin(), data.end(), memory.begin() + static_cast<std::ptrdiff_t>(at));
    }

    [[nodiscard]] bool is_open() const noexcept override { return open; }

    std::array<std::uint8_t, memory_size> memory{};
    std::bitset<memory_size / word> refused;
    bool open = true;
    bool silent = false;

private:
    std::size_t place_of(std::int64_t address, std::size_t length) const
    {
        if (silent) {
            throw GenApi::PortError(PvResult::Timeout, "no answer");
        }
        if (address < 0 || address > memory_size - static_cast<std::int64_t>(length)) {
            throw GenApi::PortError(PvResult::InvalidParameter, "there is no such memory");
        }
        return static_cast<std::size_t>(address);
    }

    [[nodiscard]] bool comes_along_rightly(std::int64_t address) const
    {
        return std::any_of(registers_.begin(), registers_.end(),
                           [&](const Register& one) { return one.address == address && one.length == word; }) &&
               std::all_of(registers_.begin(), registers_.end(), [&](const Register& one) {
                   return one.may_come_along || one.address >= address + word || one.address + one.length <= address;
               });
    }

    std::size_t words_at_once_;
    const std::vector<Register>& registers_;
};

std::string name_of(std::size_t index) { return "R" + std::to_string(index); }

/// One register, near those before it, and what it tells of itself in `facts`.
std::string describe(Script& script, std::size_t index, Register& facts)
{
    constexpr std::array kinds = {"IntReg", "IntReg",       "IntReg",   "IntReg",
                                  "IntReg", "MaskedIntReg", "FloatReg", "StringReg"};
    constexpr std::array cachings = {"WriteThrough", "WriteThrough", "WriteAround", "NoCache"};
    constexpr std::array accesses = {"RW", "RW", "RO", "WO"};
    constexpr std::array lengths = {4, 4, 4, 4, 4, 2, 8, 1};
    const unsigned what = script.next();
    const unsigned where = script.next();
    const unsigned how = script.next();
    const unsigned more = script.next();
    const std::string kind = kinds[what & 7];
    const std::string caching = cachings[what >> 3 & 3];
    const std::string access = accesses[more & 3];
    const bool number = kind != "StringReg";
    facts.address = static_cast<std::int64_t>(word * where + ((how & 0x80) != 0 ? how & 3 : 0));
    facts.length = kind == "FloatReg" ? (how & 4) + 4 : lengths[how >> 2 & 7];
    facts.may_come_along = number && caching != "NoCache" && access != "WO";
    camera_xml::Properties with{.length = facts.length, .access = access, .cachable = caching};
    with.byte_order = (what & 0x20) != 0 ? "BigEndian" : "LittleEndian";
    if (kind == "MaskedIntReg") {
        with.lsb = 0;
        with.msb = facts.length * 4;
    }
    if ((what & 0x40) != 0 && number && kind != "FloatReg") {
        with.sign = "Signed";
    }
    if ((more & 4) != 0) {
        with.polling_time = 50;
    }
    if (index > 0) {
        const std::string other = name_of(more >> 4 & (index - 1));
        if ((how & 0x20) != 0) {
            with.is_available = other;
        }
        if ((how & 0x40) != 0) {
            with.invalidators = {other};
        }
        if ((more & 8) != 0) {
            with.more = camera_xml::element("pAddress", other);
            facts.may_come_along = true;  // it stands somewhere else, and nothing here tells where
            facts.length = 0;
        }
    }
    return camera_xml::register_of(kind, name_of(index), facts.address, with);
}

std::string describe_all(Script& script, std::vector<Register>& registers)
{
    std::string nodes;
    registers.resize(3 + script.next() % 30);
    for (std::size_t i = 0; i < registers.size(); ++i) {
        nodes += describe(script, i, registers[i]);
    }
    return camera_xml::description(nodes);
}

/// A node map over memory of its own.
struct Side {
    Side(const std::string& xml, std::size_t words_at_once, const std::vector<Register>& registers)
        : port(words_at_once, registers), map(GenApi::load_node_map(xml, port, {.now = [] { return current_time; }}))
    {}

    Port port;
    std::unique_ptr<GenApi::INodeMap> map;
};

template <class Work>
std::string outcome_of(Work&& work)
{
    try {
        return "done: " + work();
    } catch (const GenApi::Error& error) {
        return std::to_string(error.code()) + ": " + error.what();
    }
}

/// Both ways side by side.
class Pair {
public:
    Pair(const std::string& xml, std::size_t words_at_once, const std::vector<Register>& registers)
        : together_(xml, words_at_once, registers), alone_(xml, 1, registers), count_(registers.size())
    {}

    /// The description makes the register unusable: it is never transferred.
    [[nodiscard]] bool is_unusable(std::size_t index) const
    {
        return !together_.map->node(name_of(index))->defect().empty();
    }

    template <class Work>
    void on_node(unsigned number, Work work)
    {
        const auto on = [&](Side& side) {
            INode* const node = side.map->node(name_of(number % count_));
            return outcome_of([&] { return work(*node); });
        };
        require(on(together_) == on(alone_));
        require(together_.port.memory == alone_.port.memory);
    }

    template <class Work>
    void on_maps(Work work)
    {
        work(*together_.map);
        work(*alone_.map);
    }

    /// Something happens to the device. Nothing that came along before is good any more.
    template <class Work>
    void on_ports(Work work)
    {
        current_time += moment;
        work(together_.port);
        work(alone_.port);
    }

    void read(unsigned number, ReadMode mode = ReadMode::cached)
    {
        on_node(number, [&](INode& node) { return node.to_string(mode); });
    }

private:
    Side together_;
    Side alone_;
    std::size_t count_;
};

void happen_to_device(Script& script, Pair& pair)
{
    const unsigned what = script.next();
    const std::size_t at = script.next() * std::size_t{word};
    const auto value = static_cast<std::uint8_t>(script.next());
    pair.on_ports([&](Port& port) {
        switch (what & 7) {
        case 0: port.open = !port.open; break;
        case 1: port.silent = !port.silent; break;
        case 2: port.refused.flip(at / word); break;
        default: port.memory[at + what % word] = value;
        }
    });
}

void step(Script& script, Pair& pair)
{
    const unsigned what = script.next();
    const unsigned number = script.next();
    switch (what & 15) {
    case 0: pair.on_node(number, [](INode& node) { return std::to_string(node.int_value()); }); break;
    case 1: pair.read(number, ReadMode::fresh); break;
    case 2:
        pair.on_node(number, [&](INode& node) {
            node.set_int_value(what >> 4);
            return std::string();
        });
        break;
    case 3: pair.on_node(number, [](INode& node) { return std::to_string(static_cast<int>(node.access())); }); break;
    case 4:
        pair.on_node(number, [&](INode& node) {
            const std::array<std::uint8_t, 4> bytes = {static_cast<std::uint8_t>(what), 1, 2, 3};
            node.set_bytes(std::span(bytes).first(1 + (what >> 6)));
            return std::string();
        });
        break;
    case 5:
        pair.on_node(number, [](INode& node) {
            node.invalidate();
            return std::string();
        });
        break;
    case 6: pair.on_maps([](GenApi::INodeMap& map) { map.invalidate_all(); }); break;
    case 7: pair.on_maps([&](GenApi::INodeMap& map) { map.poll(std::chrono::milliseconds(number)); }); break;
    case 8: current_time += std::chrono::milliseconds(number); break;
    case 9: happen_to_device(script, pair); break;
    case 10: pair.on_node(number, [](INode& node) { return std::to_string(node.int_max()); }); break;
    default:
        for (unsigned i = 0; i <= what >> 4; ++i) {
            pair.read(number + i);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int most_steps = 300;
    current_time = std::chrono::steady_clock::time_point(1h);
    Script script({data, size});
    const std::size_t words_at_once = 2 + script.next() % 40;
    std::vector<Register> registers;
    const std::string xml = describe_all(script, registers);
    Pair pair(xml, words_at_once, registers);
    for (std::size_t i = 0; i < registers.size(); ++i) {
        if (pair.is_unusable(i)) {
            registers[i] = {.address = 0, .length = 0, .may_come_along = true};  // forbids nothing
        }
    }
    for (int i = 0; i < most_steps && !script.is_over(); ++i) {
        step(script, pair);
    }
    return 0;
}
