// VexGenParameterArray: the parameters of a device, a link or a stream, by name and by index.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
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

    /// Null when nothing is attached, and when the array that was lent has gone.
    [[nodiscard]] PvGenParameterArray* sdk() const noexcept;
    void AttachSdkObject(PvGenParameterArray* borrowed) noexcept;

    HRESULT STDMETHODCALLTYPE get_Count(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_CategoryCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_NodeMap(INT_PTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE GetByIndex(unsigned int aIndex, IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetByName(BSTR aName, IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE InvalidateCache(IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetInteger(BSTR aName, IVexGenInteger** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetFloat(BSTR aName, IVexGenFloat** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEnum(BSTR aName, IVexGenEnum** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetBoolean(BSTR aName, IVexGenBoolean** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetCommand(BSTR aName, IVexGenCommand** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetString(BSTR aName, IVexGenString** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetRegister(BSTR aName, IVexGenRegister** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetCategoryByIndex(unsigned int aIndex, IVexGenCategory** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetCategoryByName(BSTR aName, IVexGenCategory** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIntegerValue(BSTR aName, __int64* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetIntegerValue(BSTR aName, __int64 aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetFloatValue(BSTR aName, double* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetFloatValue(BSTR aName, double aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEnumValueStr(BSTR aName, BSTR* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetEnumValueInt(BSTR aName, __int64* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetEnumValueStr(BSTR aName, BSTR aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetEnumValueInt(BSTR aName, __int64 aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetBooleanValue(BSTR aName, VARIANT_BOOL* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetBooleanValue(BSTR aName, VARIANT_BOOL aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetStringValue(BSTR aName, BSTR* aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE SetStringValue(BSTR aName, BSTR aValue, IVexResult** out) noexcept override;
    HRESULT STDMETHODCALLTYPE ExecuteCommand(BSTR aName, IVexResult** out) noexcept override;

private:
    /// The cached object of a name, asked for as one kind.
    template <class Kind, class Interface>
    HRESULT typed(BSTR aName, Interface** out,
                  typename Kind::SdkType* (PvGenParameterArray::*find)(const PvString&) const) noexcept;

    /// The cached object of a category that the array has.
    template <class Key>
    HRESULT category(std::map<Key, vex::server::Ref<CVexGenCategory>>& cache, const Key& key, PvGenCategory* found,
                     IVexGenCategory** out);

    std::weak_ptr<const void> lifetime_;  // of a borrowed array
    ParameterCache<std::wstring> parameters_by_name_;
    ParameterCache<std::uint32_t> parameters_by_index_;
    std::map<std::wstring, vex::server::Ref<CVexGenCategory>> categories_by_name_;
    std::map<std::uint32_t, vex::server::Ref<CVexGenCategory>> categories_by_index_;
};
