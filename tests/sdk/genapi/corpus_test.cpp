// Descriptions of real cameras, named by the environment, must load and answer whatever their registers hold.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>

#include "sdk/genapi/node_map.h"
#include "sdk/genapi/zip.h"

namespace {

using GenApi::AccessMode;
using GenApi::INode;
using GenApi::InterfaceType;

/// Every register holds zeros, or bytes that depend on its address and a seed.
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
        if (seed_ == 0) {
            return 0;
        }
        std::uint64_t value = (static_cast<std::uint64_t>(address) + seed_) * 0x9E3779B97F4A7C15;
        value ^= value >> 32;
        value *= 0xD6E8FEB86659FD93;
        return static_cast<std::uint8_t>(value >> 56);
    }

    std::uint32_t seed_;
};

std::vector<std::filesystem::path> corpus()
{
    std::vector<std::filesystem::path> files;
    if (const char* const folder = std::getenv("VEX_CAMERA_XML"); folder != nullptr && *folder != '\0') {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".xml" || entry.path().extension() == ".zip") {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string load(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    return GenApi::load_description({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

/// Reads all that a user could read of a feature; the data may forbid it, the engine must not fail.
void read_everything(INode& node, std::map<std::string, int>& refusals)
{
    const auto attempt = [&](auto&& work) {
        try {
            work();
        } catch (const GenApi::AccessError&) {
            ++refusals["access"];
        } catch (const GenApi::ValueError& error) {
            ++refusals["value"];
        } catch (const GenApi::PortError& error) {
            // a chunk or event without data; anything else cannot come from this port
            ++refusals["port"];
            EXPECT_EQ(error.code(), PvResult::NoAvailableData) << error.what();
        } catch (const GenApi::EvaluationError& error) {
            // a division by a register that holds 0, a computed length that makes no sense
            ++refusals["evaluation"];
            EXPECT_NE(error.code(), PvResult::GenICamXMLError) << error.what();
        }
    };
    const AccessMode mode = node.access();
    EXPECT_FALSE(node.name().empty());
    EXPECT_FALSE(node.display_name().empty());
    if (!GenApi::is_readable(mode)) {
        return;
    }
    switch (node.type()) {
    case InterfaceType::integer:
        attempt([&] { static_cast<void>(node.int_value()); });
        attempt([&] { EXPECT_GE(node.int_increment(), 1); });
        attempt([&] { static_cast<void>(node.int_min()); });
        attempt([&] { static_cast<void>(node.int_max()); });
        break;
    case InterfaceType::floating:
        attempt([&] { static_cast<void>(node.float_value()); });
        attempt([&] { static_cast<void>(node.float_min()); });
        attempt([&] { static_cast<void>(node.float_max()); });
        break;
    case InterfaceType::boolean: attempt([&] { static_cast<void>(node.bool_value()); }); break;
    case InterfaceType::enumeration:
        attempt([&] { static_cast<void>(node.int_value()); });
        attempt([&] { static_cast<void>(node.current_entry()); });
        for (INode* entry : node.children()) {
            EXPECT_FALSE(entry->symbolic().empty());
            static_cast<void>(entry->access());
        }
        break;
    case InterfaceType::string: attempt([&] { static_cast<void>(node.string_value()); }); break;
    case InterfaceType::command: attempt([&] { static_cast<void>(node.is_done()); }); break;
    case InterfaceType::raw_register:
        attempt([&] {
            std::vector<std::uint8_t> bytes(static_cast<std::size_t>(node.register_length()));
            node.get_bytes(bytes);
        });
        break;
    default: break;
    }
    attempt([&] { static_cast<void>(node.to_string()); });
}

}  // namespace

TEST(CameraCorpus, EveryDescriptionLoadsAndItsFeaturesAnswer)
{
    const auto files = corpus();
    if (files.empty()) {
        GTEST_SKIP() << "VEX_CAMERA_XML names no folder with descriptions";
    }
    for (const auto& file : files) {
        SCOPED_TRACE(file.filename().string());
        const std::string xml = load(file);
        for (const std::uint32_t seed : {0U, 1U, 2U}) {
            ImagePort port(seed);
            const auto start = std::chrono::steady_clock::now();
            const auto map = GenApi::load_node_map(xml, port);
            const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
            ASSERT_GT(map->features().size(), 10U);
            std::map<std::string, int> refusals;
            std::size_t readable = 0;
            for (INode* feature : map->features()) {
                ASSERT_NE(feature->category(), nullptr) << feature->name();
                EXPECT_NE(feature->type(), InterfaceType::none) << feature->name();
                read_everything(*feature, refusals);
                readable += GenApi::is_readable(feature->access()) ? 1U : 0U;
            }
            if (seed == 0) {
                std::cout << file.filename().string() << ": " << map->node_count() << " nodes, "
                          << map->features().size() << " features, " << readable << " readable, "
                          << map->diagnostics().size() << " notes, "
                          << took.count() / (static_cast<double>(xml.size()) / 1e6) << " ms/MB\n";
                for (const auto& note : map->diagnostics()) {
                    std::cout << "    line " << note.line << " " << note.node << ": " << note.text << '\n';
                }
            }
            std::cout << "    seed " << seed << ": refused";
            for (const auto& [kind, count] : refusals) {
                std::cout << ' ' << kind << ' ' << count;
            }
            std::cout << '\n';
        }
    }
}
