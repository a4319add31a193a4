// A port over plain memory that counts what is asked of it and fails on demand.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/node_map.h"
#include "tests/description/builders.h"

/// Memory from address 0 on; what was never written reads as 0.
class MemoryPort final : public GenApi::IPort {
public:
    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        ++reads;
        check_access();
        get(address, out);
    }

    [[nodiscard]] std::size_t words_at_once() const noexcept override { return words_together; }

    bool read_words(std::span<const GenApi::PortRead> words) override
    {
        ++reads;
        EXPECT_LE(words.size(), words_together);
        check_access();
        std::vector<std::int64_t>& group = groups.emplace_back();
        for (const GenApi::PortRead& word : words) {
            EXPECT_EQ(word.out.size(), 4U);
            EXPECT_EQ(word.address % 4, 0);
            group.push_back(word.address);
            if (word.address == refused) {
                return false;
            }
            get(word.address, word.out);
        }
        return true;
    }

    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        ++writes;
        check_access();
        set(address, {data.begin(), data.end()});
    }

    [[nodiscard]] bool is_open() const noexcept override { return open; }

    void set(std::int64_t address, const std::vector<std::uint8_t>& data)
    {
        for (std::size_t i = 0; i < data.size(); ++i) {
            bytes[address + static_cast<std::int64_t>(i)] = data[i];
        }
    }

    void set32(std::int64_t address, std::uint32_t value)
    {
        set(address, {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                      static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
    }

    [[nodiscard]] std::uint32_t get32(std::int64_t address)
    {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = value << 8 | bytes[address + i];
        }
        return value;
    }

    [[nodiscard]] int transfers() const { return reads + writes; }

    std::map<std::int64_t, std::uint8_t> bytes;
    int reads = 0;  ///< messages
    int writes = 0;
    std::size_t words_together = 1;
    std::vector<std::vector<std::int64_t>> groups;  ///< the addresses of words that were read together
    std::int64_t refused = -1;                      ///< this one the device does not read together with others
    bool open = true;
    std::string failure;  ///< when set, every transfer fails with this text
    PvResult::Code failure_code = PvResult::NetworkError;
    std::function<void()> on_access;

private:
    void check_access() const
    {
        if (on_access) {
            on_access();
        }
        if (!failure.empty()) {
            throw GenApi::PortError(failure_code, failure);
        }
    }

    void get(std::int64_t address, std::span<std::uint8_t> out) const
    {
        for (std::size_t i = 0; i < out.size(); ++i) {
            const auto found = bytes.find(address + static_cast<std::int64_t>(i));
            out[i] = found != bytes.end() ? found->second : std::uint8_t{0};
        }
    }
};

/// A node map over a memory port.
struct Camera {
    explicit Camera(std::string_view body, const GenApi::LoadOptions& options = {})
        : map(GenApi::load_node_map(camera_xml::description(body), port, options))
    {}
    explicit Camera(const std::string& xml, bool) : map(GenApi::load_node_map(xml, port)) {}

    GenApi::INode& operator[](std::string_view name) const
    {
        GenApi::INode* const node = map->node(name);
        if (node == nullptr) {
            throw std::out_of_range("no node " + std::string(name));
        }
        return *node;
    }

    MemoryPort port;
    std::unique_ptr<GenApi::INodeMap> map;
};

/// The text of the exception that `work` throws; "nothing was thrown" when it does not.
template <class Exception = GenApi::Error, class Work>
std::string message_of(Work&& work)
{
    try {
        work();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing was thrown";
}

/// The code of the exception that `work` throws; OK when it does not.
template <class Work>
PvResult::Code code_of(Work&& work)
{
    try {
        work();
    } catch (const GenApi::Error& error) {
        return error.code();
    }
    return PvResult::OK;
}

/// Why a description as a whole cannot be loaded; "nothing was thrown" when it can.
inline std::string load_error(const std::string& xml, const GenApi::LoadOptions& options = {})
{
    MemoryPort port;
    return message_of<GenApi::DescriptionError>([&] { static_cast<void>(GenApi::load_node_map(xml, port, options)); });
}
