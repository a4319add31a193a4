// VexGenParameter: what all parameters share, whatever kind of value they have. Each parameter object has one of these.
#pragma once

#include "genicam/VexGenParameterList.h"
#include "genicam/living_view.h"
#include "sdk/genicam/PvGenParameter.h"
#include "server/client_sink.h"
#include "server/wrapper.h"

/// A view of an SDK parameter.
///
/// Thread safety: as Wrapper; the client's sink may be read from the SDK's threads while a client changes it.
class CVexGenParameter : public vex::server::Wrapper<CVexGenParameter>, public LivingView<PvGenParameter> {
public:
    void final_release() noexcept;

    [[nodiscard]] const vex::server::ClientSink<IVexGenEventSink>& client_sink() const noexcept { return client_sink_; }

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Type(VexGenType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Category(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ToolTip(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DisplayName(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_NameSpace(VexGenNameSpace* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Visibility(VexGenVisibility* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_SelectedParameters(IVexGenParameterList** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_SelectingParameters(IVexGenParameterList** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_PollingTime(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_LastErrorMsg(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Node(INT_PTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsValueCached(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsPersistent(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsAvailable(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsWritable(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsReadable(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsSelector(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsStreamable(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE IsVisible(VexGenVisibility aCurrentVisibility, VARIANT_BOOL* visible) noexcept override;
    HRESULT STDMETHODCALLTYPE ValueToString(BSTR* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE ValueFromString(BSTR aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE RegisterEventSink(IVexGenEventSink* aEventSink) noexcept override;
    HRESULT STDMETHODCALLTYPE UnregisterEventSink(IVexGenEventSink* aEventSink) noexcept override;

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
