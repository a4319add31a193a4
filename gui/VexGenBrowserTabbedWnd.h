// VexGenBrowserTabbedWnd: the features of several parameter arrays, each on a tab.
#pragma once

#include <cstdint>
#include <map>

#include "genicam/VexGenParameterArray.h"
#include "gui/wnd_members.h"
#include "sdk/gui/PvGenBrowserTabbedWnd.h"
#include "sdk/lists/PvPropertyList.h"

/// Owns the SDK window. It keeps no reference on the arrays that are added, and one array object for each index that
/// was asked for, which is pointed at what the tab of that index has each time.
class CVexGenBrowserTabbedWnd : public WndMembers<CVexGenBrowserTabbedWnd>,
                                public vex::server::SdkObject<PvGenBrowserTabbedWnd, PvWnd> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_ParameterArrayCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvGenBrowserTabbedWnd::GetParameterArrayCount);
    }
    STDMETHODIMP get_Visibility(VexGenVisibility* pVal) noexcept override
    {
        return value(pVal, &PvGenBrowserTabbedWnd::GetVisibility);
    }
    STDMETHODIMP put_Visibility(VexGenVisibility pVal) noexcept override
    {
        return set(&PvGenBrowserTabbedWnd::SetVisibility, pVal);
    }
    /// The index is written by the SDK, which leaves it alone when it fails.
    STDMETHODIMP AddGenParameterArray(IVexGenParameterArray* aArray, BSTR aName, unsigned int* aIndex,
                                      IVexResult** result) noexcept override
    {
        const auto add = [aIndex](PvGenBrowserTabbedWnd& window, PvGenParameterArray* array, const PvString& name) {
            return window.AddGenParameterArray(array, name, *vex::server::not_null(aIndex, 3));
        };
        return report(result, add, aArray, aName);
    }
    STDMETHODIMP GetGenParameterArray(unsigned int aIndex, IVexGenParameterArray** res) noexcept override
    {
        return guarded([&] {
            *vex::server::not_null(res) = nullptr;
            PvGenParameterArray* const array = attached_sdk().GetGenParameterArray(aIndex);
            if (array == nullptr) {
                return;
            }
            vex::server::Ref<CVexGenParameterArray>& kept = arrays_[aIndex];
            if (!kept) {
                kept = vex::server::make<CVexGenParameterArray>();
            }
            kept->AttachSdkObject(array);
            kept.copy_to(res);
        });
    }
    STDMETHODIMP GetParameterArrayName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserTabbedWnd::GetParameterArrayName, aIndex, aName);
    }
    STDMETHODIMP Load(IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserTabbedWnd::Load, aPropertyList);
    }
    STDMETHODIMP RemoveGenParameterArray(unsigned int aIndex, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserTabbedWnd::RemoveGenParameterArray, aIndex);
    }
    STDMETHODIMP Reset() noexcept override { return set(&PvGenBrowserTabbedWnd::Reset); }
    STDMETHODIMP Save(IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserTabbedWnd::Save, aPropertyList);
    }
    STDMETHODIMP SetParameterArrayName(unsigned int aIndex, BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, &PvGenBrowserTabbedWnd::SetParameterArrayName, aIndex, aName);
    }

private:
    std::map<std::uint32_t, vex::server::Ref<CVexGenParameterArray>> arrays_;
};
