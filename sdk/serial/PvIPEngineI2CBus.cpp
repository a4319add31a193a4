#include "sdk/serial/PvIPEngineI2CBus.h"

#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "sdk/base/address.h"
#include "sdk/base/failure.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/access.h"
#include "sdk/device/register_port.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/i2c_features.h"
#include "sdk/serial/port_claim.h"
#include "sdk/serial/port_names.h"

using namespace vex;
using serial::I2cFeatures;
using serial::I2cRequest;

namespace {

PvResult not_open() noexcept { return failure(PvResult::NotConnected, "The I2C bus is not open"); }

PvResult check_buffer(const std::uint8_t* buffer, std::uint32_t size) noexcept
{
    return buffer == nullptr && size != 0
               ? failure(PvResult::InvalidParameter, "There is no buffer for ", size, " bytes")
               : PvResult(PvResult::OK);
}

}  // namespace

class PvIPEngineI2CBus::Impl {
public:
    PvResult open(const PvDevice& device, PvIPEngineSerial port);
    void close();
    [[nodiscard]] bool is_up();
    [[nodiscard]] bool is_claimed();
    void note_release();
    PvResult transfer(const I2cRequest& request, std::span<std::uint8_t> data, std::uint32_t& count);

private:
    /// The connection to the device that the bus was opened on; null when there is none. Under the lock.
    [[nodiscard]] std::shared_ptr<control::Connection> connection() const;

    std::mutex mutex_;
    std::optional<device::SharedDevice> device_;  ///< while the bus is open
    serial::PortClaim claim_;
    std::string port_name_;
    std::string name_;
    MacAddress mac_;
    std::string serial_number_;
};

std::shared_ptr<control::Connection> PvIPEngineI2CBus::Impl::connection() const
{
    auto current = device_ ? device_->connection() : nullptr;
    if (current && (current->facts().mac != mac_ || current->facts().serial_number != serial_number_)) {
        current.reset();
    }
    return current;
}

PvResult PvIPEngineI2CBus::Impl::open(const PvDevice& device, PvIPEngineSerial port)
{
    const std::lock_guard lock(mutex_);
    if (connection()) {
        return failure(PvResult::StateError, "This I2C bus object has ", name_, " open already");
    }
    device_.reset();
    claim_.release();
    device::SharedDevice shared(device);
    const auto current = shared.connection();
    if (!current) {
        return failure(PvResult::NotConnected, "The device of the I2C bus is not connected");
    }
    const std::string port_name = serial::name_of(port);
    const std::string where = current->device().address.to_string();
    if (!I2cFeatures::are_in(*shared.parameters(), port_name)) {
        return failure(PvResult::NotSupported, "The device ", where, " has no I2C bus on the port ", port_name);
    }
    if (PvResult result = current->check_writable(); !result.IsOK()) {
        return result;
    }
    std::string name = port_name + " of " + where;
    if (PvResult result = claim_.take(shared.identity(), port, "an I2C bus object", name); !result.IsOK()) {
        return result;
    }
    port_name_ = port_name;
    name_ = std::move(name);
    mac_ = current->facts().mac;
    serial_number_ = current->facts().serial_number;
    device_.emplace(std::move(shared));
    return PvResult::OK;
}

void PvIPEngineI2CBus::Impl::close()
{
    const std::lock_guard lock(mutex_);
    claim_.release();
    device_.reset();
}

bool PvIPEngineI2CBus::Impl::is_up()
{
    const std::lock_guard lock(mutex_);
    return connection() != nullptr;
}

bool PvIPEngineI2CBus::Impl::is_claimed()
{
    const std::lock_guard lock(mutex_);
    return device_.has_value();
}

void PvIPEngineI2CBus::Impl::note_release()
{
    const std::lock_guard lock(mutex_);
    claim_.rename("an I2C bus object that was released without being closed");
}

PvResult PvIPEngineI2CBus::Impl::transfer(const I2cRequest& request, std::span<std::uint8_t> data, std::uint32_t& count)
{
    count = 0;
    const std::lock_guard lock(mutex_);
    if (!device_) {
        return not_open();
    }
    if (!connection()) {
        return failure(PvResult::NotConnected, "The I2C bus ", name_, ": the device is not connected");
    }
    if (!I2cFeatures::are_in(*device_->parameters(), port_name_)) {
        return failure(PvResult::NotSupported, "The device has no I2C bus on the port ", port_name_, " any more");
    }
    const device::OwnAccesses own;
    I2cFeatures features(*device_->parameters(), port_name_);
    return features.transfer(request, data, count);
}

