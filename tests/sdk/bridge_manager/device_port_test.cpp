// Bridges from the serial ports of a software camera, with the parameters of a serial camera behind one of them.
#include "sdk/bridge_manager/device_port.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/bridge_manager/manager.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/net/pipe.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/genicp/gencp_on_uart.h"
#include "tools/softcam/camera.h"

using namespace vex;
using bridge_manager::Manager;
using bridge_manager::State;

namespace {

constexpr std::chrono::milliseconds patience{60'000};

class DevicePorts : public testing::Test {
protected:
    DevicePorts() : address_(device_test::loopback(94).to_string())
    {
        softcam::CameraOptions options;
        options.adapter = address_;
        options.serial1_device = [] { return std::make_unique<genicp_test::GencpOnUart>(); };
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        connect();
        manager.set_ports(bridge_manager::ports_of(*device));
    }

    void connect()
    {
        const PvResult connected = device->Connect(PvString(address_));
        ASSERT_TRUE(connected.IsOK()) << connected.description();
    }
    /// Every line of the errors.
    [[nodiscard]] static std::string load(Manager& by, std::initializer_list<std::pair<const char*, const char*>> items)
    {
        PvPropertyList list;
        for (const auto& [name, value] : items) {
            list.Add(PvProperty(PvString(name), PvString(value)));
        }
        std::vector<std::string> errors;
        const PvResult result = by.load(list, errors);
        EXPECT_EQ(result.IsOK(), errors.empty());
        std::string all;
        for (const std::string& line : errors) {
            all += line + "\n";
        }
        return all;
    }
    [[nodiscard]] static std::string load(Manager& by, const char* port, const char* endpoint)
    {
        const std::string prefix = std::string("SerialBridge.") + port;
        return load(by, {{(prefix + ".Endpoint").c_str(), endpoint}, {(prefix + ".Running").c_str(), "1"}});
    }
    [[nodiscard]] std::string load_parameters(const char* endpoint)
    {
        return load(manager, {{"SerialBridge.Serial1.Endpoint", endpoint},
                              {"SerialBridge.Serial1.ParameterArray", "1"},
                              {"SerialBridge.Serial1.Running", "1"}});
    }
    [[nodiscard]] std::int64_t width() const
    {
        std::int64_t value = -1;
        if (PvGenParameterArray* const array = manager.array(1)) {
            EXPECT_TRUE(array->InvalidateCache().IsOK());
            const PvResult read = array->GetIntegerValue("Width", value);
            EXPECT_TRUE(read.IsOK()) << read.description();
        }
        return value;
    }

    const std::string address_;
    std::unique_ptr<softcam::Camera> camera;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
    std::vector<std::string> created;
    int deleted = 0;
    Manager manager{{.created =
                         [this](PvGenParameterArray& array, const PvString& name) {
                             EXPECT_EQ(manager.array(1), &array);
                             created.push_back(name.str());
                         },
                     .deleted = [this](PvGenParameterArray&) { ++deleted; }},
                    [] {}};
};

TEST_F(DevicePorts, AreThoseThatTheDescriptionHas)
{
    std::vector<std::string> names;
    for (std::size_t index = 0; index < manager.size(); ++index) {
        names.push_back(manager.row(index).port);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Serial0", "Serial1", "Bulk0"})) << "Bulk1 is an I2C bus";
    PvDevice nobody;
    EXPECT_TRUE(bridge_manager::ports_of(nobody).empty());
}

TEST_F(DevicePorts, CarryAndCountBytes)
{
    ASSERT_EQ(load(manager, "Serial0", "tcp:0"), "");
    const std::string endpoint = manager.row(0).facts.endpoint.str();
    const auto name = net::PipeName::parse(endpoint);
    ASSERT_TRUE(name && name->tcp) << endpoint;
    EXPECT_NE(name->tcp->port, 0);
    const auto pipe = net::Pipe::connect(*name, patience);
    std::error_code error;
    const std::vector<std::uint8_t> bytes{1, 2, 3};
    ASSERT_EQ(pipe->write(bytes, patience, error), 3U);
    std::vector<std::uint8_t> back(3);
    for (std::size_t got = 0; got < back.size() && !error;) {
        got += pipe->read(std::span(back).subspan(got), patience, error);
    }
    EXPECT_EQ(back, bytes);
    EXPECT_EQ(manager.row(0).facts.received, 3U);
    EXPECT_EQ(manager.row(0).facts.dropped, 0U);
    EXPECT_TRUE(manager.row(0).facts.is_up);
    EXPECT_EQ(manager.row(0).facts.baud_rate, 115'200U);
    manager.reset_statistics(0);
    EXPECT_EQ(manager.row(0).facts.received, 0U);
}

TEST_F(DevicePorts, GetAPipeOfTheirOwnWithoutAnEndpoint)
{
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.Running", "1"}, {"SerialBridge.Bulk0.Running", "1"}}), "");
    const std::string first = manager.row(0).facts.endpoint.str();
    EXPECT_EQ(first.substr(0, 12), "pipe:bridge-");
    EXPECT_NE(manager.row(2).facts.endpoint.str(), first);
    EXPECT_NE(net::Pipe::connect(*net::PipeName::parse(first), patience), nullptr);
}

TEST_F(DevicePorts, SetTheDevicesLine)
{
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.BaudRate", "57600"},
                             {"SerialBridge.Serial0.Parity", "Even"},
                             {"SerialBridge.Serial0.HardCodedBaudRate", "19200"},
                             {"SerialBridge.Serial0.Running", "1"}}),
              "");
    std::int64_t rate = 0;
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("IPEngineSerial0BaudRate", rate).IsOK());
    EXPECT_EQ(rate, 19'200);
    PvString parity;
    ASSERT_TRUE(device->GetGenParameters()->GetEnumValue("IPEngineSerial0Parity", parity).IsOK());
    EXPECT_EQ(parity.str(), "Even");
}

TEST_F(DevicePorts, SetTheLineOfABridgeThatRuns)
{
    ASSERT_EQ(load(manager, "Serial0", "tcp:0"), "");
    const std::string endpoint = manager.row(0).facts.endpoint.str();
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.BaudRate", "57600"}, {"SerialBridge.Serial0.Parity", "Even"}}), "");
    EXPECT_EQ(manager.row(0).facts.baud_rate, 57'600U);
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.HardCodedBaudRate", "19200"}}), "");
    EXPECT_EQ(manager.row(0).facts.baud_rate, 19'200U);
    EXPECT_NE(
        load(manager, {{"SerialBridge.Serial0.Parity", "Odd"}, {"SerialBridge.Serial0.HardCodedBaudRate", "301"}}), "");
    PvString parity;
    ASSERT_TRUE(device->GetGenParameters()->GetEnumValue("IPEngineSerial0Parity", parity).IsOK());
    EXPECT_EQ(parity.str(), "Even");
    EXPECT_EQ(manager.row(0).facts.endpoint.str(), endpoint) << "it was not started again";
}

TEST_F(DevicePorts, LeaveTheDevicesLineAsItIsAgain)
{
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.BaudRate", "57600"}, {"SerialBridge.Serial0.Running", "1"}}), "");
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.BaudRate", ""}, {"SerialBridge.Serial0.Running", "0"}}), "");
    ASSERT_TRUE(device->GetGenParameters()->SetIntegerValue("IPEngineSerial0BaudRate", 19'200).IsOK());
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.Running", "1"}}), "");
    std::int64_t rate = 0;
    ASSERT_TRUE(device->GetGenParameters()->GetIntegerValue("IPEngineSerial0BaudRate", rate).IsOK());
    EXPECT_EQ(rate, 19'200);
    EXPECT_EQ(manager.row(0).facts.baud_rate, 19'200U);
}

TEST_F(DevicePorts, LeadToTheParametersOfASerialCamera)
{
    for (const char* const endpoint : {"", "tcp:0"}) {
        created.clear();
        deleted = 0;
        ASSERT_EQ(load_parameters(endpoint), "");
        EXPECT_EQ(created, std::vector<std::string>{"Serial1: SoftLink"});
        EXPECT_EQ(manager.row(1).array_name.str(), "Serial1: SoftLink");
        EXPECT_EQ(width(), 640);
        EXPECT_GT(manager.row(1).facts.received, manager.row(1).facts.sent) << "the description came";
        EXPECT_EQ(load(manager, {{"SerialBridge.Serial1.Running", "0"}}), "");
        EXPECT_EQ(deleted, 1);
        EXPECT_EQ(manager.array(1), nullptr);
    }
}

TEST_F(DevicePorts, TakeTheDescriptionThatIsWanted)
{
    EXPECT_NE(load(manager, {{"SerialBridge.Serial1.ParameterArray", "1"},
                             {"SerialBridge.Serial1.XMLID", "no such file.xml"},
                             {"SerialBridge.Serial1.Running", "1"}}),
              "");
    EXPECT_FALSE(manager.row(1).has_array);
}

TEST_F(DevicePorts, SayThatNobodyAnswers)
{
    const std::string errors =
        load(manager, {{"SerialBridge.Bulk0.ParameterArray", "1"}, {"SerialBridge.Bulk0.Running", "1"}});
    EXPECT_EQ(errors.substr(0, 7), "Bulk0: ");
    EXPECT_EQ(manager.row(2).state, State::running);
    EXPECT_FALSE(manager.row(2).has_array);
    EXPECT_TRUE(created.empty());
}

TEST_F(DevicePorts, AreBusyForASecondManager)
{
    Manager other({}, [] {});
    other.set_ports(bridge_manager::ports_of(*device));
    ASSERT_EQ(load(manager, "Serial0", "tcp:0"), "");
    const std::string errors = load(other, "Serial0", "tcp:0");
    EXPECT_NE(errors.find("is open already: a serial port object has it"), std::string::npos) << errors;
    EXPECT_EQ(load(other, "Bulk0", "tcp:0"), "") << "the other ports are free";
    ASSERT_EQ(load(manager, {{"SerialBridge.Serial0.Running", "0"}}), "");
    EXPECT_EQ(load(other, "Serial0", "tcp:0"), "");
}

TEST_F(DevicePorts, AreRecoveredWithTheParameters)
{
    ASSERT_EQ(load_parameters("tcp:0"), "");
    PvGenParameterArray* const array = manager.array(1);
    ASSERT_TRUE(array->SetIntegerValue("Width", 800).IsOK());
    ASSERT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(manager.recover().GetCode(), PvResult::NotConnected);
    EXPECT_FALSE(manager.row(1).facts.is_up);
    connect();
    const PvResult recovered = manager.recover();
    EXPECT_TRUE(recovered.IsOK()) << recovered.description();
    EXPECT_EQ(manager.array(1), array);
    EXPECT_EQ(width(), 800);
    EXPECT_EQ(deleted, 0);
}

TEST_F(DevicePorts, OutliveTheirDevice)
{
    ASSERT_EQ(load(manager, "Serial0", "tcp:0"), "");
    device.reset();
    EXPECT_EQ(manager.recover().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(load(manager, {{"SerialBridge.Serial0.Running", "0"}}), "");
    EXPECT_EQ(load(manager, "Serial0", "tcp:0"), "Serial0: The device of port Serial0 has gone\n");
}

}  // namespace
