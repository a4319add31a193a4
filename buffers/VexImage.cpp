#include "buffers/VexImage.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>

using namespace vex;

HRESULT CVexImage::GetData2D(SAFEARRAY** pVal) noexcept
{
    return guarded([&] {
        PvImage& image = attached_sdk();
        *server::not_null(pVal) = nullptr;
        if (image.GetDataPointer() == nullptr) {
            return;
        }
        const ULONG line = image.GetPaddingX() + image.GetOffsetX() + image.GetWidth();
        const ULONGLONG size = image.GetImageSize();
        if (line == 0 && size != 0) {
            throw server::HresultError{E_UNEXPECTED, "The image's lines have no length"};
        }
        ULONGLONG rows = ULONGLONG{image.GetOffsetY()} + image.GetHeight();
        if (size > rows * line) {
            rows += (size - rows * line + line - 1) / line;
        }
        SAFEARRAY* array = nullptr;
        if (rows <= std::numeric_limits<ULONG>::max()) {  // offsets come from the network
            SAFEARRAYBOUND bounds[] = {{line, 0}, {static_cast<ULONG>(rows), 0}};
            array = SafeArrayCreate(VT_UI1, 2, bounds);
        }
        if (array == nullptr) {
            throw server::HresultError{E_OUTOFMEMORY, "There is no memory for an array of " + std::to_string(rows) +
                                                          " lines of " + std::to_string(line) + " bytes"};
        }
        // nobody else knows the array yet, so it needs no lock
        std::memcpy(array->pvData, image.GetDataPointer(), static_cast<std::size_t>(size));
        *pVal = array;
    });
}

HRESULT CVexImage::SetData2D(SAFEARRAY* pVal) noexcept
{
    return guarded([&] {
        PvImage& image = attached_sdk();
        if (SafeArrayGetDim(pVal) != 2) {
            throw server::HresultError{E_INVALIDARG, "The array does not have exactly two dimensions"};
        }
        if (image.GetDataPointer() == nullptr) {
            image.Free();
            return;
        }
        LONG first = -1;
        LONG second = -1;
        SafeArrayGetUBound(pVal, 1, &first);
        SafeArrayGetUBound(pVal, 2, &second);
        const server::ArrayLock lock(pVal);
        // what the array really holds bounds what its upper bounds promise
        const ULONGLONG held =
            ULONGLONG{pVal->rgsabound[0].cElements} * pVal->rgsabound[1].cElements * pVal->cbElements;
        const ULONGLONG counted = static_cast<ULONGLONG>(first + 1) * static_cast<ULONGLONG>(second + 1);
        std::memcpy(image.GetDataPointer(), lock.data(),
                    static_cast<std::size_t>(std::min({held, counted, ULONGLONG{image.GetImageSize()}})));
    });
}

HRESULT CVexImage::get_Data(SAFEARRAY** pVal) noexcept
{
    return value(pVal, [](PvImage& image) { return std::span(image.GetDataPointer(), image.GetImageSize()); });
}

HRESULT CVexImage::put_Data(SAFEARRAY* pVal) noexcept
{
    return set([&](PvImage& image) {
        server::array_to_bytes(pVal, image.GetDataPointer(), image.GetImageSize());
        if (image.GetDataPointer() == nullptr) {
            image.Free();
        }
    });
}

HRESULT CVexImage::Detach(SAFEARRAY** aRawBuffer) noexcept
{
    return value(aRawBuffer, [](PvImage& image) {
        const std::uint32_t size = image.GetImageSize();
        const std::uint8_t* const detached = image.Detach();
        return std::span(size != 0 ? detached : nullptr, size);
    });
}
