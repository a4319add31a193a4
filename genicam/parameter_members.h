// The members that all parameter objects share, passed on to the base object that each of them has.
#pragma once

#include "genicam/VexGenParameter.h"

/// Implements IVexGenParameter for an interface that extends it. Base is that interface.
template <class Base>
class ParameterMembers : public Base {
public:
    using DefaultInterface = vex::server::DefaultInterfaceOf<Base>;

    STDMETHODIMP get_Name(BSTR* pVal) noexcept final { return base_object_->get_Name(pVal); }
    STDMETHODIMP get_Type(VexGenType* pVal) noexcept final { return base_object_->get_Type(pVal); }
    STDMETHODIMP get_Category(BSTR* pVal) noexcept final { return base_object_->get_Category(pVal); }
    STDMETHODIMP get_ToolTip(BSTR* pVal) noexcept final { return base_object_->get_ToolTip(pVal); }
    STDMETHODIMP get_Description(BSTR* pVal) noexcept final { return base_object_->get_Description(pVal); }
    STDMETHODIMP get_DisplayName(BSTR* pVal) noexcept final { return base_object_->get_DisplayName(pVal); }
    STDMETHODIMP get_NameSpace(VexGenNameSpace* pVal) noexcept final { return base_object_->get_NameSpace(pVal); }
    STDMETHODIMP get_Visibility(VexGenVisibility* pVal) noexcept final { return base_object_->get_Visibility(pVal); }
    STDMETHODIMP get_SelectedParameters(IVexGenParameterList** pVal) noexcept final
    {
        return base_object_->get_SelectedParameters(pVal);
    }
    STDMETHODIMP get_SelectingParameters(IVexGenParameterList** pVal) noexcept final
    {
        return base_object_->get_SelectingParameters(pVal);
    }
    STDMETHODIMP get_PollingTime(__int64* pVal) noexcept final { return base_object_->get_PollingTime(pVal); }
    STDMETHODIMP get_LastErrorMsg(BSTR* pVal) noexcept final { return base_object_->get_LastErrorMsg(pVal); }
    STDMETHODIMP get_Node(INT_PTR* pVal) noexcept final { return base_object_->get_Node(pVal); }
    STDMETHODIMP get_IsValueCached(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsValueCached(pVal); }
    STDMETHODIMP get_IsPersistent(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsPersistent(pVal); }
    STDMETHODIMP get_IsAvailable(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsAvailable(pVal); }
    STDMETHODIMP get_IsWritable(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsWritable(pVal); }
    STDMETHODIMP get_IsReadable(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsReadable(pVal); }
    STDMETHODIMP get_IsSelector(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsSelector(pVal); }
    STDMETHODIMP get_IsStreamable(VARIANT_BOOL* pVal) noexcept final { return base_object_->get_IsStreamable(pVal); }
    STDMETHODIMP IsVisible(VexGenVisibility aCurrentVisibility, VARIANT_BOOL* result) noexcept final
    {
        return base_object_->IsVisible(aCurrentVisibility, result);
    }
    STDMETHODIMP ValueToString(BSTR* aValue, IVexResult** result) noexcept final
    {
        return base_object_->ValueToString(aValue, result);
    }
    STDMETHODIMP ValueFromString(BSTR aValue, IVexResult** result) noexcept final
    {
        return base_object_->ValueFromString(aValue, result);
    }
    STDMETHODIMP RegisterEventSink(IVexGenEventSink* aEventSink) noexcept final
    {
        return base_object_->RegisterEventSink(aEventSink);
    }
    STDMETHODIMP UnregisterEventSink(IVexGenEventSink* aEventSink) noexcept final
    {
        return base_object_->UnregisterEventSink(aEventSink);
    }

protected:
    ~ParameterMembers() = default;

    /// Part of the object's final construction.
    void make_base_object() { base_object_ = vex::server::make<CVexGenParameter>(); }
    [[nodiscard]] CVexGenParameter& base_object() noexcept { return *base_object_; }

private:
    vex::server::Ref<CVexGenParameter> base_object_;
};
