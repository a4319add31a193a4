// A camera in memory for the tests of the parameter classes: a description, registers, and the objects over them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "genicam/VexGenParameterArray.h"
#include "genicam/VexGenParameterArrayCL.h"
#include "genicam/VexGenParameterList.h"
#include "sdk/genapi/port.h"
#include "tests/com/genicam/feature_client.h"

namespace client {

/// Registers in memory. Unlike hardware it can be told to refuse.
class MemoryPort final : public GenApi::IPort {
public:
    MemoryPort() : memory_(0x400) {}

    void read(std::int64_t address, std::span<std::uint8_t> out) override;
    void write(std::int64_t address, std::span<const std::uint8_t> data) override;
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    [[nodiscard]] std::uint8_t& at(std::size_t address) { return memory_.at(address); }
    void refuse(bool refuses) { refuses_ = refuses; }

private:
    std::vector<std::uint8_t> memory_;
    bool refuses_ = false;
};

/// The classes that a client has an array from.
enum class ArrayKind {
    plain,
    camera_link,
};

/// A parameter array over registers of its own.
struct CameraParameters {
    explicit CameraParameters(const std::string& description = camera_description(), ArrayKind kind = ArrayKind::plain);

    MemoryPort port;
    std::unique_ptr<PvGenParameterArray> array;
};

/// A parameter array object as a device hands it out, or one of a Camera Link camera.
class ParameterTest : public ParameterLookUps<ComTest> {
protected:
    explicit ParameterTest(ArrayKind kind = ArrayKind::plain);

    /// Points the object at another SDK array, which is of the same kind; null for none.
    void attach(PvGenParameterArray* other);
    /// Lets go of the object.
    void release();

    CameraParameters camera;
    Ref<CVexGenParameterArray> implementation;  ///< null for the other kind
    Ref<CVexGenParameterArrayCL> implementation_cl;
};

}  // namespace client
