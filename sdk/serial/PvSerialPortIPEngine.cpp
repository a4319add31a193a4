#include "sdk/serial/PvSerialPortIPEngine.h"

#include <chrono>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/access.h"
#include "sdk/serial/engine_port.h"
#include "sdk/serial/port_names.h"
#include "sdk/serial/uart_features.h"
#include "sdk/serial_port/receive_buffer.h"

using namespace vex;
using serial::EnginePort;
using serial_port::ReceiveBuffer;

namespace {

PvResult not_open() noexcept { return failure(PvResult::NotConnected, "The serial port is not open"); }

}  // namespace

class PvSerialPortIPEngine::Impl {
public:
    PvResult open(const PvDevice& device, PvIPEngineSerial port)
    {
        const std::lock_guard control(control_mutex);
        if (const auto current = opened(); current && current->is_up()) {
            return failure(PvResult::StateError, "This serial port object has ", current->name(), " open already");
        }
        close_port();
        if (PvResult result = received->open(); !result.IsOK()) {
            return result;
        }
        std::shared_ptr<EnginePort> made;
        PvResult result = EnginePort::open(device, port, received, made);
        if (!result.IsOK()) {
            received->close(not_open(), not_open());
            return result;
        }
        const std::lock_guard lock(mutex);
        port_ = std::move(made);
        return result;
    }

    void close()
    {
        const std::lock_guard control(control_mutex);
        close_port();
    }

    [[nodiscard]] std::shared_ptr<EnginePort> opened() const
    {
        const std::lock_guard lock(mutex);
        return port_;
    }

    const std::shared_ptr<ReceiveBuffer> received = std::make_shared<ReceiveBuffer>();
    std::mutex write_mutex;  ///< one write at a time

private:
    void close_port()
    {
        std::shared_ptr<EnginePort> closed;
        {
            const std::lock_guard lock(mutex);
            closed.swap(port_);
        }
        if (!closed) {
            return;
        }
        received->close(failure(PvResult::Aborted, "The serial port ", closed->name(), " was closed"), not_open());
        closed->close();
    }

    std::mutex control_mutex;  ///< one open or close at a time; taken before the other
    mutable std::mutex mutex;  ///< for what follows
    std::shared_ptr<EnginePort> port_;
};

PvSerialPortIPEngine::PvSerialPortIPEngine() : impl_(std::make_unique<Impl>()) {}

PvSerialPortIPEngine::~PvSerialPortIPEngine() { impl_->close(); }

PvResult PvSerialPortIPEngine::Open(PvDevice* aDevice, PvIPEngineSerial aPort)
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

bool PvSerialPortIPEngine::IsSupported(PvDevice* aDevice, PvIPEngineSerial aPort)
{
    if (aDevice == nullptr || !aDevice->IsConnected()) {
        return false;
    }
    const PvGenParameterArray* const features = aDevice->GetGenParameters();
    return features != nullptr && serial::UartFeatures::are_in(*features, serial::name_of(aPort));
}

PvResult PvSerialPortIPEngine::Close()
{
    impl_->close();
    return PvResult::OK;
}

bool PvSerialPortIPEngine::IsOpened()
{
    const auto port = impl_->opened();
    return port && port->is_up();
}

PvResult PvSerialPortIPEngine::Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten)
{
    aBytesWritten = 0;
    if (aBuffer == nullptr && aSize != 0) {
        return failure(PvResult::InvalidParameter, "There is no buffer to write ", aSize, " bytes from");
    }
    const std::lock_guard one(impl_->write_mutex);
    const auto port = impl_->opened();
    return port ? port->write({aBuffer, aSize}, aBytesWritten) : not_open();
}

PvResult PvSerialPortIPEngine::Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                                    std::uint32_t aTimeout)
{
    aBytesRead = 0;
    if (aBuffer == nullptr && aBufferSize != 0) {
        return failure(PvResult::InvalidParameter, "There is no buffer to read ", aBufferSize, " bytes into");
    }
    const PvResult result =
        impl_->received->read({aBuffer, aBufferSize}, aBytesRead, std::chrono::milliseconds(aTimeout));
    if (aBytesRead != 0) {
        if (const auto port = impl_->opened()) {
            port->on_read();
        }
    }
    return result;
}

PvResult PvSerialPortIPEngine::GetRxBytesReady(std::uint32_t& aBytes)
{
    aBytes = impl_->received->ready();
    return impl_->opened() ? PvResult(PvResult::OK) : not_open();
}

PvResult PvSerialPortIPEngine::FlushRxBuffer()
{
    const auto port = impl_->opened();
    if (!port) {
        return not_open();
    }
    const PvResult result = port->flush_receive();
    port->on_read();
    return result;
}

PvResult PvSerialPortIPEngine::GetRxBufferSize(std::uint32_t& aSize)
{
    aSize = impl_->received->size();
    return PvResult::OK;
}

PvResult PvSerialPortIPEngine::SetRxBufferSize(std::uint32_t aSize)
{
    PvResult result = impl_->received->resize(aSize);
    if (const auto port = impl_->opened()) {
        port->on_read();
    }
    return result;
}

std::uint64_t PvSerialPortIPEngine::dropped_bytes() const
{
    const auto port = impl_->opened();
    return impl_->received->dropped() + (port ? port->overruns() : 0);
}
