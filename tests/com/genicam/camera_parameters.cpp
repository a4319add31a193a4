#include "tests/com/genicam/camera_parameters.h"

#include <algorithm>
#include <utility>

#include "sdk/genapi/node_map.h"

using namespace vex;

namespace client {

void MemoryPort::read(std::int64_t address, std::span<std::uint8_t> out)
{
    if (refuses_) {
        throw GenApi::PortError(PvResult::NetworkError, "the camera does not answer");
    }
    std::copy_n(memory_.begin() + static_cast<std::ptrdiff_t>(address), out.size(), out.begin());
}

void MemoryPort::write(std::int64_t address, std::span<const std::uint8_t> data)
{
    if (refuses_) {
        throw GenApi::PortError(PvResult::NetworkError, "the camera does not answer");
    }
    std::ranges::copy(data, memory_.begin() + static_cast<std::ptrdiff_t>(address));
}

namespace {

/// Has its node map from the test instead of a serial line.
class GivenArrayCL final : public PvGenParameterArrayCL {
public:
    explicit GivenArrayCL(std::unique_ptr<GenApi::INodeMap> node_map) { build(std::move(node_map)); }
};

std::unique_ptr<PvGenParameterArray> array_of(ArrayKind kind, std::unique_ptr<GenApi::INodeMap> node_map)
{
    if (kind == ArrayKind::camera_link) {
        return std::make_unique<GivenArrayCL>(std::move(node_map));
    }
    return std::make_unique<PvGenParameterArray>(std::move(node_map));
}

}  // namespace

CameraParameters::CameraParameters(const std::string& description, ArrayKind kind)
    : array(array_of(kind, GenApi::load_node_map(description, port)))
{
    port.at(0x102) = 0x02;  // Width 640
    port.at(0x103) = 0x80;
    port.at(0x106) = 0x04;  // WidthMax 1024
    port.at(0x108) = 0x01;  // PixelFormat Mono8
    port.at(0x109) = 0x08;
    port.at(0x10B) = 0x01;
}

ParameterTest::ParameterTest(ArrayKind kind) : camera(camera_description(), kind)
{
    if (kind == ArrayKind::camera_link) {
        EXPECT_EQ(server::create_object(implementation_cl), S_OK);
        array = Ref<IVexGenParameterArray>(implementation_cl.get());
    } else {
        EXPECT_EQ(server::create_object(implementation), S_OK);
        array = Ref<IVexGenParameterArray>(implementation.get());
    }
    attach(camera.array.get());
}

void ParameterTest::attach(PvGenParameterArray* other)
{
    if (implementation_cl) {
        implementation_cl->AttachSdkObject(static_cast<PvGenParameterArrayCL*>(other));
    } else {
        implementation->AttachSdkObject(other);
    }
}

void ParameterTest::release()
{
    array.reset();
    implementation.reset();
    implementation_cl.reset();
}

}  // namespace client
