// VexGenRegister: a block of bytes.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenRegister.h"

class CVexGenRegister : public ParameterObject<CVexGenRegister, PvGenRegister> {
public:
    HRESULT STDMETHODCALLTYPE get_Length(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Set(SAFEARRAY* aBuffer, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE Get(SAFEARRAY* aBuffer, IVexResult** out) noexcept override;
};
