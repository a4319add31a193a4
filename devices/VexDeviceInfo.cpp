#include "devices/VexDeviceInfo.h"

#include "devices/VexInterface.h"

using namespace vex;

// here, where the child's class is complete
CVexDeviceInfo::CVexDeviceInfo() = default;
CVexDeviceInfo::~CVexDeviceInfo() = default;

void CVexDeviceInfo::final_construct() { interface_ = server::make<CVexInterface>(); }

void CVexDeviceInfo::attached(PvDeviceInfo* shown) noexcept
{
    PvInterface* const found_by = shown != nullptr ? shown->GetInterface() : nullptr;
    found_by_ = found_by != nullptr ? found_by->shared() : nullptr;
}

HRESULT CVexDeviceInfo::get_Interface(IVexInterface** pVal) noexcept
{
    return child(pVal, interface_, &PvDeviceInfo::GetInterface);
}
