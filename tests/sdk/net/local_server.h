// A TCP server in the test program, on a port that the system chooses.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "sdk/base/address.h"

namespace net_test {

/// Takes one connection after the other, reads a request up to its empty line and answers with what the handler gives,
/// then closes.
class LocalServer {
public:
    /// The bytes to answer with. Runs on the server's thread.
    using Handler = std::function<std::string(const std::string& request)>;

    explicit LocalServer(Handler handler, vex::Ipv4Address address = vex::loopback_address);
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;
    ~LocalServer();

    [[nodiscard]] vex::Endpoint endpoint() const { return endpoint_; }
    /// "http://ADDRESS:PORT" and the path.
    [[nodiscard]] std::string url(const std::string& path) const { return "http://" + endpoint_.to_string() + path; }
    [[nodiscard]] int requests() const { return requests_; }
    /// Connections are taken and requests read, but never answered; the client has to give up.
    void hold(bool held) { held_ = held; }

private:
    using Handle = std::uintptr_t;
    void run();
    void serve(Handle client);

    Handler handler_;
    Handle listener_;
    vex::Endpoint endpoint_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> held_{false};
    std::atomic<int> requests_{0};
    std::thread thread_;
};

/// A port of 127.0.0.1 that nobody listens on.
[[nodiscard]] vex::Endpoint closed_endpoint();

}  // namespace net_test
