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

    HRESULT STDMETHODCALLTYPE get_Data(SAFEARRAY** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Data(SAFEARRAY* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Width(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Height(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_PixelType(VexPixelType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_BitsPerPixel(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_AcquiredSize(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_RequiredSize(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ImageSize(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_EffectiveImageSize(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OffsetX(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OffsetY(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_PaddingX(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_PaddingY(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsPartialLineMissing(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsFullLineMissing(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsEOFByLineCount(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsInterlacedEven(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsInterlacedOdd(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsImageDropped(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsDataOverrun(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Alloc(unsigned int aSizeX, unsigned int aSizeY, VexPixelType aPixelType,
                                    unsigned short aPaddingX, unsigned short aPaddingY,
                                    IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Free() noexcept override;
    HRESULT STDMETHODCALLTYPE Attach(INT_PTR aRawBuffer, unsigned int aSizeX, unsigned int aSizeY,
                                     VexPixelType aPixelType, unsigned short aPaddingX, unsigned short aPaddingY,
                                     IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Detach(SAFEARRAY** aRawBuffer) noexcept override;
};
