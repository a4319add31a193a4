// VexStringList: texts in order, such as the errors of a configuration file.
#pragma once

#include "sdk/lists/PvStringList.h"
#include "server/for_each.h"

/// Owns its SDK list until a parent shows one of its own through it. Such an object fails once the parent's list has
/// gone. For Each walks what the list has when it begins, and leaves the cursor of GetFirst and GetNext alone.
class CVexStringList : public vex::server::Enumerable<CVexStringList>, public vex::server::SdkObject<PvStringList> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_Size(unsigned int* pVal) noexcept override { return value(pVal, &PvStringList::GetSize); }
    STDMETHODIMP Add(BSTR aString) noexcept override { return set(&PvStringList::Add, aString); }
    STDMETHODIMP Clear() noexcept override { return set(&PvStringList::Clear); }
    STDMETHODIMP GetFirst(BSTR* result) noexcept override;
    STDMETHODIMP GetItem(unsigned int aIndex, BSTR* result) noexcept override;
    STDMETHODIMP GetNext(BSTR* result) noexcept override;

    [[nodiscard]] vex::server::Ref<IEnumVARIANT> enumerator();
};
