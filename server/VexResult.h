// VexResult: the outcome of an operation, as clients see it.
#pragma once

#include "sdk/base/PvResult.h"
#include "server/wrapper.h"

/// Holds a copy of an SDK outcome, independent of the object that produced it.
class CVexResult : public vex::server::Wrapper<CVexResult> {
public:
    [[nodiscard]] PvResult* sdk() noexcept { return &result_; }

    STDMETHODIMP get_Code(VexResultCode* pVal) noexcept override { return value(pVal, &PvResult::GetCode); }
    STDMETHODIMP put_Code(VexResultCode pVal) noexcept override { return set(&PvResult::SetCode, pVal); }
    STDMETHODIMP get_Description(BSTR* pVal) noexcept override { return value(pVal, &PvResult::GetDescription); }
    STDMETHODIMP put_Description(BSTR pVal) noexcept override { return set(&PvResult::SetDescription, pVal); }
    STDMETHODIMP get_IsFailure(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvResult::IsFailure); }
    STDMETHODIMP get_IsOK(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvResult::IsOK); }
    STDMETHODIMP get_IsPending(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvResult::IsPending); }
    STDMETHODIMP get_IsSuccess(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvResult::IsSuccess); }

private:
    PvResult result_;
};
