// VexImage: the image that a buffer holds.
#pragma once

#include "sdk/buffer/PvImage.h"
#include "server/wrapper.h"

/// A view: the SDK object belongs to the buffer.
class CVexImage : public vex::server::Wrapper<CVexImage>, public vex::server::SdkObject<PvImage> {
public:
    /// The pixel bytes as a two-dimensional array, a line of PaddingX + OffsetX + Width bytes by as many lines as hold
    /// them. The line length is exact for formats of 8 bits only.
    virtual HRESULT GetData2D(SAFEARRAY** pVal) noexcept;
    /// The opposite: copies the array's bytes over the image's, as many as both have. An image without memory is freed
    /// instead. E_INVALIDARG for an array that does not have two dimensions.
    virtual HRESULT SetData2D(SAFEARRAY* pVal) noexcept;

    STDMETHODIMP get_Data(SAFEARRAY** pVal) noexcept override;
    STDMETHODIMP put_Data(SAFEARRAY* pVal) noexcept override;
    STDMETHODIMP get_Width(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetWidth); }
    STDMETHODIMP get_Height(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetHeight); }
    STDMETHODIMP get_PixelType(VexPixelType* pVal) noexcept override { return value(pVal, &PvImage::GetPixelType); }
    STDMETHODIMP get_BitsPerPixel(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvImage::GetBitsPerPixel);
    }
    STDMETHODIMP get_AcquiredSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvImage::GetAcquiredSize);
    }
    STDMETHODIMP get_RequiredSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvImage::GetRequiredSize);
    }
    STDMETHODIMP get_ImageSize(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetImageSize); }
    STDMETHODIMP get_EffectiveImageSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvImage::GetEffectiveImageSize);
    }
    STDMETHODIMP get_OffsetX(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetOffsetX); }
    STDMETHODIMP get_OffsetY(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetOffsetY); }
    STDMETHODIMP get_PaddingX(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetPaddingX); }
    STDMETHODIMP get_PaddingY(unsigned int* pVal) noexcept override { return value(pVal, &PvImage::GetPaddingY); }
    STDMETHODIMP get_IsPartialLineMissing(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsPartialLineMissing);
    }
    STDMETHODIMP get_IsFullLineMissing(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsFullLineMissing);
    }
    STDMETHODIMP get_IsEOFByLineCount(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsEOFByLineCount);
    }
    STDMETHODIMP get_IsInterlacedEven(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsInterlacedEven);
    }
    STDMETHODIMP get_IsInterlacedOdd(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsInterlacedOdd);
    }
    STDMETHODIMP get_IsImageDropped(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsImageDropped);
    }
    STDMETHODIMP get_IsDataOverrun(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvImage::IsDataOverrun);
    }
    STDMETHODIMP Alloc(unsigned int aSizeX, unsigned int aSizeY, VexPixelType aPixelType, unsigned short aPaddingX,
                       unsigned short aPaddingY, IVexResult** result) noexcept override
    {
        return report(result, &PvImage::Alloc, aSizeX, aSizeY, aPixelType, aPaddingX, aPaddingY);
    }
    STDMETHODIMP Free() noexcept override { return set(&PvImage::Free); }
    STDMETHODIMP Attach(INT_PTR aRawBuffer, unsigned int aSizeX, unsigned int aSizeY, VexPixelType aPixelType,
                        unsigned short aPaddingX, unsigned short aPaddingY, IVexResult** result) noexcept override
    {
        return report(result, &PvImage::Attach, aRawBuffer, aSizeX, aSizeY, aPixelType, aPaddingX, aPaddingY);
    }
    STDMETHODIMP Detach(SAFEARRAY** aRawBuffer) noexcept override;
};
