// VexGenParameterArrayCL: the parameters of a Camera Link camera, which is reached through a serial port.
#pragma once

#include "genicam/VexGenParameterArray.h"
#include "sdk/genicp/PvGenParameterArrayCL.h"
#include "sdk/lists/PvStringList.h"
#include "server/wrapper.h"

/// Owns the SDK array. The members of IVexGenParameterArray are those of a plain array object, which shows that array
/// and keeps the parameters that it has handed out. Lists handed out show the list of the object, which the next call
/// that hands it out fills again, and fail once the object has gone.
class CVexGenParameterArrayCL : public vex::server::Wrapper<CVexGenParameterArrayCL>,
                                public vex::server::SdkObject<PvGenParameterArrayCL, PvGenParameterArray> {
public:
    void final_construct();

    STDMETHODIMP get_Count(unsigned int* pVal) noexcept override { return plain_->get_Count(pVal); }
    STDMETHODIMP get_CategoryCount(unsigned int* pVal) noexcept override { return plain_->get_CategoryCount(pVal); }
    STDMETHODIMP get_NodeMap(INT_PTR* pVal) noexcept override { return plain_->get_NodeMap(pVal); }
    STDMETHODIMP GetByIndex(unsigned int aIndex, IVexGenParameter** result) noexcept override
    {
        return plain_->GetByIndex(aIndex, result);
    }
    STDMETHODIMP GetByName(BSTR aName, IVexGenParameter** result) noexcept override
    {
        return plain_->GetByName(aName, result);
    }
    STDMETHODIMP InvalidateCache(IVexResult** result) noexcept override { return plain_->InvalidateCache(result); }
    STDMETHODIMP GetInteger(BSTR aName, IVexGenInteger** result) noexcept override
    {
        return plain_->GetInteger(aName, result);
    }
    STDMETHODIMP GetFloat(BSTR aName, IVexGenFloat** result) noexcept override
    {
        return plain_->GetFloat(aName, result);
    }
    STDMETHODIMP GetEnum(BSTR aName, IVexGenEnum** result) noexcept override { return plain_->GetEnum(aName, result); }
    STDMETHODIMP GetBoolean(BSTR aName, IVexGenBoolean** result) noexcept override
    {
        return plain_->GetBoolean(aName, result);
    }
    STDMETHODIMP GetCommand(BSTR aName, IVexGenCommand** result) noexcept override
    {
        return plain_->GetCommand(aName, result);
    }
    STDMETHODIMP GetString(BSTR aName, IVexGenString** result) noexcept override
    {
        return plain_->GetString(aName, result);
    }
    STDMETHODIMP GetRegister(BSTR aName, IVexGenRegister** result) noexcept override
    {
        return plain_->GetRegister(aName, result);
    }
    STDMETHODIMP GetCategoryByIndex(unsigned int aIndex, IVexGenCategory** result) noexcept override
    {
        return plain_->GetCategoryByIndex(aIndex, result);
    }
    STDMETHODIMP GetCategoryByName(BSTR aName, IVexGenCategory** result) noexcept override
    {
        return plain_->GetCategoryByName(aName, result);
    }
    STDMETHODIMP GetIntegerValue(BSTR aName, __int64* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetIntegerValue(aName, aValue, result);
    }
    STDMETHODIMP SetIntegerValue(BSTR aName, __int64 aValue, IVexResult** result) noexcept override
    {
        return plain_->SetIntegerValue(aName, aValue, result);
    }
    STDMETHODIMP GetFloatValue(BSTR aName, double* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetFloatValue(aName, aValue, result);
    }
    STDMETHODIMP SetFloatValue(BSTR aName, double aValue, IVexResult** result) noexcept override
    {
        return plain_->SetFloatValue(aName, aValue, result);
    }
    STDMETHODIMP GetEnumValueStr(BSTR aName, BSTR* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetEnumValueStr(aName, aValue, result);
    }
    STDMETHODIMP GetEnumValueInt(BSTR aName, __int64* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetEnumValueInt(aName, aValue, result);
    }
    STDMETHODIMP SetEnumValueStr(BSTR aName, BSTR aValue, IVexResult** result) noexcept override
    {
        return plain_->SetEnumValueStr(aName, aValue, result);
    }
    STDMETHODIMP SetEnumValueInt(BSTR aName, __int64 aValue, IVexResult** result) noexcept override
    {
        return plain_->SetEnumValueInt(aName, aValue, result);
    }
    STDMETHODIMP GetBooleanValue(BSTR aName, VARIANT_BOOL* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetBooleanValue(aName, aValue, result);
    }
    STDMETHODIMP SetBooleanValue(BSTR aName, VARIANT_BOOL aValue, IVexResult** result) noexcept override
    {
        return plain_->SetBooleanValue(aName, aValue, result);
    }
    STDMETHODIMP GetStringValue(BSTR aName, BSTR* aValue, IVexResult** result) noexcept override
    {
        return plain_->GetStringValue(aName, aValue, result);
    }
    STDMETHODIMP SetStringValue(BSTR aName, BSTR aValue, IVexResult** result) noexcept override
    {
        return plain_->SetStringValue(aName, aValue, result);
    }
    STDMETHODIMP ExecuteCommand(BSTR aName, IVexResult** result) noexcept override
    {
        return plain_->ExecuteCommand(aName, result);
    }

    STDMETHODIMP get_DeviceID(BSTR* pVal) noexcept override { return value(pVal, &PvGenParameterArrayCL::GetDeviceID); }
    STDMETHODIMP get_PortID(BSTR* pVal) noexcept override { return value(pVal, &PvGenParameterArrayCL::GetPortID); }
    STDMETHODIMP get_XMLID(BSTR* pVal) noexcept override { return value(pVal, &PvGenParameterArrayCL::GetXMLID); }
    STDMETHODIMP get_DeviceTemplates(IVexStringList** pVal) noexcept override { return hand_out_templates(pVal); }
    /// The templates, too: there is no list of ports, and clients know it so.
    STDMETHODIMP get_PortIDs(IVexStringList** pVal) noexcept override { return hand_out_templates(pVal); }
    STDMETHODIMP Build(BSTR aXMLID, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArrayCL::Build, aXMLID);
    }
    STDMETHODIMP Connect(BSTR aPortID, BSTR aDeviceID, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArrayCL::Connect, aPortID, aDeviceID);
    }
    STDMETHODIMP GetSerialTimeout(unsigned int* aTimeout, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArrayCL::GetSerialTimeout, aTimeout);
    }
    STDMETHODIMP GetXMLIDs(IVexStringList** aXMLIDList, IVexResult** result) noexcept override;
    STDMETHODIMP SetSerialTimeout(unsigned int aTimeout, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArrayCL::SetSerialTimeout, aTimeout);
    }
    STDMETHODIMP ProbeDevice(BSTR aPortID, BSTR aDeviceTemplate, unsigned int aSerialTimeout,
                             BSTR* result) noexcept override
    {
        return value(result, &PvGenParameterArrayCL::ProbeDevice, aPortID, aDeviceTemplate, aSerialTimeout);
    }

private:
    /// The plain object shows the same array.
    void attached(PvGenParameterArrayCL* borrowed) noexcept override
    {
        plain_->AttachSdkObject(static_cast<PvGenParameterArray*>(borrowed));
    }
    HRESULT hand_out_templates(IVexStringList** list) noexcept;

    PvStringList templates_;
    PvStringList xml_ids_;
    vex::server::Ref<CVexGenParameterArray> plain_;
};
