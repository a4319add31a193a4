// Descriptions of real cameras, named by the environment, must load and answer whatever their registers hold.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <string_view>

#include "sdk/genapi/node_map.h"
#include "tests/sdk/genapi/corpus.h"

namespace {

using GenApi::AccessMode;
using GenApi::INode;
using GenApi::InterfaceType;

/// Every register holds zeros (0), every word the number 1 (1), or bytes that depend on their address and a seed.
class ImagePort final : public GenApi::IPort {
public:
    explicit ImagePort(std::uint32_t seed) : seed_(seed) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = byte_at(address + static_cast<std::int64_t>(i));
        }
    }
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }

private:
    [[nodiscard]] std::uint8_t byte_at(std::int64_t address) const
    {
        if (seed_ < 2) {
            return (address & 3) == 3 ? static_cast<std::uint8_t>(seed_) : std::uint8_t{0};
        }
        std::uint64_t value = (static_cast<std::uint64_t>(address) + seed_) * 0x9E3779B97F4A7C15;
        value ^= value >> 32;
        value *= 0xD6E8FEB86659FD93;
        return static_cast<std::uint8_t>(value >> 56);
    }

    std::uint32_t seed_;
};

/// What a made-up image may keep a feature from giving: each is the image's fault, because a camera's own registers
/// hold what the description expects.
constexpr std::string_view reasons_of_the_image[] = {
    "cannot have a length of",        // a register with the length is no length
    "which none of its entries has",  // an enumeration's register holds a number that no entry stands for
    "division by zero",               // a register that others are divided by holds 0
    "not a finite number",            // a float register holds no number, or the logarithm of a register that holds 0
};

/// Limits may also stand on nodes that the image makes unavailable, or on a chunk of a buffer that is not there.
constexpr std::string_view reasons_of_limits[] = {
    " is not available at present: ",
    " is not implemented by this device",
    "no buffer with the chunk of port ",
    " is not readable",
};

bool names_one_of(std::string_view text, std::span<const std::string_view> reasons)
{
    return std::any_of(reasons.begin(), reasons.end(),
                       [&](std::string_view reason) { return text.find(reason) != text.npos; });
}

class FeatureCheck {
public:
    explicit FeatureCheck(GenApi::INodeMap& map) : map_(map) {}

    void check(INode& node)
    {
        SCOPED_TRACE(std::string(node.name()));
        check_face(node);
        check_access(node, node.access());
        if (GenApi::is_readable(node.access())) {
            ++readable;
            check_value(node);
        }
    }

    int readable = 0;
    std::map<std::string, int> refusals;  ///< by their texts

private:
    /// What does not depend on the registers.
    void check_face(INode& node) const
    {
        EXPECT_EQ(map_.node(node.name()), &node);
        EXPECT_FALSE(node.display_name().empty());
        EXPECT_LE(node.visibility(), GenApi::Visibility::invisible);
        EXPECT_TRUE(node.defect().empty()) << node.defect();
        switch (node.type()) {
        case InterfaceType::none:
        case InterfaceType::category:
        case InterfaceType::enum_entry:
        case InterfaceType::port: ADD_FAILURE() << "a feature that is a " << node.element(); break;
        default: break;
        }
        INode* const category = node.category();
        ASSERT_NE(category, nullptr);
        ASSERT_EQ(category->type(), InterfaceType::category);
        const auto listed = category->children();
        EXPECT_NE(std::find(listed.begin(), listed.end(), &node), listed.end());
    }

    /// A wish that access does not grant must be refused in words, one that it grants must not.
    static void check_access(INode& node, AccessMode mode)
    {
        EXPECT_LE(mode, AccessMode::read_write);
        if (!GenApi::is_readable(mode) && node.type() != InterfaceType::command) {
            try {
                static_cast<void>(node.to_string());
                ADD_FAILURE() << "can be read although its access says otherwise";
            } catch (const GenApi::Error& error) {
                EXPECT_TRUE(std::string_view(error.what()).starts_with(node.name())) << error.what();
                EXPECT_NE(error.code(), PvResult::OK);
            }
        }
    }

