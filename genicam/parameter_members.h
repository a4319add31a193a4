// The members that all parameter objects share, passed on to the base object that each of them has.
#pragma once

#include "genicam/VexGenParameter.h"

/// Implements IVexGenParameter for an interface that extends it. Base is that interface, or server::NotBuilt of it.
template <class Base>
class ParameterMembers : public Base {
public:
    using DefaultInterface = vex::server::DefaultInterfaceOf<Base>;

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) noexcept final { return base_object_->get_Name(pVal); }
    HRESULT STDMETHODCALLTYPE get_Type(VexGenType* pVal) noexcept final { return base_object_->get_Type(pVal); }
    HRESULT STDMETHODCALLTYPE get_Category(BSTR* pVal) noexcept final { return base_object_->get_Category(pVal); }
    HRESULT STDMETHODCALLTYPE get_ToolTip(BSTR* pVal) noexcept final { return base_object_->get_ToolTip(pVal); }
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept final { return base_object_->get_Description(pVal); }
    HRESULT STDMETHODCALLTYPE get_DisplayName(BSTR* pVal) noexcept final { return base_object_->get_DisplayName(pVal); }
    HRESULT STDMETHODCALLTYPE get_NameSpace(VexGenNameSpace* pVal) noexcept final
    {
        return base_object_->get_NameSpace(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_Visibility(VexGenVisibility* pVal) noexcept final
    {
        return base_object_->get_Visibility(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_SelectedParameters(IVexGenParameterList** pVal) noexcept final
    {
        return base_object_->get_SelectedParameters(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_SelectingParameters(IVexGenParameterList** pVal) noexcept final
    {
        return base_object_->get_SelectingParameters(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_PollingTime(__int64* pVal) noexcept final
    {
        return base_object_->get_PollingTime(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_LastErrorMsg(BSTR* pVal) noexcept final
    {
        return base_object_->get_LastErrorMsg(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_Node(INT_PTR* pVal) noexcept final { return base_object_->get_Node(pVal); }
    HRESULT STDMETHODCALLTYPE get_IsValueCached(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsValueCached(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsPersistent(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsPersistent(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsAvailable(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsAvailable(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsWritable(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsWritable(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsReadable(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsReadable(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsSelector(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsSelector(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_IsStreamable(VARIANT_BOOL* pVal) noexcept final
    {
        return base_object_->get_IsStreamable(pVal);
    }
    HRESULT STDMETHODCALLTYPE IsVisible(VexGenVisibility aCurrentVisibility, VARIANT_BOOL* visible) noexcept final
    {
        return base_object_->IsVisible(aCurrentVisibility, visible);
    }
    HRESULT STDMETHODCALLTYPE ValueToString(BSTR* aValue, IVexResult** out) noexcept final
    {
        return base_object_->ValueToString(aValue, out);
    }
    HRESULT STDMETHODCALLTYPE ValueFromString(BSTR aValue, IVexResult** out) noexcept final
    {
        return base_object_->ValueFromString(aValue, out);
    }
    HRESULT STDMETHODCALLTYPE RegisterEventSink(IVexGenEventSink* aEventSink) noexcept final
    {
        return base_object_->RegisterEventSink(aEventSink);
    }
    HRESULT STDMETHODCALLTYPE UnregisterEventSink(IVexGenEventSink* aEventSink) noexcept final
    {
        return base_object_->UnregisterEventSink(aEventSink);
    }

protected:
    ~ParameterMembers() = default;

    /// Part of the object's final construction.
    HRESULT make_base_object() noexcept { return vex::server::create_object(base_object_); }
    [[nodiscard]] CVexGenParameter& base_object() noexcept { return *base_object_; }

private:
    vex::server::Ref<CVexGenParameter> base_object_;
};
