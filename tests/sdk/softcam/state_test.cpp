// What the camera keeps while it is switched off.
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "tests/sdk/softcam/camera_fixture.h"

using namespace vex;
using namespace std::chrono_literals;

namespace {

class State : public testing::Test {
protected:
    static constexpr const char* first = "127.0.0.41";
    static constexpr const char* second = "127.0.0.42";

    State()
        : folder(std::filesystem::temp_directory_path() / ("softcam-state-" + std::to_string(std::random_device{}())))
    {
        std::filesystem::create_directory(folder);
    }
    ~State() override { std::filesystem::remove_all(folder); }

    [[nodiscard]] std::unique_ptr<softcam::Camera> switched_on(std::string name = "option") const
    {
        auto camera = std::make_unique<softcam::Camera>(softcam::CameraOptions{
            .adapter = device_address(first), .user_defined_name = std::move(name), .state_file = file().string()});
        camera->start();
        return camera;
    }
    [[nodiscard]] std::filesystem::path file() const { return folder / "state.txt"; }
    void write_file(const std::string& text) const { std::ofstream(file(), std::ios::binary) << text; }

    static Bytes name_bytes(const std::string& text)
    {
        Bytes bytes(text.begin(), text.end());
        bytes.resize(16);
        return bytes;
    }

    const std::filesystem::path folder;
};

}  // namespace

TEST_F(State, ANameOutlivesTheProgram)
{
    const std::string odd = "a =%\xC3\xBC \x01\n";
    {
        const auto camera = switched_on();
        Host host(device_address(first));
        EXPECT_EQ(host.read_bytes(0x00E8, 16), name_bytes("option"));
        EXPECT_FALSE(std::filesystem::exists(file())) << "nothing was written";
        host.take_control();
        ASSERT_EQ(host.write_bytes(0x00E8, name_bytes(odd)), status::success);
    }
    const auto camera = switched_on();
    Host host(device_address(first));
    EXPECT_EQ(host.read_bytes(0x00E8, 16), name_bytes(odd));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "no other file";
}

TEST_F(State, ThePersistentAddressIsWhereItListensNextTime)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    {
        const auto camera = switched_on();
        Host host(first);
        host.take_control();
        ASSERT_EQ(host.write(0x064C, 0x7F00002A), status::success);
        ASSERT_EQ(host.write(0x065C, 0xFFFF0000), status::success);
        ASSERT_EQ(host.write(0x066C, 0x7F000001), status::success);
        EXPECT_EQ(camera->address(), *Ipv4Address::parse(first));
    }
    const auto camera = switched_on();
    EXPECT_EQ(camera->address(), *Ipv4Address::parse(second));
    Host host(second);
    EXPECT_EQ(host.read(0x0024), 0x7F00002AU);
    EXPECT_EQ(host.read(0x0034), 0xFFFF0000U);
    EXPECT_EQ(host.read(0x0044), 0x7F000001U);
    EXPECT_EQ(camera->mac().to_string(), "02:56:7f:00:00:29") << "the same device";

    host.take_control();
    ASSERT_EQ(host.write(0x0014, 4), status::success);  // link-local only
    camera->reboot({.silence = 0ms});
    EXPECT_EQ(camera->address(), *Ipv4Address::parse(second)) << "where it was switched on";
    const auto again = [&] {
        camera->stop();
        return switched_on()->address();
    }();
    EXPECT_EQ(again, *Ipv4Address::parse(first)) << "the persistent address is not in use";
}

TEST_F(State, ARestartGoesToThePersistentAddressToo)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    softcam::Camera camera({.adapter = first});
    camera.start();
    Host host(first);
    host.take_control();
    ASSERT_EQ(host.write(0x064C, 0x7F00002A), status::success);
    camera.reboot({.silence = 0ms});
    EXPECT_EQ(camera.address(), *Ipv4Address::parse(second));
}

TEST_F(State, AnAddressThatTheHostDoesNotHaveIsNotUsed)
{
    write_file("persistent_ip = 203.0.113.9\n");
    const auto camera = switched_on();
    EXPECT_EQ(camera->address(), *Ipv4Address::parse(device_address(first)));
}

TEST_F(State, AFileThatCannotBeUnderstoodIsRefusedWithItsName)
{
    for (const char* text :
         {"nonsense\n", "persistent_ip = 300.1.1.1\n", "ip_configuration = 9\n", "ip_configuration = \n",
          "user_defined_name = %4\n", "user_defined_name = %zz\n", "user_defined_name = 12345678901234567\n"}) {
        write_file(text);
        try {
            const auto camera = switched_on();
            ADD_FAILURE() << "accepted " << text;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find("state.txt"), std::string::npos) << error.what();
        }
    }
    write_file("\r\nuser_defined_name = x\r\n");
    EXPECT_NO_THROW(static_cast<void>(switched_on()));
}

TEST_F(State, AWriteThatCannotBeKeptIsAnswered)
{
    const auto camera = switched_on();
    std::filesystem::create_directory(file());
    Host host(device_address(first));
    host.take_control();
    EXPECT_EQ(host.write_bytes(0x00E8, name_bytes("n")), 0x8FFFU);
    std::filesystem::remove(file());
    EXPECT_EQ(host.write_bytes(0x00E8, name_bytes("n")), status::success);
}
