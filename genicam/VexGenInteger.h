// VexGenInteger: a whole number with limits.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenInteger.h"

class CVexGenInteger : public ParameterObject<CVexGenInteger, PvGenInteger> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Value(__int64 pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Min(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Max(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Increment(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Representation(VexGenRepresentation* pVal) noexcept override;
};
