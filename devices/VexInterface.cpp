#include "devices/VexInterface.h"

#include "devices/VexDeviceInfo.h"

using namespace vex;

// here, where the child's class is complete
CVexInterface::CVexInterface() = default;
CVexInterface::~CVexInterface() = default;

HRESULT CVexInterface::get_DeviceCount(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetDeviceCount(); });
}

HRESULT CVexInterface::get_MACAddress(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetMACAddress(); });
}

HRESULT CVexInterface::get_InterfaceType(VexInterfaceType* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetType(); });
}

HRESULT CVexInterface::get_IPAddress(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetIPAddress(); });
}

HRESULT CVexInterface::get_SubnetMask(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetSubnetMask(); });
}

HRESULT CVexInterface::get_DefaultGateway(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetDefaultGateway(); });
}

HRESULT CVexInterface::get_Description(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetDescription(); });
}

HRESULT CVexInterface::get_ID(BSTR* pVal) noexcept
{
    return value(pVal, [](PvInterface& found) { return found.GetID(); });
}

HRESULT CVexInterface::Find(IVexResult** out) noexcept
{
    return result(out, [](PvInterface& found) { return found.Find(); });
}

HRESULT CVexInterface::GetDeviceInfo(unsigned int aIndex, IVexDeviceInfo** out) noexcept
{
    return server::guarded([&]() -> HRESULT {
        *server::not_null(out) = nullptr;
        PvDeviceInfo* const info = server::not_null(sdk())->GetDeviceInfo(aIndex);
        if (info != nullptr && !device_) {
            if (const HRESULT created = server::create_object(device_); FAILED(created)) {
                return created;
            }
        }
        return child(out, device_, [&] { return info; });
    });
}
