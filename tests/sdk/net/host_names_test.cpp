#include "sdk/net/host_names.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "sdk/net/loose_thread.h"

using namespace vex;

namespace {

using namespace std::chrono_literals;

TEST(HostNames, FindThisHost)
{
    const auto found = net::HostNames::system().find("localhost", 30s);
    EXPECT_TRUE(found.in_time);
    ASSERT_TRUE(found.address);
    EXPECT_TRUE(found.address->is_loopback());
}

TEST(HostNames, DoNotWaitBeyondTheTime)
{
    std::promise<void> late;
    net::BoundedHostNames names([released = late.get_future().share()](const std::string& host) {
        if (host == "late") {
            released.wait();
        }
        return std::optional(loopback_address);
    });
    for (int n = 0; n < net::BoundedHostNames::most_questions; ++n) {
        EXPECT_FALSE(names.find("late", 1ms).in_time);
    }
    // nobody is asked any more, so there is nothing to wait for
    EXPECT_FALSE(names.find("early", 10min).in_time);
    late.set_value();
    while (!names.find("early", 30s).address) {
    }
}

TEST(HostNames, AreToldFromOtherTexts)
{
    for (const char* name : {"camera", "camera-7.lab.example", "CAMERA_7", "10-b", "7.lab", "0xlab"}) {
        EXPECT_TRUE(net::is_host_name(name)) << name;
    }
    for (const char* text :
         {"", "the camera", "caméra", "a/b", "a:b", "10", "20261122", "0x1F", "1.2.3", "lab.0X7", "."}) {
        EXPECT_FALSE(net::is_host_name(text)) << text;
    }
    EXPECT_TRUE(net::is_host_name(std::string(253, 'a')));
    EXPECT_FALSE(net::is_host_name(std::string(254, 'a')));
}

TEST(LooseThread, RunsBesideItsCaller)
{
    std::promise<std::thread::id> ran;
    net::run_loose([&ran] { ran.set_value(std::this_thread::get_id()); });
    EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
}

}  // namespace
