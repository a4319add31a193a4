// Whatever a program does at the end of a bridge: its names, its bytes, and its coming and going.
//
// The input begins with a name, up to a zero. Then it is a script: the lower two bits of a byte choose what is done,
// the others how many of the next bytes are used. 0 the program sends them; 1 the device sends them; 2 the program
// goes, and another one comes; 3 the device takes, or the program takes, at most so many bytes at a time.
#include <chrono>
#include <string_view>
#include <vector>

#include "sdk/bridge/bridge.h"
#include "sdk/net/pipe_name.h"
#include "tests/fuzz/input.h"
#include "tests/sdk/bridge/fakes.h"

using namespace bridge_test;

namespace {

using fuzz::require;
using fuzz::View;

void parse_name(std::string_view text)
{
    const auto name = vex::net::PipeName::parse(text);
    if (!name) {
        return;
    }
    require(name->name.empty() == name->tcp.has_value());
    const auto again = vex::net::PipeName::parse(name->to_string());
    require(again && again->name == name->name && again->tcp == name->tcp);
    require(name->name.find_first_of("/\\") == std::string::npos);
}

/// A bridge with a program at its end.
class Joined {
public:
    Joined()
    {
        auto camera = std::make_unique<FakeCamera>(seen_, port_);
        auto host = std::make_unique<FakeHost>(seen_);
        host_ = host.get();
        require(bridge_
                    .start(
                        [&](std::unique_ptr<vex::bridge::HostSide>& made) {
                            made = std::move(host);
                            return PvResult(PvResult::OK);
                        },
                        [&](std::unique_ptr<vex::bridge::CameraSide>& made) {
                            made = std::move(camera);
                            return PvResult(PvResult::OK);
                        },
                        std::nullopt)
                    .IsOK());
        host_->connect();
        require(host_->await_attached());
    }

    void step(unsigned what, View bytes)
    {
        switch (what) {
        case 0:
            host_->send(bytes);
            to_device_.insert(to_device_.end(), bytes.begin(), bytes.end());
            break;
        case 1:
            require(port_->feed(bytes));
            from_device_ += bytes.size();
            break;
        case 2:
            host_->disconnect();
            host_->connect();
            break;
        default:
            port_->take_in_parts(bytes.size() + 1);
            host_->take_in_parts(64 - bytes.size());
            break;
        }
    }
    /// Every byte that a program has sent came to the device, and every one of the device is accounted for.
    void end()
    {
        require(port_->sent(to_device_.size()) == to_device_);
        const auto give_up = std::chrono::steady_clock::now() + patience;
        while (bridge_.received_from_device() != from_device_ || bridge_.sent_to_device() != to_device_.size()) {
            require(std::chrono::steady_clock::now() < give_up);
            std::this_thread::yield();
        }
        require(bridge_.stop().IsOK());
        require(bridge_.dropped() <= from_device_);
    }

private:
    Seen seen_;
    std::shared_ptr<FakePort> port_ = std::make_shared<FakePort>();
    FakeHost* host_ = nullptr;
    vex::bridge::Bridge bridge_;
    Bytes to_device_;
    std::size_t from_device_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    View rest(data, size);
    std::size_t name = 0;
    while (name < rest.size() && rest[name] != 0) {
        ++name;
    }
    parse_name({reinterpret_cast<const char*>(data), name});
    rest = rest.subspan(name);
    if (rest.size() < 2) {
        return 0;
    }
    rest = rest.subspan(1);
    Joined joined;
    while (!rest.empty()) {
        const unsigned what = rest[0] & 3U;
        const std::size_t count = std::min<std::size_t>(rest[0] >> 2U, rest.size() - 1);
        joined.step(what, rest.subspan(1, count));
        rest = rest.subspan(1 + count);
    }
    joined.end();
    return 0;
}
