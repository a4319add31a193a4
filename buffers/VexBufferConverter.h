// VexBufferConverter: images from one pixel type to another.
#pragma once

#include "sdk/convert/PvBufferConverter.h"
#include "server/wrapper.h"

/// Owns its SDK converter until a writer or window shows its own through it.
class CVexBufferConverter : public vex::server::Wrapper<CVexBufferConverter>,
                            public vex::server::SdkObject<PvBufferConverter> {
public:
    HRESULT final_construct();

    HRESULT STDMETHODCALLTYPE get_MaxNumberOfThreads(int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_MaxNumberOfThreads(int pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_BayerFilterType(VexBayerFilterType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_BayerFilterType(VexBayerFilterType pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE IsConversionSupported(VexPixelType aSource, VexPixelType aDestination,
                                                    VARIANT_BOOL* result) noexcept override;
    HRESULT STDMETHODCALLTYPE Convert(IVexBuffer* aSource, IVexBuffer* aDestination, VARIANT_BOOL aReallocIfNeeded,
                                      IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE ResetRGBFilter(IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE SetRGBFilter(IVexFilterRGB* aFilter, IVexResult** result) noexcept override;

private:
    int threads_ = -1;
    const PvFilterRGB* filter_ = nullptr;  // the filter last set; the client keeps its object alive
};
