#include "devices/VexInterface.h"

#include "devices/VexDeviceInfo.h"

using namespace vex;

// here, where the child's class is complete
CVexInterface::CVexInterface() = default;
CVexInterface::~CVexInterface() = default;

HRESULT CVexInterface::GetDeviceInfo(unsigned int aIndex, IVexDeviceInfo** result) noexcept
{
    return guarded([&] {
        *server::not_null(result) = nullptr;
        if (PvDeviceInfo* const info = attached_sdk().GetDeviceInfo(aIndex); info != nullptr) {
            if (!device_) {
                device_ = server::make<CVexDeviceInfo>();
            }
            show_part(*device_, info);
            device_.copy_to(result);
        }
    });
}
