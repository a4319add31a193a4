// VexFilterRGB: gain and offset for each colour, and white balance.
#pragma once

#include "buffers/filter_members.h"
#include "sdk/convert/PvFilterRGB.h"

/// Owns the SDK filter.
class CVexFilterRGB : public FilterMembers<CVexFilterRGB>, public vex::server::SdkObject<PvFilterRGB> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_GainR(double* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetGainR); }
    STDMETHODIMP put_GainR(double pVal) noexcept override { return set(&PvFilterRGB::SetGainR, pVal); }
    STDMETHODIMP get_GainG(double* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetGainG); }
    STDMETHODIMP put_GainG(double pVal) noexcept override { return set(&PvFilterRGB::SetGainG, pVal); }
    STDMETHODIMP get_GainB(double* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetGainB); }
    STDMETHODIMP put_GainB(double pVal) noexcept override { return set(&PvFilterRGB::SetGainB, pVal); }
    STDMETHODIMP get_OffsetR(int* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetOffsetR); }
    STDMETHODIMP put_OffsetR(int pVal) noexcept override { return set(&PvFilterRGB::SetOffsetR, pVal); }
    STDMETHODIMP get_OffsetG(int* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetOffsetG); }
    STDMETHODIMP put_OffsetG(int pVal) noexcept override { return set(&PvFilterRGB::SetOffsetG, pVal); }
    STDMETHODIMP get_OffsetB(int* pVal) noexcept override { return value(pVal, &PvFilterRGB::GetOffsetB); }
    STDMETHODIMP put_OffsetB(int pVal) noexcept override { return set(&PvFilterRGB::SetOffsetB, pVal); }
    STDMETHODIMP WhiteBalance(IVexBuffer* aBuffer, IVexResult** result) noexcept override
    {
        return report(result, &PvFilterRGB::WhiteBalance, aBuffer);
    }
    STDMETHODIMP Reset() noexcept override { return set(&PvFilterRGB::Reset); }
};
