// Searching for cameras as a client does it.
#pragma once

#include <functional>

#include "tests/com/devices/found_camera.h"

namespace client {

inline const IID system_events = __uuidof(_IVexSystemEvents);

/// A sink that the client registers with RegisterEventSink.
class SystemSink final : public DualSink<IVexSystemEventSink> {
public:
    using Handler = std::function<void(IVexInterface*, IVexDeviceInfo*, VARIANT_BOOL*)>;

    explicit SystemSink(Handler handler) : handler_(std::move(handler)) {}

    HRESULT STDMETHODCALLTYPE OnDeviceFound(IVexInterface* aInterface, IVexDeviceInfo* aDeviceInfo,
                                            VARIANT_BOOL* aIgnore) override
    {
        handler_(aInterface, aDeviceInfo, aIgnore);
        return S_OK;
    }

private:
    Handler handler_;
};

class System : public FoundCameraTest {
protected:
    System()
    {
        EXPECT_TRUE(system);
        EXPECT_EQ(system->put_DetectionTimeout(300), S_OK);
    }

    [[nodiscard]] VexResultCode find() const
    {
        return code_of([&](IVexResult** result) { return system->Find(result); });
    }
    [[nodiscard]] unsigned int interface_count() const { return value_of(system, &IVexSystem::get_InterfaceCount); }
    [[nodiscard]] Ref<IVexInterface> interface_at(unsigned int index) const
    {
        return object_of<IVexInterface>([&](IVexInterface** out) { return system->GetInterface(index, out); });
    }
    [[nodiscard]] static unsigned int device_count(IVexInterface* found)
    {
        return value_of(found, &IVexInterface::get_DeviceCount);
    }
    [[nodiscard]] static Ref<IVexDeviceInfo> device_at(IVexInterface* found, unsigned int index)
    {
        return object_of<IVexDeviceInfo>([&](IVexDeviceInfo** out) { return found->GetDeviceInfo(index, out); });
    }
    [[nodiscard]] static std::wstring serial_of(IVexDeviceInfo* info)
    {
        return text_of(info, &IVexDeviceInfo::get_SerialNumber);
    }
    /// The interface on which the search found the camera.
    [[nodiscard]] Ref<IVexInterface> interface_with_camera() const
    {
        for (unsigned int i = 0; i < interface_count(); ++i) {
            auto found = interface_at(i);
            for (unsigned int d = 0; found && d < device_count(found.get()); ++d) {
                if (serial_of(device_at(found.get(), d).get()) == L"COM-TEST") {
                    return found;
                }
            }
        }
        return {};
    }

    Ref<IVexSystem> system = create<IVexSystem>(L"VexKamCOMWrapper.VexSystem.1");
};

}  // namespace client
