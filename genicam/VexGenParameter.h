// VexGenParameter: what all parameters share, whatever kind of value they have. Each parameter object has one of these.
#pragma once

#include "genicam/VexGenParameterList.h"
#include "sdk/genicam/PvGenParameter.h"
#include "server/client_sink.h"
#include "server/wrapper.h"

/// A view of an SDK parameter.
///
/// Thread safety: as Wrapper; the client's sink may be read from the SDK's threads while a client changes it.
class CVexGenParameter : public vex::server::Wrapper<CVexGenParameter>, public vex::server::SdkObject<PvGenParameter> {
public:
    void final_release() noexcept;

    [[nodiscard]] const vex::server::ClientSink<IVexGenEventSink>& client_sink() const noexcept { return client_sink_; }

    STDMETHODIMP get_Name(BSTR* pVal) noexcept override;
    STDMETHODIMP get_Type(VexGenType* pVal) noexcept override { return get(pVal, &PvGenParameter::GetType); }
    STDMETHODIMP get_Category(BSTR* pVal) noexcept override { return get(pVal, &PvGenParameter::GetCategory); }
    STDMETHODIMP get_ToolTip(BSTR* pVal) noexcept override { return get(pVal, &PvGenParameter::GetToolTip); }
    STDMETHODIMP get_Description(BSTR* pVal) noexcept override { return get(pVal, &PvGenParameter::GetDescription); }
    STDMETHODIMP get_DisplayName(BSTR* pVal) noexcept override { return get(pVal, &PvGenParameter::GetDisplayName); }
    STDMETHODIMP get_NameSpace(VexGenNameSpace* pVal) noexcept override
    {
        return get(pVal, &PvGenParameter::GetNameSpace);
    }
    STDMETHODIMP get_Visibility(VexGenVisibility* pVal) noexcept override
    {
        return get(pVal, &PvGenParameter::GetVisibility);
    }
    STDMETHODIMP get_SelectedParameters(IVexGenParameterList** pVal) noexcept override
    {
        return show(pVal, selected_, &PvGenParameter::GetSelectedParameters);
    }
    STDMETHODIMP get_SelectingParameters(IVexGenParameterList** pVal) noexcept override
    {
        return show(pVal, selecting_, &PvGenParameter::GetSelectingParameters);
    }
    STDMETHODIMP get_PollingTime(__int64* pVal) noexcept override { return get(pVal, &PvGenParameter::GetPollingTime); }
    STDMETHODIMP get_LastErrorMsg(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::GetLastErrorMsg);
    }
    STDMETHODIMP get_Node(INT_PTR* pVal) noexcept override { return value(pVal, &PvGenParameter::GetNode); }
    STDMETHODIMP get_IsValueCached(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsValueCached);
    }
    STDMETHODIMP get_IsPersistent(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsPersistent);
    }
    STDMETHODIMP get_IsAvailable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsAvailable);
    }
    STDMETHODIMP get_IsWritable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsWritable);
    }
    STDMETHODIMP get_IsReadable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsReadable);
    }
    STDMETHODIMP get_IsSelector(VARIANT_BOOL* pVal) noexcept override { return get(pVal, &PvGenParameter::IsSelector); }
    STDMETHODIMP get_IsStreamable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenParameter::IsStreamable);
    }
    STDMETHODIMP IsVisible(VexGenVisibility aCurrentVisibility, VARIANT_BOOL* result) noexcept override
    {
        return value(result, &PvGenParameter::IsVisible, aCurrentVisibility);
    }
    STDMETHODIMP ValueToString(BSTR* aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameter::ToString, aValue);
    }
    STDMETHODIMP ValueFromString(BSTR aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameter::FromString, aValue);
    }
    STDMETHODIMP RegisterEventSink(IVexGenEventSink* aEventSink) noexcept override
    {
        return client_sink_.set(aEventSink);
    }
    STDMETHODIMP UnregisterEventSink(IVexGenEventSink* /*aEventSink*/) noexcept override
    {
        return client_sink_.clear();
    }

private:
    /// A list that the SDK fills, and the one object that shows it.
    struct ShownList {
        PvGenParameterList items;
        vex::server::Ref<CVexGenParameterList> object;
    };

    HRESULT show(IVexGenParameterList** out, ShownList& list,
                 PvResult (PvGenParameter::*fill)(PvGenParameterList&) const) noexcept;

    ShownList selected_;
    ShownList selecting_;
    vex::server::ClientSink<IVexGenEventSink> client_sink_;
};
