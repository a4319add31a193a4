#include "sdk/control/datagram_tap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "sdk/control/control_transport.h"
#include "sdk/net/udp_socket.h"

using namespace vex;
using namespace std::chrono_literals;

namespace {

struct Seen {
    Endpoint source;
    Endpoint destination;
    std::vector<std::uint8_t> bytes;
    bool operator==(const Seen&) const = default;
};

class DatagramTap : public testing::Test {
protected:
    ~DatagramTap() override { control::tap::stop_listening(); }

    void listen()
    {
        control::tap::listen([this](const control::tap::Datagram& datagram) {
            seen_.push_back({datagram.source, datagram.destination, {datagram.bytes.begin(), datagram.bytes.end()}});
        });
    }

    std::vector<Seen> seen_;
    net::UdpSocket peer_ = net::UdpSocket::open({loopback_address, 0});
    control::UdpControlTransport transport_{peer_.local(), loopback_address};
    std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(16);
};

TEST_F(DatagramTap, SeesWhatATransportSendsAndReceives)
{
    listen();
    const std::vector<std::uint8_t> question{1, 2, 3};
    const std::vector<std::uint8_t> answer{4, 5};
    ASSERT_FALSE(transport_.send(question));
    ASSERT_TRUE(peer_.receive(buffer_, 10s));
    ASSERT_FALSE(peer_.send_to(transport_.local(), answer));
    ASSERT_TRUE(transport_.receive(buffer_, 10s));
    EXPECT_EQ(seen_, (std::vector<Seen>{{transport_.local(), peer_.local(), question},
                                        {peer_.local(), transport_.local(), answer}}));
}

TEST_F(DatagramTap, LeavesOutWhatOnlyWakesAReceiver)
{
    listen();
    transport_.wake();
    ASSERT_TRUE(transport_.receive(buffer_, 10s));
    EXPECT_TRUE(seen_.empty());
}

TEST_F(DatagramTap, SeesNothingAfterItsEnd)
{
    listen();
    control::tap::stop_listening();
    ASSERT_FALSE(transport_.send(std::vector<std::uint8_t>{1}));
    EXPECT_TRUE(seen_.empty());
}

}  // namespace
