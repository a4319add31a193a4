// VexResult: the outcome of an operation, as clients see it.
#pragma once

#include "sdk/base/PvResult.h"
#include "server/wrapper.h"

/// Holds a copy of an SDK outcome, independent of the object that produced it.
class CVexResult : public vex::server::Wrapper<CVexResult> {
public:
    [[nodiscard]] PvResult* sdk() noexcept { return &result_; }

    HRESULT STDMETHODCALLTYPE get_Code(VexResultCode* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Code(VexResultCode pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Description(BSTR pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsFailure(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsOK(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsPending(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsSuccess(VARIANT_BOOL* pVal) noexcept override;

private:
    PvResult result_;
};