PvIPEngineI2CBus::PvIPEngineI2CBus() : impl_(std::make_unique<Impl>()) {}

PvIPEngineI2CBus::~PvIPEngineI2CBus() { impl_->close(); }

bool PvIPEngineI2CBus::IsOpened() { return impl_->is_up(); }

bool PvIPEngineI2CBus::IsClaimed() const { return impl_->is_claimed(); }

void PvIPEngineI2CBus::NoteRelease() { impl_->note_release(); }

PvResult PvIPEngineI2CBus::Open(PvDevice* aDevice, PvIPEngineSerial aPort)
{
    if (PvResult refused = serial::check_opening(aDevice, aPort); !refused.IsOK()) {
        return refused;
    }
    try {
        return impl_->open(*aDevice, aPort);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
}

PvResult PvIPEngineI2CBus::Close()
{
    impl_->close();
    return PvResult::OK;
}

bool PvIPEngineI2CBus::IsSupported(PvDevice* aDevice, PvIPEngineSerial aPort)
{
    if (aDevice == nullptr || !aDevice->IsConnected()) {
        return false;
    }
    const PvGenParameterArray* const features = aDevice->GetGenParameters();
    return features != nullptr && I2cFeatures::are_in(*features, serial::name_of(aPort));
}

PvResult PvIPEngineI2CBus::BurstWrite(std::uint8_t aSlaveAddress, const std::uint8_t* aBuffer,
                                      std::uint32_t aBufferSize, bool aFastMode)
{
    return MasterTransmitter(aSlaveAddress, aBuffer, aBufferSize, aFastMode, true);
}

PvResult PvIPEngineI2CBus::IndirectBurstWrite(std::uint8_t aSlaveAddress, std::uint8_t aOffset,
                                              const std::uint8_t* aBuffer, std::uint32_t aBufferSize, bool aFastMode)
{
    if (PvResult result = check_buffer(aBuffer, aBufferSize); !result.IsOK()) {
        return result;
    }
    std::uint32_t count = 0;
    // what is sent is only read
    return impl_->transfer({.address = aSlaveAddress, .offset = aOffset, .fast = aFastMode},
                           {const_cast<std::uint8_t*>(aBuffer), aBufferSize}, count);
}

PvResult PvIPEngineI2CBus::BurstRead(std::uint8_t aSlaveAddress, std::uint8_t* aBuffer, std::uint32_t aBufferSize,
                                     std::uint32_t& aBytesRead, bool aFastMode)
{
    return MasterReceiverAfterFirstByte(aSlaveAddress, aBuffer, aBufferSize, aBytesRead, aFastMode, true);
}

PvResult PvIPEngineI2CBus::IndirectBurstRead(std::uint8_t aSlaveAddress, std::uint8_t aOffset, std::uint8_t* aBuffer,
                                             std::uint32_t aBufferSize, std::uint32_t& aBytesRead, bool aFastMode,
                                             bool aUseCombinedFormat)
{
    aBytesRead = 0;
    if (PvResult result = check_buffer(aBuffer, aBufferSize); !result.IsOK()) {
        return result;
    }
    return impl_->transfer(
        {.address = aSlaveAddress, .offset = aOffset, .fast = aFastMode, .read = true, .combined = aUseCombinedFormat},
        {aBuffer, aBufferSize}, aBytesRead);
}

PvResult PvIPEngineI2CBus::MasterTransmitter(std::uint8_t aSlaveAddress, const std::uint8_t* aBuffer,
                                             std::uint32_t aBufferSize, bool aFastMode, bool aGenerateStopCondition)
{
    if (PvResult result = check_buffer(aBuffer, aBufferSize); !result.IsOK()) {
        return result;
    }
    std::uint32_t count = 0;
    // what is sent is only read
    return impl_->transfer({.address = aSlaveAddress, .fast = aFastMode, .stop = aGenerateStopCondition},
                           {const_cast<std::uint8_t*>(aBuffer), aBufferSize}, count);
}

PvResult PvIPEngineI2CBus::MasterReceiverAfterFirstByte(std::uint8_t aSlaveAddress, std::uint8_t* aBuffer,
                                                        std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                                                        bool aFastMode, bool aGenerateStopCondition)
{
    aBytesRead = 0;
    if (PvResult result = check_buffer(aBuffer, aBufferSize); !result.IsOK()) {
        return result;
    }
    return impl_->transfer({.address = aSlaveAddress, .fast = aFastMode, .read = true, .stop = aGenerateStopCondition},
                           {aBuffer, aBufferSize}, aBytesRead);
}
