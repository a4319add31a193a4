// The registry of backends and the choice among them.
#include "sdk/net/receive_backends.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <system_error>

using namespace vex;

namespace {

constexpr net::ReceivePath path{{0xC0000209}, {0xC0000201}};  // addresses of documentation

class Nothing final : public net::PacketReceiver {
public:
    std::span<const net::Datagram> read(const net::Landing&) override { return {}; }
    [[nodiscard]] bool wait(std::chrono::milliseconds) override { return false; }
    [[nodiscard]] bool drained() const noexcept override { return true; }
    [[nodiscard]] std::optional<std::uint64_t> dropped_by_system() const noexcept override { return std::nullopt; }
    [[nodiscard]] std::size_t buffer_bytes() const noexcept override { return 4711; }
};

struct Abilities {
    bool serves = true;
    bool gives = true;
    bool privileged = false;
};

class Backend final : public net::ReceiveBackend {
public:
    explicit Backend(const Abilities& abilities) noexcept : abilities_(abilities) {}
    [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
    [[nodiscard]] bool privileged() const noexcept override { return abilities_.privileged; }
    [[nodiscard]] bool serves(const net::ReceivePath&) const noexcept override { return abilities_.serves; }
    [[nodiscard]] std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions&) const override
    {
        return abilities_.gives ? std::make_unique<Nothing>() : nullptr;
    }

private:
    const Abilities abilities_;
};

class ReceiveBackends : public testing::Test {
protected:
    bool is_the_tests(const char* name = "")
    {
        return net::create_receiver({.socket = socket, .path = path}, name)->buffer_bytes() == 4711;
    }

    net::UdpSocket socket = net::UdpSocket::open({loopback_address, 0});
};

TEST_F(ReceiveBackends, AnAddedOneComesFirstForAsLongAsItLives)
{
    const std::size_t before = net::receive_backends().size();
    EXPECT_FALSE(is_the_tests());
    {
        const net::AddedBackend added(std::make_shared<Backend>(Abilities{}));
        EXPECT_EQ(net::receive_backends().size(), before + 1);
        EXPECT_EQ(net::receive_backends().front()->name(), "test");
        EXPECT_TRUE(is_the_tests());
        EXPECT_TRUE(is_the_tests("test"));
        EXPECT_FALSE(is_the_tests("plain"));
    }
    EXPECT_EQ(net::receive_backends().size(), before);
    EXPECT_THROW((void)is_the_tests("test"), std::system_error);
}

TEST_F(ReceiveBackends, OneThatDoesNotServeIsNotUsed)
{
    const net::AddedBackend added(std::make_shared<Backend>(Abilities{.serves = false}));
    EXPECT_FALSE(is_the_tests());
    EXPECT_THROW((void)is_the_tests("test"), std::system_error);
}

TEST_F(ReceiveBackends, OneThatGivesNoReceiverIsPassedOver)
{
    const net::AddedBackend added(std::make_shared<Backend>(Abilities{.gives = false}));
    EXPECT_FALSE(is_the_tests());
    EXPECT_THROW((void)is_the_tests("test"), std::system_error);
}

TEST_F(ReceiveBackends, OneWithPrivilegesMustServeToCount)
{
    EXPECT_FALSE(net::privileged_backend_serves(path));
    const net::AddedBackend elsewhere(std::make_shared<Backend>(Abilities{.serves = false, .privileged = true}));
    const net::AddedBackend ordinary(std::make_shared<Backend>(Abilities{}));
    EXPECT_FALSE(net::privileged_backend_serves(path));
    const net::AddedBackend driver(std::make_shared<Backend>(Abilities{.privileged = true}));
    EXPECT_TRUE(net::privileged_backend_serves(path));
}

TEST_F(ReceiveBackends, TheLastOneServesEveryPath)
{
    EXPECT_EQ(net::receive_backends().back()->name(), "plain");
    EXPECT_FALSE(net::receive_backends().back()->privileged());
    EXPECT_TRUE(net::receive_backends().back()->serves(path));
}

TEST_F(ReceiveBackends, FailuresNameTheBackendAndTheInterface)
{
    const auto text_of = [this](const char* name) -> std::string {
        try {
            (void)is_the_tests(name);
        } catch (const std::system_error& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_NE(text_of("no-such").find("'no-such' is not known"), std::string::npos);
    const net::AddedBackend added(std::make_shared<Backend>(Abilities{.serves = false}));
    EXPECT_NE(text_of("test").find("'test' cannot be used on 192.0.2.1"), std::string::npos);
}

}  // namespace
