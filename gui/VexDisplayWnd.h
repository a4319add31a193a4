// VexDisplayWnd: a window that shows buffers.
#pragma once

#include <cstdint>

#include "buffers/VexBufferConverter.h"
#include "gui/wnd_members.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/gui/PvDisplayWnd.h"

/// Owns the SDK window.
class CVexDisplayWnd : public WndMembers<CVexDisplayWnd>, public vex::server::SdkObject<PvDisplayWnd, PvWnd> {
public:
    void final_construct()
    {
        own_new();
        converter_ = vex::server::make<CVexBufferConverter>();
    }

    STDMETHODIMP get_Converter(IVexBufferConverter** pVal) noexcept override
    {
        return child(pVal, converter_, &PvDisplayWnd::GetConverter);
    }
    STDMETHODIMP Display(IVexBuffer* aBuffer, VARIANT_BOOL aVSync, IVexResult** result) noexcept override
    {
        return report(result, &PvDisplayWnd::Display, aBuffer, aVSync);
    }
    /// The low 8 bits of each value count.
    STDMETHODIMP SetBackgroundColor(unsigned int aR, unsigned int aG, unsigned int aB,
                                    IVexResult** result) noexcept override
    {
        return report(
            result,
            [](PvDisplayWnd& window, std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
                return window.SetBackgroundColor(static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(green),
                                                 static_cast<std::uint8_t>(blue));
            },
            aR, aG, aB);
    }
    STDMETHODIMP UpdateBounds() noexcept override { return set(&PvDisplayWnd::UpdateBounds); }
    STDMETHODIMP Clear() noexcept override { return set(&PvDisplayWnd::Clear); }

private:
    vex::server::Ref<CVexBufferConverter> converter_;
};
