// What a browser reads of the largest description of a real camera that the environment names.

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/browser/feature_reader.h"
#include "sdk/browser/feature_tree.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/genapi/corpus.h"

namespace {

using namespace vex::browser;

/// Every word holds the number 1; which addresses were read is kept.
class ListeningPort final : public GenApi::IPort {
public:
    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        const std::lock_guard lock(mutex_);
        addresses_.insert(address);
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = ((address + static_cast<std::int64_t>(i)) & 3) == 3 ? 1 : 0;
        }
    }
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    [[nodiscard]] std::set<std::int64_t> addresses() const
    {
        const std::lock_guard lock(mutex_);
        return addresses_;
    }

private:
    mutable std::mutex mutex_;
    std::set<std::int64_t> addresses_;
};

/// A camera's features as a browser has them.
struct Opened {
    explicit Opened(const std::string& xml) : array(GenApi::load_node_map(xml, port))
    {
        static_cast<void>(tree.set_visibility(PvGenVisibilityInvisible));
        static_cast<void>(tree.set(features_of(array), array.gate()));
    }

    [[nodiscard]] std::vector<std::shared_ptr<const Feature>> page(std::size_t first, std::size_t count) const
    {
        std::vector<std::shared_ptr<const Feature>> features;
        for (std::size_t row = first; row < tree.rows().size() && features.size() < count; ++row) {
            if (tree.rows()[row].feature != nullptr) {
                features.push_back(tree.rows()[row].feature);
            }
        }
        return features;
    }

    /// Shows the features and waits until each has been read.
    void show(const std::vector<std::shared_ptr<const Feature>>& features)
    {
        std::mutex mutex;
        std::condition_variable changed;
        std::set<const Feature*> told;
        FeatureReader reader(array.gate(), {.read =
                                                [&](std::shared_ptr<const Feature> feature, Reading) {
                                                    const std::lock_guard lock(mutex);
                                                    told.insert(feature.get());
                                                    changed.notify_all();
                                                },
                                            .edited = {}});
        reader.show(features);
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return told.size() == std::set(features.begin(), features.end()).size(); });
    }

    ListeningPort port;
    PvGenParameterArray array;
    FeatureTree tree{[](PvGenParameter*) { return true; }};
};

}  // namespace

TEST(BrowserOfARealCamera, ReadsNothingButWhatIsVisible)
{
    const auto files = corpus::files();
    if (files.empty()) {
        GTEST_SKIP() << "VEX_CAMERA_XML names no folder";
    }
    std::string xml;
    std::size_t most = 0;
    for (const auto& file : files) {
        std::string its = corpus::load(file);
        if (const std::size_t count = Opened(its).tree.displayed_count(); count > most) {
            most = count;
            xml = std::move(its);
        }
    }
    constexpr std::size_t rows_of_a_page = 24;
    Opened whole(xml);
    std::cout << most << " features\n";
    EXPECT_TRUE(whole.port.addresses().empty());
    std::set<std::int64_t> expected;
    for (const std::size_t first : {std::size_t{0}, whole.tree.rows().size() / 2}) {
        const auto features = whole.page(first, rows_of_a_page);
        whole.show(features);
        for (const auto& feature : features) {
            // the same feature, alone
            Opened single(xml);
            const auto all = single.page(0, single.tree.rows().size());
            const auto same =
                std::ranges::find_if(all, [&](const auto& other) { return other->name == feature->name; });
            ASSERT_NE(same, all.end());
            single.show({*same});
            const auto its = single.port.addresses();
            expected.insert(its.begin(), its.end());
        }
        EXPECT_EQ(whole.port.addresses(), expected);
    }
}
