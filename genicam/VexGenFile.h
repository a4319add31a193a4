// VexGenFile: a file on a device.
#pragma once

#include "sdk/genicam/PvGenFile.h"
#include "server/wrapper.h"

/// Released while the file is open, it closes it on the device.
///
/// A length beyond the client's array is not refused: what the array holds is written, or filled, and the count tells
/// how much that was.
class CVexGenFile : public vex::server::Wrapper<CVexGenFile>, public vex::server::SdkObject<PvGenFile> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_IsOpened(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvGenFile::IsOpened); }
    STDMETHODIMP get_Status(BSTR* pVal) noexcept override { return get(pVal, &PvGenFile::GetStatus); }
    STDMETHODIMP get_LastErrorMessage(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvGenFile::GetLastErrorMessage);
    }
    STDMETHODIMP Open(IVexGenParameterArray* aArray, BSTR aFileName, VexGenOpenMode aMode,
                      IVexResult** result) noexcept override
    {
        return report(result, &PvGenFile::Open, aArray, aFileName, aMode);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &PvGenFile::Close); }
    STDMETHODIMP WriteFrom(BSTR aLocalFilename, IVexResult** result) noexcept override
    {
        return report(result, &PvGenFile::WriteFrom, aLocalFilename);
    }
    STDMETHODIMP ReadTo(BSTR aLocalFilename, IVexResult** result) noexcept override
    {
        return report(result, &PvGenFile::ReadTo, aLocalFilename);
    }
    STDMETHODIMP Write(SAFEARRAY* aBuffer, __int64 aLength, __int64* aBytesWritten,
                       IVexResult** result) noexcept override;
    STDMETHODIMP Read(SAFEARRAY* aBuffer, __int64 aLength, __int64* aBytesRead, IVexResult** result) noexcept override;
    STDMETHODIMP IsSupported(IVexGenParameterArray* aArray, VARIANT_BOOL* result) noexcept override
    {
        return value(result, &PvGenFile::IsSupported, aArray);
    }

private:
    /// One transfer between the file and a client's array, which is locked for it.
    template <class Transfer>
    HRESULT transfer(SAFEARRAY* array, __int64 length, __int64* count, IVexResult** result, Transfer move) noexcept;
};
