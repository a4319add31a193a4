// What was stored comes back, whatever was done to the camera meanwhile: over made-up cameras, and over descriptions of
// real ones.

#include <gtest/gtest.h>

#include <iostream>
#include <optional>
#include <unordered_map>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/stored_values.h"
#include "tests/sdk/genapi/corpus.h"
#include "tests/sdk/genicam/generated_camera.h"
#include "tests/sdk/genicam/scrambling.h"

using namespace vex;

namespace {

using namespace generated;

std::string text(const StoredValue& value)
{
    std::string result = value.name;
    for (const SelectorValue& selector : value.selectors) {
        result += '[' + selector.name + '=' + selector.value + ']';
    }
    return result + '=' + value.value;
}

std::vector<std::string> texts(const std::vector<StoredValue>& values)
{
    std::vector<std::string> result;
    for (const StoredValue& value : values) {
        result.push_back(text(value));
    }
    return result;
}

std::string text(const PvResult& result) { return std::string(result.description()); }

std::vector<GenApi::INode*> features_of(const PvGenParameterArray& array)
{
    std::vector<GenApi::INode*> features;
    for (std::uint32_t i = 0; i < array.GetCount(); ++i) {
        features.push_back(array.Get(i)->GetNode());
    }
    return features;
}

/// A made-up camera that is stored, disturbed and restored.
class RoundTrip : public testing::Test {
protected:
    void make(std::uint32_t seed)
    {
        maker.emplace(seed);
        memory = CameraMemory();
        memory.bytes.assign(maker->size(), 0);
        memory.reactions = maker->reactions;
        array.emplace(GenApi::load_node_map(maker->xml, memory));
        dice.emplace(seed);
        for (const auto& note : array->GetNodeMap()->diagnostics()) {
            ADD_FAILURE() << note.node << ": " << note.text;
        }
    }

    void disturb()
    {
        const auto features = features_of(*array);
        scramble(features, *dice, 8 * features.size());
        ASSERT_TRUE(array->InvalidateCache().IsOK());
    }

    [[nodiscard]] bool met(const Kept& kept, const std::vector<std::uint8_t>& bytes) const
    {
        return std::ranges::all_of(kept.conditions, [&](const Condition& condition) {
            const std::uint32_t word = word_at(bytes, condition.address);
            return word >= condition.least && word <= condition.most;
        });
    }

    [[nodiscard]] static std::string value_in(const Kept& kept, const std::vector<std::uint8_t>& bytes)
    {
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(kept.address);
        std::string value(begin, begin + static_cast<std::ptrdiff_t>(kept.length));
        return kept.is_text ? value.substr(0, value.find('\0')) : value;
    }

    void check(const std::vector<std::uint8_t>& before, const std::vector<std::uint8_t>& disturbed)
    {
        for (const Kept& kept : maker->kept) {
            if (!met(kept, before)) {
                continue;
            }
            ++compared;
            changed += value_in(kept, disturbed) != value_in(kept, before) ? 1 : 0;
            EXPECT_EQ(testing::PrintToString(value_in(kept, memory.bytes)),
                      testing::PrintToString(value_in(kept, before)))
                << kept.feature << " at " << kept.address;
        }
        for (const std::int64_t address : maker->put_back) {
            EXPECT_EQ(word_at(memory.bytes, address), word_at(disturbed, address)) << "the selector at " << address;
        }
    }

    void go(std::uint32_t seed)
    {
        make(seed);
        disturb();
        const std::vector<std::uint8_t> before = memory.bytes;
        const StoredValues stored = store_values(*array);
        EXPECT_TRUE(stored.result.IsOK()) << text(stored.result);
        for (const ParameterFailure& failure : stored.skipped) {
            ADD_FAILURE() << text(failure.reason);
        }
        EXPECT_TRUE(memory.bytes == before) << "storing has changed the camera";
        disturb();
        const std::vector<std::uint8_t> disturbed = memory.bytes;
        const RestoredValues restored = restore_values(*array, stored.values);
        EXPECT_TRUE(restored.result.IsOK()) << text(restored.result);
        check(before, disturbed);
        ASSERT_TRUE(array->InvalidateCache().IsOK());
        EXPECT_EQ(texts(store_values(*array).values), texts(stored.values));
    }

    CameraMemory memory;
    std::optional<CameraMaker> maker;
    std::optional<PvGenParameterArray> array;
    std::optional<Dice> dice;
    std::size_t compared = 0;
    std::size_t changed = 0;
};

}  // namespace

