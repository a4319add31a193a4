// VexGenParameterArray: the parameters of a device, a link or a stream, by name and by index.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "genicam/VexGenCategory.h"
#include "genicam/parameter_cache.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "server/wrapper.h"

/// Switchable, though parents only ever lend it an array. It keeps every parameter and category object that it has
/// handed out: parameters asked for by name and by index are different objects. Attaching another array keeps the
/// objects; each is pointed at the new array's parameter, or replaced, when it is asked for again.
class CVexGenParameterArray : public vex::server::Wrapper<CVexGenParameterArray>,
                              public vex::server::SdkObject<PvGenParameterArray> {
public:
    void final_release() noexcept;

    STDMETHODIMP get_Count(unsigned int* pVal) noexcept override { return value(pVal, &PvGenParameterArray::GetCount); }
    STDMETHODIMP get_CategoryCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvGenParameterArray::GetCategoryCount);
    }
    STDMETHODIMP get_NodeMap(INT_PTR* pVal) noexcept override { return value(pVal, &PvGenParameterArray::GetNodeMap); }
    STDMETHODIMP GetByIndex(unsigned int aIndex, IVexGenParameter** result) noexcept override;
    STDMETHODIMP GetByName(BSTR aName, IVexGenParameter** result) noexcept override;
    STDMETHODIMP InvalidateCache(IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::InvalidateCache);
    }
    STDMETHODIMP GetInteger(BSTR aName, IVexGenInteger** result) noexcept override;
    STDMETHODIMP GetFloat(BSTR aName, IVexGenFloat** result) noexcept override;
    STDMETHODIMP GetEnum(BSTR aName, IVexGenEnum** result) noexcept override;
    STDMETHODIMP GetBoolean(BSTR aName, IVexGenBoolean** result) noexcept override;
    STDMETHODIMP GetCommand(BSTR aName, IVexGenCommand** result) noexcept override;
    STDMETHODIMP GetString(BSTR aName, IVexGenString** result) noexcept override;
    STDMETHODIMP GetRegister(BSTR aName, IVexGenRegister** result) noexcept override;
    STDMETHODIMP GetCategoryByIndex(unsigned int aIndex, IVexGenCategory** result) noexcept override;
    STDMETHODIMP GetCategoryByName(BSTR aName, IVexGenCategory** result) noexcept override;
    STDMETHODIMP GetIntegerValue(BSTR aName, __int64* aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::GetIntegerValue, aName, aValue);
    }
    STDMETHODIMP SetIntegerValue(BSTR aName, __int64 aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::SetIntegerValue, aName, aValue);
    }
    STDMETHODIMP GetFloatValue(BSTR aName, double* aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::GetFloatValue, aName, aValue);
    }
    STDMETHODIMP SetFloatValue(BSTR aName, double aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::SetFloatValue, aName, aValue);
    }
    STDMETHODIMP GetEnumValueStr(BSTR aName, BSTR* aValue, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvString&) const>(&PvGenParameterArray::GetEnumValue),
                      aName, aValue);
    }
    STDMETHODIMP GetEnumValueInt(BSTR aName, __int64* aValue, IVexResult** result) noexcept override
    {
        return report(result,
                      overload<PvResult(const PvString&, std::int64_t&) const>(&PvGenParameterArray::GetEnumValue),
                      aName, aValue);
    }
    STDMETHODIMP SetEnumValueStr(BSTR aName, BSTR aValue, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, const PvString&)>(&PvGenParameterArray::SetEnumValue),
                      aName, aValue);
    }
    STDMETHODIMP SetEnumValueInt(BSTR aName, __int64 aValue, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, std::int64_t)>(&PvGenParameterArray::SetEnumValue),
                      aName, aValue);
    }
    STDMETHODIMP GetBooleanValue(BSTR aName, VARIANT_BOOL* aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::GetBooleanValue, aName, aValue);
    }
    STDMETHODIMP SetBooleanValue(BSTR aName, VARIANT_BOOL aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::SetBooleanValue, aName, aValue);
    }
    STDMETHODIMP GetStringValue(BSTR aName, BSTR* aValue, IVexResult** result) noexcept override
    {
        return report(result, overload<PvResult(const PvString&, PvString&) const>(&PvGenParameterArray::GetString),
                      aName, aValue);
    }
    STDMETHODIMP SetStringValue(BSTR aName, BSTR aValue, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::SetString, aName, aValue);
    }
    STDMETHODIMP ExecuteCommand(BSTR aName, IVexResult** result) noexcept override
    {
        return report(result, &PvGenParameterArray::ExecuteCommand, aName);
    }

private:
    /// The cached object of a name, asked for as one kind.
    template <class Kind, class Interface>
    HRESULT typed(BSTR aName, Interface** result,
                  typename Kind::SdkType* (PvGenParameterArray::*find)(const PvString&) const) noexcept;

    /// The cached object of a category that the array has.
    template <class Key>
    void category(std::map<Key, vex::server::Ref<CVexGenCategory>>& cache, const Key& key, PvGenCategory* found,
                  IVexGenCategory** result);

    ParameterCache<std::wstring> parameters_by_name_;
    ParameterCache<std::uint32_t> parameters_by_index_;
    std::map<std::wstring, vex::server::Ref<CVexGenCategory>> categories_by_name_;
    std::map<std::uint32_t, vex::server::Ref<CVexGenCategory>> categories_by_index_;
};
