#include "tests/com/genicam/camera_parameters.h"

#include <algorithm>

#include "sdk/genapi/node_map.h"

using namespace vex;

namespace client {

void MemoryPort::read(std::int64_t address, std::span<std::uint8_t> out)
{
    if (refuses_) {
        throw GenApi::PortError(PvResult::NetworkError, "the camera does not answer");
    }
    std::copy_n(memory_.begin() + address, out.size(), out.begin());
}

void MemoryPort::write(std::int64_t address, std::span<const std::uint8_t> data)
{
    if (refuses_) {
        throw GenApi::PortError(PvResult::NetworkError, "the camera does not answer");
    }
    std::ranges::copy(data, memory_.begin() + address);
}

CameraParameters::CameraParameters(const std::string& description)
    : array(std::make_unique<PvGenParameterArray>(GenApi::load_node_map(description, port)))
{
    port.at(0x102) = 0x02;  // Width 640
    port.at(0x103) = 0x80;
    port.at(0x106) = 0x04;  // WidthMax 1024
    port.at(0x108) = 0x01;  // PixelFormat Mono8
    port.at(0x109) = 0x08;
    port.at(0x10B) = 0x01;
}

ParameterTest::ParameterTest()
{
    EXPECT_EQ(server::create_object(implementation), S_OK);
    implementation->AttachSdkObject(camera.array.get());
    array = Ref<IVexGenParameterArray>(implementation.get());
}

}  // namespace client
