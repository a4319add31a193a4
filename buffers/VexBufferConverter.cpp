#include "buffers/VexBufferConverter.h"

#include <memory>

#include "buffers/VexBuffer.h"
#include "buffers/VexFilterRGB.h"

using namespace vex;

HRESULT CVexBufferConverter::final_construct()
{
    own_new(threads_);
    return S_OK;
}

HRESULT CVexBufferConverter::get_MaxNumberOfThreads(int* pVal) noexcept
{
    return value(pVal, [&] { return threads_; });
}

HRESULT CVexBufferConverter::put_MaxNumberOfThreads(int pVal) noexcept
{
    // the SDK fixes a converter's thread count when the converter is made, so the count changes by changing the
    // converter
    return server::guarded([&] {
        threads_ = pVal;
        const PvBufferConverter& old = *server::not_null(sdk());
        auto made = std::make_unique<PvBufferConverter>(pVal);
        static_cast<void>(made->SetBayerFilter(old.GetBayerFilter()));
        if (filter_ != nullptr) {
            static_cast<void>(made->SetRGBFilter(*filter_));
        }
        own(std::move(made));
        return S_OK;
    });
}

HRESULT CVexBufferConverter::get_BayerFilterType(VexBayerFilterType* pVal) noexcept
{
    return value(pVal, [](PvBufferConverter& converter) { return converter.GetBayerFilter(); });
}

HRESULT CVexBufferConverter::put_BayerFilterType(VexBayerFilterType pVal) noexcept
{
    return set(
        [&](PvBufferConverter& converter) { return converter.SetBayerFilter(static_cast<PvBayerFilterType>(pVal)); });
}

HRESULT CVexBufferConverter::IsConversionSupported(VexPixelType aSource, VexPixelType aDestination,
                                                   VARIANT_BOOL* out) noexcept
{
    return value(out, [&] {
        return PvBufferConverter::IsConversionSupported(static_cast<PvPixelType>(aSource),
                                                        static_cast<PvPixelType>(aDestination));
    });
}

HRESULT CVexBufferConverter::Convert(IVexBuffer* aSource, IVexBuffer* aDestination, VARIANT_BOOL aReallocIfNeeded,
                                     IVexResult** out) noexcept
{
    return result(out, [&](PvBufferConverter& converter) {
        return converter.Convert(&server::sdk_of<CVexBuffer>(aSource), &server::sdk_of<CVexBuffer>(aDestination),
                                 server::from_variant_bool(aReallocIfNeeded));
    });
}

HRESULT CVexBufferConverter::ResetRGBFilter(IVexResult** out) noexcept
{
    return result(out, [](PvBufferConverter& converter) { return converter.ResetRGBFilter(); });
}

HRESULT CVexBufferConverter::SetRGBFilter(IVexFilterRGB* aFilter, IVexResult** out) noexcept
{
    return result(out, [&](PvBufferConverter& converter) {
        if (aFilter == nullptr) {
            // a new filter's settings, and the filter remembered so far stays remembered
            return converter.SetRGBFilter(PvFilterRGB());
        }
        filter_ = &server::sdk_of<CVexFilterRGB>(aFilter);
        return converter.SetRGBFilter(*filter_);
    });
}
