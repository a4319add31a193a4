// VexConfigurationReader: a configuration file's items, restored into the client's objects.
#pragma once

#include "sdk/persistence/PvConfigurationReader.h"
#include "server/wrapper.h"

class CVexConfigurationReader : public vex::server::Wrapper<CVexConfigurationReader>,
                                public vex::server::SdkObject<PvConfigurationReader> {
    using Sdk = PvConfigurationReader;
    using Index = std::uint32_t;

public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_DeviceCount(unsigned int* pVal) noexcept override { return value(pVal, &Sdk::GetDeviceCount); }
    STDMETHODIMP get_StreamCount(unsigned int* pVal) noexcept override { return value(pVal, &Sdk::GetStreamCount); }
    STDMETHODIMP get_StringCount(unsigned int* pVal) noexcept override { return value(pVal, &Sdk::GetStringCount); }
    STDMETHODIMP get_GenParameterArrayCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &Sdk::GetGenParameterArrayCount);
    }
    STDMETHODIMP get_PropertyListCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &Sdk::GetPropertyListCount);
    }
    STDMETHODIMP Load(BSTR aFileName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::Load, aFileName);
    }

    STDMETHODIMP GetDeviceName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::GetDeviceName, aIndex, aName);
    }
    STDMETHODIMP RestoreDbyN(BSTR aName, IVexDevice* aDevice, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvDevice*)>(&Sdk::Restore), aName, aDevice);
    }
    STDMETHODIMP RestoreDbyI(unsigned int aIndex, IVexDevice* aDevice, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(Index, PvDevice*)>(&Sdk::Restore), aIndex, aDevice);
    }

    STDMETHODIMP GetStreamName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::GetStreamName, aIndex, aName);
    }
    STDMETHODIMP RestoreSbyN(BSTR aName, IVexStream* aStream, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvStream&)>(&Sdk::Restore), aName, aStream);
    }
    STDMETHODIMP RestoreSbyI(unsigned int aIndex, IVexStream* aStream, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(Index, PvStream&)>(&Sdk::Restore), aIndex, aStream);
    }

    STDMETHODIMP GetStringName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::GetStringName, aIndex, aName);
    }
    STDMETHODIMP RestoreWbyN(BSTR aKey, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvString&)>(&Sdk::Restore), aKey, aName);
    }
    STDMETHODIMP RestoreWbyI(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(Index, PvString&)>(&Sdk::Restore), aIndex, aName);
    }

    STDMETHODIMP GetGenParameterArrayName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::GetGenParameterArrayName, aIndex, aName);
    }
    STDMETHODIMP RestoreGPbyN(BSTR aKey, IVexGenParameterArray* aParameterArray, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvGenParameterArray&)>(&Sdk::Restore), aKey,
                      aParameterArray);
    }
    STDMETHODIMP RestoreGPbyI(unsigned int aIndex, IVexGenParameterArray* aParameterArray,
                              IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(Index, PvGenParameterArray&)>(&Sdk::Restore), aIndex, aParameterArray);
    }

    STDMETHODIMP GetPropertyListName(unsigned int aIndex, BSTR* aName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::GetPropertyListName, aIndex, aName);
    }
    STDMETHODIMP RestorePLbyN(BSTR aName, IVexPropertyList* aPropertyList, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvPropertyList&)>(&Sdk::Restore), aName,
                      aPropertyList);
    }
    STDMETHODIMP RestorePLbyI(unsigned int aIndex, IVexPropertyList* aPropertyList,
                              IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(Index, PvPropertyList&)>(&Sdk::Restore), aIndex, aPropertyList);
    }

    /// The list is not kept alive: once it has gone, reports are dropped.
    STDMETHODIMP SetErrorList(IVexStringList* aList, BSTR aPrefix) noexcept override
    {
        return set(&Sdk::SetErrorList, aList, aPrefix);
    }
};
