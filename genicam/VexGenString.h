// VexGenString: a text.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenString.h"

class CVexGenString : public ParameterObject<CVexGenString, PvGenString> {
public:
    STDMETHODIMP get_Value(BSTR* pVal) noexcept override { return get(pVal, &PvGenString::GetValue); }
    STDMETHODIMP put_Value(BSTR pVal) noexcept override { return set(&PvGenString::SetValue, pVal); }
    STDMETHODIMP get_MaxLength(__int64* pVal) noexcept override { return get(pVal, &PvGenString::GetMaxLength); }
};
