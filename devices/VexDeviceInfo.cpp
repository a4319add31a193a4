#include "devices/VexDeviceInfo.h"

#include "devices/VexInterface.h"

using namespace vex;

// here, where the child's class is complete
CVexDeviceInfo::CVexDeviceInfo() = default;
CVexDeviceInfo::~CVexDeviceInfo() = default;

HRESULT CVexDeviceInfo::final_construct() { return server::create_object(interface_); }

void CVexDeviceInfo::AttachSdkObject(PvDeviceInfo* shown) noexcept
{
    SharedView::AttachSdkObject(shown);
    PvInterface* const found_by = shown != nullptr ? shown->GetInterface() : nullptr;
    found_by_ = found_by != nullptr ? found_by->shared() : nullptr;
}

HRESULT CVexDeviceInfo::get_MACAddress(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetMACAddress(); });
}

HRESULT CVexDeviceInfo::get_IPAddress(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetIPAddress(); });
}

HRESULT CVexDeviceInfo::get_SubnetMask(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetSubnetMask(); });
}

HRESULT CVexDeviceInfo::get_DefaultGateway(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetDefaultGateway(); });
}

HRESULT CVexDeviceInfo::get_Vendor(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetVendor(); });
}

HRESULT CVexDeviceInfo::get_Model(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetModel(); });
}

HRESULT CVexDeviceInfo::get_AccessStatus(VexAccessType* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetAccessStatus(); });
}

HRESULT CVexDeviceInfo::get_ManufacturerInfo(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetManufacturerInfo(); });
}

HRESULT CVexDeviceInfo::get_Version(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetVersion(); });
}

HRESULT CVexDeviceInfo::get_ID(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetID(); });
}

HRESULT CVexDeviceInfo::get_SerialNumber(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetSerialNumber(); });
}

HRESULT CVexDeviceInfo::get_UserDefinedName(BSTR* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetUserDefinedName(); });
}

HRESULT CVexDeviceInfo::get_ProtocolVersionMajor(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetProtocolVersionMajor(); });
}

HRESULT CVexDeviceInfo::get_ProtocolVersionMinor(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetProtocolVersionMinor(); });
}

HRESULT CVexDeviceInfo::get_IsIPConfigurationValid(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.IsIPConfigurationValid(); });
}

HRESULT CVexDeviceInfo::get_Interface(IVexInterface** pVal) noexcept
{
    return child(pVal, interface_, [](PvDeviceInfo& info) { return info.GetInterface(); });
}

HRESULT CVexDeviceInfo::get_DeviceClass(VexDeviceType* pVal) noexcept
{
    return value(pVal, [](PvDeviceInfo& info) { return info.GetClass(); });
}
