// Descriptions: any bytes may be given for one. What loads is read, written and changed in every way, over a port whose
// registers hold what the input leads to.
#include <string>

#include "sdk/description/zip.h"
#include "sdk/genapi/node_map.h"
#include "tests/fuzz/input.h"

namespace {

using GenApi::INode;

/// Registers whose bytes follow from their addresses, and now and then a failure.
class Port final : public GenApi::IPort {
public:
    explicit Port(std::uint32_t seed) : seed_(seed) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        if (++transfers_ % 17 == 0) {
            throw GenApi::PortError(PvResult::Timeout, "no answer");
        }
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = static_cast<std::uint8_t>((static_cast<std::uint64_t>(address) + i) * seed_ >> 3);
        }
    }
    void write(std::int64_t, std::span<const std::uint8_t>) override
    {
        if (++transfers_ % 13 == 0) {
            throw GenApi::PortError(PvResult::NetworkError, "no answer");
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return transfers_ % 29 != 28; }

private:
    std::uint32_t seed_;
    unsigned transfers_ = 0;
};

template <class Work>
void attempt(Work&& work)
{
    try {
        work();
    } catch (const GenApi::Error& error) {
        // refused; in words
        fuzz::require(error.what()[0] != '\0' && error.code() != PvResult::OK);
    }
}

void use(INode& node, std::uint32_t seed)
{
    attempt([&] { static_cast<void>(node.access()); });
    attempt([&] { static_cast<void>(node.to_string()); });
    attempt([&] { static_cast<void>(node.int_min() <= node.int_max()); });
    attempt([&] { fuzz::require(node.int_increment() >= 1); });
    attempt([&] { static_cast<void>(node.float_min() <= node.float_max()); });
    attempt([&] { static_cast<void>(node.float_value(GenApi::ReadMode::fresh)); });
    attempt([&] { node.set_int_value(seed); });
    attempt([&] { node.set_int_value(node.int_max()); });
    attempt([&] { node.set_float_value(seed / 7.0); });
    attempt([&] { node.set_bool_value((seed & 1) != 0); });
    attempt([&] { node.from_string(std::to_string(seed)); });
    attempt([&] { node.set_string_value("text"); });
    attempt([&] { node.execute(); });
    attempt([&] { static_cast<void>(node.is_done()); });
    attempt([&] { static_cast<void>(node.current_entry().symbolic()); });
    attempt([&] {
        std::uint8_t bytes[16] = {};
        node.get_bytes(bytes);
        node.set_bytes(bytes);
    });
    for (INode* const child : node.children()) {
        static_cast<void>(child->name());
    }
    static_cast<void>(node.selected());
    static_cast<void>(node.selecting());
    static_cast<void>(node.polling_time());
    static_cast<void>(node.is_cached());
    node.invalidate();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::uint32_t seed = 1;
    for (std::size_t i = 0; i < size; ++i) {
        seed = seed * 31 + data[i];
    }
    try {
        std::string xml = vex::description::load_description({data, size});
        Port port(seed);
        const auto map = GenApi::load_node_map(std::move(xml), port, {.largest_description = 1 << 20});
        std::size_t calls = 0;
        for (std::size_t i = 0; i < map->node_count(); ++i) {
            map->node_at(i)->on_change([&calls](INode&) { ++calls; });
        }
        const std::uint8_t bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
        const GenApi::Chunk chunks[] = {{1, bytes, 8}, {2, {}, 0}};
        map->attach_chunks(chunks, GenApi::ChunkMemory::borrowed);
        map->deliver_event(1, bytes);
        for (std::size_t i = 0; i < map->node_count() && i < 200; ++i) {
            use(*map->node_at(i), seed + static_cast<std::uint32_t>(i));
        }
        for (const INode* feature : map->features()) {
            fuzz::require(feature->category() != nullptr);
        }
        map->poll(std::chrono::milliseconds(1000));
        map->invalidate_all();
        map->detach_chunks();
    } catch (const GenApi::DescriptionError& error) {
        fuzz::require(error.what()[0] != '\0');
    }
    return 0;
}
