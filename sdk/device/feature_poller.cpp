#include "sdk/device/feature_poller.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "sdk/net/clock.h"

namespace vex::device {

using std::chrono::milliseconds;

namespace {

constexpr milliseconds shortest_interval{10};
constexpr milliseconds longest_interval{500};

}  // namespace

std::optional<milliseconds> polling_interval(const GenApi::INodeMap& node_map)
{
    std::optional<std::int64_t> shortest;
    for (std::size_t i = 0; i < node_map.node_count(); ++i) {
        if (const std::int64_t time = node_map.node_at(i)->polling_time(); time >= 0) {
            shortest = std::min(shortest.value_or(time), time);
        }
    }
    if (!shortest) {
        return std::nullopt;
    }
    return std::clamp(milliseconds(*shortest / 2), shortest_interval, longest_interval);
}

FeaturePoller::FeaturePoller(std::shared_ptr<GenApi::INodeMap> node_map,
                             std::shared_ptr<control::Connection> connection, milliseconds interval)
    : worker_("pv-polling", [node_map = std::move(node_map), connection = std::move(connection),
                             interval](control::Worker::Signals& signals) {
          const net::Clock& clock = net::Clock::steady();
          auto last = clock.now();
          while (signals.pause(interval) && !connection->channel().is_closed()) {
              const auto elapsed = std::chrono::floor<milliseconds>(clock.now() - last);
              last += elapsed;
              try {
                  node_map->poll(elapsed);
              } catch (const std::exception&) {
                  // memory is short; the next time will do
              }
          }
      })
{}

}  // namespace vex::device
