// VexSerialBridgeManagerWnd: the bridges from the serial ports of a device to this computer.
#pragma once

#include "genicam/VexGenParameterArray.h"
#include "gui/wnd_members.h"
#include "persistence/VexStringList.h"
#include "sdk/device/PvDevice.h"
#include "sdk/gui/PvSerialBridgeManagerWnd.h"
#include "sdk/lists/PvPropertyList.h"
#include "sdk/lists/PvStringList.h"

/// Owns the SDK window, which tells it of parameter arrays. It keeps no reference on the device. The errors that Load
/// gives out are one object, which shows those of the last load, and fails once this object has gone.
class CVexSerialBridgeManagerWnd : public WndMembers<CVexSerialBridgeManagerWnd>,
                                   public vex::server::SdkObject<PvSerialBridgeManagerWnd, PvWnd> {
public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_PortCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvSerialBridgeManagerWnd::GetPortCount);
    }
    STDMETHODIMP GetGenParameterArray(unsigned int aIndex, IVexGenParameterArray** res) noexcept override
    {
        return child(res, array_, &PvSerialBridgeManagerWnd::GetGenParameterArray, aIndex);
    }
    STDMETHODIMP GetGenParameterArrayName(unsigned int aIndex, BSTR* res) noexcept override
    {
        return value(res, &PvSerialBridgeManagerWnd::GetGenParameterArrayName, aIndex);
    }
    STDMETHODIMP GetPortName(unsigned int aIndex, BSTR* res) noexcept override
    {
        return value(res, &PvSerialBridgeManagerWnd::GetPortName, aIndex);
    }
    STDMETHODIMP Load(IVexPropertyList* aPropertyList, IVexStringList** aErrors, IVexResult** result) noexcept override;
    STDMETHODIMP Recover(IVexResult** result) noexcept override
    {
        return report(result, &PvSerialBridgeManagerWnd::Recover);
    }
    STDMETHODIMP Save(IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, &PvSerialBridgeManagerWnd::Save, aPropertyList);
    }
    STDMETHODIMP SetDevice(IVexDevice* aDevice, IVexResult** result) noexcept override
    {
        return report(result, &PvSerialBridgeManagerWnd::SetDevice, aDevice);
    }

    /// Tells the advised sinks, in their order.
    void tell_created(IVexGenParameterArray* array, const PvString& name) noexcept;
    void tell_deleted(IVexGenParameterArray* array) noexcept;

private:
    vex::server::Ref<CVexGenParameterArray> array_;
    PvStringList errors_;
    vex::server::Ref<CVexStringList> shown_errors_;
};
