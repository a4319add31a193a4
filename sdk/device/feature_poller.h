// Features with a polling time: their cached values are forgotten, and whoever watches is told, as time passes.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "sdk/control/connection.h"
#include "sdk/control/worker.h"
#include "sdk/genapi/node_map.h"

namespace vex::device {

/// How often to tell a node map that time has passed: twice in its shortest polling time, within 10 ms and 500 ms.
/// Empty for a node map without polled nodes.
[[nodiscard]] std::optional<std::chrono::milliseconds> polling_interval(const GenApi::INodeMap& node_map);

/// The thread that lets time pass in a node map while its device is connected. Change notifications of polled features
/// are made on it. It ends with the connection, and keeps what it uses alive by itself.
class FeaturePoller {
public:
    FeaturePoller(std::shared_ptr<GenApi::INodeMap> node_map, std::shared_ptr<control::Connection> connection,
                  std::chrono::milliseconds interval);

    /// As Worker::stop; destruction stops, too.
    void stop(std::chrono::milliseconds timeout) noexcept { worker_.stop(timeout); }

private:
    control::Worker worker_;
};

}  // namespace vex::device
