// VexFilterRGB: gain and offset for each colour, and white balance.
#pragma once

#include "buffers/filter_members.h"
#include "sdk/convert/PvFilterRGB.h"

/// Owns the SDK filter.
class CVexFilterRGB : public FilterMembers<CVexFilterRGB>, public vex::server::SdkObject<PvFilterRGB> {
public:
    HRESULT final_construct();

    HRESULT STDMETHODCALLTYPE get_GainR(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_GainR(double pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_GainG(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_GainG(double pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_GainB(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_GainB(double pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OffsetR(int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_OffsetR(int pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OffsetG(int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_OffsetG(int pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OffsetB(int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_OffsetB(int pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE WhiteBalance(IVexBuffer* aBuffer, IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Reset() noexcept override;
};
