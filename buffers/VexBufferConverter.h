// VexBufferConverter: images from one pixel type to another.
#pragma once

#include "sdk/buffer/PvBuffer.h"
#include "sdk/convert/PvBufferConverter.h"
#include "server/wrapper.h"

/// Owns its SDK converter until a writer or window shows its own through it.
class CVexBufferConverter : public vex::server::Wrapper<CVexBufferConverter>,
                            public vex::server::SdkObject<PvBufferConverter> {
public:
    void final_construct() { own_new(threads_); }

    STDMETHODIMP get_MaxNumberOfThreads(int* pVal) noexcept override
    {
        return value(pVal, [this] { return threads_; });
    }
    STDMETHODIMP put_MaxNumberOfThreads(int pVal) noexcept override;
    STDMETHODIMP get_BayerFilterType(VexBayerFilterType* pVal) noexcept override
    {
        return value(pVal, &PvBufferConverter::GetBayerFilter);
    }
    STDMETHODIMP put_BayerFilterType(VexBayerFilterType pVal) noexcept override
    {
        return set(&PvBufferConverter::SetBayerFilter, pVal);
    }
    STDMETHODIMP IsConversionSupported(VexPixelType aSource, VexPixelType aDestination,
                                       VARIANT_BOOL* result) noexcept override
    {
        return value(result, &PvBufferConverter::IsConversionSupported, aSource, aDestination);
    }
    STDMETHODIMP Convert(IVexBuffer* aSource, IVexBuffer* aDestination, VARIANT_BOOL aReallocIfNeeded,
                         IVexResult** result) noexcept override
    {
        return report(result, &PvBufferConverter::Convert, aSource, aDestination, aReallocIfNeeded);
    }
    STDMETHODIMP ResetRGBFilter(IVexResult** result) noexcept override
    {
        return report(result, &PvBufferConverter::ResetRGBFilter);
    }
    STDMETHODIMP SetRGBFilter(IVexFilterRGB* aFilter, IVexResult** result) noexcept override;

private:
    int threads_ = -1;
    const PvFilterRGB* filter_ = nullptr;  // the filter last set; the client keeps its object alive
};
