// VexProperty: a value with a name, as text, as a floating point number or as an integer.
#pragma once

#include <cstdint>

#include "sdk/lists/PvProperty.h"
#include "server/wrapper.h"

/// Owns its SDK property until a list shows one of its items through it. Such an object fails once the item has gone:
/// when the list was cleared or restored, or has died.
class CVexProperty : public vex::server::Wrapper<CVexProperty>, public vex::server::SdkObject<PvProperty> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_Name(BSTR* pVal) noexcept override { return value(pVal, &PvProperty::GetName); }
    STDMETHODIMP put_Name(BSTR pVal) noexcept override { return set(&PvProperty::SetName, pVal); }
    STDMETHODIMP get_Value(BSTR* pVal) noexcept override
    {
        return value(pVal, overload<const PvString&() const>(&PvProperty::GetValue));
    }
    STDMETHODIMP put_Value(BSTR pVal) noexcept override
    {
        return set(overload<void(const PvString&)>(&PvProperty::SetValue), pVal);
    }
    STDMETHODIMP get_ValueDouble(double* pVal) noexcept override { return number(pVal); }
    STDMETHODIMP put_ValueDouble(double pVal) noexcept override
    {
        return set(overload<void(double)>(&PvProperty::SetValue), pVal);
    }
    STDMETHODIMP get_ValueInteger(__int64* pVal) noexcept override { return number(pVal); }
    STDMETHODIMP put_ValueInteger(__int64 pVal) noexcept override
    {
        return set(overload<void(std::int64_t)>(&PvProperty::SetValue), pVal);
    }

private:
    /// Straight into the caller's variable, which a value that is no such number leaves as it was.
    template <class Number>
    HRESULT number(Number* out) noexcept
    {
        return guarded([&] { return raised(attached_sdk().GetValue(*vex::server::not_null(out))); });
    }
};
