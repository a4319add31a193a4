// Run in the tests as a part of the viewer: ./run test gui.
#include "live_camera.h"

using automation::attempt;
using automation::Failure;
using automation::Ref;
using automation::require;
using automation::Text;

namespace {

/// Images that may wait while the program does something else.
constexpr unsigned int buffer_count = 8;
/// Of packets to a camera that sends no test packets to find the largest one with.
constexpr unsigned int every_network_carries = 1440;

}  // namespace

LiveCamera::LiveCamera()
{
    create(device_, CLSID_VexDevice);
    create(stream_, CLSID_VexStream);
    create(pipeline_, CLSID_VexPipeline);
}

// ---- connecting ----

void LiveCamera::connect(IVexDeviceInfo* chosen)
{
    disconnect();
    Text address;
    chosen->get_IPAddress(address.out());
    // with control: whoever only looks connects with VexAccessReadOnly
    require(L"connecting",
            [&](IVexResult** result) { return device_->ConnectDeviceInfo(chosen, VexAccessControl, result); });
    enter(address.str());
}

void LiveCamera::connect(const std::wstring& ip_address)
{
    disconnect();
    const Text address(ip_address);
    require(L"connecting to " + ip_address,
            [&](IVexResult** result) { return device_->ConnectString(address.in(), VexAccessControl, result); });
    enter(ip_address);
}

/// A camera without a stream is of no use here: it is left again.
void LiveCamera::enter(const std::wstring& ip_address)
{
    address_ = ip_address;
    try {
        open_stream();
    } catch (const Failure&) {
        disconnect();
        throw;
    }
}

bool LiveCamera::is_connected() const
{
    VARIANT_BOOL connected = 0;
    return SUCCEEDED(device_->get_IsConnected(&connected)) && connected;
}

/// A stream is this computer's end of the way of the images; the camera is then told where that is.
void LiveCamera::open_stream()
{
    const Text address(address_);
    const Text any_interface(L"");
    require(L"opening the stream",
            [&](IVexResult** result) { return stream_->OpenUnicast(address.in(), 0, 0, any_interface.in(), result); });
    require(L"negotiating the packet size",
            [&](IVexResult** result) { return device_->NegotiatePacketSize(0, every_network_carries, result); });
    Text local_address;
    unsigned short local_port = 0;
    stream_->get_LocalIPAddress(local_address.out());
    stream_->get_LocalPort(&local_port);
    require(L"setting the stream's destination", [&](IVexResult** result) {
        return device_->SetStreamDestination(local_address.in(), local_port, 0, result);
    });
}

/// In the opposite order. Nothing is asked of the results: a camera that was unplugged answers nothing any more.
void LiveCamera::disconnect() noexcept
{
    stop();
    pipeline_->put_StreamBase(nullptr);
    if (is_connected()) {
        attempt([&](IVexResult** result) { device_->ResetStreamDestination(0, result); });
    }
    attempt([&](IVexResult** result) { stream_->Close(result); });
    attempt([&](IVexResult** result) { device_->Disconnect(result); });
    address_.clear();
}

// ---- images ----

void LiveCamera::start()
{
    Ref<IVexGenParameterArray> features;
    device_->get_GenParameters(features.out());
    if (!features) {
        throw Failure{L"no camera is connected"};
    }
    const Text payload_size(L"PayloadSize");
    __int64 size = 0;
    require(L"reading PayloadSize",
            [&](IVexResult** result) { return features->GetIntegerValue(payload_size.in(), &size, result); });

    // the stream comes first: size and count belong to the pipeline on it
    pipeline_->put_StreamBase(stream_.get());
    pipeline_->put_BufferSize(static_cast<unsigned int>(size));
    pipeline_->put_BufferCount(buffer_count);
    require(L"starting the pipeline", [&](IVexResult** result) { return pipeline_->Start(result); });
    live_ = true;  // from here on there is something to stop
    try {
        lock_settings(true);
        execute(L"AcquisitionStart");
    } catch (const Failure&) {
        stop();
        throw;
    }
}

void LiveCamera::stop() noexcept
{
    if (!live_) {
        return;
    }
    live_ = false;
    try {
        execute(L"AcquisitionStop");
        lock_settings(false);
    } catch (const Failure&) {
        // the camera has gone: what is stopped here is only this side
    }
    attempt([&](IVexResult** result) { pipeline_->Stop(result); });
}

bool LiveCamera::next(unsigned int timeout, const std::function<void(IVexBuffer*)>& use)
{
    Ref<IVexBuffer> buffer;
    Ref<IVexResult> result;
    Ref<IVexResult> operation;  // how the image arrived; the display says so itself where it is not whole
    if (FAILED(pipeline_->RetrieveNextBuffer(buffer.out(), timeout, operation.out(), result.out()))) {
        throw Failure{L"retrieving an image"};
    }
    VARIANT_BOOL ok = 0;
    result->get_IsOK(&ok);
    if (!ok || !buffer) {
        return false;
    }
    const auto release = [&] {
        attempt([&](IVexResult** released) { pipeline_->ReleaseBuffer(buffer.get(), released); });
    };
    try {
        use(buffer.get());
    } catch (...) {
        release();
        throw;
    }
    release();
    return true;
}

// ---- the camera's features ----

void LiveCamera::execute(const wchar_t* command)
{
    Ref<IVexGenParameterArray> features;
    device_->get_GenParameters(features.out());
    if (!features) {
        throw Failure{L"no camera is connected"};
    }
    const Text name(command);
    require(command, [&](IVexResult** result) { return features->ExecuteCommand(name.in(), result); });
}

/// Cameras that have TLParamsLocked want it set while they send: their image size cannot change then.
void LiveCamera::lock_settings(bool locked)
{
    Ref<IVexGenParameterArray> features;
    Ref<IVexGenInteger> lock;
    const Text name(L"TLParamsLocked");
    device_->get_GenParameters(features.out());
    if (features && SUCCEEDED(features->GetInteger(name.in(), lock.out())) && lock) {
        require(L"locking the settings",
                [&](IVexResult** result) { return features->SetIntegerValue(name.in(), locked ? 1 : 0, result); });
    }
}
