// VexGenBrowserWnd: the features of a device, to be looked at and changed.
#pragma once

#include "gui/wnd_members.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/gui/PvGenBrowserWnd.h"
#include "sdk/lists/PvPropertyList.h"

/// Owns the SDK window, which asks it about each parameter. It keeps no reference on the parameter array.
class CVexGenBrowserWnd : public WndMembers<CVexGenBrowserWnd>, public vex::server::SdkObject<PvGenBrowserWnd, PvWnd> {
public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_Visibility(VexGenVisibility* pVal) noexcept override
    {
        return value(pVal, &PvGenBrowserWnd::GetVisibility);
    }
    STDMETHODIMP put_Visibility(VexGenVisibility pVal) noexcept override
    {
        return set(&PvGenBrowserWnd::SetVisibility, pVal);
    }
    /// Null for no features.
    STDMETHODIMP put_GenParameterArray(IVexGenParameterArray* pVal) noexcept override
    {
        return set([pVal](PvGenBrowserWnd& window) {
            window.SetGenParameterArray(pVal != nullptr ? &vex::server::sdk_as<PvGenParameterArray>(pVal) : nullptr);
        });
    }
    STDMETHODIMP Save(IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserWnd::Save, aPropertyList);
    }
    STDMETHODIMP Load(IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserWnd::Load, aPropertyList);
    }

    /// Asks the advised sinks, in their order, whether the parameter is displayed; the last one's answer counts. Null
    /// for what is none of the seven kinds, such as a category.
    [[nodiscard]] bool is_displayed(IVexGenParameter* parameter) noexcept;
};
