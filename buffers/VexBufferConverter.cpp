#include "buffers/VexBufferConverter.h"

#include <memory>

#include "sdk/convert/PvFilterRGB.h"

using namespace vex;

HRESULT CVexBufferConverter::put_MaxNumberOfThreads(int pVal) noexcept
{
    // the SDK fixes a converter's thread count when the converter is made, so the count changes by changing the
    // converter
    return guarded([&] {
        threads_ = pVal;
        const PvBufferConverter& old = attached_sdk();
        auto made = std::make_unique<PvBufferConverter>(pVal);
        static_cast<void>(made->SetBayerFilter(old.GetBayerFilter()));
        if (filter_ != nullptr) {
            static_cast<void>(made->SetRGBFilter(*filter_));
        }
        own(std::move(made));
    });
}

HRESULT CVexBufferConverter::SetRGBFilter(IVexFilterRGB* aFilter, IVexResult** result) noexcept
{
    return report(result, [&](PvBufferConverter& converter) {
        if (aFilter == nullptr) {
            // a new filter's settings, and the filter remembered so far stays remembered
            return converter.SetRGBFilter(PvFilterRGB());
        }
        filter_ = &server::sdk_as<PvFilterRGB>(aFilter, 1);
        return converter.SetRGBFilter(*filter_);
    });
}
