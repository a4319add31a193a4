// VexPropertyList: properties in order, which windows and configuration files store and restore.
#pragma once

#include <cstdint>
#include <map>

#include "persistence/VexProperty.h"
#include "sdk/lists/PvPropertyList.h"
#include "server/for_each.h"

/// Owns its SDK list. The objects it gives out show the list's own items, so that what is written to one is in the
/// list: one object for all calls of GetFirst, one for each index for as long as the list lives, and new ones by
/// GetNext and For Each. For Each walks what the list has when it begins, and leaves the cursor of GetFirst and GetNext
/// alone.
class CVexPropertyList : public vex::server::Enumerable<CVexPropertyList>,
                         public vex::server::SdkObject<PvPropertyList> {
public:
    void final_construct();

    STDMETHODIMP get_Size(unsigned int* pVal) noexcept override { return value(pVal, &PvPropertyList::GetSize); }
    STDMETHODIMP Add(IVexProperty* aProperty) noexcept override { return set(&PvPropertyList::Add, aProperty); }
    STDMETHODIMP Clear() noexcept override { return set(&PvPropertyList::Clear); }
    STDMETHODIMP GetFirst(IVexProperty** result) noexcept override;
    STDMETHODIMP GetItem(unsigned int aIndex, IVexProperty** result) noexcept override;
    STDMETHODIMP GetNext(IVexProperty** result) noexcept override;

    /// New objects for the items of the moment.
    [[nodiscard]] vex::server::Ref<IEnumVARIANT> enumerator();

private:
    vex::server::Ref<CVexProperty> first_;
    std::map<std::uint32_t, vex::server::Ref<CVexProperty>> items_;
};
