// VexGenInteger: a whole number with limits.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenInteger.h"

class CVexGenInteger : public ParameterObject<CVexGenInteger, PvGenInteger> {
public:
    STDMETHODIMP get_Value(__int64* pVal) noexcept override { return get(pVal, &PvGenInteger::GetValue); }
    STDMETHODIMP put_Value(__int64 pVal) noexcept override { return set(&PvGenInteger::SetValue, pVal); }
    STDMETHODIMP get_Min(__int64* pVal) noexcept override { return get(pVal, &PvGenInteger::GetMin); }
    STDMETHODIMP get_Max(__int64* pVal) noexcept override { return get(pVal, &PvGenInteger::GetMax); }
    STDMETHODIMP get_Increment(__int64* pVal) noexcept override { return get(pVal, &PvGenInteger::GetIncrement); }
    STDMETHODIMP get_Representation(VexGenRepresentation* pVal) noexcept override
    {
        return get(pVal, &PvGenInteger::GetRepresentation);
    }
};