TEST_F(RoundTrip, GivesACameraBackWhatWasStored)
{
    for (std::uint32_t seed = 1; seed <= 1000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ASSERT_NO_THROW(go(seed));
        if (HasFailure()) {
            std::cout << maker->xml;
            return;
        }
    }
    EXPECT_GT(compared, 20'000U);
    EXPECT_GT(changed, compared / 4) << "the cameras were hardly disturbed";
}

namespace {

/// Bytes that depend on their address and a seed, and what was written over them.
class ImageMemory final : public GenApi::IPort {
public:
    explicit ImageMemory(std::uint32_t seed) : seed_(seed) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        for (std::size_t i = 0; i < out.size(); ++i) {
            const auto found = written_.find(address + static_cast<std::int64_t>(i));
            out[i] = found != written_.end() ? found->second : original(address + static_cast<std::int64_t>(i));
        }
    }
    void write(std::int64_t address, std::span<const std::uint8_t> data) override
    {
        for (std::size_t i = 0; i < data.size(); ++i) {
            written_[address + static_cast<std::int64_t>(i)] = data[i];
        }
    }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

private:
    /// Words hold 0, 1 or, by a larger seed, small numbers: few registers of cameras hold large ones.
    [[nodiscard]] std::uint8_t original(std::int64_t address) const
    {
        if ((address & 3) != 3) {
            return 0;
        }
        return seed_ < 2 ? static_cast<std::uint8_t>(seed_)
                         : static_cast<std::uint8_t>((static_cast<std::uint64_t>(address) * seed_ >> 2) % 7);
    }

    std::uint32_t seed_;
    std::unordered_map<std::int64_t, std::uint8_t> written_;
};

/// As if the maker had let every value be stored that can be: few of them have.
std::string with_everything_streamable(const std::string& xml)
{
    constexpr std::string_view kinds[] = {"Integer",   "Float",        "Boolean",      "Enumeration",
                                          "Converter", "IntReg",       "MaskedIntReg", "FloatReg",
                                          "StringReg", "IntConverter", "SwissKnife"};
    std::string result;
    std::size_t copied = 0;
    for (std::size_t begin = xml.find('<'); begin != std::string::npos; begin = xml.find('<', begin + 1)) {
        const std::string kind = xml.substr(begin + 1, xml.find_first_of(" \t\r\n>/", begin + 1) - begin - 1);
        const std::size_t end = xml.find('>', begin);
        if (std::ranges::find(kinds, kind) == std::end(kinds) || end == std::string::npos || xml[end - 1] == '/') {
            continue;
        }
        const std::string_view body = std::string_view(xml).substr(end, xml.find("</" + kind + '>', end) - end);
        if (body.find("<Streamable>") == std::string_view::npos) {
            result.append(xml, copied, end + 1 - copied).append("<Streamable>Yes</Streamable>");
            copied = end + 1;
        }
    }
    return result.append(xml, copied);
}

struct Compared {
    std::size_t values = 0;
    std::size_t reported = 0;
    std::size_t changed = 0;  ///< by what was done to the camera, and brought back
};

/// What the camera holds now, where a value was stored.
std::string present(PvGenParameterArray& array, const StoredValue& value)
{
    for (const SelectorValue& selector : value.selectors) {
        GenApi::INode& node = *array.GetNodeMap()->node(selector.name);
        if (node.to_string() != selector.value) {
            node.from_string(selector.value);
        }
    }
    return array.GetNodeMap()->node(value.name)->to_string();
}

std::vector<std::string> present(PvGenParameterArray& array, const std::vector<StoredValue>& values)
{
    std::vector<std::string> result;
    for (const StoredValue& value : values) {
        try {
            result.push_back(present(array, value));
        } catch (const GenApi::Error& error) {
            result.emplace_back(error.what());
        }
    }
    return result;
}

bool is_reported(const StoredValue& value, const std::vector<ParameterFailure>& failures)
{
    return std::ranges::any_of(failures, [&](const ParameterFailure& failure) {
        return failure.name == value.name && failure.selectors == value.selectors;
    });
}

/// Every value comes back, or is reported with a reason.
void check_image(const std::string& xml, std::uint32_t seed, Compared& sum)
{
    ImageMemory memory(seed);
    PvGenParameterArray array(GenApi::load_node_map(xml, memory));
    Dice dice(seed);
    auto features = features_of(array);
    std::erase_if(features, [](const GenApi::INode* node) { return node->name() == "TLParamsLocked"; });
    scramble(features, dice, 2 * features.size());
    ASSERT_TRUE(array.InvalidateCache().IsOK());
    const StoredValues stored = store_values(array);
    EXPECT_TRUE(stored.result.IsOK()) << text(stored.result);
    scramble(features, dice, 4 * features.size());
    ASSERT_TRUE(array.InvalidateCache().IsOK());
    const std::vector<std::string> disturbed = present(array, stored.values);
    ASSERT_TRUE(array.InvalidateCache().IsOK());
    const RestoredValues restored = restore_values(array, stored.values);
    EXPECT_EQ(restored.result.IsOK(), restored.failures.empty());
    for (const ParameterFailure& failure : restored.failures) {
        EXPECT_FALSE(failure.reason.IsOK()) << failure.name;
        EXPECT_NE(text(failure.reason), "") << failure.name;
    }
    ASSERT_TRUE(array.InvalidateCache().IsOK());
    const std::vector<std::string> now = present(array, stored.values);
    for (std::size_t i = 0; i < now.size(); ++i) {
        const StoredValue& value = stored.values[i];
        if (is_reported(value, restored.failures)) {
            ++sum.reported;
            continue;
        }
        EXPECT_EQ(now[i], value.value) << text(value);
        sum.changed += disturbed[i] != value.value ? 1 : 0;
    }
    sum.values += now.size();
}

}  // namespace

TEST(CameraCorpusRoundTrip, EveryValueComesBackOrIsReported)
{
    const auto files = corpus::files();
    if (files.empty()) {
        GTEST_SKIP() << "VEX_CAMERA_XML names no folder with descriptions";
    }
    for (const auto& file : files) {
        SCOPED_TRACE(file.filename().string());
        std::string xml;
        ASSERT_NO_THROW(xml = with_everything_streamable(corpus::load(file)));
        Compared sum;
        for (const std::uint32_t seed : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE("image " + std::to_string(seed));
            EXPECT_NO_THROW(check_image(xml, seed, sum));
        }
        std::cout << file.filename().string() << ": " << sum.values << " values, " << sum.changed << " brought back, "
                  << sum.reported << " reported\n";
        EXPECT_GT(sum.changed, sum.reported);
    }
}
