// VexGenString: a text.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenString.h"

class CVexGenString : public ParameterObject<CVexGenString, PvGenString> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Value(BSTR pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_MaxLength(__int64* pVal) noexcept override;
};
