// How long a configuration of 10,000 features takes to load and to save, beside what of it is the XML parser's part;
// and how many registers storing and restoring settings transfer.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <pugixml.hpp>
#include <random>
#include <string>
#include <vector>

#include "bench/persistence/transfers.h"
#include "sdk/base/whole_file.h"
#include "sdk/persistence/PvConfigurationReader.h"
#include "sdk/persistence/configuration_xml.h"

using namespace vex;
using namespace vex::persistence;

namespace bench {
namespace {

constexpr int features = 10'000;
constexpr double wanted_ms = 50;

void require(const PvResult& result)
{
    if (!result.IsOK()) {
        std::fprintf(stderr, "%s\n", result.GetDescription().GetAscii());
        std::exit(1);
    }
}

/// A device, half of whose features have a selector.
Configuration large()
{
    Item item{.kind = ItemKind::device, .name = "Camera"};
    for (int i = 0; i < features; ++i) {
        StoredValue value{"ManufacturerFeature" + std::to_string(i), std::to_string(i * 3.25), {}};
        if (i % 2 == 1) {
            value.selectors.push_back({"ManufacturerSelector", "Entry" + std::to_string(i % 16)});
        }
        item.values.push_back(std::move(value));
    }
    Configuration configuration;
    configuration.add(std::move(item));
    return configuration;
}

template <class Work>
double median_ms(const Work& work)
{
    using Clock = std::chrono::steady_clock;
    std::vector<double> times(21);
    for (double& time : times) {
        const auto begin = Clock::now();
        work();
        time = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    }
    std::ranges::sort(times);
    return times[times.size() / 2];
}

int run()
{
    const auto path =
        std::filesystem::temp_directory_path() / ("persistence_bench_" + std::to_string(std::random_device{}()));
    const PvString name(path.string().c_str());
    const Configuration configuration = large();
    const std::string text = to_xml(configuration);
    const auto save = [&](Durability durability) {
        const std::string xml = to_xml(configuration);
        require(write_whole_file(name, {reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()}, durability));
    };
    std::printf("%d features, %.1f KiB\n", features, static_cast<double>(text.size()) / 1024);
    std::printf("saving, to the disk     %7.2f ms\n", median_ms([&] { save(Durability::on_disk); }));
    std::printf("saving, to the system   %7.2f ms\n", median_ms([&] { save(Durability::in_system); }));
    PvConfigurationReader reader;
    const double loading = median_ms([&] { require(reader.Load(name)); });
    const double parsing = median_ms([&] {
        pugi::xml_document document;
        if (!document.load_buffer(text.data(), text.size())) {
            std::exit(1);
        }
    });
    std::printf("the XML parser alone    %7.2f ms\n", parsing);
    std::printf("loading                 %7.2f ms, wanted: %.0f ms\n", loading, wanted_ms);
    std::filesystem::remove(path);
    const bool are_few = transfers_are_few();
    return loading <= wanted_ms && are_few ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main() { return bench::run(); }
