#include "buffers/VexImage.h"

#include <algorithm>
#include <cstring>
#include <limits>

using namespace vex;

namespace {

PvPixelType to_sdk(VexPixelType type) noexcept { return static_cast<PvPixelType>(type); }

}  // namespace

HRESULT CVexImage::GetData2D(SAFEARRAY** pVal) noexcept
{
    return server::guarded([&]() -> HRESULT {
        PvImage& image = *server::not_null(sdk());
        *server::not_null(pVal) = nullptr;
        if (image.GetDataPointer() == nullptr) {
            return S_OK;
        }
        const ULONG line = image.GetPaddingX() + image.GetOffsetX() + image.GetWidth();
        const ULONGLONG size = image.GetImageSize();
        if (line == 0 && size != 0) {
            return E_UNEXPECTED;
        }
        ULONGLONG rows = ULONGLONG{image.GetOffsetY()} + image.GetHeight();
        if (size > rows * line) {
            rows += (size - rows * line + line - 1) / line;
        }
        if (rows > std::numeric_limits<ULONG>::max()) {
            return E_OUTOFMEMORY;  // offsets come from the network
        }
        SAFEARRAYBOUND bounds[] = {{line, 0}, {static_cast<ULONG>(rows), 0}};
        SAFEARRAY* const array = SafeArrayCreate(VT_UI1, 2, bounds);
        if (array == nullptr) {
            return E_OUTOFMEMORY;
        }
        {
            const server::ArrayLock lock(array);
            if (FAILED(lock.status())) {
                SafeArrayDestroy(array);
                return lock.status();
            }
            std::memcpy(lock.data(), image.GetDataPointer(), static_cast<std::size_t>(size));
        }
        *pVal = array;
        return S_OK;
    });
}

HRESULT CVexImage::SetData2D(SAFEARRAY* pVal) noexcept
{
    return server::guarded([&]() -> HRESULT {
        PvImage& image = *server::not_null(sdk());
        if (SafeArrayGetDim(pVal) != 2) {
            return E_INVALIDARG;
        }
        if (image.GetDataPointer() == nullptr) {
            image.Free();
            return S_OK;
        }
        LONG first = -1;
        LONG second = -1;
        SafeArrayGetUBound(pVal, 1, &first);
        SafeArrayGetUBound(pVal, 2, &second);
        const server::ArrayLock lock(pVal);
        if (FAILED(lock.status())) {
            return lock.status();
        }
        // what the array really holds bounds what its upper bounds promise
        const ULONGLONG held =
            ULONGLONG{pVal->rgsabound[0].cElements} * pVal->rgsabound[1].cElements * pVal->cbElements;
        const ULONGLONG counted = static_cast<ULONGLONG>(first + 1) * static_cast<ULONGLONG>(second + 1);
        std::memcpy(image.GetDataPointer(), lock.data(),
                    static_cast<std::size_t>(std::min({held, counted, ULONGLONG{image.GetImageSize()}})));
        return S_OK;
    });
}

HRESULT CVexImage::get_Data(SAFEARRAY** pVal) noexcept
{
    return server::guarded([&] {
        PvImage& image = *server::not_null(sdk());
        return server::bytes_to_array(image.GetDataPointer(), image.GetImageSize(), pVal);
    });
}

HRESULT CVexImage::put_Data(SAFEARRAY* pVal) noexcept
{
    return server::guarded([&] {
        PvImage& image = *server::not_null(sdk());
        const HRESULT copied = server::array_to_bytes(pVal, image.GetDataPointer(), image.GetImageSize());
        if (SUCCEEDED(copied) && image.GetDataPointer() == nullptr) {
            image.Free();
        }
        return copied;
    });
}

HRESULT CVexImage::get_Width(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetWidth(); });
}

HRESULT CVexImage::get_Height(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetHeight(); });
}

HRESULT CVexImage::get_PixelType(VexPixelType* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetPixelType(); });
}

HRESULT CVexImage::get_BitsPerPixel(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetBitsPerPixel(); });
}

HRESULT CVexImage::get_AcquiredSize(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetAcquiredSize(); });
}

HRESULT CVexImage::get_RequiredSize(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetRequiredSize(); });
}

HRESULT CVexImage::get_ImageSize(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetImageSize(); });
}

HRESULT CVexImage::get_EffectiveImageSize(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetEffectiveImageSize(); });
}

HRESULT CVexImage::get_OffsetX(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetOffsetX(); });
}

HRESULT CVexImage::get_OffsetY(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.GetOffsetY(); });
}

HRESULT CVexImage::get_PaddingX(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return std::uint32_t{image.GetPaddingX()}; });
}

HRESULT CVexImage::get_PaddingY(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return std::uint32_t{image.GetPaddingY()}; });
}

HRESULT CVexImage::get_IsPartialLineMissing(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsPartialLineMissing(); });
}

HRESULT CVexImage::get_IsFullLineMissing(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsFullLineMissing(); });
}

HRESULT CVexImage::get_IsEOFByLineCount(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsEOFByLineCount(); });
}

HRESULT CVexImage::get_IsInterlacedEven(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsInterlacedEven(); });
}

HRESULT CVexImage::get_IsInterlacedOdd(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsInterlacedOdd(); });
}

HRESULT CVexImage::get_IsImageDropped(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsImageDropped(); });
}

HRESULT CVexImage::get_IsDataOverrun(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return image.IsDataOverrun(); });
}

HRESULT CVexImage::Alloc(unsigned int aSizeX, unsigned int aSizeY, VexPixelType aPixelType, unsigned short aPaddingX,
                         unsigned short aPaddingY, IVexResult** out) noexcept
{
    return result(
        out, [&](PvImage& image) { return image.Alloc(aSizeX, aSizeY, to_sdk(aPixelType), aPaddingX, aPaddingY); });
}

HRESULT CVexImage::Free() noexcept
{
    return set([](PvImage& image) { image.Free(); });
}

HRESULT CVexImage::Attach(INT_PTR aRawBuffer, unsigned int aSizeX, unsigned int aSizeY, VexPixelType aPixelType,
                          unsigned short aPaddingX, unsigned short aPaddingY, IVexResult** out) noexcept
{
    return result(out, [&](PvImage& image) {
        return image.Attach(server::from_address(aRawBuffer), aSizeX, aSizeY, to_sdk(aPixelType), aPaddingX, aPaddingY);
    });
}

HRESULT CVexImage::Detach(SAFEARRAY** aRawBuffer) noexcept
{
    return server::guarded([&] {
        PvImage& image = *server::not_null(sdk());
        const std::uint32_t size = image.GetImageSize();
        const std::uint8_t* const detached = image.Detach();
        return server::bytes_to_array(size != 0 ? detached : nullptr, size, aRawBuffer);
    });
}
