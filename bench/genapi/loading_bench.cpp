#include <expat.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <pugixml.hpp>
#include <stdexcept>

#include "bench/genapi/descriptions.h"
#include "bench/genapi/genapi_bench.h"
#include "bench/genapi/measure.h"
#include "bench/genapi/peer.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"

namespace bench {

namespace {

constexpr double milli = 1e3;
constexpr double kilobyte = 1024;

class NoPort final : public GenApi::IPort {
public:
    void read(std::int64_t, std::span<std::uint8_t>) override { refuse(); }
    void write(std::int64_t, std::span<const std::uint8_t>) override { refuse(); }
    [[nodiscard]] bool is_open() const noexcept override { return true; }

private:
    [[noreturn]] static void refuse() { throw GenApi::PortError(PvResult::NotConnected, "there is no device"); }
};

std::unique_ptr<GenApi::INodeMap> load(const Description& description, NoPort& port)
{
    return GenApi::load_node_map(description.xml, port);
}

void parse_with_expat(const std::string& xml)
{
    const std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> parser(XML_ParserCreate(nullptr), XML_ParserFree);
    // what makes a node map must hear of elements and texts; what it does with them costs extra
    XML_SetElementHandler(
        parser.get(), [](void*, const XML_Char*, const XML_Char**) {}, [](void*, const XML_Char*) {});
    XML_SetCharacterDataHandler(parser.get(), [](void*, const XML_Char*, int) {});
    keep(XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), 1));
}

void parse_with_pugixml(const std::string& xml)
{
    pugi::xml_document document;
    keep(document.load_buffer(xml.data(), xml.size()).status);
}

/// Bytes that the heap has handed out.
std::size_t heap_in_use()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t resident_bytes()
{
    long pages = 0;
    if (FILE* const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*s %ld", &pages) != 1) {
            pages = 0;
        }
        std::fclose(file);
    }
    return static_cast<std::size_t>(pages) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

struct Worst {
    double to_peer = 0;
    double bytes_per_node = 0;
};

/// The peer takes no text before the XML.
std::string without_preamble(const std::string& xml)
{
    const std::size_t start = xml.find("<?xml");
    return start == xml.npos ? xml : xml.substr(start);
}

void measure_one(const Description& description, Worst& worst)
{
    NoPort port;
    const std::string clean = without_preamble(description.xml);
    Way ways[] = {
        {"ours", [&] { keep(load(description, port)); }},
        {"with parameters", [&] { keep(PvGenParameterArray(load(description, port)).GetCount()); }},
        {"libaravis", [&] { peer_load(clean); }},
        {"pugixml", [&] { parse_with_pugixml(clean); }},
        {"expat", [&] { parse_with_expat(clean); }},
    };
    alternate(ways, description.xml.size() > 300'000 ? 11 : 25, 1);
    const std::size_t before = heap_in_use();
    const auto map = load(description, port);
    const double per_node = static_cast<double>(heap_in_use() - before) / static_cast<double>(map->node_count());
    const double to_peer = median_ratio(ways[0], ways[2]);
    worst.to_peer = std::max(worst.to_peer, to_peer);
    worst.bytes_per_node = std::max(worst.bytes_per_node, per_node);
    std::printf("%-32.32s %5.0f %6zu  %7.2f %7.2f %8.2f %7.2f %6.2f   %5.3f  %5.2f  %6.0f\n", description.name.c_str(),
                static_cast<double>(description.xml.size()) / kilobyte, map->node_count(), ways[0].median() * milli,
                ways[1].median() * milli, ways[2].median() * milli, ways[3].median() * milli, ways[4].median() * milli,
                to_peer, median_ratio(ways[0], ways[4]), per_node);
}

void measure_repeated(const Description& description)
{
    constexpr int warm_up = 20;
    constexpr int times = 1000;
    NoPort port;
    for (int i = 0; i < warm_up; ++i) {
        keep(PvGenParameterArray(load(description, port)).GetCount());
    }
    const std::size_t heap = heap_in_use();
    const std::size_t resident = resident_bytes();
    for (int i = 0; i < times; ++i) {
        keep(PvGenParameterArray(load(description, port)).GetCount());
    }
    std::printf("%s loaded and freed %d times: heap in use %zu -> %zu bytes, resident %.0f -> %.0f KiB\n",
                description.name.c_str(), times, heap, heap_in_use(), static_cast<double>(resident) / kilobyte,
                static_cast<double>(resident_bytes()) / kilobyte);
}

}  // namespace

void measure_loading()
{
    const auto all = descriptions();
    std::printf("\nloading a description, ms\n%-32s %5s %6s  %7s %7s %8s %7s %6s   %5s  %5s  %6s\n", "", "KiB", "nodes",
                "ours", "+array", "aravis", "pugixml", "expat", "/arav", "/exp", "B/node");
    Worst worst;
    for (const Description& description : all) {
        measure_one(description, worst);
    }
    std::printf("worst: %.3f of libaravis (wanted: at most 0.333), %.0f bytes a node (wanted: below 1024)\n",
                worst.to_peer, worst.bytes_per_node);
    measure_repeated(all.back());
}

}  // namespace bench