    template <class Work>
    void attempt(Work&& work, std::span<const std::string_view> more_reasons = {})
    {
        try {
            work();
        } catch (const GenApi::Error& error) {
            EXPECT_TRUE(names_one_of(error.what(), reasons_of_the_image) || names_one_of(error.what(), more_reasons))
                << error.what();
            ++refusals[error.what()];
        }
    }

    template <class Work>
    void attempt_limits(Work&& work)
    {
        attempt(work, reasons_of_limits);
    }

    void check_value(INode& node)
    {
        switch (node.type()) {
        case InterfaceType::integer:
            attempt([&] { static_cast<void>(node.int_value()); });
            attempt_limits([&] { EXPECT_GE(node.int_increment(), 1); });
            attempt_limits([&] { static_cast<void>(node.int_min()); });
            attempt_limits([&] { static_cast<void>(node.int_max()); });
            break;
        case InterfaceType::floating:
            attempt([&] { static_cast<void>(node.float_value()); });
            attempt_limits([&] { EXPECT_FALSE(std::isnan(node.float_min())); });
            attempt_limits([&] { EXPECT_FALSE(std::isnan(node.float_max())); });
            break;
        case InterfaceType::boolean: attempt([&] { static_cast<void>(node.bool_value()); }); break;
        case InterfaceType::enumeration: check_enumeration(node); break;
        case InterfaceType::string: attempt([&] { static_cast<void>(node.string_value()); }); break;
        case InterfaceType::command: attempt([&] { static_cast<void>(node.is_done()); }); break;
        case InterfaceType::raw_register: check_bytes(node); break;
        default: break;
        }
        attempt([&] { static_cast<void>(node.to_string()); });
    }

    void check_enumeration(INode& node)
    {
        attempt([&] {
            const std::int64_t value = node.int_value();
            EXPECT_EQ(node.current_entry().int_value(), value);
        });
        const auto entries = node.children();
        EXPECT_FALSE(entries.empty());
        for (INode* entry : entries) {
            EXPECT_FALSE(entry->symbolic().empty());
            EXPECT_EQ(node.entry_by_symbolic(entry->symbolic()) != nullptr, entry->defect().empty());
            EXPECT_LE(entry->access(), AccessMode::read_write);
        }
    }

    void check_bytes(INode& node)
    {
        attempt([&] {
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(node.register_length()));
            node.get_bytes(bytes);
        });
    }

    GenApi::INodeMap& map_;
};

void check_image(const std::string& xml, std::uint32_t seed)
{
    ImagePort port(seed);
    const auto map = GenApi::load_node_map(xml, port);
    EXPECT_FALSE(map->features().empty());
    FeatureCheck check(*map);
    for (INode* feature : map->features()) {
        check.check(*feature);
    }
    if (seed == 0) {
        std::cout << "    " << map->node_count() << " nodes, " << map->features().size() << " features, "
                  << map->diagnostics().size() << " notes\n";
        for (const auto& note : map->diagnostics()) {
            std::cout << "    line " << note.line << " " << note.node << ": " << note.text << '\n';
        }
    }
    std::cout << "    image " << seed << ": " << check.readable << " readable\n";
    for (const auto& [text, count] : check.refusals) {
        std::cout << "        " << text << '\n';
    }
}

}  // namespace

TEST(CameraCorpus, EveryDescriptionLoadsAndItsFeaturesAnswer)
{
    const auto files = corpus::files();
    if (files.empty()) {
        GTEST_SKIP() << "VEX_CAMERA_XML names no folder with descriptions";
    }
    for (const auto& file : files) {
        SCOPED_TRACE(file.filename().string());
        std::cout << file.filename().string() << '\n';
        // one that fails must not keep the others from being tried
        std::string xml;
        EXPECT_NO_THROW(xml = corpus::load(file));
        for (const std::uint32_t seed : {0U, 1U, 2U, 3U, 4U}) {
            SCOPED_TRACE("image " + std::to_string(seed));
            EXPECT_NO_THROW(check_image(xml, seed));
        }
    }
}
