// VexConfigurationWriter: the client's objects as they are, collected for one configuration file.
#pragma once

#include "sdk/persistence/PvConfigurationWriter.h"
#include "server/wrapper.h"

/// A null name is the empty one, which several items may have.
class CVexConfigurationWriter : public vex::server::Wrapper<CVexConfigurationWriter>,
                                public vex::server::SdkObject<PvConfigurationWriter> {
    using Sdk = PvConfigurationWriter;

public:
    void final_construct() { own_new(); }

    STDMETHODIMP StoreDbyN(IVexDevice* aDevice, BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(PvDevice*, const PvString&)>(&Sdk::Store), aDevice, aName);
    }
    STDMETHODIMP StoreSbyN(IVexStream* aStream, BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(PvStream*, const PvString&)>(&Sdk::Store), aStream, aName);
    }
    /// The value comes first, the name second.
    STDMETHODIMP StoreWbyN(BSTR aString, BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, const PvString&)>(&Sdk::Store), aString, aName);
    }
    STDMETHODIMP StoreGPbyN(IVexGenParameterArray* aGenParameterArray, BSTR aName,
                            IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(PvGenParameterArray*, const PvString&)>(&Sdk::Store),
                      aGenParameterArray, aName);
    }
    STDMETHODIMP StorePLbyN(IVexPropertyList* aPropertyList, BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvPropertyList*, const PvString&)>(&Sdk::Store), aPropertyList,
                      aName);
    }
    STDMETHODIMP Save(BSTR aFileName, IVexResult** result) noexcept override
    {
        return report(result, &Sdk::Save, aFileName);
    }

    /// The list is not kept alive: once it has gone, reports are dropped.
    STDMETHODIMP SetErrorList(IVexStringList* aList, BSTR aPrefix) noexcept override
    {
        return set(&Sdk::SetErrorList, aList, aPrefix);
    }
};
